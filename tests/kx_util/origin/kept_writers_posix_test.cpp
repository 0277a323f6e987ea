// Two processes that keep records with one file: who reads finds one of them, whole.
#include <gtest/gtest.h>
#include <kx_util/supplemental_file_data.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/ea_folder.h"
#include "tests/support/secret_scope.h"
#include "tests/support/temp_folder.h"

namespace {

using Data = CkxSupplementalFileData;

/// Of many bytes, so that a mixture would show.
CkxFileOrigin LongOriginOfTime(uint64_t time) {
  CkxFileOrigin origin;
  origin.Installer().InstallTime() = time;
  SkxFileSrcProcessFacts facts;
  facts.arguments = KxWString(20000, time == 1 ? KXW('a') : KXW('b'));
  origin.Installer().Processes().emplace_back(std::move(facts));
  return origin;
}

bool WriteManyTimes(const KxWString& path, uint64_t time) {
  const Data data(LongOriginOfTime(time));
  for (int i = 0; i < 200; ++i) {
    if (!data.ToFile(path.c_str())) return false;
  }
  return true;
}

TEST(KeptWriters, AreNeverMixed) {
  const auto parent = KxTest_EaFolder();
  if (!parent) GTEST_SKIP() << "no file system here keeps attributes of 64 KiB";
  const CkxTempFolder folder(*parent);
  const CkxSecretScope secrets;
  const KxWString path = folder.Write("file", "content");
  ASSERT_TRUE(Data(LongOriginOfTime(1)).ToFile(path.c_str()));

  pid_t writers[2];
  for (uint64_t time = 1; time <= 2; ++time) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(WriteManyTimes(path, time) ? 0 : 1);
    writers[time - 1] = child;
  }
  size_t seen[3] = {};
  for (int left = 2; left != 0;) {
    Data data;
    ASSERT_TRUE(data.FromFile(path.c_str()));
    const uint64_t time = data.Origin().Installer().InstallTime();
    ASSERT_TRUE(time == 1 || time == 2);
    std::string read, whole;
    ASSERT_TRUE(data.Origin().ToXml(read, false) && LongOriginOfTime(time).ToXml(whole, false));
    ASSERT_EQ(read, whole);
    ++seen[time];
    int status = 0;
    const pid_t ended = waitpid(-1, &status, WNOHANG);
    if (ended != writers[0] && ended != writers[1]) continue;
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    --left;
  }
  EXPECT_GT(seen[1] + seen[2], 10u);
}

}  // namespace
