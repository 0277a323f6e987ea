// The map of this process, told of real processes and asked about them.
#include <gtest/gtest.h>
#include <kx_util/proc_map.h>

#include "Common_CPP/file/file.h"
#include "Common_CPP/process/process.h"
#include "Common_CPP/util/own_ids.h"
#include "tests/support/process_resources.h"
#include "tests/support/stopped_program.h"

namespace {

SkxProcessId IdentityOf(uint32_t pid) {
  SkxProcessId id;
  EXPECT_EQ(KxProcess_Identify(pid, id), EkxProcessLookup::Found);
  return id;
}

KxWString OwnProgram() {
  std::vector<SkxProcess> chain;
  EXPECT_EQ(KxProcess_ReadChain(KxTest_ProcessId(), 64, chain), EkxProcessLookup::Found);
  return chain.at(0).image;
}

TEST(ProcMapLive, FollowsProcessesAsTheyComeAndGo) {
  const uint32_t own = KxTest_ProcessId();
  const KxWString program = OwnProgram();
  const CkxStoppedProgram child(program, {"child"}, KxFile_FullPath(KXW(".")).value());
  ASSERT_TRUE(KxUtilProcMap_OnProcessStart(own, 0, 0, program, {}, {}, 0));
  ASSERT_TRUE(KxUtilProcMap_OnProcessStart(child.Pid(), own, 0, program, {}, KXW("child"), 0));

  CkxProcessData data;
  ASSERT_TRUE(KxUtilProcMap_FindProcessData(child.Pid(), data));
  EXPECT_EQ(data.CreationTime, IdentityOf(child.Pid()).creationTime);
  EXPECT_EQ(data.ParentCreationTime, IdentityOf(own).creationTime);
  EXPECT_EQ(data.ParentPidReal, 0u);
  const auto thread = static_cast<uint32_t>(KxOwn_ThreadId());
  ASSERT_TRUE(KxUtilProcMap_UpdateParentInfo(child.Pid(), own, thread));
  ASSERT_TRUE(KxUtilProcMap_FindProcessData(child.Pid(), data));
  EXPECT_EQ(data.ParentPidReal, own);
  EXPECT_TRUE(data.ParentSvcName.IsEmpty());
  ASSERT_TRUE(KxUtilProcMap_UpdateParentInfo(child.Pid(), own, 0x7FFFFFF0));
  ASSERT_TRUE(KxUtilProcMap_FindProcessData(child.Pid(), data));
  EXPECT_EQ(data.ParentPidReal, 0u) << "no such thread";

  EkxProcessLookup lookup = EkxProcessLookup::Refused;
  const CkxTargetInfoPtr target = CkxTargetInfoProcess::CreateFromPid(child.Pid(), lookup);
  ASSERT_EQ(lookup, EkxProcessLookup::Found);
  const auto& described = dynamic_cast<const CkxTargetInfoProcess&>(*target);
  EXPECT_EQ(described.CreationTime(), data.CreationTime);
  CkxProcessData parent;
  ASSERT_TRUE(KxUtilProcMap_FindParentProcessData(described, parent));
  EXPECT_EQ(parent.Pid, own);
  EXPECT_EQ(parent.ChildCount, 1u);
  EXPECT_TRUE(KxUtilProcMap_SetCachedProp(described, KXW("seen"), KXW("yes")));

  ASSERT_TRUE(KxUtilProcMap_OnProcessEnd(own));
  EXPECT_FALSE(KxUtilProcMap_FindProcessData(own, parent));
  ASSERT_TRUE(KxUtilProcMap_FindParentProcessData(described, parent)) << "kept for its child";
  EXPECT_GE(parent.ExitTime, parent.CreationTime);
  child.End();
  ASSERT_TRUE(KxUtilProcMap_OnProcessEnd(child.Pid()));
  EXPECT_FALSE(KxUtilProcMap_FindParentProcessData(described, parent));
  EXPECT_FALSE(KxUtilProcMap_FindProcessData(child.Pid(), data));
}

TEST(ProcMapLive, TellsTheThreadsOfAProcess) {
  EXPECT_EQ(KxProcess_OfThread(static_cast<uint32_t>(KxOwn_ThreadId())), KxTest_ProcessId());
  EXPECT_EQ(KxProcess_OfThread(0), std::nullopt);
}

}  // namespace
