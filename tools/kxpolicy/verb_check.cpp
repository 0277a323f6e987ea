// check: an image or policy documents, verified field by field, and looked through for what cannot have been meant.
#include <ostream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/check_places.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/image_summary.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/tool.h"

namespace {

using nlohmann::ordered_json;

struct CheckOptions {
  std::vector<std::string> inputs;
  std::string format = "text";
};

/// For a document that says something else than a publication.
constexpr const char* kDocumentRule = "document";

/// For rows of users, and for what the author called things.
constexpr const char* kRowRule = "row";
constexpr const char* kNamesRule = "names";

const char* Word(EkxSeverity severity) { return severity == EkxSeverity::Error ? "error" : "warning"; }

/// Writes the findings as they come.
class Report {
 public:
  Report(std::ostream& out, bool asJson) : _out(out), _asJson(asJson) {}

  void Add(const SkxFinding& finding, const SkxCheckPlace& place) {
    ++(finding.severity == EkxSeverity::Error ? _errors : _warnings);
    _out << (_asJson ? AsJson(finding, place) : AsText(finding, place)) << '\n';
  }

  EkxExit End() {
    if (!_asJson) {
      const bool hasNone = _errors + _warnings == 0;
      _out << (hasNone ? "no findings"
                       : KxCounted(_errors, "error", "errors") + ", " + KxCounted(_warnings, "warning", "warnings"))
           << '\n';
    }
    return _errors == 0 ? EkxExit::Done : EkxExit::Failure;
  }

 private:
  /// In a file the path of the field is a part of what there is to say; a document's pointer says it.
  static std::string MessageOf(const SkxFinding& finding, const SkxCheckPlace& place) {
    const bool saysPath = place.offset.has_value() && !finding.path.empty();
    return (saysPath ? finding.path + ": " : "") + finding.message;
  }

  static std::string AsText(const SkxFinding& finding, const SkxCheckPlace& place) {
    std::string line = place.file + ": ";
    if (place.offset) line += "byte " + std::to_string(*place.offset) + ": ";
    if (place.pointer && !place.pointer->empty()) line += *place.pointer + ": ";
    line += std::string(Word(finding.severity)) + ": ";
    if (finding.policyId) {
      line += "policy " + std::to_string(*finding.policyId);
      line += (finding.policyName ? " " + KxText_PrintableQuoted(*finding.policyName) : "") + ": ";
    }
    return KxText_Printable(line + MessageOf(finding, place) + " [" + finding.rule + "]");
  }

  static std::string AsJson(const SkxFinding& finding, const SkxCheckPlace& place) {
    ordered_json line;
    line["severity"] = Word(finding.severity);
    line["rule"] = finding.rule;
    line["policyId"] = finding.policyId ? ordered_json(*finding.policyId) : nullptr;
    line["policyName"] = finding.policyName ? ordered_json(*finding.policyName) : nullptr;
    line[place.offset ? "file" : "document"] = place.file;
    if (place.offset) line["offset"] = *place.offset;
    if (place.pointer) line["pointer"] = *place.pointer;
    line["message"] = MessageOf(finding, place);
    return line.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
  }

  std::ostream& _out;
  const bool _asJson;
  size_t _errors = 0;
  size_t _warnings = 0;
};

SkxFinding Plain(EkxSeverity severity, const char* rule, const std::string& message) {
  return {severity, rule, EkxPolicySection::Policies, 0, 0, "", message, {}, {}};
}

void CheckImage(const std::string& folder, std::istream& standardInput, Report& report) {
  const CkxPolicySet set = KxPolicyInput_Open({folder}, standardInput);
  for (const SkxFinding& finding : KxLint_Image(set.Image())) {
    report.Add(finding, KxCheckPlace_InImage(folder, finding));
  }
  for (const SkxRowFinding& row : KxLint_Rows(set.Applicable())) {
    const std::string pointer = KxJson_Pointer("", row.sid);
    report.Add(Plain(EkxSeverity::Warning, kRowRule, row.message), {set.PlaceOf("applicable.json"), {}, pointer});
  }
  std::string fault;
  set.Names(&fault);
  if (!fault.empty()) {
    report.Add(Plain(EkxSeverity::Warning, kNamesRule, "what the author called things is not known: " + fault),
               {set.PlaceOf("names.json"), {}, ""});
  }
}

/// What no publication can be read from.
void AddFault(const SkxDocumentError& fault, const CkxCheckedDocuments& documents, Report& report) {
  SkxFinding finding = Plain(EkxSeverity::Error, kDocumentRule, fault.message);
  documents.NamePolicy(fault.document, fault.pointer, finding);
  report.Add(finding, {fault.document, std::nullopt, fault.pointer});
}

/// False, with a finding, for JSON that no reader takes: one with a key twice. What is no JSON at all is thrown.
bool Parse(const SkxDocumentText& text, CkxCheckedDocuments& documents, Report& report) {
  try {
    documents.Add(text.name, KxJson_Parse(text.text, true));
    return true;
  } catch (const CkxDocumentFault& fault) {
    if (fault.Pointer().empty()) throw CkxToolFault(EkxExit::UnusableInput, text.name + ": " + fault.what());
    AddFault({text.name, fault.Pointer(), fault.what()}, documents, report);
    return false;
  }
}

void CheckDocuments(const std::vector<std::string>& paths, std::istream& standardInput, Report& report) {
  const std::vector<SkxDocumentText> texts = KxPolicyInput_Texts(paths, standardInput);
  CkxCheckedDocuments documents;
  bool areParsed = true;
  for (const SkxDocumentText& text : texts) areParsed = Parse(text, documents, report) && areParsed;
  if (!areParsed) return;

  SkxPublication publication;
  SkxDocumentError fault;
  if (!KxPolicyDocument_Read(texts, publication, fault)) return AddFault(fault, documents, report);
  for (const SkxFinding& finding : KxLint_Image(KxEncode_Image(publication))) {
    report.Add(finding, documents.PlaceOf(finding));
  }
  for (const SkxFinding& finding : KxLint_Names(publication)) {
    const bool isInImage = finding.section == EkxPolicySection::Policies;  // and told already
    if (!isInImage) report.Add(finding, documents.PlaceOf(finding));
  }
  for (const SkxRowFinding& row : KxLint_Rows(publication.applicable)) {
    report.Add(Plain(EkxSeverity::Warning, kRowRule, row.message), documents.PlaceOfUser(row.sid));
  }
}

EkxExit Check(const CheckOptions& options, SkxStreams& streams) {
  Report report(streams.out, options.format == "json");
  if (KxPolicyInput_IsImage(options.inputs)) {
    CheckImage(options.inputs.front(), streams.in, report);
  } else {
    CheckDocuments(options.inputs, streams.in, report);
  }
  return report.End();
}

}  // namespace

KxVerbAction KxVerb_Check(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<CheckOptions>();
  verb.Add("input", options->inputs, kKxPolicyInputHelp).Required();
  verb.Add("--format", options->format, "text: a line a finding, then their sum; json: an object a finding")
      .OneOf({"text", "json"});
  verb.Footer("Exits with 1 when there is an error; warnings alone are 0.\nExample: kxpolicy check policies.jsonc");
  return [options](SkxStreams& streams) { return Check(*options, streams); };
}
