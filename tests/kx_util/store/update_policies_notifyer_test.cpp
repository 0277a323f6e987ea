#include <gmock/gmock.h>
#include <kx_util/update_policies_notifyer.h>

#include <atomic>
#include <functional>
#include <queue>

#include "Agent/engine/kx_util/store/configuration_search.h"
#include "Agent/engine/kx_util/store/tools_folder.h"
#include "Common_CPP/util/last_error.h"
#include "tests/support/notice_wait.h"
#include "tests/support/process_resources.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;

/// Whoever starts a notifyer on it is told what the test says, in that order.
class NoticeScript {
 public:
  void Tell() { Push({EkxNoticeWait::Told, 0}); }
  void Fail(uint32_t error) { Push({EkxNoticeWait::Failed, error}); }

  /// For the notifyer's constructor.
  auto Opener() {
    return [this] { return std::make_unique<Waiter>(*this); };
  }

 private:
  struct Answer {
    EkxNoticeWait result;
    uint32_t lastError;
  };

  class Waiter : public IkxNoticeWaiter {
   public:
    explicit Waiter(NoticeScript& script) : _script(script) {}
    EkxNoticeWait Wait() override {
      std::unique_lock lock(_script._mutex);
      _script._changed.wait(lock, [&] { return _stopped || !_script._answers.empty(); });
      if (_stopped) return EkxNoticeWait::Stopped;
      const Answer answer = _script._answers.front();
      _script._answers.pop();
      KxLastError_Set(answer.lastError);
      return answer.result;
    }
    void Stop() override {
      const std::lock_guard lock(_script._mutex);
      _stopped = true;
      _script._changed.notify_all();
    }

   private:
    NoticeScript& _script;
    bool _stopped = false;
  };

  void Push(Answer answer) {
    const std::lock_guard lock(_mutex);
    _answers.push(answer);
    _changed.notify_all();
  }

  std::mutex _mutex;
  std::condition_variable _changed;
  std::queue<Answer> _answers;
};

/// A subscriber that counts its calls and does something in each.
struct Counter {
  std::atomic<int> calls = 0;
  std::function<void()> action = [] {};

  static void OnUpdate(void* context) {
    auto& self = *static_cast<Counter*>(context);
    self.action();
    ++self.calls;
  }
  bool Reaches(int count) const {
    return KxTest_Eventually([&] { return calls >= count; });
  }
};

void Subscribe(CkxUpdatePoliciesNotifyer& notifyer, Counter& counter) {
  notifyer.AddSubscriber(Counter::OnUpdate, &counter);
}
void Unsubscribe(CkxUpdatePoliciesNotifyer& notifyer, Counter& counter) {
  notifyer.RemoveSubscriber(Counter::OnUpdate, &counter);
}

/// A call of its own is the sign that everybody before it in the list has been called.
void TellAndWait(NoticeScript& script, Counter& last) {
  const int before = last.calls;
  script.Tell();
  ASSERT_TRUE(last.Reaches(before + 1));
}

TEST(UpdatePoliciesNotifyer, DropsWhatTheLibraryRemembers) {
  CkxToolsFolderCache& cache = CkxToolsFolderCache::Instance();
  cache.Save(KXW("publication"), "S-1-5-18", true);
  auto& settings = CkxConfigurationCache<CkxSettingsDocument>::Instance();
  auto& messages = CkxConfigurationCache<CkxMessagesDocument>::Instance();
  settings.Save(KXW("publication"), std::make_shared<SkxKnownDocuments<CkxSettingsDocument>>());
  messages.Save(KXW("publication"), std::make_shared<SkxKnownDocuments<CkxMessagesDocument>>());
  NoticeScript script;
  CkxUpdatePoliciesNotifyer notifyer(script.Opener());
  ASSERT_TRUE(notifyer.Start());
  EXPECT_TRUE(cache.Find(KXW("publication"), "S-1-5-18"));
  EXPECT_TRUE(settings.Find(KXW("publication")) && messages.Find(KXW("publication")));
  script.Tell();
  EXPECT_TRUE(KxTest_Eventually([&] {
    return !cache.Find(KXW("publication"), "S-1-5-18") && !settings.Find(KXW("publication")) &&
           !messages.Find(KXW("publication"));
  }));
}

TEST(UpdatePoliciesNotifyer, StartsAndStopsWithoutLosingAnything) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(KXW("Updated"));
  CkxUpdatePoliciesNotifyer notifyer([&] { return KxNotice_OpenWaiter(name); });
  const auto startAndStop = [&] {
    ASSERT_TRUE(notifyer.Start()) << KxLastError_Get();
    ASSERT_TRUE(notifyer.Start()) << "it runs already";
    ASSERT_TRUE(notifyer.IsRunning());
    notifyer.Stop();
    ASSERT_FALSE(notifyer.IsRunning());
    notifyer.Stop();
  };
  const size_t threads = KxTest_Threads();
  startAndStop();
  ASSERT_TRUE(KxTest_Eventually([&] { return KxTest_Threads() <= threads; })) << "the first one is gone";
  const size_t handles = KxTest_OpenHandles();
  for (int i = 0; i < 1000; ++i) startAndStop();
  EXPECT_TRUE(KxTest_Eventually([&] { return KxTest_Threads() <= threads; })) << KxTest_Threads();
  EXPECT_TRUE(KxTest_Eventually([&] { return KxTest_OpenHandles() <= handles; })) << KxTest_OpenHandles();
}

