#include "Common_CPP/secure_ipc/secure_ipc_server.h"

#include <algorithm>
#include <system_error>

#include "Common_CPP/secure_ipc/frame_stream.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kScope = "CkxSecureIpcServer";
constexpr uint32_t kErrorBusy = 170;

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
    _stopping = false;
  }
  try {
    // One more, to hold the client that waits for a place.
    while (_threads.size() <= _limits.clients) _threads.emplace_back(&CkxSecureIpcServer::Serve, this);
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
  for (Client* client : _clients) client->pipe.Cancel();
  _changed.notify_all();
}

void CkxSecureIpcServer::Wait() {
  for (std::thread& thread : _threads) thread.join();
  _threads.clear();
  const std::lock_guard lock(_mutex);
  _listener.reset();
}

void CkxSecureIpcServer::Serve() {
  Client client;
  while (Accept(client)) {
    Answer(client);
    Release(client);
  }
}

bool CkxSecureIpcServer::Accept(Client& client) {
  const std::lock_guard turn(_turn);
  // The listener stays until all threads have ended.
  if (!_listener->Accept(client.pipe)) return false;
  std::unique_lock lock(_mutex);
  MakePlace(lock);
  if (_stopping) return false;
  client.waitedForSince = Clock::now();
  _clients.push_back(&client);
  return true;
}

void CkxSecureIpcServer::Release(Client& client) {
  const std::lock_guard lock(_mutex);
  std::erase(_clients, &client);
  client.pipe.Close();
  _changed.notify_all();
}

/// Waits until a client can be served or the server stops.
void CkxSecureIpcServer::MakePlace(std::unique_lock<std::mutex>& lock) {
  const auto isDone = [&] { return _stopping || _clients.size() < _limits.clients; };
  while (!isDone()) {
    Client* const slowest = LongestWaitedFor();
    if (slowest == nullptr) {
      _changed.wait(lock);
      continue;
    }
    const Clock::time_point end = *slowest->waitedForSince + std::chrono::milliseconds(_limits.patience);
    if (Clock::now() < end) {
      _changed.wait_until(lock, end);
      continue;
    }
    KxTrace(EkxTraceLevel::Warning, kScope, "Too many clients at once: the slowest loses its place");
    slowest->waitedForSince.reset();
    slowest->pipe.Cancel();
    _changed.wait(lock, isDone);
  }
}

/// Null when every client waits for us.
CkxSecureIpcServer::Client* CkxSecureIpcServer::LongestWaitedFor() {
  Client* longest = nullptr;
  for (Client* client : _clients) {
    const bool isLonger = longest == nullptr || client->waitedForSince < longest->waitedForSince;
    if (client->waitedForSince && isLonger) longest = client;
  }
  return longest;
}

void CkxSecureIpcServer::SetWaitedFor(Client& client, bool isWaitedFor) {
  const std::lock_guard lock(_mutex);
  client.waitedForSince.reset();
  if (isWaitedFor) client.waitedForSince = Clock::now();
  _changed.notify_all();
}

void CkxSecureIpcServer::Answer(Client& client) {
  std::vector<unsigned char> bytes;
  SkxRequestFrame request;
  const EkxFrameReceipt receipt =
      KxFrame_Receive(client.pipe, CkxDeadline::After(_limits.requestTimeout), bytes, request);
  if (receipt == EkxFrameReceipt::Malformed) KxTrace(EkxTraceLevel::Warning, kScope, "A malformed request");
  if (receipt != EkxFrameReceipt::Done) return;

  SetWaitedFor(client, false);
  std::vector<unsigned char> body;
  const auto reply = KxFrame_Bytes(Reply(client, request, body));
  SetWaitedFor(client, true);
  if (reply) client.pipe.Write(*reply, CkxDeadline::After(_limits.replyTimeout));
}

/// The frame's bytes are those of `body`.
SkxReplyFrame CkxSecureIpcServer::Reply(const Client& client, const SkxRequestFrame& request,
                                        std::vector<unsigned char>& body) const {
  const auto handler = std::find_if(_handlers.begin(), _handlers.end(), [&](const Handler& candidate) {
    return candidate.channel == request.channel && KxText_Equals(candidate.requestName, request.requestName, true);
  });
  if (handler == _handlers.end()) return {EkxReplyStatus::NoSuchRequest, {}};
  const std::optional<SkxPipePeer> peer = client.pipe.Peer();
  if (!peer) return {EkxReplyStatus::UnknownCaller, {}};
  if (!handler->answer({*peer, request.clientName}, request.body, body)) return {EkxReplyStatus::Failed, {}};
  if (body.size() <= kKxFrameMaxReplyBody) return {EkxReplyStatus::Answered, body};
  KxTrace(EkxTraceLevel::Error, kScope, "ERROR: The reply to ", request.requestName, " has ", body.size(),
          " bytes, too many");
  return {EkxReplyStatus::Failed, {}};
}
