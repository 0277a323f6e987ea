#include "Common_CPP/util/trace.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/last_error.h"
#include "tests/support/trace_capture.h"

namespace {

/// Spoils the last error as a sink that writes to a file would.
class SpoilingSink : public CkxTraceCapture {
 public:
  void Write(const SkxTraceLine& line) noexcept override {
    CkxTraceCapture::Write(line);
    KxLastError_Set(kKxErrorGenFailure);
    errno = EIO;
  }
};

TEST(Trace, PutsPiecesTogether) {
  CkxTraceCapture sink;
  KxTrace(EkxTraceLevel::Error, "KxUtil_MatchStr", "ERROR: Unexpected compareAs value ", uint16_t{6});
  KxTrace(EkxTraceLevel::Debug, "Scope", "[", KXW("\u00E9"), "], ", CkxTextView(), int64_t{-1}, " ", std::string("s"));
  KxTraceAs(EkxTraceLevel::Info, EkxTraceVariant::Redirected, "Scope", "redirected");
  KxTraceAs(EkxTraceLevel::Verbose, EkxTraceVariant::Flashback, "Scope");
  EXPECT_THAT(sink.Texts(),
              testing::ElementsAre("KXT_ERROR KxUtil_MatchStr: ERROR: Unexpected compareAs value 6",
                                   "KXT_DEBUG Scope: [\xC3\xA9], -1 s", "KXT_INFO_REDIRECTED Scope: redirected",
                                   "KXT_VERBOSE_FLASHBACK Scope: "));
}

TEST(Trace, LeavesTheLastErrorAsItWas) {
  SpoilingSink sink;
  KxLastError_Set(kKxErrorAccessDenied);
  errno = ENOENT;
  KxTrace(EkxTraceLevel::Error, "Scope", "ERROR: ", 1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  EXPECT_EQ(sink.Lines().size(), 1u);
}

TEST(Trace, SinksAreExchanged) {
  CkxTraceCapture outer;
  {
    CkxTraceCapture inner;
    KxTrace(EkxTraceLevel::Info, "Scope", "inner");
    EXPECT_EQ(inner.Lines().size(), 1u);
  }
  KxTrace(EkxTraceLevel::Info, "Scope", "outer");
  EXPECT_EQ(outer.Texts(), std::vector<std::string>{"KXT_INFO Scope: outer"});

  EXPECT_EQ(KxTrace_SetSink(nullptr), &outer);
  KxTrace(EkxTraceLevel::Info, "Scope", "nobody listens");
  EXPECT_EQ(outer.Lines().size(), 1u);
}

void TraceThreeLevels() {
  KxTrace(EkxTraceLevel::Error, "Scope", "first");
  KxTrace(EkxTraceLevel::Info, "Scope", "second");
  KxTrace(EkxTraceLevel::Debug, "Scope", "third");
  std::exit(7);
}

/// Runs `TraceThreeLevels` in a new process that is loaded with the variable, and looks at what it prints.
TEST(TraceDeathTest, EnvironmentInstallsASinkAtLoadTime) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const struct {
    const char* setting;
    const char* printed;  // the child's whole output: nothing may stand before or behind
  } kCases[] = {
      {"KX_TRACE=error", "^KXT_ERROR Scope: first\r?\n?$"},
      {"KX_TRACE=Info", "^KXT_ERROR Scope: first\r?\nKXT_INFO Scope: second\r?\n?$"},
      {"KX_TRACE=VERBOSE", "^KXT_ERROR Scope: first\r?\nKXT_INFO Scope: second\r?\nKXT_DEBUG Scope: third\r?\n?$"},
      {"KX_TRACE=everything", "^$"},
      {"KX_TRACE=", "^$"},
  };
  for (const auto& c : kCases) {
    std::string setting = c.setting;
    ASSERT_EQ(putenv(setting.data()), 0);
    EXPECT_EXIT(TraceThreeLevels(), testing::ExitedWithCode(7), c.printed) << c.setting;
    static std::string none = "KX_TRACE=";
    ASSERT_EQ(putenv(none.data()), 0);
  }
}

TEST(FileTime, EpochsAndTheClock) {
  EXPECT_EQ(KxFileTime_FromUnix(-11644473600, 0), 0);
  EXPECT_EQ(KxFileTime_FromUnix(0, 0), 116444736000000000);
  EXPECT_EQ(KxFileTime_FromUnix(1, 199), 116444736010000001);

  const int64_t before = KxFileTime_FromUnix(std::time(nullptr), 0);
  const int64_t now = KxFileTime_Now();
  EXPECT_GE(now, before - 10000000);
  EXPECT_LT(now, before + 60 * int64_t{10000000});
}

}  // namespace
