#include <kx_util/drv_xml_data.h>

#include <set>
#include <span>

#include "Agent/engine/kx_util/origin/sup_file_data_util.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/security/sid.h"
#include "Common_CPP/util/format.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"
#include "Common_CPP/xml/ti_xml_util.h"

namespace {

using Element = tinyxml2::XMLElement;

constexpr const char* kRoot = "KxDrvData";
constexpr uint32_t kDriversVersion = 1;
constexpr uint32_t kAgentsVersion = 2;

bool FailDriver(const char* reason) {
  KxTrace(EkxTraceLevel::Error, CkxDrvXmlData::ClassName(), reason);
  return false;
}

// --- text ---

/// The record as a document; null, with the reason in the trace, when it is none.
std::unique_ptr<CkxTiXmlDocument> ParseDriver(std::string_view text) {
  std::optional<CkxTiXmlDocument> document = CkxTiXmlDocument::Parse(text);
  if (!document) {
    FailDriver("ERROR: Parse failed.");
  } else if (!document->IsRoot(kRoot)) {
    FailDriver("ERROR: Cannot find /KxDrvData element");
  } else {
    return std::make_unique<CkxTiXmlDocument>(std::move(*document));
  }
  return nullptr;
}

/// A part of the document; nothing when there is none.
std::optional<std::string_view> DataIdOf(const CkxTiXmlDocument& document) {
  return CkxTiXmlUtil::Attribute(document.Root(), CkxSupFileDataUtil::kDataId);
}

std::optional<uint32_t> VersionOf(const CkxTiXmlDocument& document) {
  uint32_t version = 0;
  return CkxTiXmlUtil::GetAttribute(document.Root(), "version", version) ? std::optional(version) : std::nullopt;
}

/// Each version has its form.
std::optional<uint32_t> VersionFor(std::string_view signature) {
  const std::optional<EkxSignatureForm> form = CkxSupFileDataUtil::FormOf(signature);
  if (!form) return std::nullopt;
  return *form == EkxSignatureForm::Keyed ? kAgentsVersion : kDriversVersion;
}

bool IsSignedFor(const CkxTiXmlDocument& document, std::string_view text, uint64_t fileId, EkxSignatureCheck check) {
  constexpr CkxSupFileDataUtil::Reasons kReasons = {"ERROR: Failed to get HMAC", "ERROR: GetSignatureOld failed"};
  if (check == EkxSignatureCheck::None) return true;
  const std::string_view stored = DataIdOf(document).value_or("");
  if (stored.empty()) return FailDriver("ERROR: Missing kxDataId atrtribute");  // spelled as it always was
  const std::optional<uint32_t> version = VersionFor(stored);
  if (!version || version != VersionOf(document)) return FailDriver("ERROR: Integrity check failed for signature");
  return CkxSupFileDataUtil::IsSigned(text, stored, CkxSupFileDataUtil::HexadecimalId(fileId), check,
                                      CkxDrvXmlData::ClassName(), kReasons);
}

// --- addresses ---

/// The bytes of exactly `Count` pairs of digits.
template <size_t Count>
std::optional<std::array<unsigned char, Count>> AddressBytes(CkxTextView digits) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::array<unsigned char, Count> bytes{};
  if (digits.Size() != 2 * Count) return std::nullopt;
  for (size_t i = 0; i < digits.Size(); ++i) {
    const WCHAR digit = KxText_Fold(digits[i]);
    const size_t value = digit < 0x80 ? kDigits.find(static_cast<char>(digit)) : std::string_view::npos;
    if (value == std::string_view::npos) return std::nullopt;
    bytes[i / 2] = static_cast<unsigned char>(size_t{bytes[i / 2]} << 4 | value);
  }
  return bytes;
}

CkxUtilStr GetIPv4Str(CkxTextView digits) {
  CkxUtilStr text;
  if (const auto bytes = AddressBytes<4>(digits)) {
    KxText_AppendFormat(text, KXW("%u.%u.%u.%u"), (*bytes)[0], (*bytes)[1], (*bytes)[2], (*bytes)[3]);
  }
  return text;
}

/// With blanks where a group is short and nothing between groups: policies compare with this text.
CkxUtilStr GetIPv6Str(CkxTextView digits) {
  CkxUtilStr text;
  const auto bytes = AddressBytes<16>(digits);
  for (size_t i = 0; bytes && i < bytes->size(); i += 2) {
    KxText_AppendFormat(text, KXW("%4hx"), (*bytes)[i] << 8 | (*bytes)[i + 1]);
  }
  return text;
}

// --- elements ---

CkxUtilStr TextOfChild(const Element& parent, const char* name) {
  const Element* const child = CkxTiXmlUtil::Child(parent, name);
  return child != nullptr ? CkxUtilStr(CkxTiXmlUtil::Text(*child)) : CkxUtilStr();
}

