// Processes as every system tells of them: this one.
#include "Common_CPP/process/process.h"

#include <gtest/gtest.h>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/process_resources.h"
#include "tests/support/stopped_program.h"

namespace {

TEST(Process, TellsOfThisOne) {
  std::vector<SkxProcess> chain;
  ASSERT_EQ(KxProcess_ReadChain(KxTest_ProcessId(), 64, chain), EkxProcessLookup::Found);
  const SkxProcess& own = chain.front();
  EXPECT_EQ(own.pid, KxTest_ProcessId());
  EXPECT_TRUE(own.isImageAtPath);
  EXPECT_TRUE(KxFile_Status(own.image)) << KxText_ToUtf8(own.image);
  EXPECT_NE(KxText_ToUtf8(own.image).find("common_test"), std::string::npos);
  EXPECT_NE(KxText_ToUtf8(own.commandLine).find("common_test"), std::string::npos);
  EXPECT_EQ(KxProcess_FullPath(own.currentFolder, KXW("x")), KxFile_FullPath(KXW("x")));
  ASSERT_NE(own.user, nullptr);
  EXPECT_EQ(KxToken_User(own.user.get()).value_or(CkxSid()).ToUtf8(), KxToken_User(nullptr)->ToUtf8());
  EXPECT_EQ(KxToken_IsAdministrator(own.user.get()), KxToken_IsAdministrator(nullptr));

  constexpr int64_t kHour = int64_t{3600} * 10000000;
  EXPECT_LE(own.creationTime, KxFileTime_Now());
  EXPECT_GT(own.creationTime, KxFileTime_Now() - kHour);
  for (size_t i = 1; i < chain.size(); ++i) {
    EXPECT_EQ(chain[i].pid, chain[i - 1].parentPid);
    EXPECT_LE(chain[i].creationTime, chain[i - 1].creationTime);
  }
}

TEST(Process, IsToldFromOthersThatHaveItsNumber) {
  SkxProcessId own;
  ASSERT_EQ(KxProcess_Identify(KxTest_ProcessId(), own), EkxProcessLookup::Found);
  std::vector<SkxProcess> chain;
  ASSERT_EQ(KxProcess_ReadChain(KxTest_ProcessId(), 64, chain), EkxProcessLookup::Found);
  EXPECT_EQ(chain.front().Id(), own);
  EXPECT_EQ(KxProcess_Find(own), EkxProcessLookup::Found);
  const SkxProcessId earlier = {own.pid, own.creationTime - 1};
  EXPECT_FALSE(earlier == own);
  EXPECT_EQ(KxProcess_Find(earlier), EkxProcessLookup::NoSuchProcess);

  SkxProcessId none = earlier;
  EXPECT_EQ(KxProcess_Identify(0x7FFFFFF0, none), EkxProcessLookup::NoSuchProcess);
  EXPECT_EQ(none, earlier);
  const CkxStoppedProgram child(chain.front().image, {"child"}, KxFile_FullPath(KXW(".")).value());
  ASSERT_EQ(KxProcess_Identify(child.Pid(), none), EkxProcessLookup::Found);
  EXPECT_GE(none.creationTime, own.creationTime);
  EXPECT_EQ(KxProcess_Find(none), EkxProcessLookup::Found);
  child.End();
  EXPECT_EQ(KxProcess_Find(none), EkxProcessLookup::NoSuchProcess) << "though what remains of it has the number yet";
}

TEST(Process, IsInTheSessionOfItsToken) {
  std::vector<SkxProcess> chain;
  ASSERT_EQ(KxProcess_ReadChain(KxTest_ProcessId(), 64, chain), EkxProcessLookup::Found);
  EXPECT_EQ(KxToken_Session(nullptr), chain.front().session);
  CkxAccessToken recorded(CkxSid(), {}, false);
  EXPECT_EQ(KxToken_Session(recorded.Handle()), std::nullopt);
}

TEST(Process, IsNoneOrRefused) {
  std::vector<SkxProcess> chain(7);
  EXPECT_EQ(KxProcess_ReadChain(0, 64, chain), EkxProcessLookup::NoSuchProcess);
  EXPECT_EQ(KxProcess_ReadChain(0x7FFFFFF0, 64, chain), EkxProcessLookup::NoSuchProcess);
  EXPECT_EQ(chain.size(), 7u);

  std::vector<SkxProcess> whole;
  ASSERT_EQ(KxProcess_ReadChain(KxTest_ProcessId(), 64, whole), EkxProcessLookup::Found);
  if (whole.size() < 2) GTEST_SKIP() << "nobody is known to have started this process";
  EXPECT_EQ(KxProcess_ReadChain(KxTest_ProcessId(), whole.size() - 2, chain), EkxProcessLookup::Refused)
      << "an ancestor more than may be";
  EXPECT_EQ(chain.size(), 7u);
  EXPECT_EQ(KxProcess_ReadChain(KxTest_ProcessId(), whole.size() - 1, chain), EkxProcessLookup::Found);
  EXPECT_EQ(chain.size(), whole.size());
}

TEST(Process, ResolvesPathsInItsFolder) {
  KxTest_ForRows<std::optional<KxWString>, KxWString, std::optional<std::string>>(
      "path/of_processes.txt", [](const auto& folder, const auto& path, const auto& expected) {
        const std::optional<KxWString> full = KxProcess_FullPath(folder, path);
        EXPECT_EQ(full ? std::optional(KxText_ToUtf8(*full)) : std::nullopt, expected);
      });
}

}  // namespace
