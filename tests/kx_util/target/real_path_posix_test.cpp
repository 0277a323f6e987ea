// A program that is started by another name is the same program.
#include <kx_util/target_info_file.h>

#include <gtest/gtest.h>

#include "Common_CPP/util/text.h"
#include "tests/support/temp_folder.h"

namespace {

TEST(RealPathPosix, LeadsThroughLinksToTheFile) {
  const CkxTempFolder folder;
  std::filesystem::create_directory(folder.Path() / "Tools");
  folder.Write("Tools/game.exe", "abc");
  std::filesystem::create_directory_symlink("Tools", folder.Path() / "Safe");
  std::filesystem::create_symlink("Tools/game.exe", folder.Path() / "notes.txt");
  const std::string real = std::filesystem::canonical(folder.Path() / "Tools/game.exe");
  for (const char* name : {"Tools/game.exe", "Safe/game.exe", "notes.txt", "Safe/../Safe/game.exe"}) {
    const CkxTargetInfoFile file(folder.Text(name).c_str(), nullptr);
    EXPECT_EQ(file.TargetType(), EkxPolicyTarget::Executable) << name;
    EXPECT_EQ(KxText_ToUtf8(file.GetPath()), real) << name;
  }
}

TEST(RealPathPosix, IsThePathAsGivenWhereThereIsNoSuchFile) {
  const CkxTempFolder folder;
  std::filesystem::create_directory(folder.Path() / "Tools");
  std::filesystem::create_directory_symlink("Tools", folder.Path() / "Safe");
  for (const char* name : {"Safe/missing.exe", "Safe"}) {
    const KxWString path = folder.Text(name);
    EXPECT_EQ(KxWString(CkxTargetInfoFile(path.c_str(), nullptr).GetPath()), path);
  }
}

}  // namespace
