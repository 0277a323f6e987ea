// check: an image or policy documents, verified field by field, and looked through for what cannot have been meant.
#include <ostream>

#include "Agent/engine/kx_publish/check/document_check.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/image/image_manifest.h"
#include "Common_CPP/util/counted.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/finding_report.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/signature_demand.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct CheckOptions {
  std::vector<std::string> inputs;
  std::string format = "text";
  SkxSignatureOptions signature;
  bool strict = false;

  bool AsJson() const { return format == "json"; }
};

/// A signature that does not hold for the files is a warning as long as nobody asks for one. Where it holds, a person
/// is told whose it is.
void CheckSignature(const SkxPolicyImage& image, const CheckOptions& options, std::ostream& out,
                    CkxFindingReport& report) {
  const CkxSignatureDemand demand(options.signature);
  const SkxSigner signer = demand.SignerOf(image);
  const bool isBroken = signer.status == EkxPublisherStatus::Invalid;
  const std::string fault = isBroken ? KxImageSignature_Fault(signer, CkxTextView()) : demand.FaultOf(signer);
  if (!fault.empty()) {
    const EkxSeverity severity = demand.IsMade() ? EkxSeverity::Error : EkxSeverity::Warning;
    report.Add(KxCheck_Finding(severity, "signature", fault, {options.inputs.front() + "/image.p7s", {}, ""}));
  } else if (image.signature && !options.AsJson()) {
    out << "image " << KxImageManifest_Digest(image) << ", signed by "
        << KxText_PrintableQuoted(KxText_ToUtf8(signer.name))
        << (demand.IsMade() ? "" : "; --require-signature says whose signatures count") << '\n';
  }
}

void CheckImage(const CheckOptions& options, SkxStreams& streams, CkxFindingReport& report) {
  const std::string& folder = options.inputs.front();
  const CkxPolicySet set = KxPolicyInput_Open({folder}, streams.in);
  CheckSignature(set.Image(), options, streams.out, report);
  for (const SkxFinding& finding : KxLint_Image(set.Image())) {
    report.Add(KxCheck_Finding(finding, KxCheckPlace_InImage(folder, finding)));
  }
  for (const SkxRowFinding& row : KxLint_Rows(set.Applicable())) {
    report.Add(KxCheck_Finding(row, {set.PlaceOf("applicable.json"), {}, KxJson_Pointer("", row.sid)}));
  }
  std::string fault;
  set.Names(&fault);
  if (!fault.empty()) {
    report.Add(KxCheck_Finding(EkxSeverity::Warning, "names", "what the author called things is not known: " + fault,
                               {set.PlaceOf("names.json"), {}, ""}));
  }
}

std::string UnusableLine(const SkxCheckFinding& finding) {
  const bool isPlaced = finding.line && finding.column;
  const std::string place =
      isPlaced ? ":" + std::to_string(*finding.line) + ":" + std::to_string(*finding.column) : std::string();
  return finding.file + place + ": " + finding.message;
}

/// What is no JSON at all is unusable input; `report` has it too where programs read that alone.
void CheckDocuments(const CheckOptions& options, std::istream& standardInput, CkxFindingReport& report) {
  const SkxDocumentCheck check = KxCheck_Documents(KxPolicyInput_Texts(options.inputs, standardInput));
  if (check.isJson || options.AsJson()) {
    for (const SkxCheckFinding& finding : check.findings) report.Add(finding);
  }
  if (check.isJson) return;
  throw CkxToolFault(EkxExit::UnusableInput, UnusableLine(check.findings.front()));
}

EkxExit Check(const CheckOptions& options, SkxStreams& streams) {
  CkxFindingReport report(streams.out, options.AsJson());
  if (KxPolicyInput_IsImage(options.inputs)) {
    CheckImage(options, streams, report);
  } else if (!options.signature.roots.empty()) {
    throw CkxToolFault(EkxExit::UnusableArguments, "--require-signature is about an image, not about documents");
  } else {
    CheckDocuments(options, streams.in, report);
  }
  if (!options.AsJson()) {
    const bool hasNone = report.Errors() + report.Warnings() == 0;
    streams.out << (hasNone ? "no findings"
                            : KxCounted(report.Errors(), "error", "errors") + ", " +
                                  KxCounted(report.Warnings(), "warning", "warnings"))
                << '\n';
  }
  return report.Errors() + (options.strict ? report.Warnings() : 0) == 0 ? EkxExit::Done : EkxExit::Failure;
}

}  // namespace

KxVerbAction KxVerb_Check(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<CheckOptions>();
  verb.Add("input", options->inputs, kKxPolicyInputHelp).Path().Required();
  verb.Add("--format", options->format, "text: a line a finding, then their sum; json: an object a finding")
      .OneOf({"text", "json"});
  options->signature.AddTo(verb);
  verb.AddFlag("--strict", options->strict, "Warnings fail like errors");
  verb.Footer(
      "Exits with 1 when there is an error; warnings alone are 0, or 1 with --strict.\nExample: kxpolicy check "
      "policies.jsonc");
  return [options](SkxStreams& streams) { return Check(*options, streams); };
}
