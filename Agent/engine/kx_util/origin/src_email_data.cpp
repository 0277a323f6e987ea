#include <kx_util/src_email_data.h>

#include <vector>

#include "Agent/engine/kx_util/origin/origin_caller.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"
#include "Common_CPP/xml/ti_xml_util.h"

namespace {

constexpr uint32_t kPathNotFound = 3;

constexpr const char* kNoSender = "Cannot find /Sender element";
constexpr const char* kNoAddress = "Cannot find /SMTPAddr element text";

bool FailEmail(const char* reason) {
  KxTrace(EkxTraceLevel::Error, CkxSrcEmailData::ClassName(), "ERROR: ", reason);
  return false;
}

bool FailEmailFile(const char* reason, const KxWString& file) {
  KxTrace(EkxTraceLevel::Error, CkxSrcEmailData::ClassName(), "ERROR: ", reason, " [", file,
          "] LastError=", KxLastError_Get());
  return false;
}

const char* WhyNotWritten(const SkxReplaceProgress& progress, size_t size) {
  if (!progress.isCreated || progress.written == size) return "Failed to create sender info file.";
  return progress.written == 0 ? "Failed to write data to sender info file." : "Sender info written partially.";
}

bool ReadSideFile(const KxWString& name, std::vector<unsigned char>& bytes) {
  CkxFileReader file;
  SkxFileStatus status;
  if (!file.Open(name)) {
    const uint32_t error = KxLastError_Get();
    const bool isMissing = error == kKxErrorFileNotFound || error == kPathNotFound;
    return FailEmailFile(isMissing ? "Sender info file not found." : "Failed to open sender info file.", name);
  }
  if (!file.Status(status)) return FailEmailFile("Failed to get sender info file size.", name);
  if (status.size == 0 || status.size > CkxSrcEmailData::kMaxFileBytes) {
    return FailEmailFile("Unexpected sender info file size.", name);
  }
  bytes.resize(static_cast<size_t>(status.size));
  const std::optional<size_t> read = file.ReadAt(0, bytes);
  if (!read) return FailEmailFile("Failed to read sender info file.", name);
  return *read == bytes.size() || FailEmailFile("Sender info read partially.", name);
}

void TakeText(const tinyxml2::XMLElement& element, const char* attribute, CkxUtilStr& text) {
  KxWString value;
  if (CkxTiXmlUtil::GetAttribute(element, attribute, value)) text = value;
}

}  // namespace

bool CkxSrcEmailData::ToXml(std::string& xml) const noexcept {
  return KxEntry(false, [&] {
    CkxTiXmlDocument document("KxSrcEmail");
    tinyxml2::XMLElement& root = document.Root();
    CkxTiXmlUtil::SetAttribute(root, "receivedTime", receivedTime);
    CkxTiXmlUtil::SetAttribute(root, "entryId", entryId.View());
    CkxTiXmlUtil::SetAttribute(root, "storeId", storeId.View());
    CkxTiXmlUtil::AddChild(CkxTiXmlUtil::AddChild(root, "Sender"), "SMTPAddr", senderAddress.View());
    CkxTiXmlUtil::AddChild(root, "Subject", subject.View());
    std::optional<std::string> text = document.Print();
    if (!text) return FailEmail("xmlDoc.Accept failed");
    xml = std::move(*text);
    return true;
  });
}

bool CkxSrcEmailData::FromXml(std::string_view xml) noexcept {
  Empty();
  return KxEntry(false, [&] {
    const std::optional<CkxTiXmlDocument> document = CkxTiXmlDocument::Parse(xml);
    if (!document || !document->IsRoot("KxSrcEmail")) return FailEmail("Cannot find /KxSrcEmail element");
    const tinyxml2::XMLElement& root = document->Root();
    const tinyxml2::XMLElement* const sender = CkxTiXmlUtil::Child(root, "Sender");
    if (sender == nullptr) return FailEmail(kNoSender);
    const tinyxml2::XMLElement* const address = CkxTiXmlUtil::Child(*sender, "SMTPAddr");
    CkxSrcEmailData read;
    if (address != nullptr) read.senderAddress = CkxTiXmlUtil::Text(*address);
    if (read.senderAddress.IsEmpty()) return FailEmail(kNoAddress);
    CkxTiXmlUtil::GetAttribute(root, "receivedTime", read.receivedTime);
    TakeText(root, "entryId", read.entryId);
    TakeText(root, "storeId", read.storeId);
    if (const tinyxml2::XMLElement* const about = CkxTiXmlUtil::Child(root, "Subject")) {
      read.subject = CkxTiXmlUtil::Text(*about);
    }
    *this = std::move(read);
    return true;
  });
}

bool CkxSrcEmailData::ToFile(const WCHAR* path) const noexcept {
  return KxEntry(false, [&] {
    if (!KxOriginCaller_MayWrite()) return FailEmail("Unexpected caller.");
    if (senderAddress.IsEmpty()) return FailEmail(kNoAddress);
    std::string xml;
    if (!ToXml(xml)) return false;
    const KxWString file = SideFileOf(path);
    SkxReplaceProgress progress;
    return KxFile_ReplaceAll(file, {reinterpret_cast<const unsigned char*>(xml.data()), xml.size()}, &progress) ||
           FailEmailFile(WhyNotWritten(progress, xml.size()), file);
  });
}

bool CkxSrcEmailData::FromFile(const WCHAR* path) noexcept {
  Empty();
  return KxEntry(false, [&] {
    std::vector<unsigned char> bytes;
    return ReadSideFile(SideFileOf(path), bytes) &&
           FromXml({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  });
}

KxWString CkxSrcEmailData::SideFileOf(const WCHAR* path) {
  return path != nullptr && *path != 0 ? KxWString(path) + KXW(".kxsrc") : KxWString();
}