CkxUtilStr TextOfAttribute(const Element& element, const char* name) {
  KxWString text;
  CkxTiXmlUtil::GetAttribute(element, name, text);
  return text;
}

/// Decimal; 0 for anything else.
uint16_t PortOf(const Element& process) {
  const CkxUtilStr text = TextOfChild(process, "Port");
  uint32_t port = 0;
  for (size_t i = 0; i < text.Length(); ++i) {
    const WCHAR digit = text.View()[i];
    if (digit < '0' || digit > '9') return 0;
    port = port * 10 + (digit - uint32_t{'0'});
    if (port > 0xFFFF) return 0;
  }
  return static_cast<uint16_t>(port);
}

CkxUtilStr GetIPStr(const Element& process) {
  const CkxUtilStr address = GetIPv4Str(TextOfChild(process, "Ipv4").View());
  return address.IsEmpty() ? GetIPv6Str(TextOfChild(process, "Ipv6").View()) : address;
}

bool TakeIfThere(CkxUtilStr text, CkxUtilStr& out) {
  if (text.IsEmpty()) return false;
  out = std::move(text);
  return true;
}

bool TimeOf(const Element* element, uint64_t& time) {
  return element != nullptr && CkxTiXmlUtil::GetAttribute(*element, "time", time);
}

}  // namespace

CkxDrvXmlData::CkxDrvXmlData() = default;
CkxDrvXmlData::CkxDrvXmlData(CkxDrvXmlData&&) noexcept = default;
CkxDrvXmlData& CkxDrvXmlData::operator=(CkxDrvXmlData&&) noexcept = default;
CkxDrvXmlData::~CkxDrvXmlData() = default;

void CkxDrvXmlData::_Empty() { _document.reset(); }

bool CkxDrvXmlData::FromXml(std::string_view text, uint64_t fileId, EkxSignatureCheck check) noexcept {
  _Empty();
  return KxEntry(false, [&] {
    std::unique_ptr<CkxTiXmlDocument> document = ParseDriver(text);
    if (document == nullptr || !IsSignedFor(*document, text, fileId, check)) return false;
    _document = std::move(document);
    return true;
  });
}

bool CkxDrvXmlData::FromXml(std::string_view text, const WCHAR* path, EkxSignatureCheck check) noexcept {
  _Empty();
  return KxEntry(false, [&] {
    const std::optional<SkxFileStatus> status = KxFile_Status(path);
    if (status) return FromXml(text, status->identity.file, check);
    KxTrace(EkxTraceLevel::Error, ClassName(), "ERROR: Missing data id parameters ([", CkxTextView(path), "])");
    return false;
  });
}

bool CkxDrvXmlData::FromXmlForMigration(std::string_view text, uint64_t fileId, std::string& migrated) noexcept {
  return KxEntry(false, [&] {
    if (!FromXml(text, fileId)) return FailDriver("ERROR:drvXmlData signature integrity check failed");
    std::string signedAnew(text);
    const bool isOlder = VersionOf(*_document) == kDriversVersion;
    if (isOlder && !Sign(signedAnew, fileId)) {
      _Empty();
      return false;
    }
    migrated = std::move(signedAnew);
    return true;
  });
}

bool CkxDrvXmlData::Sign(std::string& text, uint64_t fileId, EkxSignatureForm form) noexcept {
  return KxEntry(false, [&] {
    const std::unique_ptr<CkxTiXmlDocument> document = ParseDriver(text);
    if (document == nullptr) return false;
    const std::optional<std::string_view> before = DataIdOf(*document);
    if (!before) return FailDriver("ERROR: Missing kxDataId atrtribute");

    const std::string id = CkxSupFileDataUtil::HexadecimalId(fileId);
    std::string signedAnew = text;
    const bool isUpdated =
        form == EkxSignatureForm::Older || VersionOf(*document) == kAgentsVersion || UpdateVersion(signedAnew);
    if (!isUpdated || !CkxSupFileDataUtil::ReplaceDataId(signedAnew, *before, id)) {
      return FailDriver("ERROR: Failed to apply signature");
    }
    const std::optional<std::string> signature = CkxSupFileDataUtil::GetSignature(signedAnew, form);
    if (!signature) {
      return FailDriver(form == EkxSignatureForm::Keyed ? "ERROR: Failed to get HMAC"
                                                        : "ERROR: GetSignatureOld failed");
    }
    CkxSupFileDataUtil::ReplaceDataId(signedAnew, id, *signature);
    // What was replaced may have stood elsewhere than in the root.
    const std::unique_ptr<CkxTiXmlDocument> made = ParseDriver(signedAnew);
    const bool isApplied = made != nullptr && DataIdOf(*made) == signature &&
                           (form == EkxSignatureForm::Older || VersionOf(*made) == kAgentsVersion);
    if (!isApplied) return FailDriver("ERROR: Failed to apply signature");
    text = std::move(signedAnew);
    return true;
  });
}

