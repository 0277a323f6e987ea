// No waiter misses a signal, wherever it is when the signal comes.
#include "Common_CPP/notice/named_notice.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "Common_CPP/util/last_error.h"
#include "tests/support/notice_wait.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

class NamedNotice : public testing::Test {
 protected:
  std::unique_ptr<IkxNoticeWaiter> Waiter() const {
    auto waiter = KxNotice_OpenWaiter(name);
    EXPECT_NE(waiter, nullptr) << KxLastError_Get();
    return waiter;
  }

  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(KXW("Updated"));
};

TEST_F(NamedNotice, EveryWaiterIsToldOfEachSignal) {
  const auto first = Waiter();
  CkxNoticeSender sender(name);
  std::vector<std::unique_ptr<IkxNoticeWaiter>> waiters;
  for (int i = 0; i < 20; ++i) {
    waiters.push_back(Waiter());
    ASSERT_TRUE(sender.Signal()) << KxLastError_Get();
    EXPECT_EQ(KxTest_Wait(*first), EkxNoticeWait::Told) << i << ", there before the sender";
    for (const auto& waiter : waiters) EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Told) << i;
  }
}

TEST_F(NamedNotice, WithdrawingTellsAndLeavesNothing) {
  const auto waiter = Waiter();
  CkxNoticeSender sender(name);
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(sender.Signal());
    EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Told) << i;
    sender.Withdraw();
    EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Told) << i << ", withdrawn";
    EXPECT_EQ(scope.Folder().Count(), 0u);
  }
}

TEST_F(NamedNotice, StopEndsEveryWait) {
  const auto waiter = Waiter();
  std::thread stopper([&] { waiter->Stop(); });
  EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Stopped);
  EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Stopped) << "and every later one";
  stopper.join();
}

TEST_F(NamedNotice, ANameThatIsNone) {
  for (const KxWString& none : {KxWString(), name + WCHAR{0} + KXW("x")}) {
    CkxNoticeSender sender(none);
    EXPECT_FALSE(sender.Signal());
    EXPECT_EQ(KxNotice_OpenWaiter(none), nullptr);
  }
}

/// The next signal is sent as soon as everybody has heard the last one, which is just when they go back to their wait.
TEST_F(NamedNotice, NoneIsLostBetweenTwoWaits) {
  constexpr int kSignals = 100;
  std::vector<std::unique_ptr<IkxNoticeWaiter>> waiters;
  for (int i = 0; i < 3; ++i) waiters.push_back(Waiter());
  std::atomic<int> heard[3] = {};
  std::vector<std::thread> threads;
  for (size_t i = 0; i < waiters.size(); ++i) {
    threads.emplace_back([&, i] {
      while (waiters[i]->Wait() == EkxNoticeWait::Told) ++heard[i];
    });
  }
  bool missed = false;
  auto sender = std::make_unique<CkxNoticeSender>(name);
  for (int signal = 0; signal < kSignals && !missed; ++signal) {
    if (signal % 25 == 24) sender = std::make_unique<CkxNoticeSender>(name);
    const int before[] = {heard[0], heard[1], heard[2]};
    EXPECT_TRUE(sender->Signal());
    for (size_t i = 0; i < std::size(heard); ++i) {
      missed = missed || !KxTest_Eventually([&] { return heard[i] > before[i]; });
    }
    EXPECT_FALSE(missed) << signal;
  }
  for (const auto& waiter : waiters) waiter->Stop();
  for (std::thread& thread : threads) thread.join();
  // Once too often may happen, but a waiter that runs around in circles would be told many times more.
  for (const std::atomic<int>& count : heard) EXPECT_LE(count, 3 * kSignals);
}

}  // namespace
