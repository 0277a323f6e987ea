#include "Agent/engine/kx_util/origin/sup_file_data_util.h"

#include <kx_util/file_origin.h>

#include <charconv>
#include <span>

#include "Agent/engine/kx_util/attribute/data_signature.h"
#include "Common_CPP/crypto/file_digest.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"
#include "Common_CPP/xml/ti_xml_util.h"

namespace {

constexpr std::string_view kDataIdBegin = "kxDataId=\"";

bool FailDocument(std::string_view scope, const char* reason) {
  KxTrace(EkxTraceLevel::Error, scope, reason);
  return false;
}

std::string NumberText(uint64_t number, int base) {
  char digits[20];
  return std::string(digits, std::to_chars(digits, std::end(digits), number, base).ptr);
}

std::span<const unsigned char> DocumentBytes(std::string_view text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

/// Upper-case alone: what another writer makes of the same bytes is not what we have signed. 16 for no digit.
constexpr unsigned SignatureDigit(char digit) {
  if (digit >= '0' && digit <= '9') return static_cast<unsigned>(digit - '0');
  return digit >= 'A' && digit <= 'F' ? static_cast<unsigned>(digit - 'A' + 10) : 16;
}

std::optional<std::vector<unsigned char>> FromSignatureText(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::vector<unsigned char> bytes(text.size() / 2);
  for (size_t i = 0; i < bytes.size(); ++i) {
    const unsigned high = SignatureDigit(text[2 * i]);
    const unsigned low = SignatureDigit(text[2 * i + 1]);
    if (high > 15 || low > 15) return std::nullopt;
    bytes[i] = static_cast<unsigned char>(high << 4 | low);
  }
  return bytes;
}

}  // namespace

std::string CkxSupFileDataUtil::DecimalId(uint64_t fileId) { return NumberText(fileId, 10); }
std::string CkxSupFileDataUtil::HexadecimalId(uint64_t fileId) { return NumberText(fileId, 16); }

bool CkxSupFileDataUtil::ReplaceDataId(std::string& text, std::string_view from, std::string_view to) {
  const size_t at = text.find(std::string(kDataIdBegin).append(from));
  if (at == std::string::npos) return false;
  text.replace(at + kDataIdBegin.size(), from.size(), to);
  return true;
}

std::optional<std::string> CkxSupFileDataUtil::GetSignature(std::string_view text, EkxSignatureForm form) {
  const std::optional<std::vector<unsigned char>> made = KxDataSignature_Make(DocumentBytes(text), form);
  return made ? std::optional(KxText_ToUtf8(KxHash_Hexadecimal(*made))) : std::nullopt;
}

std::optional<EkxSignatureForm> CkxSupFileDataUtil::FormOf(std::string_view stored) {
  if (stored.size() == 2 * kKeyedSignatureBytes) return EkxSignatureForm::Keyed;
  if (stored.size() == 2 * kOlderSignatureBytes) return EkxSignatureForm::Older;
  return std::nullopt;
}

std::optional<EkxSignatureForm> CkxSupFileDataUtil::FormOfDocument(std::string_view text) {
  const std::optional<CkxTiXmlDocument> document = CkxTiXmlDocument::Parse(text);
  return document ? FormOf(CkxTiXmlUtil::Attribute(document->Root(), kDataId).value_or("")) : std::nullopt;
}

bool CkxSupFileDataUtil::IsSigned(std::string_view text, std::string_view stored, const std::string& id,
                                  EkxSignatureCheck check, std::string_view scope, const Reasons& reasons) {
  if (check == EkxSignatureCheck::None) return true;
  std::string original(text);
  const std::optional<std::vector<unsigned char>> signature = FromSignatureText(stored);
  EkxSignatureVerdict verdict = EkxSignatureVerdict::Differs;
  if (signature && ReplaceDataId(original, stored, id)) {
    verdict = KxDataSignature_Judge(DocumentBytes(original), *signature, check);
  }
  switch (verdict) {
    case EkxSignatureVerdict::Holds:
      return true;
    case EkxSignatureVerdict::NoKey:
      return FailDocument(scope, reasons.noKey);
    case EkxSignatureVerdict::NoPassPhrase:
      return FailDocument(scope, reasons.noPassPhrase);
    case EkxSignatureVerdict::Differs:
      break;
  }
  return FailDocument(scope, "ERROR: Integrity check failed for signature");
}

bool CkxSupFileDataUtil::XmlToStr(CkxTiXmlDocument& document, uint64_t fileId, std::string& text,
                                  EkxSignatureForm form) {
  const std::string id = DecimalId(fileId);
  CkxTiXmlUtil::SetAttribute(document.Root(), kDataId, fileId);
  std::optional<std::string> printed = document.Print();
  if (!printed) return FailDocument(ClassName(), "ERROR: xmlDoc.Accept failed");
  const std::optional<std::string> signature = GetSignature(*printed, form);
  if (!signature) return FailDocument(ClassName(), "ERROR: _GetSignature failed");
  const bool isApplied = ReplaceDataId(*printed, id, *signature) && printed->size() <= CkxTiXmlUtil::kMaxBytes;
  if (!isApplied) return FailDocument(ClassName(), "ERROR: Failed to apply signature");
  text = std::move(*printed);
  return true;
}

bool CkxSupFileDataUtil::ValidateXml(std::string_view text, const CkxTiXmlDocument& document, uint64_t fileId,
                                     EkxSignatureCheck check) {
  constexpr Reasons kReasons = {"ERROR: _GetSignature failed", "ERROR: GetSignatureOld failed"};
  if (check == EkxSignatureCheck::None) return true;
  const std::string_view stored = CkxTiXmlUtil::Attribute(document.Root(), kDataId).value_or("");
  return IsSigned(text, stored, DecimalId(fileId), check, ClassName(), kReasons) ||
         FailDocument(ClassName(), "ERROR: ValidateXml failed");
}

bool CkxSupFileDataUtil::SignAnew(std::string& text, uint64_t fileId) {
  const std::optional<CkxTiXmlDocument> before = CkxTiXmlDocument::Parse(text);
  if (!before) return FailDocument(ClassName(), "ERROR: Parse failed.");

  const std::string_view stored = CkxTiXmlUtil::Attribute(before->Root(), kDataId).value_or("");
  const std::string id = DecimalId(fileId);
  std::string signedAnew(text);
  const bool isFound = !stored.empty() && ReplaceDataId(signedAnew, stored, id);
  if (!isFound) return FailDocument(ClassName(), "ERROR: Failed to apply signature");
  const std::optional<std::string> signature = GetSignature(signedAnew, EkxSignatureForm::Keyed);
  if (!signature) return FailDocument(ClassName(), "ERROR: _GetSignature failed");
  ReplaceDataId(signedAnew, id, *signature);
  // What was replaced may have stood elsewhere than in the root.
  const std::optional<CkxTiXmlDocument> made = CkxTiXmlDocument::Parse(signedAnew);
  const bool isApplied = made && ValidateXml(signedAnew, *made, fileId, EkxSignatureCheck::KeyedAlone);
  if (!isApplied) return FailDocument(ClassName(), "ERROR: Failed to apply signature");
  text = std::move(signedAnew);
  return true;
}

bool CkxSupFileDataUtil::OriginToStr(const CkxFileOrigin& origin, uint64_t fileId, std::string& text,
                                     EkxSignatureForm form) {
  CkxTiXmlDocument document(kAgentRoot);
  return origin.ToXml(document.Root(), false) && XmlToStr(document, fileId, text, form);
}

bool CkxSupFileDataUtil::OriginFromStr(std::string_view text, uint64_t fileId, EkxSignatureCheck check,
                                       CkxFileOrigin& origin) {
  const std::optional<CkxTiXmlDocument> document = CkxTiXmlDocument::Parse(text);
  if (!document) return FailDocument(ClassName(), "ERROR: Parse failed.");
  if (!document->IsRoot(kAgentRoot)) return FailDocument(ClassName(), "ERROR: Cannot find /KxAgentData element");
  if (!ValidateXml(text, *document, fileId, check)) return false;
  const tinyxml2::XMLElement* const element = CkxTiXmlUtil::Child(document->Root(), "FileOrigin");
  if (element == nullptr) return FailDocument(ClassName(), "ERROR: Cannot find /FileOrigin element");
  return origin.FromXml(*element);
}
