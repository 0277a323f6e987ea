#include "tools/kxpolicy/finding_report.h"

#include <ostream>

#include "Common_CPP/util/printable.h"

namespace {

using nlohmann::ordered_json;

const char* Word(EkxSeverity severity) { return severity == EkxSeverity::Error ? "error" : "warning"; }

/// In a file the path of the field is a part of what there is to say; a document's pointer says it.
std::string MessageOf(const SkxFinding& finding, const SkxCheckPlace& place) {
  const bool saysPath = place.offset.has_value() && !finding.path.empty();
  return (saysPath ? finding.path + ": " : "") + finding.message;
}

std::string FindingAsText(const SkxFinding& finding, const SkxCheckPlace& place) {
  std::string line = place.file;
  if (place.text) line += ":" + std::to_string(place.text->line) + ":" + std::to_string(place.text->column);
  line += ": ";
  if (place.offset) line += "byte " + std::to_string(*place.offset) + ": ";
  if (place.pointer && !place.pointer->empty()) line += *place.pointer + ": ";
  line += std::string(Word(finding.severity)) + ": ";
  if (finding.policyId) {
    line += "policy " + std::to_string(*finding.policyId);
    line += (finding.policyName ? " " + KxText_PrintableQuoted(*finding.policyName) : "") + ": ";
  }
  return KxText_Printable(line + MessageOf(finding, place) + " [" + finding.rule + "]");
}

std::string FindingAsJson(const SkxFinding& finding, const SkxCheckPlace& place) {
  ordered_json line;
  line["severity"] = Word(finding.severity);
  line["rule"] = finding.rule;
  line["policyId"] = finding.policyId ? ordered_json(*finding.policyId) : nullptr;
  line["policyName"] = finding.policyName ? ordered_json(*finding.policyName) : nullptr;
  line[place.offset ? "file" : "document"] = place.file;
  if (place.offset) line["offset"] = *place.offset;
  if (place.pointer) line["pointer"] = *place.pointer;
  if (place.text) {
    line["line"] = place.text->line;
    line["column"] = place.text->column;
  }
  line["message"] = MessageOf(finding, place);
  return line.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

}  // namespace

SkxFinding KxFinding_Of(EkxSeverity severity, const char* rule, const std::string& message) {
  return {severity, rule, EkxPolicySection::Policies, 0, 0, "", message, {}, {}};
}

void CkxFindingReport::Add(const SkxFinding& finding, const SkxCheckPlace& place) {
  ++(finding.severity == EkxSeverity::Error ? _errors : _warnings);
  _out << (_asJson ? FindingAsJson(finding, place) : FindingAsText(finding, place)) << '\n';
}

void CkxFindingReport::AddRow(const SkxRowFinding& row, const SkxCheckPlace& place) {
  Add(KxFinding_Of(EkxSeverity::Warning, "row", row.message), place);
}

void CkxFindingReport::AddLint(const SkxPublication& publication, const SkxPolicyImage& image,
                               const CkxCheckedDocuments& documents) {
  for (const SkxFinding& finding : KxLint_Image(image)) Add(finding, documents.PlaceOf(finding));
  for (const SkxFinding& finding : KxLint_Names(publication)) {
    const bool isInImage = finding.section == EkxPolicySection::Policies;  // and told already
    if (!isInImage) Add(finding, documents.PlaceOf(finding));
  }
  for (const SkxRowFinding& row : KxLint_Rows(publication.applicable)) AddRow(row, documents.PlaceOfUser(row.sid));
}
