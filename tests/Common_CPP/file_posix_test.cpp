// What only POSIX files have: modes, pipes and names of users.
#include <pwd.h>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "tests/support/mode_posix.h"
#include "tests/support/temp_folder.h"

namespace {

TEST(FilePosix, AReplacedFileKeepsItsMode) {
  const CkxTempFolder folder;
  const std::vector<unsigned char> bytes(3);
  const mode_t before = umask(027);
  EXPECT_TRUE(KxFile_ReplaceAll(folder.Text("new"), bytes));
  umask(before);
  EXPECT_EQ(KxTest_ModeOf(folder.Path() / "new"), 0640u);

  for (const mode_t mode : {0600u, 0444u, 0666u}) {
    ASSERT_EQ(chmod((folder.Path() / "new").c_str(), mode), 0);
    EXPECT_TRUE(KxFile_ReplaceAll(folder.Text("new"), bytes));
    EXPECT_EQ(KxTest_ModeOf(folder.Path() / "new"), mode);
  }
}

TEST(FilePosix, APipeIsRefusedWithoutWaitingForItsWriter) {
  const CkxTempFolder folder;
  ASSERT_EQ(mkfifo((folder.Path() / "pipe").c_str(), 0600), 0);
  CkxFileReader reader;
  for (const KxWString& path : {folder.Text("pipe"), KxWString(KXW("/dev/zero"))}) {
    EXPECT_FALSE(reader.Open(path));
    EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
    EXPECT_FALSE(reader.OpenForFacts(path));
    EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  }
}

TEST(FilePosix, AFileWithoutASizeIsReadToItsEnd) {
  const std::optional<std::vector<unsigned char>> bytes = KxFile_ReadAll(KXW("/proc/self/status"), 1024 * 1024);
  ASSERT_TRUE(bytes);
  EXPECT_EQ(std::string(bytes->begin(), bytes->end()).substr(0, 5), "Name:");
}

TEST(FilePosix, UsersHaveNames) {
  EXPECT_EQ(KxText_ToUtf8(KxSid_AccountName(*CkxSid::FromUtf8("S-1-22-1-0"))), "NT AUTHORITY\\SYSTEM");
  const passwd* user = getpwnam("daemon");
  ASSERT_NE(user, nullptr);
  const std::string sid = "S-1-22-1-" + std::to_string(user->pw_uid);
  EXPECT_EQ(KxText_ToUtf8(KxSid_AccountName(*CkxSid::FromUtf8(sid))), "Unix User\\daemon");
}

}  // namespace
