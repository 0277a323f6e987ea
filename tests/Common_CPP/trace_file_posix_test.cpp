// Whose a file of the trace may be, where the system has owners and modes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Common_CPP/file/trace_file.h"
#include "tests/support/temp_folder.h"

namespace {

class TraceFilePosix : public testing::Test {
 protected:
  std::string Path() const { return (_folder.Path() / "log").string(); }
  bool Opens() const { return CkxTraceFile::Open(_folder.Text("log"), EkxTraceLevel::Info) != nullptr; }
  const CkxTempFolder _folder;
};

TEST_F(TraceFilePosix, ANewOneIsItsMakersAlone) {
  const mode_t before = umask(0);
  const bool opens = Opens();
  umask(before);
  ASSERT_TRUE(opens);
  struct stat status {};
  ASSERT_EQ(stat(Path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(TraceFilePosix, OneThatOthersMayWriteIsRefused) {
  _folder.Write("log", "");
  const struct {
    mode_t mode;
    bool opens;
  } kCases[] = {{0600, true}, {0644, true}, {0620, false}, {0602, false}, {0666, false}};
  for (const auto& c : kCases) {
    ASSERT_EQ(chmod(Path().c_str(), c.mode), 0);
    EXPECT_EQ(Opens(), c.opens) << std::oct << c.mode;
  }
  if (geteuid() != 0) return;  // only root can give a file away
  ASSERT_EQ(chmod(Path().c_str(), 0600), 0);
  ASSERT_EQ(chown(Path().c_str(), 65534, 65534), 0);
  EXPECT_FALSE(Opens()) << "somebody else's";
}

TEST_F(TraceFilePosix, ALinkAndAPipeAreNoFiles) {
  _folder.Write("other", "");
  ASSERT_EQ(symlink("other", Path().c_str()), 0);
  EXPECT_FALSE(Opens());
  ASSERT_EQ(unlink(Path().c_str()), 0);
  ASSERT_EQ(symlink("not there", Path().c_str()), 0);
  EXPECT_FALSE(Opens());
  EXPECT_FALSE(std::filesystem::exists(_folder.Path() / "not there"));
  ASSERT_EQ(unlink(Path().c_str()), 0);
  ASSERT_EQ(mkfifo(Path().c_str(), 0600), 0);
  EXPECT_FALSE(Opens());
  const int reader = open(Path().c_str(), O_RDONLY | O_NONBLOCK);
  EXPECT_FALSE(Opens()) << "also where somebody reads the pipe";
  close(reader);
}

}  // namespace
