// A disk that is full while an e-mail is written: what was there stays.
#include <gmock/gmock.h>
#include <kx_util/src_email_data.h>
#include <sys/resource.h>

#include <csignal>

#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"

namespace {

/// Files do not grow beyond `bytes` meanwhile.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : _handler(std::signal(SIGXFSZ, SIG_IGN)) {
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &_before), 0);
    const rlimit limit = {bytes, _before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  ~FileSizeLimit() {
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &_before), 0);
    std::signal(SIGXFSZ, _handler);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  void (*const _handler)(int);
  rlimit _before{};
};

TEST(SrcEmailData, IsWrittenWholeOrNotAtAll) {
  const CkxTempFolder folder;
  const KxWString path = folder.Text("setup.exe");
  CkxSrcEmailData email;
  email.senderAddress = KXW("a@b.example");
  ASSERT_TRUE(email.ToFile(path.c_str())) << "the tests are their own agent";
  const std::string before = folder.Read("setup.exe.kxsrc");
  email.subject = KXW("About");
  for (const size_t limit : {size_t{0}, size_t{1}, before.size()}) {
    const CkxTraceCapture trace;
    {
      const FileSizeLimit full(limit);
      EXPECT_FALSE(email.ToFile(path.c_str()));
    }
    const char* const said =
        limit == 0 ? "ERROR: Failed to write data to sender info file." : "ERROR: Sender info written partially.";
    ASSERT_EQ(trace.Lines().size(), 1u);
    EXPECT_THAT(trace.Lines()[0].message, testing::StartsWith(said));
    EXPECT_EQ(folder.Read("setup.exe.kxsrc"), before);
    EXPECT_EQ(folder.Count(), 1u) << "nothing is left beside it";
  }
}

}  // namespace
