// The command on a system that fails it: whichever call of a verb fails, is interrupted or comes short, it answers as
// it would have, or says in a line that it could not and ends so. What it writes is there whole or is not there, and
// what was there before stays.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <iostream>
#include <map>

#include "Common_CPP/util/descriptor_posix.h"
#include "tests/kxpolicy/failing_calls_posix.h"
#include "tests/kxpolicy/served.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/sanitizer.h"
#include "tests/support/trace_capture.h"

namespace {

namespace fs = std::filesystem;

using KxFilesByName = std::map<std::string, std::string>;

/// All that is in a folder and below, by its path there; of folders that they are there.
KxFilesByName FilesIn(const fs::path& folder) {
  KxFilesByName files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    files[entry.path().lexically_relative(folder)] =
        entry.is_directory() ? "" : std::string(std::istreambuf_iterator<char>(file), {});
  }
  return files;
}

std::vector<std::string> AnswerLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

struct SkxFailedVerb {
  std::vector<std::string> arguments;  ///< "@NAME" is in the folder of inputs, ">NAME" in that of outputs
  std::string input = "";
  std::vector<std::string> before = {};  ///< a run that comes first, and leaves what there is in the folder of outputs
  bool isServed = false;                 ///< the policies are in force on the machine, and its agent answers
};

/// What a run has to show.
struct SkxVerbOutcome {
  SkxTracedRun run;
  std::string out;
  std::string err;
  KxFilesByName files;
};

class FailingCalls : public ::testing::TestWithParam<SkxFailedVerb> {
 protected:
  void SetUp() override {
    if (kHasAddressSanitizer) GTEST_SKIP() << "calls of the sanitizer would fail too";
    const fs::path example = "examples/workstation";
    fs::copy(example, _inputs.Path(), fs::copy_options::recursive);
    _inputs.Write("applocker.xml", kAppLocker);
    _inputs.Write("events.jsonl", "{\"image\":\"C:\\\\a.exe\"}\n{\"image\":\"C:\\\\b.exe\"}\n");
    for (const char* name : {"policies", "upkeep"}) {
      ASSERT_EQ(Tool({"compile", "@" + std::string(name) + ".jsonc", "-o", "@" + std::string(name)}).code, 0);
    }
    const SkxToolRun summary =
        Tool({"eval", "@policies", "--targets", "@targets.jsonl", "--summary", "--format", "json"});
    ASSERT_EQ(summary.code, 0) << summary.err;
    _inputs.Write("summary.json", summary.out);
    _inputs.Write("input", GetParam().input);
    if (!GetParam().before.empty()) {
      ASSERT_EQ(Tool(GetParam().before).code, 0);
    }
    fs::copy(_outputs.Path(), _before.Path(), fs::copy_options::recursive);
    if (GetParam().isServed) Serve();
  }

  SkxVerbOutcome Run(SkxCallFault fault) {
    for (const fs::directory_entry& entry : fs::directory_iterator(_outputs.Path())) fs::remove_all(entry.path());
    fs::copy(_before.Path(), _outputs.Path(), fs::copy_options::recursive);
    const std::vector<std::string> arguments = Arguments(GetParam().arguments);
    const CkxDescriptor files[] = {CkxDescriptor(open((_inputs.Path() / "input").c_str(), O_RDONLY | O_CLOEXEC)),
                                   Created(_streams.Path() / "out"), Created(_streams.Path() / "err")};
    std::fflush(stdout);  // or the child would write it too
    const SkxTracedRun run = KxTest_RunTraced([&] { return AsMain(arguments, files); }, fault);
    return {run, _streams.Read("out"), _streams.Read("err"), FilesIn(_outputs.Path())};
  }

  const KxFilesByName Before() const { return FilesIn(_before.Path()); }

 private:
  static constexpr const char* kAppLocker =
      R"(<AppLockerPolicy Version="1"><RuleCollection Type="Exe" EnforcementMode="Enabled">)"
      R"(<FilePathRule Id="windows" Name="n" UserOrGroupSid="S-1-1-0" Action="Allow"><Conditions>)"
      R"(<FilePathCondition Path="%WINDIR%\*"/></Conditions></FilePathRule></RuleCollection></AppLockerPolicy>)";

