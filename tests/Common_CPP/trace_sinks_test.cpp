// The sinks that hosts install: a look back, a file, and the stack that they tell of a fault.
#include <gmock/gmock.h>

#include <cerrno>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "Common_CPP/clock/clock.h"
#include "Common_CPP/file/trace_file.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/stack_trace.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace_flashback.h"
#include "tests/support/process_resources.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// Collects what a flashback hands on; shows lines up to a level.
class ShownLines : public CkxTraceCapture {
 public:
  explicit ShownLines(EkxTraceLevel deepest = EkxTraceLevel::Warning) : _deepest(deepest) {}
  EkxTraceLevel Deepest() const noexcept override { return _deepest; }
  void OnFault(std::string_view line) noexcept override { faults.emplace_back(line); }
  std::vector<std::string> faults;

 private:
  const EkxTraceLevel _deepest;
};

class InstalledSink {
 public:
  explicit InstalledSink(IkxTraceSink& sink) : _previous(KxTrace_SetSink(&sink)) {}
  ~InstalledSink() { KxTrace_SetSink(_previous); }
  InstalledSink(const InstalledSink&) = delete;
  InstalledSink& operator=(const InstalledSink&) = delete;

 private:
  IkxTraceSink* const _previous;
};

void TraceNumbers(int from, int to) {
  for (int i = from; i < to; ++i) KxTrace(EkxTraceLevel::Debug, "Scope", "line ", i);
}

TEST(TraceFlashback, ShowsWhatNobodyShowedBeforeAnErrorAndEachLineOnce) {
  ShownLines shown;
  CkxTraceFlashback flashback(shown);
  const InstalledSink installed(flashback);
  KxTrace(EkxTraceLevel::Warning, "Scope", "shown at once");
  KxTrace(EkxTraceLevel::Info, "Scope", "first");
  KxTrace(EkxTraceLevel::Verbose, "Scope", "second");
  EXPECT_THAT(shown.Texts(), ElementsAre("KXT_WARNING Scope: shown at once"));
  shown.Clear();
  KxTrace(EkxTraceLevel::Error, "Scope", "ERROR: it went wrong");
  EXPECT_THAT(shown.Texts(), ElementsAre("KXT_INFO_FLASHBACK Scope: first", "KXT_VERBOSE_FLASHBACK Scope: second",
                                         "KXT_ERROR Scope: ERROR: it went wrong"));
  shown.Clear();
  KxTrace(EkxTraceLevel::Trace, "Scope", "third");
  KxTrace_TellFault("ERROR: Out of memory");
  KxTrace_TellFault("ERROR: Out of memory");
  flashback.Show();
  EXPECT_THAT(shown.Texts(), ElementsAre("KXT_TRACE_FLASHBACK Scope: third"));
  EXPECT_THAT(shown.faults, ElementsAre("ERROR: Out of memory", "ERROR: Out of memory"));
}

TEST(TraceFlashback, KeepsTheLastLines) {
  const struct {
    size_t room;
    int traced;
    int oldest;  // the first that is shown
  } kCases[] = {{4, 0, 0}, {4, 3, 0}, {4, 4, 0}, {4, 5, 1}, {4, 11, 7}, {1, 3, 2}, {0, 3, 2}};
  for (const auto& c : kCases) {
    ShownLines shown;
    CkxTraceFlashback flashback(shown, c.room);
    const InstalledSink installed(flashback);
    TraceNumbers(0, c.traced);
    flashback.Show();
    std::vector<std::string> expected;
    for (int i = c.oldest; i < c.traced; ++i)
      expected.push_back("KXT_DEBUG_FLASHBACK Scope: line " + std::to_string(i));
    EXPECT_EQ(shown.Texts(), expected) << c.traced << " lines, room for " << c.room;
    shown.Clear();
    TraceNumbers(100, 101);
    flashback.Show();
    EXPECT_THAT(shown.Texts(), ElementsAre("KXT_DEBUG_FLASHBACK Scope: line 100"));
  }
}

TEST(TraceFlashback, CutsALongLineBetweenCharacters) {
  ShownLines shown;
  CkxTraceFlashback flashback(shown);
  const std::string longText(1000, 'a');
  std::string wide;
  for (int i = 0; i < 300; ++i) wide += "\xE2\x82\xAC";
  for (const std::string& text : {longText, wide, wide + "b", "b" + wide, "bb" + wide}) {
    shown.Clear();
    flashback.Write({EkxTraceLevel::Debug, EkxTraceVariant::Plain, text, text});
    flashback.Show();
    const auto lines = shown.Lines();
    ASSERT_EQ(lines.size(), 1u);
    for (const std::string& part : {lines[0].scope, lines[0].message}) {
      EXPECT_THAT(text, StartsWith(part));
      EXPECT_GT(part.size(), 40u);
      EXPECT_TRUE(KxText_FromUtf8(part)) << part;
    }
  }
}

