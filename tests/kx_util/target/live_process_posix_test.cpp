// What a process of this machine was started for, and what is said of an image that is gone.
#include <gtest/gtest.h>
#include <kx_util/target_info_process.h>

#include "Common_CPP/util/text.h"
#include "tests/support/stopped_program.h"
#include "tests/support/temp_folder.h"

namespace {

CkxTargetInfoPtr DescribeJava(uint32_t pid) {
  EkxProcessLookup lookup = EkxProcessLookup::Refused;
  return CkxTargetInfoProcess::CreateFromPid(pid, lookup);
}

TEST(LiveProcessPosix, CarriesItsArchive) {
  const CkxTempFolder folder;
  folder.Write("app.jar", "abc");
  std::filesystem::copy_file(std::filesystem::canonical("/bin/sh"), folder.Path() / "java");
  const CkxStoppedProgram java(folder.Text("java"), {"java", "-jar", "app.jar"}, folder.Text("."));
  const CkxTargetInfoPtr target = DescribeJava(java.Pid());
  ASSERT_NE(target, nullptr);
  const auto& carried = dynamic_cast<const CkxTargetInfoFile&>(target->GetEffectiveTarget());
  EXPECT_EQ(KxText_ToUtf8(carried.GetPath()), KxText_ToUtf8(folder.Text("app.jar")));
  EXPECT_EQ(carried.GetFileSize(), 3);

  const CkxStoppedProgram other(KXW("/bin/sh"), {"java", "-jar", "app.jar"}, folder.Text("."));
  const CkxTargetInfoPtr shell = DescribeJava(other.Pid());
  EXPECT_EQ(&shell->GetEffectiveTarget(), shell.get()) << "only calls itself so";
}

TEST(LiveProcessPosix, NothingIsSaidOfAnImageThatIsGone) {
  const CkxTempFolder folder;
  std::filesystem::copy_file(std::filesystem::canonical("/bin/sh"), folder.Path() / "java");
  const CkxStoppedProgram java(folder.Text("java"), {"java", "-jar", "/app.jar"}, folder.Text("."));
  std::filesystem::remove(folder.Path() / "java");
  folder.Write("java", "another one");
  const CkxTargetInfoPtr target = DescribeJava(java.Pid());
  ASSERT_NE(target, nullptr);
  const auto& process = dynamic_cast<const CkxTargetInfoProcess&>(*target);
  EXPECT_EQ(KxText_ToUtf8(process.GetPath()), KxText_ToUtf8(folder.Text("java")));
  EXPECT_EQ(KxText_ToUtf8(process.CommandLine()), "java -jar /app.jar");
  EXPECT_EQ(process.GetFileSize(), -1);
  EXPECT_EQ(process.GetHashStringUsing(KXW("SHA256")), nullptr);
  EXPECT_EQ(&process.GetEffectiveTarget(), &process);
}

}  // namespace