  static CkxDescriptor Created(const fs::path& path) {
    return CkxDescriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  }
  void Serve() {
    _served = std::make_unique<CkxServedImage>(_inputs.Path() / "policies");
    const auto isAnswered = [] {
      const std::string target = R"({"kind":"process","path":"C:\\a.exe","user":{"sid":"S-1-5-18"}})";
      return KxTest_RunTool({"eval", "--target", "-"}, target).code == 0;
    };
    for (int i = 0; i < 2000 && !isAnswered(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    ASSERT_TRUE(isAnswered());
  }

  std::vector<std::string> Arguments(std::vector<std::string> arguments) const {
    for (std::string& argument : arguments) {
      if (argument[0] == '@') argument = _inputs.Path() / argument.substr(1);
      if (argument[0] == '>') argument = _outputs.Path() / argument.substr(1);
    }
    return arguments;
  }
  SkxToolRun Tool(const std::vector<std::string>& arguments) const { return KxTest_RunTool(Arguments(arguments)); }

  /// What the program's main does, in a child.
  static int AsMain(const std::vector<std::string>& arguments, const CkxDescriptor (&files)[3]) {
    for (int stream = 0; stream < 3; ++stream) dup2(files[stream].Get(), stream);
    std::ios::sync_with_stdio(false);
    std::cin.tie(nullptr);
    SkxStreams streams = {std::cin, std::cout, std::cerr};
    streams.waitForStop = [](uint32_t) { return true; };
    return KxPolicy_Run(arguments, streams);
  }

  const CkxTraceCapture _quiet;
  const CkxRuntimeFolderScope _runtime;
  const CkxTempFolder _inputs;
  const CkxTempFolder _outputs;
  const CkxTempFolder _before;
  const CkxTempFolder _streams;
  std::unique_ptr<CkxServedImage> _served;
};

/// Whether an answer is the right one, but for lines that say that something went wrong; one that was broken off may
/// lack the rest.
bool IsRightOrTold(const SkxVerbOutcome& outcome, const SkxVerbOutcome& whole) {
  if (whole.out.starts_with(outcome.out)) return outcome.out == whole.out || outcome.run.code != whole.run.code;
  const std::vector<std::string> right = AnswerLines(whole.out);
  const std::vector<std::string> lines = AnswerLines(outcome.out);
  const auto isGood = [&](const std::string& line) {
    return std::find(right.begin(), right.end(), line) != right.end() || line.find("error") != std::string::npos ||
           line.find("cannot be read") != std::string::npos;
  };
  return lines.size() >= right.size() && std::all_of(lines.begin(), lines.end(), isGood);
}

/// Each is as it was before, or as it is in the end; what could not be removed may stay beside them.
void ExpectWholeFiles(const SkxVerbOutcome& outcome, const KxFilesByName& before, const KxFilesByName& after) {
  const auto isIn = [](const KxFilesByName& files, const KxFilesByName::value_type& file) {
    const auto found = files.find(file.first);
    return found != files.end() && found->second == file.second;
  };
  const bool mayLeave = outcome.run.failed.starts_with("unlink") || outcome.run.failed == "rmdir";
  for (const auto& file : outcome.files) EXPECT_TRUE(mayLeave || isIn(before, file) || isIn(after, file)) << file.first;
  for (const auto& file : before)
    EXPECT_TRUE(outcome.files.contains(file.first) || !after.contains(file.first)) << file.first;
}

/// What the disk did not take is told, and an image that it did not take is not put in place.
void ExpectFlushIsTold(const SkxVerbOutcome& outcome, const KxFilesByName& before) {
  EXPECT_EQ(outcome.run.code, 4);
  const bool isOfImage = before.contains("image") || outcome.err.find("image") != std::string::npos;
  EXPECT_TRUE(!isOfImage || outcome.files == before);
}

TEST_P(FailingCalls, AreToldOrMadeGoodAndLeaveNothingByHalves) {
  const SkxVerbOutcome whole = Run({});
  ASSERT_GE(whole.run.code, 0) << whole.err;
  ASSERT_LE(whole.run.code, 1) << whole.err;
  for (const EkxCallFault how : {EkxCallFault::Fails, EkxCallFault::Interrupted, EkxCallFault::Short}) {
    const size_t calls = Run({how, SkxCallFault::kNever}).run.calls;
    ASSERT_GT(calls, 0u);
    RecordProperty("calls_" + std::to_string(static_cast<int>(how)), std::to_string(calls));
    for (size_t at = 0; at < calls; ++at) {
      const SkxVerbOutcome outcome = Run({how, at});
      SCOPED_TRACE("call " + std::to_string(at) + " of " + std::to_string(calls) + ", " + outcome.run.failed +
                   " of descriptor " + std::to_string(outcome.run.descriptor) + ": exit code " +
                   std::to_string(outcome.run.code) + ", " + outcome.err);
      const bool isUntold = outcome.run.failed == "write" && outcome.run.descriptor == STDERR_FILENO;
      const bool isWithoutNames = outcome.err.find("; ids stand for names\n") != std::string::npos;
      EXPECT_TRUE(IsRightOrTold(outcome, whole) || isWithoutNames) << outcome.out;
      if (outcome.run.failed == "fsync") ExpectFlushIsTold(outcome, Before());
      if (isWithoutNames) {
        EXPECT_EQ(outcome.run.code, whole.run.code);
        EXPECT_EQ(outcome.files.size(), whole.files.size());
      } else if (outcome.run.code == whole.run.code) {
        EXPECT_TRUE(outcome.err == whole.err || isUntold);
        ExpectWholeFiles(outcome, whole.files, whole.files);
      } else {
        EXPECT_EQ(how, EkxCallFault::Fails) << "the rest is to be asked for again";
        EXPECT_TRUE(outcome.run.code == 3 || outcome.run.code == 4);
        EXPECT_TRUE(!outcome.err.empty() || isUntold);
        ExpectWholeFiles(outcome, Before(), whole.files);
      }
    }
  }
}

/// So that a failure names the verb.
void PrintTo(const SkxFailedVerb& verb, std::ostream* out) { *out << verb.arguments[0]; }

const SkxFailedVerb kFailedVerbs[] = {
    {{"new", ">folder"}},
    {{"compile", "@policies.jsonc", "-o", ">image"}},
    {{"compile", "@policies.jsonc", "-o", ">image"}, "", {"compile", "@upkeep.jsonc", "-o", ">image"}},
    {{"import", "applocker", "@applocker.xml", "-o", ">policies.jsonc", "--report", ">report"}},
    {{"check", "@policies"}},
    {{"check", "@policies.jsonc"}},
    {{"show", "@policies", "--format", "json"}},
    {{"report", "@policies", "--targets", "@targets.jsonl", "-o", ">page.html"}},
    {{"eval", "@policies", "--targets", "@targets.jsonl"}},
    {{"eval", "@policies", "--targets", "@targets.jsonl", "--summary"}},
    {{"eval", "@policies.jsonc", "--target", "-", "--format", "json"}, R"({"kind":"process","path":"C:\\a.exe"})"},
    {{"eval", "@policies", "--file", "@policies.jsonc", "--format", "json"}},
    {{"summary", "@summary.json", "@summary.json"}},
    {{"test", "@policies.jsonc", "@tests/cases.jsonc", "--coverage"}},
    {{"diff", "@policies.jsonc", "@upkeep.jsonc", "--targets", "@targets.jsonl"}},
    {{"witness", "@policies"}},
    {{"describe", "@policies.jsonc"}},
    {{"events", "plain", "@events.jsonl"}},
    {{"suggest", "--file", "@policies.jsonc", "-o", ">policies.jsonc"}},
    {{"suggest", "--targets", "@targets.jsonl", "-o", ">policies.jsonc"}},
    {{"match"}, "{\"id\":1,\"op\":\"str\",\"mode\":5,\"pattern\":\"a+\",\"subject\":\"aa\"}\n"},
    {{"config", "list", "--image", "@policies"}},
    {{"procmap", "replay", "--dump", ">map"}, "{\"op\":\"OnProcessStart\",\"pid\":4}\n"},
    {{"publish", "@policies"}},
    {{"publish", ">image", "--require-signature", KX_IMAGE_SIGNATURES "/roots.pem"},
     "",
     {"compile", "@policies.jsonc", "-o", ">image", "--sign", KX_IMAGE_SIGNATURES "/good.key", "--certificate",
      KX_IMAGE_SIGNATURES "/good.pem"}},
    {{"eval", "--target", "-", "--format", "json"},
     R"({"kind":"process","path":"C:\\a.exe","user":{"sid":"S-1-5-18"}})",
     {},
     true},
};

std::string NameOfVerb(const ::testing::TestParamInfo<SkxFailedVerb>& verb) {
  return verb.param.arguments[0] + std::to_string(verb.index);
}

INSTANTIATE_TEST_SUITE_P(OfVerbs, FailingCalls, ::testing::ValuesIn(kFailedVerbs), NameOfVerb);

}  // namespace
