// Files of secrets that others can read, where files have modes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/kxpolicy/run_tool.h"

namespace {

TEST(SecretInput, OfOthersIsNone) {
  const CkxTempFolder folder;
  folder.Write("secret", std::string(16, 'k'));
  const std::string path = KxTest_PathText(folder.Path() / "secret");
  for (const char* const option : {"--key-file", "--pass-phrase-file"}) {
    for (const mode_t mode : {0640u, 0604u, 0440u, 0600u, 0400u, 0622u}) {
      ASSERT_EQ(chmod(path.c_str(), mode), 0);
      const SkxToolRun run = KxTest_RunTool({"origin", "sign", option, path});
      const bool othersRead = (mode & 044) != 0;
      EXPECT_EQ(run.code, othersRead ? 2 : 0) << mode;
      EXPECT_EQ(run.err, othersRead ? "kxpolicy: " + path + ": is no file that its owner alone can read\n" : "");
    }
  }
}

}  // namespace
