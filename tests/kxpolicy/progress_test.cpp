#include "tools/kxpolicy/progress.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <sstream>
#include <thread>

#include "Common_CPP/util/trace.h"
#include "tests/kxpolicy/run_tool.h"
#include "tools/kxpolicy/input.h"

namespace {

/// Takes what is printed, and shows what a person sees then.
class FakeTerminal : public std::streambuf {
 public:
  /// False when it was never printed, however long one waits.
  bool WaitFor(const std::string& text) {
    std::unique_lock lock(_mutex);
    return _printed.wait_for(lock, std::chrono::minutes(1), [&] { return _bytes.find(text) != std::string::npos; });
  }

  std::string Screen() {
    const std::lock_guard lock(_mutex);
    std::string screen, line;
    size_t column = 0;
    for (const char unit : _bytes) {
      if (unit == '\r') {
        column = 0;
      } else if (unit == '\b') {
        --column;
      } else if (unit == '\n') {
        screen += Seen(line) + "\n";
        line.clear();
        column = 0;
      } else {
        if (column == line.size()) line += ' ';
        line[column++] = unit;
      }
    }
    return screen + Seen(line);
  }

 protected:
  int_type overflow(int_type unit) override {
    const char letter = traits_type::to_char_type(unit);
    return xsputn(&letter, 1), unit;
  }
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    const std::lock_guard lock(_mutex);
    _bytes.append(text, static_cast<size_t>(size));
    _printed.notify_all();
    return size;
  }

 private:
  static std::string Seen(const std::string& line) { return line.substr(0, line.find_last_not_of(' ') + 1); }

  std::mutex _mutex;
  std::condition_variable _printed;
  std::string _bytes;
};

/// Some lines at once, and others once the terminal has printed a text.
class LinesInTwoParts : public std::streambuf {
 public:
  LinesInTwoParts(std::string first, std::string then, FakeTerminal& terminal, std::string after)
      : _parts{std::move(first), std::move(then)}, _terminal(terminal), _after(std::move(after)) {}

 protected:
  int_type underflow() override {
    if (_given == 2 || (_given == 1 && !_terminal.WaitFor(_after))) return traits_type::eof();
    std::string& part = _parts[_given++];
    setg(part.data(), part.data(), part.data() + part.size());
    return traits_type::to_int_type(part[0]);
  }

 private:
  std::string _parts[2];
  FakeTerminal& _terminal;
  const std::string _after;
  size_t _given = 0;
};

class Progress : public ::testing::Test {
 protected:
  Progress() {
    _streams.outIsTerminal = _streams.errIsTerminal = true;
    _streams.progressAfter = {};
  }

  FakeTerminal _terminal;
  std::istringstream _in;
  std::ostream _out{&_terminal}, _err{&_terminal};
  SkxStreams _streams{_in, _out, _err};
  CkxTempFolder _folder;
};

TEST_F(Progress, IsOneLineThatIsGoneBeforeAnythingElse) {
  _folder.Write("lines", std::string(200, '\n'));
  const CkxInput input(KxTest_PathText(_folder.Path() / "lines"), _in);
  _err.setstate(std::ios::failbit);
  {
    CkxProgress progress(_streams, "tested", &input);
    EXPECT_TRUE(_err.fail()) << "as it was";
    _err.clear();
    progress.At(3, 85);
    EXPECT_TRUE(_terminal.WaitFor("kxpolicy: tested 42%"));
    _err << "kxpolicy: a fault\n" << std::flush;
    _out << "an "
         << "answer" << '\n';
    progress.At(7);
    EXPECT_TRUE(_terminal.WaitFor("kxpolicy: tested 7, "));
    progress.Begin("writing");
    EXPECT_TRUE(_terminal.WaitFor("kxpolicy: writing, "));
  }
  _err << "the end\n";
  EXPECT_EQ(_terminal.Screen(), "kxpolicy: a fault\nan answer\nthe end\n");
}

TEST_F(Progress, IsForThoseWhoWaitAlone) {
  const CkxInput typed("-", _in);
  const auto isShown = [&](const CkxInput* input) {
    const CkxProgress progress(_streams, "tested", input);
    return _err.rdbuf() != &_terminal;
  };
  EXPECT_TRUE(isShown(nullptr));
  EXPECT_TRUE(isShown(&typed));
  _streams.inIsTerminal = true;
  EXPECT_TRUE(isShown(nullptr));
  EXPECT_FALSE(isShown(&typed)) << "it would be in the way";
  CkxTraceStderr sink(EkxTraceLevel::Error);
  IkxTraceSink* const before = KxTrace_SetSink(&sink);
  EXPECT_FALSE(isShown(nullptr)) << "its lines are printed past the streams";
  KxTrace_SetSink(before);
  _streams.errIsTerminal = false;
  EXPECT_FALSE(isShown(nullptr));
}

/// A job that goes to the background leaves what it has shown to whoever has the terminal then.
TEST_F(Progress, IsQuietInTheBackground) {
  std::atomic<bool> isOurs = true;
  std::atomic<int> asked = 0;
  _streams.isInForeground = [&] { return ++asked, isOurs.load(); };
  {
    CkxProgress progress(_streams, "tested");
    progress.At(1);
    EXPECT_TRUE(_terminal.WaitFor("kxpolicy: tested 1, "));
    isOurs = false;
    _err << "$ ls\n" << std::flush;
    progress.At(2);
    const auto until = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    for (const int before = asked; asked < before + 2 && std::chrono::steady_clock::now() < until;) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  const std::string screen = _terminal.Screen();
  EXPECT_TRUE(screen.starts_with("kxpolicy: tested 1, ") && screen.ends_with("$ ls\n")) << screen;
}

TEST_F(Progress, ComesWithStreams) {
  _folder.Write("p.jsonc", R"({"policies": [{"id": 1, "name": "A", "action": "run", "targets": []}]})");
  const std::string policies = KxTest_PathText(_folder.Path() / "p.jsonc");
  const std::string page = KxTest_PathText(_folder.Path() / "out");
  const struct {
    std::vector<std::string> arguments;
    const char* shown;
  } kRows[] = {
      {{"eval", policies, "--targets", "-", "--summary"}, "kxpolicy: evaluated 2"},
      {{"diff", policies, policies, "--targets", "-"}, "kxpolicy: compared 2"},
      {{"report", policies, "--targets", "-", "-o", page}, "kxpolicy: evaluated 2"},
      {{"suggest", "--targets", "-", "-o", page}, "kxpolicy: looked at 2"},
  };
  const std::string line = "{\"kind\":\"file\",\"path\":\"C:\\\\a.exe\"}\n";
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.arguments[0]);
    FakeTerminal terminal;
    LinesInTwoParts lines(line + line, line, terminal, row.shown);
    std::istream in(&lines);
    std::ostringstream out;
    std::ostream err(&terminal);
    SkxStreams streams = {in, out, err};
    streams.errIsTerminal = true;
    streams.progressAfter = {};
    EXPECT_EQ(KxPolicy_Run(row.arguments, streams), 0);
    EXPECT_TRUE(terminal.WaitFor(row.shown));
    EXPECT_EQ(terminal.Screen(), "");
    EXPECT_NE(out.str(), "");
  }
}

}  // namespace
