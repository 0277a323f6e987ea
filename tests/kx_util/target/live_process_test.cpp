// Processes of this machine, described.
#include <gtest/gtest.h>
#include <kx_util/target_info_process.h>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/process/process.h"
#include "Common_CPP/util/text.h"
#include "tests/support/process_resources.h"
#include "tests/support/stopped_program.h"
#include "tests/support/temp_folder.h"

namespace {

CkxTargetInfoPtr Describe(uint32_t pid, void* userToken = nullptr) {
  EkxProcessLookup lookup = EkxProcessLookup::Refused;
  CkxTargetInfoPtr target = CkxTargetInfoProcess::CreateFromPid(pid, lookup, userToken);
  EXPECT_EQ(target != nullptr, lookup == EkxProcessLookup::Found);
  return target;
}

const CkxTargetInfoProcess& AsProcess(const CkxTargetInfoPtr& target) {
  return dynamic_cast<const CkxTargetInfoProcess&>(*target);
}

SkxProcess Look(uint32_t pid) {
  std::vector<SkxProcess> chain;
  EXPECT_EQ(KxProcess_ReadChain(pid, 64, chain), EkxProcessLookup::Found);
  return chain.at(0);
}

TEST(LiveProcess, IsItsImageWithItsParents) {
  const SkxProcess own = Look(KxTest_ProcessId());
  const CkxTargetInfoPtr target = Describe(KxTest_ProcessId());
  ASSERT_NE(target, nullptr);
  const CkxTargetInfoProcess& process = AsProcess(target);
  const CkxTargetInfoFile file(own.image.c_str(), nullptr);
  EXPECT_EQ(process.Pid(), own.pid);
  EXPECT_EQ(process.TargetType(), EkxPolicyTarget::Executable);
  EXPECT_EQ(KxText_ToUtf8(process.GetPath()), KxText_ToUtf8(own.image));
  EXPECT_EQ(KxText_ToUtf8(process.CommandLine()), KxText_ToUtf8(own.commandLine));
  EXPECT_GT(process.GetFileSize(), 0);
  EXPECT_EQ(process.GetFileSize(), file.GetFileSize());
  EXPECT_EQ(KxText_ToUtf8(process.GetHashStringUsing(KXW("SHA1"))),
            KxText_ToUtf8(file.GetHashStringUsing(KXW("SHA1"))));
  EXPECT_EQ(KxToken_User(process.UserToken())->ToUtf8(), KxToken_User(nullptr)->ToUtf8());
  EXPECT_EQ(&process.GetEffectiveTarget(), &process);
}

TEST(LiveProcess, RunsForWhomeverTheCallerSays) {
  const CkxStoppedProgram child(Look(KxTest_ProcessId()).image, {"child"}, CkxTempFolder().Text(".."));
  CkxAccessToken someone(*CkxSid::FromUtf8("S-1-5-21-1-2-3-4"), {}, false);
  const CkxTargetInfoPtr target = Describe(child.Pid(), someone.Handle());
  ASSERT_NE(target, nullptr);
  EXPECT_EQ(target->UserToken(), someone.Handle());
  const CkxTargetInfo* const parent = AsProcess(target).Parent();
  ASSERT_NE(parent, nullptr);
  EXPECT_EQ(dynamic_cast<const CkxTargetInfoProcess&>(*parent).Pid(), KxTest_ProcessId());
  EXPECT_EQ(KxToken_User(parent->UserToken())->ToUtf8(), KxToken_User(nullptr)->ToUtf8());
}

TEST(LiveProcess, IsNoneWhenThereIsNone) {
  EkxProcessLookup lookup = EkxProcessLookup::Found;
  EXPECT_EQ(CkxTargetInfoProcess::CreateFromPid(0, lookup), nullptr);
  EXPECT_EQ(lookup, EkxProcessLookup::NoSuchProcess);
}

TEST(LiveProcess, LeavesNothingOpen) {
  Describe(KxTest_ProcessId());
  const size_t before = KxTest_OpenHandles();
  for (int i = 0; i < 20; ++i) Describe(KxTest_ProcessId());
  EXPECT_EQ(KxTest_OpenHandles(), before);
}

}  // namespace
