// The command without memory: whichever allocation fails, once or from then on, it says so in one line and ends with 4,
// or it has not needed it; nothing is left half written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/kxpolicy/run_tool.h"
#include "tests/memory/failing_memory.h"
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
  std::string input;
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
  const std::string image = KxTest_PathText(work.Path() / "image");
  const Command kCommands[] = {
      {{"compile", document, "-o", image}, ""},
      {{"check", document}, ""},
      {{"check", image}, ""},
      {{"show", image}, ""},
      {{"show", image, "--format", "json"}, ""},
      {{"eval", image, "--target", "-", "--format", "json", "--explain"}, R"({"kind":"process","path":"C:\\a.exe"})"},
      {{"eval", image, "--pid", std::to_string(getpid()), "--format", "json"}, ""},
      {{"describe", document}, ""},
      {{"match"}, R"({"id":1,"op":"str","mode":5,"pattern":"a+","subject":"aa"})"},
      {{"record", "tokendata", std::string(60, '0')}, ""},
  };
  for (const Command& command : kCommands) {
    SCOPED_TRACE(command.arguments[0]);
    const int nowhere = open("/dev/null", O_WRONLY);
    RunAsMain(command, nowhere, nowhere, CkxFailingMemory(CkxFailingMemory::kNever, false));
    const size_t count = CkxFailingMemory::Count();
    close(nowhere);
    const SkxToolRun whole = RunInChild(output, command, CkxFailingMemory::kNever, false);
    ASSERT_EQ(whole.code, 0) << whole.err;
    ASSERT_GT(count, 50u);
    for (const bool forGood : {false, true}) {
      for (size_t failAt = 0; failAt < count; failAt += 1 + failAt / 12) {  // each of the first ones, then ever fewer
        const SkxToolRun run = RunInChild(output, command, failAt, forGood);
        const bool isWhole = run.code == whole.code && run.out == whole.out && run.err == whole.err;
        const bool isTold = run.code == 4 && run.err == "kxpolicy: out of memory\n";
        ASSERT_TRUE(isWhole || isTold) << failAt << ": " << run.code << " " << run.out << run.err;
      }
    }
    EXPECT_EQ(KxTest_RunTool({"check", image}).out, "no findings\n") << "nothing is half written";
  }
}

}  // namespace
