// The map asked and told by many threads at once.
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <random>
#include <thread>
#include <vector>

#include "Common_CPP/util/text.h"
#include "tests/support/recorded_proc_map_system.h"

namespace {

constexpr EkxRestrictedAccessTargetType kThirdType{2};

/// `body(number)` on so many threads, each with `map`; none begins before all are there.
template <class Body>
void OnThreads(int count, const CkxRecordedProcMap& map, Body body) {
  std::latch begin(count);
  std::vector<std::thread> threads;
  threads.reserve(static_cast<size_t>(count));
  for (int number = 0; number < count; ++number) {
    threads.emplace_back([&, number] {
      const CkxProcMapScope scope(map);
      begin.arrive_and_wait();
      body(number);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(ProcMapThreads, OneOfAThousandIsTheFirst) {
  CkxTestProcMapSystem system;
  const CkxRecordedProcMap map(system);
  const CkxProcMapScope scope(map);
  ASSERT_TRUE(KxUtilProcMap_OnProcessStart(7, 0, 0, {}, {}, {}, 0));
  for (const auto getAndSet : {KxUtilProcMap_GetAndSetRestrDlgFlag, KxUtilProcMap_GetAndSetRestrEventFlag}) {
    std::atomic<int> first{0};
    std::atomic<int> answered{0};
    OnThreads(1000, map, [&](int) {
      bool flag = true;
      if (getAndSet(7, kThirdType, flag)) ++answered;
      if (!flag) ++first;
    });
    EXPECT_EQ(answered, 1000);
    EXPECT_EQ(first, 1);
  }
}

/// One path for one process, long enough for memory of its own: a record that is read while it changes has parts of
/// two.
KxWString PathOf(uint32_t pid) { return KxWString(60, static_cast<WCHAR>(KXW('a') + pid % 26)); }

uint32_t SomePid(std::mt19937& random) { return static_cast<uint32_t>(1 + random() % 50); }

void Tell(std::mt19937& random) {
  const uint32_t pid = SomePid(random);
  const KxWString path = PathOf(pid);
  switch (random() % 12) {
    case 0:
      KxUtilProcMap_OnProcessStart(pid, SomePid(random), 3, path, path, path, 0);
      break;
    case 1:
      KxUtilProcMap_OnProcessEnd(pid);
      break;
    case 2:
      KxUtilProcMap_UpdateParentInfo(pid, 4, 5);
      KxUtilProcMap_SetPublisher(pid, path, EkxPublisherStatus::Valid);
      break;
    case 3: {
      SkxProcessPolicyData data;
      data.ShortInfo.PolicyId = pid;
      data.ShortInfo.GuiType = pid;
      KxUtilProcMap_SetPolicyData(pid, data);
      break;
    }
    case 4: {
      SkxProcessFacts facts;
      facts.pid = pid;
      const CkxTargetInfoProcess target(SkxFileFacts(), std::move(facts), nullptr);
      KxUtilProcMap_SetCachedProp(target, KXW("name"), path);
      KxUtilProcMap_SetProctionHandle(pid, &random, path);
      break;
    }
    default:
      break;
  }
}

void Ask(std::mt19937& random) {
  const uint32_t pid = SomePid(random);
  CkxProcessData data;
  if (KxUtilProcMap_FindProcessData(pid, data)) {
    EXPECT_EQ(data.Pid, pid);
    EXPECT_TRUE(data.Path == CkxUtilStr(PathOf(pid)) && data.CmdLine == data.Path);
    EXPECT_TRUE(data.ProtectedFileName.IsEmpty() || data.ProtectedFileName == data.Path);
    EXPECT_TRUE(data.ParentPidReal == 0 || data.ParentPidReal == 9);
  }
  SkxProcessPolicyData policy;
  if (KxUtilProcMap_GetPolicyData(pid, policy) == EkxGetCachedPropRes::Found) {
    EXPECT_EQ(uint32_t{policy.ShortInfo.PolicyId}, pid);
    EXPECT_EQ(uint32_t{policy.ShortInfo.GuiType}, pid);
  }
  SkxProcParamsForNetAccess params;
  const bool isFound = KxUtilProcMap_GetProcParamsForNetAccess(pid, params);
  EXPECT_TRUE(!isFound || params.Path == CkxUtilStr(PathOf(pid)));
}

TEST(ProcMapThreads, EightTellAndAsk) {
  CkxTestProcMapSystem system;
  system.creationTime = 1;
  system.realParentPid = 9;
  {
    const CkxRecordedProcMap map(system);  // made by one of the threads
    OnThreads(8, map, [](int number) {
      std::mt19937 random(static_cast<uint32_t>(number));
      for (int i = 0; i < 4000; ++i) {
        Tell(random);
        Ask(random);
      }
      CkxUtilStr text;
      EXPECT_TRUE(KxUtilProcMap_GetDump(text));
    });
    const CkxProcMapScope scope(map);
    for (uint32_t pid = 1; pid <= 50; ++pid) KxUtilProcMap_OnProcessEnd(pid);
    CkxUtilStr text;
    ASSERT_TRUE(KxUtilProcMap_GetDump(text));
    EXPECT_NE(KxText_ToUtf8(text.View()).find("** 0 running"), std::string::npos);
    EXPECT_NE(KxText_ToUtf8(text.View()).find("** 0 exited"), std::string::npos) << "kept for nobody";
  }
  EXPECT_GT(system.closed, 0u);
}

}  // namespace
