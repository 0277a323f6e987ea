// test: policies held against cases, which are targets with the decision that is expected of each.
#include <algorithm>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/progress.h"
#include "tools/kxpolicy/test_report.h"
#include "tools/kxpolicy/tool.h"

namespace {

namespace fs = std::filesystem;

struct TestOptions {
  std::vector<std::string> inputs;
  bool coverage = false;
  std::optional<uint32_t> least;
  std::optional<uint32_t> leastChecks;
  bool errorsOk = false;
  std::string format = "text";
};

/// The policies, and what their author called things in them.
struct TestedPolicies {
  SkxPolicyImage image;
  KxAlertNames alertNames;
  std::map<GUID, std::string, SkxGuidLess> groupNames;
};

struct TestInputs {
  TestedPolicies policies;
  std::vector<SkxTestedCase> cases;
};

TestedPolicies Compiled(const std::vector<SkxDocumentText>& documents) {
  SkxPublication publication;
  SkxDocumentError error;
  if (!KxPolicyDocument_Read(documents, publication, error)) {
    throw CkxToolFault(EkxExit::UnusableInput, KxPolicyInput_FaultLine(documents, error));
  }
  TestedPolicies policies = {KxEncode_Image(publication), {}, {}};
  for (const SkxAlertModel& alert : publication.alerts) policies.alertNames[KxText_ToUtf8(alert.name)] = alert.id;
  for (const SkxAppGroupModel& group : publication.groups) policies.groupNames[group.id] = KxText_ToUtf8(group.name);
  return policies;
}

/// False for what is a policy document, or something that its reader will find fault with.
bool AddCases(const SkxDocumentText& text, std::vector<SkxTestedCase>& cases) {
  if (text.text.find("\"cases\"") == std::string::npos) return false;
  try {
    const nlohmann::json json = KxJson_Parse(text.text, true);
    if (!KxCaseDocument_IsOne(json)) return false;
    for (SkxCase& test : KxCaseDocument_Read(json)) cases.push_back({text.name, std::move(test), {}});
    return true;
  } catch (const CkxDocumentFault& fault) {
    throw CkxToolFault(EkxExit::UnusableInput,
                       KxPolicyInput_FaultLine({text}, {text.name, fault.Pointer(), fault.what()}));
  }
}

/// An image comes first; policy documents and case files are told by what is in them.
TestInputs ReadInputs(const std::vector<std::string>& inputs, std::istream& standardInput) {
  TestInputs read;
  const bool hasImage = KxPolicyInput_IsImage({inputs.front()});
  if (hasImage) read.policies.image = KxPolicyInput_Open({inputs.front()}, standardInput).TakeImage();
  const std::vector<std::string> files(inputs.begin() + (hasImage ? 1 : 0), inputs.end());
  KxPolicyInput_IsImage(files);  // refuses a folder among them
  std::vector<SkxDocumentText> documents;
  for (SkxDocumentText& text : KxPolicyInput_Texts(files, standardInput)) {
    if (!AddCases(text, read.cases)) documents.push_back(std::move(text));
  }
  if (hasImage && !documents.empty()) {
    throw CkxToolFault(EkxExit::UnusableArguments, documents.front().name + ": is no case file: it has no \"cases\"");
  }
  if (!hasImage && documents.empty()) {
    throw CkxToolFault(EkxExit::UnusableArguments, "there are cases, but no policies");
  }
  if (!hasImage) read.policies = Compiled(documents);
  if (read.cases.empty()) throw CkxToolFault(EkxExit::UnusableArguments, "there are policies, but no cases");
  return read;
}

/// The file of events, from the folder of the case file that names it.
std::string EventsPath(const std::string& caseFile, const std::string& events) {
  if (events == "-") return events;
  const auto pathOf = [](const std::string& text) { return fs::path(std::u8string(text.begin(), text.end())); };
  const std::u8string path = (pathOf(caseFile).parent_path() / pathOf(events)).generic_u8string();
  return std::string(path.begin(), path.end());
}

/// All cases about the events of one file. Returns how many of its lines are no target documents, which unless that is
/// fine meet no expectation.
size_t JudgeEvents(const std::string& path, const std::vector<SkxTestedCase*>& cases, CkxCaseJudge& judge,
                   bool isErrorsOk, SkxStreams& streams) {
  constexpr size_t kMaxTold = 10;
  std::vector<SkxCaseOnEvents> onEvents;
  std::vector<SkxCaseOnEvents*> pointers;
  onEvents.reserve(cases.size());  // they stay where they are
  pointers.reserve(cases.size());
  for (const SkxTestedCase* const tested : cases)
    pointers.push_back(&onEvents.emplace_back(SkxCaseOnEvents{&tested->test, {}}));

  CkxCaseEventsRun run(judge, pointers);
  CkxInput input(path, streams.in);
  CkxLineReader lines(input);
  CkxProgress progress(streams, "tested", &input);
  size_t unusable = 0;
  for (std::string line; lines.Next(line);) {
    progress.At(lines.Number(), input.Taken());
    const std::string place = input.Name() + ":" + std::to_string(lines.Number());
    try {
      if (lines.TooLong()) throw CkxDocumentFault("", "the line is too long");
      run.Take(line, place);
    } catch (const CkxDocumentFault& fault) {
      const SkxLineFault told(input.Name(), lines.Number(), fault);
      if (!isErrorsOk) run.TakeFault(told.what, told.place);
      if (++unusable <= kMaxTold) streams.err << "kxpolicy: " + KxText_Printable(told.Text()) + "\n";
    }
  }
  run.End();
  for (size_t i = 0; i < cases.size(); ++i) cases[i]->result = std::move(onEvents[i].result);
  return unusable;
}

/// Each file of events is read once, whatever the number of cases about it. Whether all of them could be used.
bool JudgeAll(std::vector<SkxTestedCase>& cases, CkxCaseJudge& judge, bool isErrorsOk, SkxStreams& streams) {
  std::map<std::string, std::vector<SkxTestedCase*>> byEvents;
  for (SkxTestedCase& tested : cases) {
    if (tested.test.events) {
      byEvents[EventsPath(tested.file, tested.test.events->file)].push_back(&tested);
    } else {
      tested.result = judge.Judge(tested.test);
    }
  }
  size_t unusable = 0;
  for (const auto& [path, about] : byEvents) unusable += JudgeEvents(path, about, judge, isErrorsOk, streams);
  if (unusable != 0 && isErrorsOk) {
    streams.err << "kxpolicy: passed over, being no target documents: " << unusable << '\n';
  }
  return unusable == 0 || isErrorsOk;
}

void CheckStandardInput(const TestOptions& options, const std::vector<SkxTestedCase>& cases) {
  std::vector<std::string> paths = options.inputs;
  const bool isForEvents = std::any_of(cases.begin(), cases.end(), [](const SkxTestedCase& tested) {
    return tested.test.events && tested.test.events->file == "-";
  });
  if (isForEvents) paths.emplace_back("-");
  KxInput_CheckStandardInput(paths);
}

std::string Rendered(const SkxTestRun& run, const std::string& format) {
  if (format == "tap") return KxTestReport_AsTap(run);
  if (format == "junit") return KxTestReport_AsJUnit(run);
  return format == "json" ? KxTestReport_AsJson(run) : KxTestReport_AsText(run);
}

void CheckPercentage(const char* option, const std::optional<uint32_t>& percent) {
  if (!percent || *percent <= 100) return;
  throw CkxToolFault(EkxExit::UnusableArguments, std::string(option) + ": must be a percentage, 0 to 100");
}

EkxExit Test(const TestOptions& options, SkxStreams& streams) {
  CheckPercentage("--least", options.least);
  CheckPercentage("--least-checks", options.leastChecks);
  TestInputs inputs = ReadInputs(options.inputs, streams.in);
  CheckStandardInput(options, inputs.cases);
  SkxImageModels models;
  if (options.coverage) models = KxImage_Models(inputs.policies.image);
  CkxCaseJudge judge(std::move(inputs.policies.image), std::move(inputs.policies.alertNames));
  if (options.coverage) judge.WatchChecks(models);
  const bool isUsable = JudgeAll(inputs.cases, judge, options.errorsOk, streams);

  SkxTestRun run = {std::move(inputs.cases), {}};
  if (options.coverage) {
    run.coverage =
        SkxTestCoverage{&judge.Coverage(), options.least, options.leastChecks, std::move(inputs.policies.groupNames)};
  }
  streams.out << Rendered(run, options.format);
  if (!isUsable) return EkxExit::UnusableInput;
  const bool isGood = run.FailedCases() == 0 && (!run.coverage || run.coverage->IsEnough());
  return isGood ? EkxExit::Done : EkxExit::Failure;
}

}  // namespace

KxVerbAction KxVerb_Test(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<TestOptions>();
  verb.Add("inputs", options->inputs,
           "Folder of a compiled image, or policy documents; then case files, which are told by their \"cases\"; - for "
           "standard input")
      .Path()
      .Required();
  const CkxOption coverage = verb.AddFlag("--coverage", options->coverage,
                                          "Also say which policies, and which of their targets, never decided, and "
                                          "which checks of targets never said no to the target of a case");
  verb.Add("--least", options->least, "Percent of policies, and of targets, that must have decided").Needs(coverage);
  verb.Add("--least-checks", options->leastChecks, "Percent of checks that must have said no").Needs(coverage);
  verb.AddFlag("--errors-ok", options->errorsOk, "Lines of events that are no target documents are passed over");
  verb.Add("--format", options->format, "text, or for what collects results: tap, junit, json (an object a case)")
      .OneOf({"text", "tap", "junit", "json"});
  verb.Footer(
      "Exits with 1 when a decision is another than expected.\nExample: kxpolicy test policies.jsonc cases.jsonc");
  return [options](SkxStreams& streams) { return Test(*options, streams); };
}
