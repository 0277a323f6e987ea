// Tells whoever asked when the agent's service has published other policies.
//
//   CkxUpdatePoliciesNotifyer notifyer;
//   notifyer.AddSubscriber([](void* cache) { static_cast<Cache*>(cache)->Drop(); }, &cache);
//   notifyer.Start();
//
// It has the library's one thread of its own, which sleeps on the service's event and on a stop of its own, and calls
// the subscribers, the first of which are the library's own caches: tools folders, settings, messages. Several
// publications that follow each other quickly may come as one call, and one as two.
//
// Every operation may be called from any thread, and from inside a callback. On Windows the thread keeps the library
// loaded: stop it before the library is let go of, and not from `DllMain`. At the end of the process nothing need be
// done.
#pragma once

#include <functional>
#include <memory>

#include "Common_CPP/util/text_view.h"

class IkxNoticeWaiter;

/// Called on the thread of the notifier; must not throw.
using KxPoliciesUpdatedCallback = void (*)(void* context);

/// Tells when other policies are published.
class KX_UTIL_API CkxUpdatePoliciesNotifyer {
 public:
  /// Made without memory it never starts.
  CkxUpdatePoliciesNotifyer();

  /// Another source of notices than the service's event, for tests.
  using KxOpenWaiter = std::function<std::unique_ptr<IkxNoticeWaiter>()>;
  explicit CkxUpdatePoliciesNotifyer(KxOpenWaiter open);

  /// Stops.
  ~CkxUpdatePoliciesNotifyer();
  CkxUpdatePoliciesNotifyer(const CkxUpdatePoliciesNotifyer&) = delete;
  CkxUpdatePoliciesNotifyer& operator=(const CkxUpdatePoliciesNotifyer&) = delete;

  /// Each publication from here on is told. True also when it runs already; false with the thread's last error set.
  /// After a stop, or when a wait has failed, it can be started again.
  bool Start();

  /// When it returns no subscriber is being called, but for the callback that it is called from, which is the last.
  void Stop();
  bool IsRunning() const;

  /// Added twice a subscriber is called once.
  void AddSubscriber(KxPoliciesUpdatedCallback callback, void* context);

  /// When it returns the subscriber is not being called, unless it is called from inside of that very callback, and
  /// will not be called again. So the caller must hold no lock that the callback waits for.
  void RemoveSubscriber(KxPoliciesUpdatedCallback callback, void* context);

 private:
  bool _Start();

  struct State;
  const std::unique_ptr<State> _state;
};
