#include "Common_CPP/secure_ipc/secure_ipc_server.h"

#include <algorithm>
#include <new>
#include <system_error>

#include "Common_CPP/secure_ipc/frame_stream.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kScope = "CkxSecureIpcServer";
constexpr uint32_t kErrorBusy = 170;
constexpr std::chrono::milliseconds kPause(100);  // for memory to come back

/// Where there may be no memory for the line either.
template <class... Parts>
void Tell(EkxTraceLevel level, const Parts&... parts) noexcept {
  try {
    KxTrace(level, kScope, parts...);
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace

CkxSecureIpcServer::~CkxSecureIpcServer() {
  Stop();
  Wait();
}

void CkxSecureIpcServer::Handle(CkxTextView requestName, uint32_t channel, KxSecureIpcHandler handler) {
  _handlers.push_back({requestName.ToString(), channel, std::move(handler)});
}

bool CkxSecureIpcServer::Start(CkxTextView serverName, const SkxSecureIpcLimits& limits) {
  if (!_threads.empty()) {
    KxLastError_Set(kErrorBusy);
    return false;
  }
  auto listener = std::make_unique<CkxSecurePipeListener>();
  if (!listener->Listen(serverName)) return false;
  _limits = limits;
  _limits.clients = std::max<size_t>(limits.clients, 1);
  {
    const std::lock_guard lock(_mutex);
    _listener = std::move(listener);
    _places.emplace(SkxPlaceLimits{_limits.clients, std::clamp<size_t>(limits.clientsOfAccount, 1, _limits.clients),
                                   limits.waitingOfAccount});
    _stopping = false;
  }
  try {
    _workers.reserve(_limits.clients);
    _threads.reserve(2);
    _workers.emplace_back(&CkxSecureIpcServer::Work, this);
    _threads.emplace_back(&CkxSecureIpcServer::MakeWay, this);
    _threads.emplace_back(&CkxSecureIpcServer::Accept, this);
  } catch (const std::system_error&) {
    Stop();
    Wait();
    KxLastError_Set(kKxErrorGenFailure);
    return false;
  }
  return true;
}

void CkxSecureIpcServer::Stop() {
  const std::lock_guard lock(_mutex);
  _stopping = true;
  if (_listener != nullptr) _listener->Stop();
  if (_places) {
    _places->ForgetWaiting();
    for (const Places::Place& place : _places->Served()) {
      place.client->pipe.Cancel();
      if (place.client->answering != nullptr) place.client->answering->Cancel();
    }
  }
  _work.notify_all();
  _changed.notify_all();
}

void CkxSecureIpcServer::Wait() {
  for (std::thread& thread : _threads) thread.join();
  for (std::thread& worker : _workers) worker.join();
  _threads.clear();
  _workers.clear();
  const std::lock_guard lock(_mutex);
  _listener.reset();
}

/// The listener stays until all threads have ended.
void CkxSecureIpcServer::Accept() {
  for (;;) {
    try {
      auto client =
          std::make_unique<Client>();  // before it comes, so that it waits where it is when there is no memory
      if (!_listener->Accept(client->pipe)) return;
      Admit(std::move(client));
    } catch (const std::bad_alloc&) {
      Pause();
    }
  }
}

void CkxSecureIpcServer::Admit(std::unique_ptr<Client> client) {
  const std::optional<CkxSid> account = client->pipe.ClientAccount();
  const std::string name = account ? account->ToUtf8() : std::string();
  const std::lock_guard lock(_mutex);
  if (_stopping) return;
  if (!_places->Add(name, std::move(client))) {
    Tell(EkxTraceLevel::Verbose, "Too many clients of ", name, " at once: one is turned away");
    return;
  }
  if (_idle < _places->Waiting() && _workers.size() < _limits.clients) MakeWorker();
  _work.notify_one();
  _changed.notify_all();
}

void CkxSecureIpcServer::MakeWorker() {
  try {
    _workers.emplace_back(&CkxSecureIpcServer::Work, this);
  } catch (const std::system_error&) {  // there is one at least, and the next client brings another try
    Tell(EkxTraceLevel::Warning, "No thread for more clients at once");
  }
}

void CkxSecureIpcServer::Work() {
  std::unique_lock lock(_mutex);
  while (!_stopping) {
    Places::Place* place = nullptr;
    try {
      place = _places->Next(Places::Clock::now());
    } catch (const std::bad_alloc&) {
      _work.wait_for(lock, kPause);
      continue;
    }
    if (place == nullptr) {
      ++_idle;
      _work.wait(lock);
      --_idle;
      continue;
    }
    if (_places->Waiting() > 0) _changed.notify_all();
    lock.unlock();
    Answer(*place);
    lock.lock();
    _places->Release(*place);
    _changed.notify_all();
  }
}

/// Ends the wait for whoever keeps others from a place.
void CkxSecureIpcServer::MakeWay() {
  std::unique_lock lock(_mutex);
  while (!_stopping) {
    Places::Place* const slowest = _places->Slowest();
    if (slowest == nullptr) {
      _changed.wait(lock);
      continue;
    }
    const Places::Clock::time_point end = *slowest->waitedForSince + std::chrono::milliseconds(_limits.patience);
    if (Places::Clock::now() < end) {
      _changed.wait_until(lock, end);
      continue;
    }
    Tell(EkxTraceLevel::Warning, "Too many clients at once: the slowest of ", slowest->account, " loses its place");
    slowest->waitedForSince.reset();
    slowest->client->pipe.Cancel();
  }
}

void CkxSecureIpcServer::Pause() {
  Tell(EkxTraceLevel::Error, "ERROR: Out of memory: a client has to wait");
  std::unique_lock lock(_mutex);
  _changed.wait_for(lock, kPause, [&] { return _stopping; });
}

void CkxSecureIpcServer::SetWaitedFor(Places::Place& place, bool isWaitedFor, CkxCancel* answering) {
  const std::lock_guard lock(_mutex);
  place.waitedForSince.reset();
  if (isWaitedFor) place.waitedForSince = Places::Clock::now();
  place.client->answering = answering;
  if (answering != nullptr && _stopping) answering->Cancel();
  if (_places->Waiting() > 0) _changed.notify_all();
}

void CkxSecureIpcServer::Answer(Places::Place& place) {
  try {
    CkxSecurePipe& pipe = place.client->pipe;
    std::vector<unsigned char> bytes;
    SkxRequestFrame request;
    const EkxFrameReceipt receipt = KxFrame_Receive(pipe, CkxDeadline::After(_limits.requestTimeout), bytes, request);
    if (receipt == EkxFrameReceipt::Malformed) Tell(EkxTraceLevel::Warning, "A malformed request");
    if (receipt != EkxFrameReceipt::Done) return;
    if (const auto reply = ReplyTo(place, request)) pipe.Write(*reply, CkxDeadline::After(_limits.replyTimeout));
  } catch (const std::bad_alloc&) {
    Tell(EkxTraceLevel::Error, "ERROR: Out of memory: a request is not answered");
  }
}

std::optional<std::vector<unsigned char>> CkxSecureIpcServer::ReplyTo(Places::Place& place,
                                                                      const SkxRequestFrame& request) {
  CkxCancel cancel(_limits.handlerTimeout);
  std::vector<unsigned char> body;
  SetWaitedFor(place, false, &cancel);
  const EkxReplyStatus status = Ask(*place.client, request, cancel, body);
  SetWaitedFor(place, true, nullptr);
  if (status != EkxReplyStatus::Answered) body.clear();
  return KxFrame_Bytes(SkxReplyFrame{status, body});
}

/// Throws nothing: `cancel` has to be taken back.
EkxReplyStatus CkxSecureIpcServer::Ask(const Client& client, const SkxRequestFrame& request, const CkxCancel& cancel,
                                       std::vector<unsigned char>& body) const {
  try {
    const auto handler = std::find_if(_handlers.begin(), _handlers.end(), [&](const Handler& candidate) {
      return candidate.channel == request.channel && KxText_Equals(candidate.requestName, request.requestName, true);
    });
    if (handler == _handlers.end()) return EkxReplyStatus::NoSuchRequest;
    const std::optional<SkxPipePeer> peer = client.pipe.Peer();
    if (!peer) return EkxReplyStatus::UnknownCaller;
    const SkxSecureIpcCaller caller = {*peer, request.clientName, request.claim, client.pipe, cancel};
    if (!handler->answer(caller, request.body, body)) return EkxReplyStatus::Failed;
    if (body.size() <= kKxFrameMaxReplyBody) return EkxReplyStatus::Answered;
    KxTrace(EkxTraceLevel::Error, kScope, "ERROR: The reply to ", request.requestName, " has ", body.size(),
            " bytes, too many");
  } catch (const std::bad_alloc&) {
    Tell(EkxTraceLevel::Error, "ERROR: Out of memory: a request is refused");
  }
  return EkxReplyStatus::Failed;
}
