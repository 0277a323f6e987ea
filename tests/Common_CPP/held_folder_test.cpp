#include "Common_CPP/file/held_folder.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "Common_CPP/file/file_lock.h"
#include "tests/support/temp_folder.h"

namespace {

std::string ContentOf(const CkxHeldFolder& folder, const WCHAR* name) {
  CkxFileReader file;
  if (!folder.OpenFile(name, file)) return "none";
  const auto bytes = KxFile_ReadAll(file, 100);
  return bytes ? std::string(bytes->begin(), bytes->end()) : "too large";
}

class HeldFolder : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* const name : {"a", "b"}) {
      std::filesystem::create_directory(temp.Path() / name);
      temp.Write(std::filesystem::path(name) / "which", name);
    }
    temp.Write("a/large", std::string(101, 'x'));
    std::filesystem::create_directory(temp.Path() / "a" / "sub");
  }
  const CkxTempFolder temp;
};

TEST_F(HeldFolder, IsReadWhateverTakesItsPlace) {
  CkxHeldFolder folder;
  ASSERT_TRUE(folder.Open(temp.Text("a")));
  EXPECT_TRUE(folder.IsAt(temp.Text("a")));
  std::filesystem::rename(temp.Path() / "a", temp.Path() / "gone");
  EXPECT_FALSE(folder.IsAt(temp.Text("a"))) << "nothing is there";
  std::filesystem::rename(temp.Path() / "b", temp.Path() / "a");
  EXPECT_FALSE(folder.IsAt(temp.Text("a"))) << "another one is there";
  EXPECT_TRUE(folder.IsAt(temp.Text("gone")));
  EXPECT_EQ(ContentOf(folder, KXW("which")), "a");

  auto names = folder.Names().value();
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<KxWString>{KXW("large"), KXW("sub"), KXW("which")}));
  EXPECT_EQ(folder.Names().value().size(), 3u) << "from the start, each time";
}

TEST_F(HeldFolder, RefusesWhatIsNoFolderOrNoFile) {
  CkxHeldFolder folder;
  EXPECT_FALSE(folder.Open(temp.Text("none")));
  EXPECT_FALSE(folder.Open(temp.Text("a/which")));
  ASSERT_TRUE(folder.Open(temp.Text("a")));
  EXPECT_EQ(ContentOf(folder, KXW("none")), "none");
  EXPECT_EQ(ContentOf(folder, KXW("sub")), "none");
  EXPECT_EQ(ContentOf(folder, KXW("large")), "too large");
}

TEST_F(HeldFolder, ExchangesTwoOrChangesNothing) {
  const bool exchanged = KxFolder_Exchange(temp.Text("a"), temp.Text("b"));
  EXPECT_EQ(temp.Read("a/which"), exchanged ? "b" : "a");
  EXPECT_EQ(temp.Read("b/which"), exchanged ? "a" : "b");
  EXPECT_FALSE(KxFolder_Exchange(temp.Text("a"), temp.Text("none")));
}

TEST_F(HeldFolder, ALockHasOneHolder) {
  CkxFileLock first;
  CkxFileLock second;
  ASSERT_TRUE(first.Acquire(temp.Text("lock")));
  EXPECT_FALSE(second.Acquire(temp.Text("lock")));
  first.Release();
  EXPECT_TRUE(second.Acquire(temp.Text("lock")));
  EXPECT_FALSE(first.Acquire(temp.Text("none/lock")));
}

}  // namespace
