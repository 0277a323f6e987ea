// What the streams of tests/data/transcripts/procmap.txt cannot show: handles, files, descriptions, and what happens
// before there is a map.
#include <gmock/gmock.h>
#include <kx_util/file_src_process.h>

#include "Common_CPP/util/text.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/recorded_proc_map_system.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

class ProcMap : public testing::Test {
 protected:
  static bool Start(uint32_t pid, uint32_t parentPid = 0) {
    return KxUtilProcMap_OnProcessStart(pid, parentPid, 0, KXW("C:\\a.exe"), {}, {}, 0);
  }
  static std::string Dump() {
    CkxUtilStr text;
    return KxUtilProcMap_GetDump(text) ? KxText_ToUtf8(text.View()) : "none";
  }
  static CkxTargetInfoProcess Described(uint32_t pid, int64_t creationTime, uint32_t parentPid = 0) {
    SkxProcessFacts facts;
    facts.pid = pid;
    facts.creationTime = creationTime;
    facts.parentPid = parentPid;
    return CkxTargetInfoProcess(KxTest_FileAt(KXW("C:\\a.exe")), std::move(facts), nullptr);
  }

  CkxTestProcMapSystem _system;

 private:
  const CkxRecordedProcMap _map{_system};
  const CkxProcMapScope _scope{_map};
};

TEST_F(ProcMap, IsNoneBeforeTheFirstProcess) {
  CkxProcessData data;
  CkxUtilStr text(KXW("before"));
  EXPECT_FALSE(KxUtilProcMap_OnProcessEnd(1));
  EXPECT_FALSE(KxUtilProcMap_UpdateParentInfo(1, 2, 3));
  EXPECT_FALSE(KxUtilProcMap_FindProcessData(1, data));
  EXPECT_FALSE(KxUtilProcMap_FindParentProcessData(Described(1, 0, 2), data));
  EXPECT_FALSE(KxUtilProcMap_MarkAsSetupExe(1));
  EXPECT_EQ(KxUtilProcMap_GetCachedProp(Described(1, 0), KXW("n"), text), EkxGetCachedPropRes::NoProcess);
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_FALSE(KxUtilProcMap_SetProctionHandle(1, this, KXW("f")));
  EXPECT_EQ(_system.closed, 0u) << "it stays the caller's";
  const CkxTempFolder folder;
  const CkxTraceCapture trace;
  EXPECT_FALSE(KxUtilProcMap_Dump(folder.Text("dump.txt")));
  EXPECT_EQ(folder.Count(), 0u);
  EXPECT_THAT(trace.Texts(), ElementsAre());
  EXPECT_EQ(Dump(), "none");
}

TEST_F(ProcMap, IsOfTheThreadWithAScopeAlone) {
  ASSERT_TRUE(Start(0x7FFFFFF1));
  CkxTestProcMapSystem system;
  const CkxRecordedProcMap other(system);
  CkxProcessData data;
  {
    const CkxProcMapScope scope(other);
    EXPECT_FALSE(KxUtilProcMap_FindProcessData(0x7FFFFFF1, data));
  }
  EXPECT_TRUE(KxUtilProcMap_FindProcessData(0x7FFFFFF1, data));
}

TEST_F(ProcMap, TakesTheTimeOfTheCallForAProcessThatIsGone) {
  _system.now = 77;
  ASSERT_TRUE(Start(1));
  _system.creationTime = 78;
  ASSERT_TRUE(Start(2, 1));
  CkxProcessData data;
  ASSERT_TRUE(KxUtilProcMap_FindProcessData(1, data));
  EXPECT_EQ(data.CreationTime, 77);
  EXPECT_EQ(data.ChildCount, 1u);
  EXPECT_FALSE(data.PolicyDataInitialized());
  ASSERT_TRUE(KxUtilProcMap_FindProcessData(2, data));
  EXPECT_EQ(data.CreationTime, 78);
}

TEST_F(ProcMap, ClosesHandlesOnceEach) {
  int some = 0;
  ASSERT_TRUE(Start(1) && Start(2) && Start(3, 1));
  EXPECT_TRUE(KxUtilProcMap_SetProctionHandle(1, &some, KXW("a")));
  EXPECT_TRUE(KxUtilProcMap_SetProctionHandle(2, &some, KXW("b")));
  EXPECT_EQ(_system.closed, 0u);
  EXPECT_TRUE(KxUtilProcMap_SetProctionHandle(2, &some, KXW("c")));
  EXPECT_EQ(_system.closed, 1u) << "replaced";
  EXPECT_FALSE(KxUtilProcMap_FileIsProtected(2, KXW("b")));
  EXPECT_TRUE(KxUtilProcMap_FileIsProtected(2, KXW("C")));
  EXPECT_TRUE(KxUtilProcMap_SetProctionHandle(2, nullptr, KXW("c")));
  EXPECT_EQ(_system.closed, 2u) << "let go";
  EXPECT_FALSE(KxUtilProcMap_FileIsProtected(2, KXW("c"))) << "without a handle";
  EXPECT_TRUE(KxUtilProcMap_OnProcessEnd(2));
  EXPECT_EQ(_system.closed, 2u);
  EXPECT_TRUE(KxUtilProcMap_OnProcessEnd(1));
  EXPECT_EQ(_system.closed, 2u) << "kept with the record, for its child";
  EXPECT_TRUE(KxUtilProcMap_OnProcessEnd(3));
  EXPECT_EQ(_system.closed, 3u);
}

