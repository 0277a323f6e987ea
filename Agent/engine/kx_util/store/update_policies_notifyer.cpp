#include <kx_util/update_policies_notifyer.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "Agent/engine/kx_util/store/configuration_search.h"
#include "Agent/engine/kx_util/store/live_policy_source.h"
#include "Agent/engine/kx_util/store/tools_folder.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/notice/named_notice.h"
#include "Common_CPP/thread/library_thread.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kNotifyerScope = "CkxUpdatePoliciesNotifyer";

struct Subscriber {
  KxPoliciesUpdatedCallback callback;
  void* context;
  uint64_t id;  // of this subscription: who comes back after a removal is somebody else

  bool Is(KxPoliciesUpdatedCallback otherCallback, void* otherContext) const {
    return callback == otherCallback && context == otherContext;
  }
};

/// Who is to be told, and who is being told. One thread calls at a time.
class Subscribers {
 public:
  void Add(KxPoliciesUpdatedCallback callback, void* context) {
    const std::lock_guard lock(_mutex);
    const auto same = [&](const Subscriber& subscriber) { return subscriber.Is(callback, context); };
    if (std::ranges::none_of(_subscribers, same)) _subscribers.push_back({callback, context, ++_lastId});
  }

  void Remove(KxPoliciesUpdatedCallback callback, void* context) {
    std::unique_lock lock(_mutex);
    std::erase_if(_subscribers, [&](const Subscriber& subscriber) { return subscriber.Is(callback, context); });
    if (CallsOnThisThread()) return;
    _cameBack.wait(lock, [&] { return !_current || !_current->Is(callback, context); });
  }

  bool IsCallingOnThisThread() const {
    const std::lock_guard lock(_mutex);
    return CallsOnThisThread();
  }

  /// Everyone who is there now, as long as they still are when it is their turn.
  void Tell(const std::atomic<bool>& stopped) {
    std::unique_lock lock(_mutex);
    const uint64_t newest = _lastId;
    uint64_t told = 0;
    for (const Subscriber* next = Behind(told); next != nullptr && next->id <= newest && !stopped;
         next = Behind(told)) {
      const Subscriber subscriber = *next;
      told = subscriber.id;
      _current = subscriber;
      _caller = std::this_thread::get_id();
      lock.unlock();
      subscriber.callback(subscriber.context);
      lock.lock();
      _current.reset();
      _cameBack.notify_all();
    }
  }

 private:
  /// The first subscriber that came after the one with that id; they are in the order in which they came.
  const Subscriber* Behind(uint64_t id) const {
    const auto next = std::ranges::find_if(_subscribers, [&](const Subscriber& other) { return other.id > id; });
    return next != _subscribers.end() ? &*next : nullptr;
  }

  bool CallsOnThisThread() const { return _current && _caller == std::this_thread::get_id(); }

  mutable std::mutex _mutex;
  std::condition_variable _cameBack;
  std::vector<Subscriber> _subscribers;
  uint64_t _lastId = 0;
  std::optional<Subscriber> _current;  // the one that is being called
  std::thread::id _caller;
};

/// What the library itself remembers of a publication.
void DropOwnCaches() {
  CkxToolsFolderCache::Instance().Drop();
  CkxConfigurationCache<CkxSettingsDocument>::Instance().Drop();
  CkxConfigurationCache<CkxMessagesDocument>::Instance().Drop();
}

/// From a start to a stop.
struct NotifyerRun {
  std::unique_ptr<IkxNoticeWaiter> waiter;
  std::atomic<bool> stopped{false};
  std::shared_ptr<CkxLibraryThread> thread;

  void Loop(Subscribers& subscribers) {
    while (!stopped) {
      switch (waiter->Wait()) {
        case EkxNoticeWait::Told:
          subscribers.Tell(stopped);
          break;
        case EkxNoticeWait::Failed:
          KxTrace(EkxTraceLevel::Error, kNotifyerScope,
                  "ERROR: WaitForSingleObject on policy update event returned with error status. Stopping thread. "
                  "GetLastError =",
                  KxLastError_Get());
          stopped = true;
          break;
        case EkxNoticeWait::Stopped:
          stopped = true;
          break;
      }
    }
  }
};

}  // namespace

/// The thread keeps what it uses, since a callback may destroy the notifyer.
struct CkxUpdatePoliciesNotifyer::State {
  KxOpenWaiter open;
  std::shared_ptr<Subscribers> subscribers = std::make_shared<Subscribers>();
  mutable std::mutex mutex;  // of `run`; never held during a wait
  std::shared_ptr<NotifyerRun> run;

  std::shared_ptr<NotifyerRun> CurrentRun() const {
    const std::lock_guard lock(mutex);
    return run;
  }
};

CkxUpdatePoliciesNotifyer::CkxUpdatePoliciesNotifyer()
    : CkxUpdatePoliciesNotifyer([] { return KxNotice_OpenWaiter(kKxPoliciesUpdatedEvent); }) {}

CkxUpdatePoliciesNotifyer::CkxUpdatePoliciesNotifyer(KxOpenWaiter open)
    : _state(KxEntry(std::unique_ptr<State>(), [] { return std::make_unique<State>(); })) {
  if (_state == nullptr) return;
  _state->open = std::move(open);
  AddSubscriber([](void* /*context*/) { DropOwnCaches(); }, nullptr);
}

CkxUpdatePoliciesNotifyer::~CkxUpdatePoliciesNotifyer() { Stop(); }

bool CkxUpdatePoliciesNotifyer::Start() {
  return KxEntry(false, [&] { return _Start(); });
}

bool CkxUpdatePoliciesNotifyer::_Start() {
  if (_state == nullptr) return false;
  const std::lock_guard lock(_state->mutex);
  const std::shared_ptr<NotifyerRun> previous = _state->run;
  if (previous != nullptr && !previous->stopped) return true;
  auto run = std::make_shared<NotifyerRun>();
  run->waiter = _state->open();
  if (run->waiter == nullptr) return false;
  // Started from a callback, the thread before is still in it.
  run->thread = CkxLibraryThread::Start(
      [run, subscribers = _state->subscribers, before = previous != nullptr ? previous->thread : nullptr] {
        if (before != nullptr) before->Wait();
        run->Loop(*subscribers);
      });
  if (run->thread == nullptr) return false;
  _state->run = run;
  return true;
}

void CkxUpdatePoliciesNotifyer::Stop() {
  const std::shared_ptr<NotifyerRun> run = _state != nullptr ? _state->CurrentRun() : nullptr;
  // Asked first: at the end of a process the thread may have been ended with a lock in its hands.
  if (run == nullptr || run->thread->HasEnded()) return;
  run->stopped = true;
  run->waiter->Stop();
  if (!_state->subscribers->IsCallingOnThisThread()) run->thread->Wait();
}

bool CkxUpdatePoliciesNotifyer::IsRunning() const {
  const std::shared_ptr<NotifyerRun> run = _state != nullptr ? _state->CurrentRun() : nullptr;
  return run != nullptr && !run->stopped && !run->thread->HasEnded();
}

void CkxUpdatePoliciesNotifyer::AddSubscriber(KxPoliciesUpdatedCallback callback, void* context) {
  if (callback == nullptr || _state == nullptr) return;
  KxEntry([&] { _state->subscribers->Add(callback, context); });
}

void CkxUpdatePoliciesNotifyer::RemoveSubscriber(KxPoliciesUpdatedCallback callback, void* context) {
  if (_state != nullptr) _state->subscribers->Remove(callback, context);
}