bool CkxDrvXmlData::UpdateVersion(std::string& text) noexcept {
  constexpr std::string_view kBefore = "version=\"1\"";
  return KxEntry(false, [&] {
    const size_t root = text.find(kRoot);
    const size_t version = root == std::string::npos ? root : text.find(kBefore, root);
    if (version == std::string::npos) {
      KxTrace(EkxTraceLevel::Warning, ClassName(),
              root == std::string::npos ? "KxDrvData not found in xml" : "version = \"1\" not found in xml");
      return false;
    }
    text[version + kBefore.size() - 2] = '2';
    return true;
  });
}

const Element* CkxDrvXmlData::_GetFileCreateElement() const {
  return _document != nullptr ? CkxTiXmlUtil::Child(_document->Root(), "FileCreate") : nullptr;
}

const Element* CkxDrvXmlData::_GetFileModifyElement() const {
  return _document != nullptr ? CkxTiXmlUtil::Child(_document->Root(), "FileModify") : nullptr;
}

const Element* CkxDrvXmlData::_GetFileModifyOrCreateElement() const {
  const Element* const modify = _GetFileModifyElement();
  return modify != nullptr ? modify : _GetFileCreateElement();
}

const Element* CkxDrvXmlData::_GetProcessElement(int32_t order) const {
  const Element* process = _document != nullptr ? CkxTiXmlUtil::Child(_document->Root(), "Process") : nullptr;
  for (; process != nullptr; process = CkxTiXmlUtil::Next(*process)) {
    int32_t place = 0;
    if (CkxTiXmlUtil::GetAttribute(*process, "order", place) && place == order) return process;
  }
  return nullptr;
}

bool CkxDrvXmlData::GetVersion(uint32_t& version) const noexcept {
  return _document != nullptr && CkxTiXmlUtil::GetAttribute(_document->Root(), "version", version);
}

bool CkxDrvXmlData::GetCreateTime(uint64_t& time) const noexcept { return TimeOf(_GetFileCreateElement(), time); }
bool CkxDrvXmlData::GetModifyTime(uint64_t& time) const noexcept { return TimeOf(_GetFileModifyElement(), time); }

bool CkxDrvXmlData::GetOriginalPath(CkxUtilStr& path) const noexcept {
  return KxEntry(false, [&] {
    const Element* const create = _GetFileCreateElement();
    return create != nullptr && TakeIfThere(TextOfChild(*create, "Path"), path);
  });
}

bool CkxDrvXmlData::GetUserSid(CkxUtilStr& sid) const noexcept {
  return KxEntry(false, [&] {
    const Element* const element = _GetFileModifyOrCreateElement();
    CkxUtilStr text = element != nullptr ? TextOfChild(*element, "UserSid") : CkxUtilStr();
    return CkxSid::FromUtf8(KxText_ToUtf8(text.View())) && TakeIfThere(std::move(text), sid);
  });
}

bool CkxDrvXmlData::GetProcessPath(int32_t order, CkxUtilStr& path) const noexcept {
  return KxEntry(false, [&] {
    const Element* const process = _GetProcessElement(order);
    return process != nullptr && TakeIfThere(TextOfChild(*process, "Path"), path);
  });
}

bool CkxDrvXmlData::GetProcessInfo(int32_t order, SkxDrvProcessInfo& info) const noexcept {
  return KxEntry(false, [&] {
    const Element* const process = _GetProcessElement(order);
    if (process == nullptr) return false;
    SkxDrvProcessInfo read;
    read.order = order;
    CkxTiXmlUtil::GetFlag(*process, "multiFileCreator", read.multiFileCreator);
    read.path = TextOfChild(*process, "Path");
    if (const Element* const path = CkxTiXmlUtil::Child(*process, "Path")) {
      read.volumeId = TextOfAttribute(*path, "volumeId");
      read.fileId = TextOfAttribute(*path, "fileId");
    }
    read.share = TextOfChild(*process, "Share");
    read.port = PortOf(*process);
    read.address = GetIPStr(*process);
    info = std::move(read);
    return true;
  });
}

std::vector<int32_t> CkxDrvXmlData::GetProcessOrders() const noexcept {
  return KxEntry(std::vector<int32_t>(), [&] {
    std::vector<int32_t> orders;
    std::set<int32_t> seen;
    const Element* process = _document != nullptr ? CkxTiXmlUtil::Child(_document->Root(), "Process") : nullptr;
    for (; process != nullptr; process = CkxTiXmlUtil::Next(*process)) {
      int32_t order = 0;
      if (CkxTiXmlUtil::GetAttribute(*process, "order", order) && seen.insert(order).second) orders.push_back(order);
    }
    return orders;
  });
}