TEST(UpdatePoliciesNotifyer, AFailedWaitEndsTheThreadAndSaysSo) {
  const CkxTraceCapture trace;
  NoticeScript script;
  CkxUpdatePoliciesNotifyer notifyer(script.Opener());
  Counter counter;
  Subscribe(notifyer, counter);
  ASSERT_TRUE(notifyer.Start());
  script.Fail(6);
  ASSERT_TRUE(KxTest_Eventually([&] { return !notifyer.IsRunning(); }));
  notifyer.Stop();
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR CkxUpdatePoliciesNotifyer: ERROR: WaitForSingleObject on policy "
                                         "update event returned with error status. Stopping thread. GetLastError =6"));
  EXPECT_EQ(counter.calls, 0);

  ASSERT_TRUE(notifyer.Start()) << "and can be started again";
  script.Tell();
  EXPECT_TRUE(counter.Reaches(1));
}

TEST(UpdatePoliciesNotifyer, WithoutANoticeItDoesNotStart) {
  CkxUpdatePoliciesNotifyer notifyer([]() -> std::unique_ptr<IkxNoticeWaiter> {
    KxLastError_Set(kKxErrorAccessDenied);
    return nullptr;
  });
  EXPECT_FALSE(notifyer.Start());
  EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  EXPECT_FALSE(notifyer.IsRunning());
  notifyer.Stop();
}

TEST(UpdatePoliciesNotifyer, SubscribersComeAndGo) {
  NoticeScript script;
  CkxUpdatePoliciesNotifyer notifyer(script.Opener());
  Counter stays, leaves, last;
  Subscribe(notifyer, leaves);
  Subscribe(notifyer, stays);
  Subscribe(notifyer, stays);
  Subscribe(notifyer, last);
  ASSERT_TRUE(notifyer.Start());
  TellAndWait(script, last);
  Unsubscribe(notifyer, leaves);
  Unsubscribe(notifyer, leaves);
  TellAndWait(script, last);
  EXPECT_EQ(leaves.calls, 1);
  EXPECT_EQ(stays.calls, 2) << "once a signal, though added twice";
  notifyer.Stop();
  script.Tell();
  ASSERT_TRUE(notifyer.Start());
  EXPECT_TRUE(last.Reaches(3)) << "subscribers outlive a stop";
}

TEST(UpdatePoliciesNotifyer, CallbacksMayDoAnythingWithTheirNotifyer) {
  NoticeScript script;
  auto notifyer = std::make_unique<CkxUpdatePoliciesNotifyer>(script.Opener());
  Counter leaving, removing, removed, adding, added, last;
  for (Counter* counter : {&leaving, &removing, &removed, &adding, &last}) Subscribe(*notifyer, *counter);
  leaving.action = [&] { Unsubscribe(*notifyer, leaving); };
  removing.action = [&] { Unsubscribe(*notifyer, removed); };
  adding.action = [&] { Subscribe(*notifyer, added); };
  ASSERT_TRUE(notifyer->Start());
  TellAndWait(script, last);
  EXPECT_EQ(added.calls, 0) << "from the next signal on";
  TellAndWait(script, last);
  TellAndWait(script, last);
  EXPECT_EQ(leaving.calls, 1);
  EXPECT_EQ(removing.calls, 3);
  EXPECT_EQ(removed.calls, 0);
  EXPECT_TRUE(added.Reaches(2));

  Counter restarting;
  std::atomic<bool> ran = false;
  restarting.action = [&] {
    notifyer->Stop();
    EXPECT_FALSE(notifyer->IsRunning());
    EXPECT_TRUE(notifyer->Start());
    ran = notifyer->IsRunning();
  };
  Subscribe(*notifyer, restarting);
  script.Tell();
  script.Tell();
  EXPECT_TRUE(restarting.Reaches(2)) << "stopped and started inside";
  EXPECT_TRUE(ran);
  Unsubscribe(*notifyer, restarting);

  Counter destroying;
  destroying.action = [&] { notifyer.reset(); };
  Subscribe(*notifyer, destroying);
  script.Tell();
  EXPECT_TRUE(destroying.Reaches(1)) << "destroyed inside";
}

TEST(UpdatePoliciesNotifyer, StoppedInACallbackItCallsNobodyElse) {
  NoticeScript script;
  CkxUpdatePoliciesNotifyer notifyer(script.Opener());
  Counter stopping, after;
  stopping.action = [&] { notifyer.Stop(); };
  Subscribe(notifyer, stopping);
  Subscribe(notifyer, after);
  ASSERT_TRUE(notifyer.Start());
  script.Tell();
  EXPECT_TRUE(stopping.Reaches(1));
  notifyer.Stop();
  EXPECT_EQ(after.calls, 0);
}

/// From another thread both return only when the callback that is running has returned.
TEST(UpdatePoliciesNotifyer, RemovalAndStopWaitForTheCallThatIsRunning) {
  for (const bool stop : {false, true}) {
    NoticeScript script;
    CkxUpdatePoliciesNotifyer notifyer(script.Opener());
    std::atomic<bool> inside = false;
    std::atomic<bool> asked = false;
    std::atomic<bool> answered = false;
    bool early = false;
    Counter slow;
    slow.action = [&] {
      inside = true;
      KxTest_Eventually([&] { return asked.load(); });
      for (int i = 0; i < 1000; ++i) std::this_thread::yield();
      early = answered;
    };
    Subscribe(notifyer, slow);
    ASSERT_TRUE(notifyer.Start());
    script.Tell();
    ASSERT_TRUE(KxTest_Eventually([&] { return inside.load(); }));
    asked = true;
    if (stop) {
      notifyer.Stop();
    } else {
      Unsubscribe(notifyer, slow);
    }
    answered = true;
    EXPECT_EQ(slow.calls, 1);
    EXPECT_FALSE(early);
  }
}

}  // namespace
