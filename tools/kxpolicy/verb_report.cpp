// report: one page to look at, of an image or policy documents, and of what they decide about a stream of targets.
#include <ostream>

#include "Agent/engine/kx_publish/decision/decision.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/report/report_decisions.h"
#include "Agent/engine/kx_publish/report/report_page.h"
#include "Agent/engine/kx_publish/report/report_policies.h"
#include "Common_CPP/util/counted.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/output.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/progress.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct ReportOptions {
  std::vector<std::string> policies;
  std::string targets;
  std::string page;
};

/// Policies, what their author called things, and what is wrong with them.
struct ReportedPolicies {
  std::string title;
  SkxPolicyImage image;
  CkxAuthorNames names;
  std::vector<SkxFinding> findings;
};

void CheckPaths(const ReportOptions& options) {
  std::vector<std::string> paths = options.policies;
  paths.push_back(options.targets);
  KxInput_CheckStandardInput(paths);
  KxOutput_CheckPlace(options.page, paths);
}

ReportedPolicies Open(const ReportOptions& options, SkxStreams& streams) {
  ReportedPolicies reported;
  if (KxPolicyInput_IsImage(options.policies)) {
    reported.title = options.policies.front();
    CkxPolicySet set = KxPolicyInput_Open(options.policies, streams.in);
    reported.names = KxPolicyInput_Names(set, streams.err);
    reported.image = set.TakeImage();
    reported.findings = KxLint_Image(reported.image);
    return reported;
  }
  const std::vector<SkxDocumentText> texts = KxPolicyInput_Texts(options.policies, streams.in);
  SkxPublication publication;
  SkxDocumentError fault;
  if (!KxPolicyDocument_Read(texts, publication, fault)) {
    throw CkxToolFault(EkxExit::UnusableInput, KxPolicyInput_FaultLine(texts, fault));
  }
  for (const SkxDocumentText& text : texts) reported.title += (reported.title.empty() ? "" : ", ") + text.name;
  reported.image = KxEncode_Image(publication);
  reported.names = CkxAuthorNames(publication);
  reported.findings = KxLint_Image(reported.image);
  for (const SkxFinding& finding : KxLint_Names(publication)) {
    const bool isInImage = finding.section == EkxPolicySection::Policies;  // and told already
    if (!isInImage) reported.findings.push_back(finding);
  }
  return reported;
}

SkxReportedDecision Decide(const CkxTargetDocument& document, const CkxImageJudge& judge) {
  const SkxDecision decision = KxDecision_OfDocument(document, {}, judge);
  if (!decision.matched) return {std::nullopt, "", decision.error};
  return {uint32_t{decision.info.PolicyId}, KxDecision_ActionName(decision), ""};
}

CkxReportDecisions DecideAll(const ReportOptions& options, const SkxPolicyImage& image, SkxStreams& streams) {
  const CkxImageJudge judge(image, EkxPrepare::WhenItPays);
  CkxInput input(options.targets, streams.in);
  CkxReportDecisions decisions(input.Name());
  CkxLineReader lines(input);
  CkxProgress progress(streams, "evaluated", &input);
  for (std::string line; lines.Next(line);) {
    progress.At(lines.Number(), input.Taken());
    try {
      if (lines.TooLong()) throw CkxDocumentFault("", "the line is too long");
      const nlohmann::json json = KxJson_Parse(line, false);
      const CkxTargetDocument document = CkxTargetDocument::FromJson(json);
      decisions.Add(KxReport_Target(json), Decide(document, judge));
    } catch (const CkxDocumentFault& fault) {
      decisions.AddUnusable(lines.Number(), fault.Line());
    }
  }
  return decisions;
}

EkxExit Report(const ReportOptions& options, SkxStreams& streams) {
  CheckPaths(options);
  const ReportedPolicies reported = Open(options, streams);
  nlohmann::ordered_json data = KxReport_Policies(reported.title, reported.image, reported.names, reported.findings);
  std::string made = KxCounted(data["policies"].size(), "policy", "policies") + ", " +
                     KxCounted(reported.findings.size(), "finding", "findings");
  EkxExit code = EkxExit::Done;
  if (!options.targets.empty()) {
    const CkxReportDecisions decisions = DecideAll(options, reported.image, streams);
    data["decisions"] = decisions.ToJson();
    made += ", " + KxCounted(decisions.Targets(), "target", "targets");
    if (decisions.Unusable() != 0) {
      streams.err << "kxpolicy: " << KxText_Printable(options.targets) << ": "
                  << KxCounted(decisions.Unusable(), "line is no target", "lines are no targets")
                  << "; the report says which\n";
      code = EkxExit::UnusableInput;
    }
  }
  KxOutput_Write(options.page, KxReport_Page(data), streams);
  KxOutput_Tell(options.page, made, streams);
  return code;
}

}  // namespace

KxVerbAction KxVerb_Report(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<ReportOptions>();
  verb.Add("policies", options->policies, kKxPolicyInputHelp).Path().Required();
  verb.Add("--targets", options->targets, "A stream of target documents to decide about, - for standard input").File();
  verb.Add("-o,--output", options->page,
           "The page, one HTML file, which is written whole or not at all, - for standard output")
      .File()
      .Required();
  verb.Footer("Example: kxpolicy report policies.jsonc --targets launches.jsonl -o policies.html");
  return [options](SkxStreams& streams) { return Report(*options, streams); };
}