TEST_F(ProcMap, ClosesWhatIsLeftAtItsEnd) {
  {
    const CkxRecordedProcMap other(_system);
    const CkxProcMapScope scope(other);
    ASSERT_TRUE(Start(1) && Start(2, 1));
    EXPECT_TRUE(KxUtilProcMap_SetProctionHandle(1, this, KXW("a")) && KxUtilProcMap_SetProctionHandle(2, this, {}));
    EXPECT_TRUE(KxUtilProcMap_OnProcessEnd(1));
  }
  EXPECT_EQ(_system.closed, 2u);
}

TEST_F(ProcMap, NeverAnswersForWhoeverHadTheNumberBefore) {
  const CkxUtilStr value(KXW("v"));
  CkxUtilStr text;
  bool flag = false;
  _system.creationTime = 10;
  ASSERT_TRUE(Start(5));
  EXPECT_TRUE(KxUtilProcMap_SetCachedProp(Described(5, 10), KXW("n"), value.View()));
  EXPECT_TRUE(KxUtilProcMap_SetRestrDlgFlag(5, EkxRestrictedAccessTargetType{0}));
  EXPECT_TRUE(KxUtilProcMap_MarkAsSetupExe(5));
  _system.creationTime = 20;
  ASSERT_TRUE(Start(5));  // nobody told of the end
  for (const int64_t time : {0, 20}) {
    EXPECT_EQ(KxUtilProcMap_GetCachedProp(Described(5, time), KXW("n"), text), EkxGetCachedPropRes::NotStored);
  }
  EXPECT_EQ(KxUtilProcMap_GetCachedProp(Described(5, 10), KXW("n"), text), EkxGetCachedPropRes::NoProcess);
  EXPECT_FALSE(KxUtilProcMap_SetCachedProp(Described(5, 10), KXW("n"), value.View()));
  EXPECT_FALSE(KxUtilProcMap_SetEmptyCachedProp(Described(5, 10), KXW("n")));
  EXPECT_FALSE(KxUtilProcMap_RemoveCachedProp(Described(5, 10), KXW("n")));
  EXPECT_TRUE(KxUtilProcMap_GetRestrDlgFlag(5, EkxRestrictedAccessTargetType{0}, flag) && !flag);
  EXPECT_TRUE(KxUtilProcMap_IsSetupExe(5, flag) && !flag);

  CkxProcessData data;
  EXPECT_FALSE(KxUtilProcMap_FindParentProcessData(Described(6, 15, 5), data)) << "younger than the child";
  EXPECT_TRUE(KxUtilProcMap_FindParentProcessData(Described(6, 20, 5), data));
}

TEST_F(ProcMap, LeavesCountsSaneWhateverIsToldTwice) {
  const CkxTraceCapture trace;
  _system.creationTime = 10;
  ASSERT_TRUE(Start(1) && Start(2, 1) && Start(1));  // the first one is kept for its child
  EXPECT_THAT(Dump(), testing::HasSubstr("** 1 exited"));
  EXPECT_TRUE(KxUtilProcMap_OnProcessEnd(2));
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR KxUtilProcMap: ERROR: Zero childCount."));
  EXPECT_FALSE(KxUtilProcMap_OnProcessEnd(2));
  EXPECT_TRUE(KxUtilProcMap_OnProcessEnd(1));
  EXPECT_THAT(Dump(), testing::AllOf(testing::HasSubstr("** 0 running"), testing::HasSubstr("** 0 exited")));
}

TEST_F(ProcMap, DumpsIntoTheFileThatIsNamed) {
  ASSERT_TRUE(Start(1));
  const CkxTempFolder folder;
  folder.Write("dump.txt", "before");
  ASSERT_TRUE(KxUtilProcMap_Dump(folder.Text("dump.txt")));
  EXPECT_EQ(folder.Read("dump.txt"), Dump());
  EXPECT_THAT(folder.Read("dump.txt"),
              StartsWith("*** Process Map start ***\r\n ** 1 running processes. **\r\n  ** PID"));
  EXPECT_THAT(folder.Read("dump.txt"), EndsWith("\r\n\r\n ** 0 exited processes. **\r\n*** Process Map end ***\r\n"));

  const CkxTraceCapture trace;
  const KxWString nowhere = folder.Text("none/dump.txt");
  EXPECT_FALSE(KxUtilProcMap_Dump(nowhere));
  const std::string line = "KXT_ERROR KxUtilProcMap_Dump: ERROR: Failed to open file [" + KxText_ToUtf8(nowhere) +
                           "] for writing. hr=0x8007000";  // no such file, or no such folder
  EXPECT_THAT(trace.Texts(), ElementsAre(StartsWith(line)));
  EXPECT_FALSE(KxUtilProcMap_Dump({}));
}

TEST_F(ProcMap, KnowsWhichProcessesInstall) {
  SkxProcessFacts facts;
  facts.pid = 9;
  const CkxTargetInfoProcess installer(KxTest_FileAt(KXW("C:\\Windows\\msiexec.exe")), facts, nullptr);
  const CkxTargetInfoProcess other(KxTest_FileAt(KXW("C:\\a.exe")), facts, nullptr);
  EXPECT_TRUE(CkxFileSrcProcess::IsSetupExe(9, installer)) << "no map";
  ASSERT_TRUE(Start(8));
  EXPECT_TRUE(CkxFileSrcProcess::IsSetupExe(9, installer)) << "none that the map knows";
  EXPECT_FALSE(CkxFileSrcProcess::IsSetupExe(9, other));
  ASSERT_TRUE(Start(9));
  EXPECT_FALSE(CkxFileSrcProcess::IsSetupExe(9, installer)) << "what the map says counts";
  EXPECT_TRUE(KxUtilProcMap_MarkAsSetupExe(9));
  EXPECT_TRUE(CkxFileSrcProcess::IsSetupExe(9, other));
}

}  // namespace
