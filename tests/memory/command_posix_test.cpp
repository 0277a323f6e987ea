// The command without memory: whichever allocation fails, once or from then on, it says so in one line and ends with 4,
// or it has not needed it; nothing is left half written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/kxpolicy/run_tool.h"
#include "tests/memory/failing_memory.h"
#include "tests/support/sanitizer.h"
#include "tests/support/trace_capture.h"

namespace {

/// Writes through to a descriptor, without memory of its own.
class DescriptorBuffer : public std::streambuf {
 public:
  explicit DescriptorBuffer(int descriptor) : _descriptor(descriptor) {}

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    return write(_descriptor, text, static_cast<size_t>(size));
  }
  int_type overflow(int_type unit) override {
    const char byte = traits_type::to_char_type(unit);
    return xsputn(&byte, 1) == 1 ? unit : traits_type::eof();
  }

 private:
  const int _descriptor;
};

struct Command {
  std::vector<std::string> arguments;
  std::string input = "";
  std::string file = "";  ///< that it writes, in the folder of its work
  bool isTimed = false;   ///< what it says is another thing each time
};

/// As its main runs it, under `memory`.
int RunAsMain(const Command& command, int outFile, int errFile, CkxFailingMemory memory) {
  std::istringstream in(command.input);
  DescriptorBuffer outBuffer(outFile);
  DescriptorBuffer errBuffer(errFile);
  std::ostream out(&outBuffer);
  std::ostream err(&errBuffer);
  SkxStreams streams = {in, out, err};
  return memory.During([&] { return KxPolicy_Run(command.arguments, streams); });
}

/// How many of the first allocations fail each by itself; of the later ones ever fewer do.
constexpr size_t kEachOfTheFirst = kHasAddressSanitizer ? 3 : 12;

/// In a process of its own, since one that has no memory to take things down with ends at once.
SkxToolRun RunInChild(const CkxTempFolder& folder, const Command& command, size_t failAt, bool forGood) {
  const pid_t child = fork();
  if (child == 0) {
    KxTool_EndWithoutMemory();
    for (const auto& [name, descriptor] : {std::pair("out", STDOUT_FILENO), {"err", STDERR_FILENO}}) {
      dup2(open((folder.Path() / name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), descriptor);
    }
    _exit(RunAsMain(command, STDOUT_FILENO, STDERR_FILENO, CkxFailingMemory(failAt, forGood)));
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), folder.Read("out"), folder.Read("err")};
}

TEST(NoMemory, IsOneLineOfTheCommandAndAnExitCode) {
  const CkxTraceCapture quiet;
  const CkxTempFolder work;
  const CkxTempFolder output;
  work.Write("d.json", R"({"policies": [{"id": 1, "name": "A", "action": "block",
                           "targets": [{"type": "executable", "fileName": "a.exe"}]}], "applicable": {"*": [1]}})");
  const std::string document = KxTest_PathText(work.Path() / "d.json");
  const auto at = [&](const char* name) { return KxTest_PathText(work.Path() / name); };
  const std::string image = at("image");
  const std::string target = R"({"kind":"process","path":"C:\\a.exe"})";
  work.Write("targets", target + "\n" + target + "\n");
  work.Write("users.json", R"({"userGroups": {"Us": ["S-1-5-21-1-2-3-4"]}, "policies": [{"id": 1, "name": "B",
                               "action": "elevate", "users": ["Us"],
                               "targets": [{"type": "executable", "name": "n", "fileName": "a*.exe"}]}]})");
  work.Write("cases.json", R"({"cases": [{"name": "c", "target": {"kind": "process", "path": "C:\\a.exe"},
                               "expect": {"action": "block", "policy": "A"}}]})");
  work.Write("rules.xml", R"(<RuleCollection Type="Exe" EnforcementMode="Enabled"><FilePathRule Id="r" Name="n"
      UserOrGroupSid="S-1-1-0" Action="Allow"><Conditions><FilePathCondition Path="%WINDIR%\*"/></Conditions>
      </FilePathRule></RuleCollection>)");
  const Command kCommands[] = {
      {{"compile", document, "-o", image}},
      {{"compile", at("users.json"), "-o", at("users")}, "", "users/names.json"},
      {{"check", document}},
      {{"check", image}},
      {{"show", image}},
      {{"show", image, "--format", "json"}},
      {{"eval", image, "--target", "-", "--format", "json", "--explain"}, target},
      {{"eval", image, "--targets", at("targets"), "--summary"}},
      {{"eval", image, "--pid", std::to_string(getpid()), "--format", "json"}},
      {{"test", document, at("cases.json"), "--coverage"}},
      {{"diff", document, at("users.json"), "--targets", at("targets")}},
      {{"witness", document}},
      {{"report", document, "--targets", at("targets"), "-o", at("page")}, "", "page"},
      {{"import", "applocker", at("rules.xml"), "-o", at("imported")}, "", "imported"},
      {{"suggest", "--targets", at("targets"), "-o", at("suggested")}, "", "suggested"},
      {{"events", "plain"}, R"({"image":"C:\\a.exe"})"},
      {{"bench", image, "--target", "-", "--milliseconds", "1"}, target, "", true},
      {{"describe", document}},
      {{"match"}, R"({"id":1,"op":"str","mode":5,"pattern":"a+","subject":"aa"})"},
      {{"record", "tokendata", std::string(60, '0')}},
  };
  for (const Command& command : kCommands) {
    SCOPED_TRACE(command.arguments[0]);
    const int nowhere = open("/dev/null", O_WRONLY);
    RunAsMain(command, nowhere, nowhere, CkxFailingMemory(CkxFailingMemory::kNever, false));
    const size_t count = CkxFailingMemory::Count();
    close(nowhere);
    const SkxToolRun whole = RunInChild(output, command, CkxFailingMemory::kNever, false);
    ASSERT_LE(whole.code, 1) << whole.err;
    const auto written = [&] { return command.file.empty() ? std::string() : work.Read(command.file); };
    const std::string wholeFile = written();
    ASSERT_GT(count, 50u);
    for (const bool forGood : {false, true}) {
      for (size_t failAt = 0; failAt < count; failAt += 1 + failAt / kEachOfTheFirst) {
        if (!command.file.empty()) std::filesystem::remove(work.Path() / command.file);
        const SkxToolRun run = RunInChild(output, command, failAt, forGood);
        const std::string file = written();
        ASSERT_TRUE(file.empty() || file == wholeFile) << failAt << ": " << file;
        const bool isSaid = command.isTimed || (run.out == whole.out && file == wholeFile);
        const bool isWhole = run.code == whole.code && isSaid && run.err == whole.err;
        const bool isTold = run.code == 4 && run.err == "kxpolicy: out of memory\n";
        ASSERT_TRUE(isWhole || isTold) << failAt << ": " << run.code << " " << run.out << run.err;
      }
    }
    EXPECT_EQ(KxTest_RunTool({"check", image}).out, "no findings\n") << "nothing is half written";
  }
}

}  // namespace
