// check: an image or policy documents, verified field by field, and looked through for what cannot have been meant.
#include <ostream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/policy_document_faults.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
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

/// For a document that says something else than a publication.
SkxFinding DocumentError(const std::string& message) { return KxFinding_Of(EkxSeverity::Error, "document", message); }

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
    report.Add(KxFinding_Of(severity, "signature", fault), {options.inputs.front() + "/image.p7s", {}, ""});
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
    report.Add(finding, KxCheckPlace_InImage(folder, finding));
  }
  for (const SkxRowFinding& row : KxLint_Rows(set.Applicable())) {
    report.AddRow(row, {set.PlaceOf("applicable.json"), {}, KxJson_Pointer("", row.sid)});
  }
  std::string fault;
  set.Names(&fault);
  if (!fault.empty()) {
    report.Add(KxFinding_Of(EkxSeverity::Warning, "names", "what the author called things is not known: " + fault),
               {set.PlaceOf("names.json"), {}, ""});
  }
}

/// What is no JSON at all is unusable input; `report` has it too where programs read that alone.
CkxCheckedDocuments Parsed(const std::vector<SkxDocumentText>& texts, bool asJson, CkxFindingReport& report) {
  CkxCheckedDocuments documents;
  std::optional<CkxToolFault> unusable;
  for (const SkxDocumentText& text : texts) {
    nlohmann::json json;
    try {
      json = KxJson_Parse(text.text, true);
    } catch (const CkxDocumentFault& fault) {
      const bool isJson = !fault.Pointer().empty();  // but what no reader takes, as reading will tell
      if (!isJson && !unusable) unusable.emplace(EkxExit::UnusableInput, text.name + ": " + fault.what());
      if (!isJson && asJson) report.Add(DocumentError(fault.what()), {text.name, std::nullopt, ""});
    }
    documents.Add(text, std::move(json));
  }
  if (unusable) throw CkxToolFault(*unusable);
  return documents;
}

void CheckDocuments(const CheckOptions& options, std::istream& standardInput, CkxFindingReport& report) {
  const std::vector<SkxDocumentText> texts = KxPolicyInput_Texts(options.inputs, standardInput);
  const CkxCheckedDocuments documents = Parsed(texts, options.AsJson(), report);
  SkxPublication publication;
  std::vector<SkxDocumentError> faults;
  if (KxPolicyDocument_ReadAll(texts, publication, faults)) {
    return report.AddLint(publication, KxEncode_Image(publication), documents);
  }
  for (const SkxDocumentError& fault : faults) {
    SkxFinding finding = DocumentError(fault.message);
    documents.NamePolicy(fault.document, fault.pointer, finding);
    report.Add(finding, documents.PlaceOf(fault));
  }
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