TEST(TraceFlashback, ShowsEachLineOnceToWhomeverAsksFirst) {
  constexpr int kThreads = 4;
  constexpr int kLines = 2000;
  ShownLines shown;
  CkxTraceFlashback flashback(shown, kThreads * kLines);  // so that none is overwritten
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&flashback, t] {
      for (int i = 0; i < kLines; ++i) {
        const std::string text = std::to_string(t) + " " + std::to_string(i);
        flashback.Write({EkxTraceLevel::Debug, EkxTraceVariant::Plain, "Scope", text});
        if (i % 100 == 0) flashback.Show();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  flashback.Show();
  std::set<std::string> different;
  const auto lines = shown.Lines();
  for (const auto& line : lines) different.insert(line.message);
  EXPECT_EQ(lines.size(), size_t{kThreads * kLines});
  EXPECT_EQ(different.size(), lines.size());
}

/// Lines of a file, without the time and the numbers before them.
std::vector<std::string> LinesOf(const std::string& content) {
  static const std::regex kLine(R"((\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z) (\d+) (\d+) (KXT_.*))");
  std::vector<std::string> lines;
  std::istringstream in(content);
  for (std::string line; std::getline(in, line);) {
    std::smatch parts;
    lines.push_back(std::regex_match(line, parts, kLine) ? parts[4].str() : "not as a line is written: " + line);
  }
  return lines;
}

class TraceFile : public testing::Test {
 protected:
  std::unique_ptr<CkxTraceFile> Open(EkxTraceLevel deepest = EkxTraceLevel::Info, uint64_t maxBytes = 1 << 20) const {
    return CkxTraceFile::Open(_folder.Text("log"), deepest, maxBytes);
  }
  std::vector<std::string> Lines(const char* name = "log") const { return LinesOf(_folder.Read(name)); }
  const CkxTempFolder _folder;
};

TEST_F(TraceFile, WritesLinesUpToItsLevelAndLeavesTheLastErrorAsItWas) {
  {
    const auto file = Open();
    ASSERT_NE(file, nullptr);
    const InstalledSink installed(*file);
    KxLastError_Set(kKxErrorAccessDenied);
    errno = ENOENT;
    KxTrace(EkxTraceLevel::Info, "Scope", "a name\nwith a line end");
    KxTrace(EkxTraceLevel::Debug, "Scope", "too deep");
    KxTraceAs(EkxTraceLevel::Error, EkxTraceVariant::Flashback, "Scope", "looked back");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  }
  const auto again = Open();
  ASSERT_NE(again, nullptr);
  again->Write({EkxTraceLevel::Error, EkxTraceVariant::Plain, "Scope", "appended", 133801629501234567, 4712});
  EXPECT_THAT(Lines(), ElementsAre("KXT_INFO_REDIRECTED Scope: a name<U+000A>with a line end",
                                   "KXT_ERROR_FLASHBACK Scope: looked back", "KXT_ERROR_REDIRECTED Scope: appended"));
  EXPECT_THAT(_folder.Read("log"), HasSubstr("\n2024-12-31T23:55:50.123Z "));
  EXPECT_THAT(_folder.Read("log"), HasSubstr(" 4712 KXT_ERROR_REDIRECTED Scope: appended\n"));
}

TEST_F(TraceFile, LinesOfSeveralThreadsAreWholeAlsoWhenAnotherWritesToTheFile) {
  constexpr int kThreads = 4;
  constexpr int kLines = 300;
  const auto first = Open();
  const auto second = Open();
  ASSERT_TRUE(first && second);
  CkxTraceFile& other = KxTest_AppendsInOneStep() ? *second : *first;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&file = t % 2 == 0 ? *first : other, t] {
      const std::string text = std::string(200, static_cast<char>('a' + t));
      for (int i = 0; i < kLines; ++i) file.Write({EkxTraceLevel::Info, EkxTraceVariant::Plain, "Scope", text});
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::map<std::string, int> counts;
  for (const std::string& line : Lines()) ++counts[line];
  EXPECT_EQ(counts.size(), size_t{kThreads});
  for (const auto& [line, count] : counts) EXPECT_EQ(count, kLines) << line;
}

TEST_F(TraceFile, IsPutAsideOnceWhenItIsFull) {
  constexpr uint64_t kMaxBytes = 1000;
  const auto file = Open(EkxTraceLevel::Info, kMaxBytes);
  ASSERT_NE(file, nullptr);
  const auto write = [&](const std::string& text) {
    file->Write({EkxTraceLevel::Info, EkxTraceVariant::Plain, "Scope", text});
  };
  for (int i = 0; i < 100; ++i) {
    write(std::to_string(i));
    ASSERT_LE(_folder.Read("log").size(), kMaxBytes);
    ASSERT_LE(_folder.Count(), 2u);
  }
  write(std::string(kMaxBytes, 'x'));  // in no file is room for it
  std::vector<std::string> kept = Lines("log.1");
  EXPECT_GT(kept.size(), 5u);
  for (const std::string& line : Lines()) kept.push_back(line);
  for (size_t i = 0; i < kept.size(); ++i) {
    EXPECT_EQ(kept[i], "KXT_INFO_REDIRECTED Scope: " + std::to_string(100 - kept.size() + i));
  }
}

TEST_F(TraceFile, LosesLinesRatherThanGrowWhenItCannotBePutAside) {
  constexpr uint64_t kMaxBytes = 300;
  std::filesystem::create_directories(_folder.Path() / "log.1" / "in the way");
  const auto file = Open(EkxTraceLevel::Info, kMaxBytes);
  ASSERT_NE(file, nullptr);
  for (int i = 0; i < 100; ++i) file->Write({EkxTraceLevel::Info, EkxTraceVariant::Plain, "Scope", "line"});
  EXPECT_LE(_folder.Read("log").size(), kMaxBytes);
  EXPECT_GT(Lines().size(), 1u);
}

TEST_F(TraceFile, IsNotHadWhereItCannotBeItsOwn) {
  EXPECT_EQ(CkxTraceFile::Open(CkxTextView(), EkxTraceLevel::Info), nullptr);
  EXPECT_EQ(CkxTraceFile::Open(_folder.Text("missing/log"), EkxTraceLevel::Info), nullptr);
  EXPECT_EQ(CkxTraceFile::Open(_folder.Path().string<WCHAR>(), EkxTraceLevel::Info), nullptr) << "a folder";
  EXPECT_EQ(CkxTraceFile::Open(_folder.Text("log") + KxWString(1, WCHAR{0}) + KXW("x"), EkxTraceLevel::Info), nullptr);
  EXPECT_EQ(_folder.Count(), 0u);

  _folder.Write("other", "kept");
  std::filesystem::create_hard_link(_folder.Path() / "other", _folder.Path() / "log");
  EXPECT_EQ(Open(), nullptr) << "another file's second name";
  EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  EXPECT_EQ(_folder.Read("other"), "kept");
}

TEST_F(TraceFile, TellsTheStackOfAFaultFromDebugOn) {
  const auto info = Open(EkxTraceLevel::Info);
  ASSERT_NE(info, nullptr);
  info->OnFault("ERROR: Out of memory");
  EXPECT_THAT(Lines(), IsEmpty());
  const auto debug = Open(EkxTraceLevel::Debug);
  ASSERT_NE(debug, nullptr);
  const InstalledSink installed(*debug);
  KxTrace_TellFault("ERROR: Out of memory");
  EXPECT_GT(Lines().size(), 3u);
  EXPECT_THAT(Lines(), testing::Each(StartsWith("KXT_DEBUG_REDIRECTED Stack: ")));
}

[[gnu::noinline]] void* OwnFrame(CkxStackTrace& stack) {
  stack = CkxStackTrace();
  return stack.Frames().empty() ? nullptr : stack.Frames()[0];
}

TEST(StackTrace, BeginsWhereItIsTakenAndNamesTheModule) {
  CkxStackTrace stack;
  const void* const inner = OwnFrame(stack);
  ASSERT_GT(stack.Frames().size(), 3u);
  const auto begin = reinterpret_cast<uintptr_t>(&OwnFrame);
  const auto at = reinterpret_cast<uintptr_t>(inner);
  EXPECT_TRUE(at > begin && at - begin < 4096) << begin << " " << at;
  EXPECT_THAT(KxStack_FrameText(inner), testing::AllOf(StartsWith("common_test"), HasSubstr("+0x")));
  EXPECT_EQ(KxStack_FrameText(reinterpret_cast<const void*>(uintptr_t{0x10})), "0x10");
  const CkxStackTrace none(1000);
  EXPECT_THAT(none.Frames(), IsEmpty());
}

TEST(StopWatch, RunsFromWhenItIsMade) {
  static int64_t now = 0;
  const CkxClockScope clock([] { return now; });
  now = 1000;
  const CkxStopWatch watch;
  now = 3500;
  EXPECT_EQ(watch.Microseconds(), 2500);
}

}  // namespace
