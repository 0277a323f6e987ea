#include "Agent/engine/kx_publish/check/document_check.h"

#include "Agent/engine/kx_publish/document/policy_document_faults.h"
#include "Agent/engine/kx_publish/image/encode_image.h"

namespace {

SkxCheckFinding DocumentFinding(const std::string& message, const SkxCheckPlace& place) {
  return KxCheck_Finding(EkxSeverity::Error, "document", message, place);
}

/// The texts as JSON. One that is none is told; one that no reader takes, though it is JSON, reading tells.
CkxCheckedDocuments ParsedDocuments(std::span<const SkxDocumentText> texts, SkxDocumentCheck& check) {
  CkxCheckedDocuments documents;
  for (const SkxDocumentText& text : texts) {
    try {
      documents.Add(text, CkxJsonDocument(text.text, true));
    } catch (const CkxDocumentFault& fault) {
      documents.Add(text, CkxJsonDocument::Object());
      const bool isJson = !fault.Pointer().empty();
      std::string what = fault.what();
      const std::optional<SkxTextPlace> place = KxTextPlace_TakeFrom(what);
      if (!isJson) check.findings.push_back(DocumentFinding(what, {text.name, std::nullopt, "", place}));
      check.isJson = check.isJson && isJson;
    }
  }
  return documents;
}

}  // namespace

SkxCheckFinding KxCheck_Finding(const SkxFinding& finding, const SkxCheckPlace& place) {
  SkxCheckFinding told = KxCheck_Finding(finding.severity, finding.rule, finding.message, place);
  // In a file the path of the field is a part of what there is to say; a document's pointer says it.
  if (place.offset && !finding.path.empty()) told.message.insert(0, finding.path + ": ");
  told.policyId = finding.policyId;
  told.policyName = finding.policyName;
  return told;
}

SkxCheckFinding KxCheck_Finding(EkxSeverity severity, const char* rule, const std::string& message,
                                const SkxCheckPlace& place) {
  SkxCheckFinding told;
  told.isError = severity == EkxSeverity::Error;
  told.rule = rule;
  told.file = place.file;
  told.offset = place.offset;
  told.pointer = place.pointer;
  if (place.text) {
    told.line = place.text->line;
    told.column = place.text->column;
  }
  told.message = message;
  return told;
}

SkxCheckFinding KxCheck_Finding(const SkxRowFinding& row, const SkxCheckPlace& place) {
  return KxCheck_Finding(EkxSeverity::Warning, "row", row.message, place);
}

SkxDocumentCheck KxCheck_Documents(std::span<const SkxDocumentText> texts) {
  SkxDocumentCheck check;
  const CkxCheckedDocuments documents = ParsedDocuments(texts, check);
  if (!check.isJson) return check;
  SkxPublication publication;
  std::vector<SkxDocumentError> faults;
  if (KxPolicyDocument_ReadAll(texts, publication, faults)) {
    check.findings = KxCheck_Publication(publication, KxEncode_Image(publication), documents);
  }
  for (const SkxDocumentError& fault : faults) {
    check.findings.push_back(DocumentFinding(fault.message, documents.PlaceOf(fault)));
    documents.NamePolicy(fault, check.findings.back());
  }
  return check;
}

std::vector<SkxCheckFinding> KxCheck_Publication(const SkxPublication& publication, const SkxPolicyImage& image,
                                                 const CkxCheckedDocuments& documents) {
  std::vector<SkxCheckFinding> findings;
  const auto add = [&](const SkxFinding& finding) {
    findings.push_back(KxCheck_Finding(finding, documents.PlaceOf(finding)));
  };
  for (const SkxFinding& finding : KxLint_Image(image)) add(finding);
  for (const SkxFinding& finding : KxLint_Names(publication)) {
    const bool isInImage = finding.section == EkxPolicySection::Policies;  // and told already
    if (!isInImage) add(finding);
  }
  for (const SkxRowFinding& row : KxLint_Rows(publication.applicable)) {
    findings.push_back(KxCheck_Finding(row, documents.PlaceOfUser(row.sid)));
  }
  return findings;
}
