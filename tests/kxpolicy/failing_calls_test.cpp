// The command on a system that fails it: whichever call of a verb fails, is interrupted or comes short, it answers as
// it would have, or says in a line that it could not and ends so. What it writes is there whole or is not there, and
// what was there before stays.
#include "tests/kxpolicy/failing_calls.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "Agent/engine/kx_publish/service/service_control.h"
#include "tests/kxpolicy/served.h"
#include "tests/support/ea_folder.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/sanitizer.h"
#include "tests/support/trace_capture.h"

namespace {

namespace fs = std::filesystem;

using KxFilesByName = std::map<std::string, std::string>;

/// All that is in a folder and below, by its path there; of folders that they are there, and of signatures, which are
/// other ones each second, how long they are.
KxFilesByName FilesIn(const fs::path& folder) {
  KxFilesByName files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    std::string& content = files[KxTest_GenericPath(entry.path().lexically_relative(folder))];
    if (entry.is_directory()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    content.assign(std::istreambuf_iterator<char>(file), {});
    if (entry.path().extension() == ".p7s") content = std::to_string(content.size());
  }
  return files;
}

std::vector<std::string> AnswerLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

/// Who answers on the machine meanwhile.
enum class EkxAnswering : unsigned char { Nobody, Agent, Control };

/// What is said on standard output.
enum class EkxSaid : unsigned char {
  Exactly,
  Timed,    ///< its numbers are other ones each time
  IfItCan,  ///< who serves goes on where nobody reads it: on Windows also who publishes
};

struct SkxFailedVerb {
  using Arguments = std::vector<std::string>;  ///< "@NAME" is in the folder of inputs, ">NAME" in that of outputs
  Arguments arguments;
  std::string input = "";
  std::vector<Arguments> before = {};  ///< runs that come first, for what there is already
  std::vector<Arguments> shown = {};   ///< runs whose answers show, like files, what there is before and after
  EkxAnswering answering = EkxAnswering::Nobody;
  EkxSaid said = EkxSaid::Exactly;
};

const SkxFailedVerb::Arguments kSign = {"compile",
                                        "@policies.jsonc",
                                        "-o",
                                        ">image",
                                        "--sign",
                                        KX_IMAGE_SIGNATURES "/good.key",
                                        "--certificate",
                                        KX_IMAGE_SIGNATURES "/good.pem"};

/// What a run has to show.
struct SkxVerbOutcome {
  SkxFailingRun run;
  std::string out;
  std::string err;
  KxFilesByName before, after;
};

class FailingCalls : public ::testing::TestWithParam<SkxFailedVerb> {
 protected:
  void SetUp() override {
    if (kHasAddressSanitizer) GTEST_SKIP() << "calls of the sanitizer would fail too";
    const SkxFailedVerb& verb = GetParam();
    const bool isAboutMarks = verb.shown.size() > 1;
    const std::optional<fs::path> parent = KxTest_EaFolder();
    if (isAboutMarks && !parent) GTEST_SKIP() << "no file system here keeps attributes";
    _outputs.emplace(parent.value_or(fs::temp_directory_path()));
    fs::copy("examples/workstation", _inputs.Path(), fs::copy_options::recursive);
    _inputs.Write("applocker.xml", kAppLocker);
    _inputs.Write("events.jsonl", "{\"image\":\"C:\\\\a.exe\"}\n{\"image\":\"C:\\\\b.exe\"}\n");
    _inputs.Write("key", "0123456789abcdef");
    fs::permissions(_inputs.Path() / "key", fs::perms::owner_read | fs::perms::owner_write);
    for (const char* name : {"policies", "upkeep"})
      Prepare({"compile", "@" + (name + std::string(".jsonc")), "-o", "@" + std::string(name)});
    _inputs.Write("summary.json",
                  Prepare({"eval", "@policies", "--targets", "@targets.jsonl", "--summary", "--format", "json"}));
    _streams.Write("in", verb.input);
    if (verb.answering == EkxAnswering::Agent) Serve();
    if (verb.answering == EkxAnswering::Control) {
      KxWString channel;
      ASSERT_TRUE(_control.Start(channel));
    }
  }
  void TearDown() override { _control.Stop(); }

  SkxVerbOutcome Run(SkxCallFault fault) {
    for (const fs::directory_entry& entry : fs::directory_iterator(_outputs->Path())) fs::remove_all(entry.path());
    for (const auto& arguments : GetParam().before) Prepare(arguments);
    SkxVerbOutcome outcome;
    outcome.before = State();
    outcome.run = KxTest_RunFailing(Arguments(GetParam().arguments), _streams.Path(), fault);
    outcome.after = State();
    outcome.out = _streams.Read("out");
    outcome.err = _streams.Read("err");
    static const std::regex kNumber(" *[0-9][0-9.,]*");
    if (GetParam().said == EkxSaid::Timed) outcome.out = std::regex_replace(outcome.out, kNumber, "#");
    return outcome;
  }

