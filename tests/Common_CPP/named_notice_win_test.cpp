// The event that the notice shares with those who know nothing else of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "Common_CPP/access_token/object_access_win.h"
#include "Common_CPP/util/handle_win.h"
#include "tests/support/notice_wait.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/stranger_win.h"
#include "tests/support/trace_capture.h"

namespace {

TEST(NamedNoticeWin, WhoeverWaitsOnTheEventIsTold) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(L"Updated");
  CkxNoticeSender sender(name);
  ASSERT_TRUE(sender.Signal());
  const CkxHandle event(OpenEventW(SYNCHRONIZE, FALSE, name.c_str()));
  ASSERT_TRUE(event);
  EXPECT_EQ(WaitForSingleObject(event.Get(), 0), DWORD{WAIT_TIMEOUT}) << "not left set";

  std::atomic<int> told = 0;
  std::thread threads[3];
  for (std::thread& thread : threads) {
    thread = std::thread([&] {
      if (WaitForSingleObject(event.Get(), INFINITE) == WAIT_OBJECT_0) ++told;
    });
  }
  // Who is not in its wait yet is told by a later one.
  EXPECT_TRUE(KxTest_Eventually([&] { return sender.Signal() && told == 3; }));
  for (std::thread& thread : threads) thread.join();
}

TEST(NamedNoticeWin, AServiceThatKnowsOnlyTheEventIsHeard) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(L"Updated");
  for (const bool manualReset : {false, true}) {
    const KxWString own = name + (manualReset ? L"Manual" : L"Auto");
    CkxObjectAccess service(L"");
    const CkxHandle event(CreateEventW(service.Attributes(), manualReset, FALSE, own.c_str()));
    const auto waiter = KxNotice_OpenWaiter(own);
    ASSERT_NE(waiter, nullptr);
    for (int i = 0; i < 2; ++i) {
      SetEvent(event.Get());  // and left so
      EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Told) << i;
    }
    waiter->Stop();
    EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Stopped);
  }
}

TEST(NamedNoticeWin, ASquattedEventIsRefusedByNameAndTheTurnTells) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(L"Squatted");
  CkxStrangersAccess strangers;
  const CkxHandle squatted(CreateEventW(strangers.Attributes(), TRUE, TRUE, name.c_str()));  // and left set
  ASSERT_TRUE(squatted);
  const CkxTraceCapture trace;
  const auto waiter = KxNotice_OpenWaiter(name);
  ASSERT_NE(waiter, nullptr);
  CkxNoticeSender sender(name);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(sender.Signal()) << "not everybody is told";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Told) << i;
  }
  EXPECT_THAT(trace.Texts(), testing::Each(testing::HasSubstr("Squatted] is not the agent's")));
  std::thread stopper([&] { waiter->Stop(); });
  EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Stopped) << "and not told again and again";
  stopper.join();
}

TEST(NamedNoticeWin, NothingIsLeftWhenEverybodyIsGone) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(L"Updated");
  {
    const auto waiter = KxNotice_OpenWaiter(name);
    CkxNoticeSender sender(name);
    ASSERT_TRUE(sender.Signal());
    EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Told);
    EXPECT_TRUE(CkxHandle(OpenEventW(SYNCHRONIZE, FALSE, name.c_str())));
  }
  EXPECT_FALSE(CkxHandle(OpenEventW(SYNCHRONIZE, FALSE, name.c_str())));
  EXPECT_FALSE(CkxHandle(OpenFileMappingW(FILE_MAP_READ, FALSE, (name + L"-Turn").c_str())));
}

}  // namespace
