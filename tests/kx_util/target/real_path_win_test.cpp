// A program that is started by another name is the same program.
#include <kx_util/target_info_file.h>

#include <gtest/gtest.h>

#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/text.h"
#include "tests/support/temp_folder.h"

namespace {

TEST(RealPathWin, IsTheLongNameWithoutItsPrefix) {
  const CkxTempFolder folder;
  std::filesystem::create_directory(folder.Path() / "A folder of programs");
  folder.Write("A folder of programs/a game of cards.exe", "abc");
  const KxWString path = (folder.Path() / "A folder of programs" / "a game of cards.exe").make_preferred().native();
  wchar_t shortPath[MAX_PATH];
  const DWORD units = GetShortPathNameW(path.c_str(), shortPath, MAX_PATH);
  ASSERT_TRUE(units > 0 && units < MAX_PATH);
  ASSERT_NE(KxWString(shortPath).find(L'~'), KxWString::npos);
  const std::string fileName = "a game of cards.exe";
  for (const KxWString& name : {path, KxWString(shortPath), L"\\\\?\\" + KxWString(shortPath)}) {
    const CkxTargetInfoFile file(name.c_str(), nullptr);
    EXPECT_EQ(file.TargetType(), EkxPolicyTarget::Executable);
    const std::string real = KxText_ToUtf8(file.GetPath());
    EXPECT_TRUE(real.ends_with("\\A folder of programs\\" + fileName)) << real;
    EXPECT_EQ(real.substr(1, 2), ":\\") << real;
  }
}

}  // namespace
