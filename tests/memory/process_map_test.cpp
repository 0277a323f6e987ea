// The process map, without memory.
#include <gtest/gtest.h>
#include <kx_util/proc_map.h>

#include "Agent/engine/kx_util/process_map/process_table.h"
#include "Common_CPP/util/text.h"
#include "tests/memory/sweep.h"
#include "tests/support/recorded_proc_map_system.h"

namespace {

using namespace kx_no_memory;

TEST(NoMemory, TheProcessMap) {
  const KxWString longText(100, KXW('v'));
  SkxProcessFacts facts;
  facts.pid = facts.parentPid = 1;
  const CkxTargetInfoProcess target(SkxFileFacts(), std::move(facts), nullptr);
  const auto start = [&](uint32_t pid) {
    return KxUtilProcMap_OnProcessStart(pid, 1, 2, longText, longText, longText, 3);
  };
  const auto isFound = [](EkxGetCachedPropRes result) { return result == EkxGetCachedPropRes::Found; };
  struct Out {
    CkxProcessData data;
    CkxUtilStr text;
    CkxUtilStr other;
    EkxPublisherStatus status = EkxPublisherStatus::Unknown;
    SkxProcParamsForNetAccess params;
  };
  const std::pair<const char*, std::function<bool(Out & out)>> entries[] = {
      {"a start", [&](Out&) { return start(2); }},
      {"found", [](Out& out) { return KxUtilProcMap_FindProcessData(1, out.data); }},
      {"found as a parent", [&](Out& out) { return KxUtilProcMap_FindParentProcessData(target, out.data); }},
      {"path", [&](Out& out) { return isFound(KxUtilProcMap_GetImagePathAndCmdLine(1, out.text, out.other)); }},
      {"property set", [&](Out&) { return KxUtilProcMap_SetCachedProp(target, KXW("M"), longText); }},
      {"property", [&](Out& out) { return isFound(KxUtilProcMap_GetCachedProp(target, longText, out.text)); }},
      {"property removed", [&](Out&) { return KxUtilProcMap_RemoveCachedProp(target, longText); }},
      {"publisher set", [&](Out& out) { return KxUtilProcMap_SetPublisher(1, longText, out.status); }},
      {"publisher", [&](Out& out) { return isFound(KxUtilProcMap_GetPublisher(1, out.text, out.status)); }},
      {"file", [&](Out& out) { return KxUtilProcMap_SetProctionHandle(1, &out, longText); }},
      {"for the net", [](Out& out) { return KxUtilProcMap_GetProcParamsForNetAccess(1, out.params); }},
      {"as a text", [](Out& out) { return KxUtilProcMap_GetDump(out.text); }},
  };
  CkxTestProcMapSystem system;
  Sweep(
      "a first start",
      [&](Trial& trial) {
        const CkxRecordedProcMap map(system);
        const CkxProcMapScope scope(map);
        return YesOrNothing(trial.During([&] { return start(1); }));
      },
      1);
  for (const auto& [name, call] : entries) {
    Sweep(
        name,
        [&system, &start, &target, &longText, &call = call](Trial& trial) {
          const CkxRecordedProcMap map(system);
          const CkxProcMapScope scope(map);
          EXPECT_TRUE(start(1) && KxUtilProcMap_SetCachedProp(target, longText, longText) &&
                      KxUtilProcMap_SetPublisher(1, longText, EkxPublisherStatus::Valid));
          Out out;
          return YesOrNothing(trial.During([&] { return call(out); }));
        },
        1);
  }
}

TEST(NoMemory, AProcessTableIsFilledBeforeARecordIsRefused) {
  constexpr uint32_t kSlots = 16;
  std::vector<CkxProcessRecordPtr> records;
  for (uint32_t i = 0; i < kSlots; ++i) records.emplace_back(std::make_unique<SkxProcessRecord>())->data.Pid = 4 * i;
  CkxProcessTable table;
  CkxFailingMemory memory(0, true);
  const bool isRefused = memory.During([&] {
    try {
      for (CkxProcessRecordPtr& record : records) {
        table.Reserve(table.Count() + 1);
        table.Append(std::move(record));
      }
    } catch (const std::bad_alloc&) {
      return true;
    }
    return false;
  });
  EXPECT_TRUE(isRefused);
  EXPECT_EQ(table.Count(), kSlots - 1);
  for (uint32_t i = 0; i < kSlots; ++i) EXPECT_EQ(table.Find(4 * i) != nullptr, i < kSlots - 1) << i;
  table.Reserve(kSlots);
  table.Append(std::move(records.back()));
  for (uint32_t i = 0; i < kSlots; ++i) EXPECT_NE(table.Find(4 * i), nullptr) << i;
}

}  // namespace