 private:
  static constexpr const char* kAppLocker =
      R"(<AppLockerPolicy Version="1"><RuleCollection Type="Exe" EnforcementMode="Enabled">)"
      R"(<FilePathRule Id="windows" Name="n" UserOrGroupSid="S-1-1-0" Action="Allow"><Conditions>)"
      R"(<FilePathCondition Path="%WINDIR%\*"/></Conditions></FilePathRule></RuleCollection></AppLockerPolicy>)";

  void Serve() {
    _served = std::make_unique<CkxServedImage>(KxTest_PathText(_inputs.Path() / "policies"));
    const auto isAnswered = [] {
      const std::string target = R"({"kind":"process","path":"C:\\a.exe","user":{"sid":"S-1-5-18"}})";
      return KxTest_RunTool({"eval", "--target", "-"}, target).code == 0;
    };
    for (int i = 0; i < 2000 && !isAnswered(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    ASSERT_TRUE(isAnswered());
  }

  std::vector<std::string> Arguments(std::vector<std::string> arguments) const {
    for (std::string& argument : arguments) {
      if (argument[0] == '@') argument = KxTest_PathText(_inputs.Path() / argument.substr(1));
      if (argument[0] == '>') argument = KxTest_PathText(_outputs->Path() / argument.substr(1));
    }
    return arguments;
  }
  /// What it answers.
  std::string Prepare(const std::vector<std::string>& arguments) const {
    const SkxToolRun run = KxTest_RunTool(Arguments(arguments));
    EXPECT_EQ(run.code, 0) << run.err;
    return run.out;
  }
  KxFilesByName State() const {
    KxFilesByName state = FilesIn(_outputs->Path());
    for (const auto& arguments : GetParam().shown) {
      state["what `" + arguments[0] + "` shows"] = KxTest_RunTool(Arguments(arguments)).out;
    }
    return state;
  }

  const CkxTraceCapture _quiet;
  const CkxRuntimeFolderScope _runtime;
  const CkxTempFolder _inputs;
  std::optional<CkxTempFolder> _outputs;
  const CkxTempFolder _streams;
  std::unique_ptr<CkxServedImage> _served;
  CkxServiceControl _control{{[] { return SkxServiceStatus(); }, [] { return std::string(); }}};
};

/// Whether an answer is the right one, but for lines that say that something went wrong; one that was broken off may
/// lack the rest.
bool IsRightOrTold(const SkxVerbOutcome& outcome, const SkxVerbOutcome& whole, EkxSaid said) {
  const bool mayBreakOff = outcome.run.code != whole.run.code || said == EkxSaid::IfItCan;
  if (whole.out.starts_with(outcome.out)) return outcome.out == whole.out || mayBreakOff;
  const std::vector<std::string> right = AnswerLines(whole.out);
  const std::vector<std::string> lines = AnswerLines(outcome.out);
  const auto isGood = [&](const std::string& line) {
    return std::find(right.begin(), right.end(), line) != right.end() || line.find("error") != std::string::npos ||
           line.find("cannot be read") != std::string::npos;
  };
  return (lines.size() >= right.size() || mayBreakOff) && std::all_of(lines.begin(), lines.end(), isGood);
}

/// Each is as it was before, or as it is in the end; what could not be removed may stay beside them.
void ExpectWholeFiles(const SkxVerbOutcome& outcome, const KxFilesByName& before, const KxFilesByName& after) {
  const auto isIn = [](const KxFilesByName& files, const KxFilesByName::value_type& file) {
    const auto found = files.find(file.first);
    return found != files.end() && found->second == file.second;
  };
  for (const auto& file : outcome.after)
    EXPECT_TRUE(outcome.run.isRemoval || isIn(before, file) || isIn(after, file)) << file.first << ":\n" << file.second;
  for (const auto& file : before)
    EXPECT_TRUE(outcome.after.contains(file.first) || !after.contains(file.first)) << file.first;
}

/// What the disk did not take is told, and an image that it did not take is not put in place.
void ExpectFlushIsTold(const SkxVerbOutcome& outcome) {
  EXPECT_EQ(outcome.run.code, 4);
  const bool isOfImage = outcome.before.contains("image") || outcome.err.find("image") != std::string::npos;
  EXPECT_TRUE(!isOfImage || outcome.after == outcome.before);
}

void ExpectToldOrMadeGood(const SkxVerbOutcome& outcome, const SkxVerbOutcome& whole, EkxCallFault how, EkxSaid said) {
  const bool isWithoutNames = outcome.err.find("; ids stand for names\n") != std::string::npos;
  EXPECT_TRUE(IsRightOrTold(outcome, whole, said) || isWithoutNames) << outcome.out;
  if (isWithoutNames) {
    EXPECT_EQ(outcome.run.code, whole.run.code);
    EXPECT_EQ(outcome.after.size(), whole.after.size());
  } else if (outcome.run.code == whole.run.code) {
    EXPECT_TRUE(outcome.err == whole.err || outcome.run.isTelling);
    ExpectWholeFiles(outcome, whole.after, whole.after);
  } else {
    EXPECT_EQ(how, EkxCallFault::Fails) << "the rest is to be asked for again";
    EXPECT_TRUE(outcome.run.code == 3 || outcome.run.code == 4);
    EXPECT_TRUE(!outcome.err.empty() || outcome.run.isTelling);
    ExpectWholeFiles(outcome, outcome.before, whole.after);
  }
}

TEST_P(FailingCalls, AreToldOrMadeGoodAndLeaveNothingByHalves) {
  const SkxVerbOutcome whole = Run({});
  ASSERT_GE(whole.run.code, 0) << whole.err;
  ASSERT_LE(whole.run.code, 1) << whole.err;
  for (const EkxCallFault how : KxTest_CallFaults()) {
    const size_t calls = Run({how, SkxCallFault::kNever}).run.calls;
    ASSERT_TRUE(calls > 0 || how != EkxCallFault::Fails);
    RecordProperty("calls_" + std::to_string(static_cast<int>(how)), std::to_string(calls));
    for (size_t at = 0; at < calls; ++at) {
      const SkxVerbOutcome outcome = Run({how, at});
      SCOPED_TRACE("call " + std::to_string(at) + " of " + std::to_string(calls) + ", " + outcome.run.failed +
                   ": exit code " + std::to_string(outcome.run.code) + ", " + outcome.err);
      ExpectToldOrMadeGood(outcome, whole, how, GetParam().said);
      if (outcome.run.failed == "fsync" || outcome.run.failed == "FlushFileBuffers") ExpectFlushIsTold(outcome);
    }
  }
}

/// So that a failure names the verb.
void PrintTo(const SkxFailedVerb& verb, std::ostream* out) { *out << verb.arguments[0]; }

using KxRunsOfVerb = std::vector<SkxFailedVerb::Arguments>;
const KxRunsOfVerb kShowInForce = {{"show"}};
const KxRunsOfVerb kNewFile = {{"new", ">"}};
const KxRunsOfVerb kMarkedFile = {{"new", ">"},
                                  {"ea", "set", ">policies.jsonc", "KXA", "--value", "00"},
                                  {"origin", "set", ">policies.jsonc", "--uri", "a:b", "--key-file", "@key"}};
const KxRunsOfVerb kShowMarks = {{"ea", "list", ">policies.jsonc"},
                                 {"origin", "get", ">policies.jsonc", "--format", "json", "--key-file", "@key"}};
/// Every verb, and those that differ in what they ask of the system by what they are given several times.
const SkxFailedVerb kFailedVerbs[] = {
    {{"new", ">folder"}},
    {{"compile", "@policies.jsonc", "-o", ">image"}},
    {{"compile", "@policies.jsonc", "-o", ">image"}, "", {{"compile", "@upkeep.jsonc", "-o", ">image"}}},
    {{"import", "applocker", "@applocker.xml", "-o", ">policies.jsonc", "--report", ">report"}},
    {{"check", "@policies"}},
    {{"check", "@policies.jsonc"}},
    {{"show", "@policies", "--format", "json"}},
    {{"report", "@policies", "--targets", "@targets.jsonl", "-o", ">page.html"}},
    {{"eval", "@policies", "--targets", "@targets.jsonl"}},
    {{"eval", "@policies", "--targets", "@targets.jsonl", "--summary"}},
    {{"eval", "@policies.jsonc", "--target", "-", "--format", "json"}, R"({"kind":"process","path":"C:\\a.exe"})"},
    {{"eval", "@policies", "--file", "@policies.jsonc", "--format", "json"}},
    {{"eval", "--target", "-", "--format", "json"},
     R"({"kind":"process","path":"C:\\a.exe","user":{"sid":"S-1-5-18"}})",
     {},
     {},
     EkxAnswering::Agent},
    {{"summary", "@summary.json", "@summary.json"}},
    {{"test", "@policies.jsonc", "@tests/cases.jsonc", "--coverage"}},
    {{"diff", "@policies.jsonc", "@upkeep.jsonc", "--targets", "@targets.jsonl"}},
    {{"witness", "@policies"}},
    {{"describe", "@policies.jsonc"}},
    {{"events", "plain", "@events.jsonl"}},
    {{"suggest", "--file", "@policies.jsonc", "-o", ">policies.jsonc"}},
    {{"suggest", "--targets", "@targets.jsonl", "-o", ">policies.jsonc"}},
    {{"match"}, "{\"id\":1,\"op\":\"str\",\"mode\":5,\"pattern\":\"a+\",\"subject\":\"aa\"}\n"},
    {{"record", "tokendata", std::string(60, '0')}},
    {{"origin", "convert"}, R"({"json":{"path":"C:\\a.exe"},"record":"File"})"},
    {{"origin", "fill"}, R"({"keywords":"Setup"})"},
    {{"origin", "sign", "--key-file", "@key"}, R"({"record":"uri","uri":"a:b"})"},
    {{"origin", "verify", "--key-file", "@key"}, R"({"record":"uri","bytes":"00","check":false})"},
    {{"origin", "get", ">policies.jsonc", "--key-file", "@key"}, "", kMarkedFile, kShowMarks},
    {{"origin", "set", ">policies.jsonc", "--uri", "c:de", "--email", R"({"subject":"Tools"})", "--key-file", "@key"},
     "",
     kMarkedFile,
     kShowMarks},
    {{"origin", "copy", ">policies.jsonc", ">tests/cases.jsonc", "--key-file", "@key"}, "", kMarkedFile, kShowMarks},
    {{"origin", "delete", ">policies.jsonc"}, "", kMarkedFile, kShowMarks},
    {{"origin", "migrate", ">policies.jsonc", "--key-file", "@key"}, "", kMarkedFile, kShowMarks},
    {{"ea", "encode"}, R"({"name":"KXA","value":"00"})"},
    {{"ea", "decode"}, R"({"record":"00"})"},
    {{"ea", "list", ">policies.jsonc"}, "", kMarkedFile, kShowMarks},
    {{"ea", "get", ">policies.jsonc", "KXA"}, "", kMarkedFile, kShowMarks},
    {{"ea", "set", ">policies.jsonc", "KXA", "--value-file", "@key"}, "", kMarkedFile, kShowMarks},
    {{"ea", "delete", ">policies.jsonc", "KXA"}, "", kMarkedFile, kShowMarks},
    {{"ea", "size", ">policies.jsonc"}, "", kMarkedFile, kShowMarks},
    {{"stamp"}, R"({"op":"get"})"},
    {{"config", "get", "Server/Port", "--image", "@policies"}},
    {{"config", "list", "--image", "@policies"}},
    {{"message", "Blocked", "--image", "@policies"}},
    {{"procmap", "replay", "--dump", ">map"}, "{\"op\":\"OnProcessStart\",\"pid\":4}\n"},
    {kSign},
    {{"publish", "@policies"}, "", {{"publish", "@upkeep"}}, kShowInForce, EkxAnswering::Nobody, EkxSaid::IfItCan},
    {{"publish", ">image", "--require-signature", KX_IMAGE_SIGNATURES "/roots.pem"},
     "",
     {kSign},
     {},
     EkxAnswering::Nobody,
     EkxSaid::IfItCan},
    {{"unpublish"}, "", {{"publish", "@upkeep"}}, kShowInForce},
    {{"serve", "@policies"}, "", {}, kShowInForce, EkxAnswering::Nobody, EkxSaid::IfItCan},
    {{"status"}, "", {}, {}, EkxAnswering::Control},
    {{"rollback"}, "", {}, {}, EkxAnswering::Control},
    {{"bench", "@policies", "--target", "-", "--milliseconds", "1"},
     R"({"kind":"process","path":"C:\\a.exe"})",
     {},
     {},
     EkxAnswering::Nobody,
     EkxSaid::Timed},
    {{"completion", "bash"}},
    {{"man"}},
};

std::string NameOfVerb(const ::testing::TestParamInfo<SkxFailedVerb>& verb) {
  const auto& arguments = verb.param.arguments;
  const bool isOfGroup = arguments[0] == "origin" || arguments[0] == "ea" || arguments[0] == "config";
  return arguments[0] + (isOfGroup ? "_" + arguments[1] : "") + "_" + std::to_string(verb.index);
}

INSTANTIATE_TEST_SUITE_P(OfVerbs, FailingCalls, ::testing::ValuesIn(kFailedVerbs), NameOfVerb);

}  // namespace
