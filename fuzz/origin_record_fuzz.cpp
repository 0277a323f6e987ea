// Input: a digit that says which class of record, then XML. What is read is written the same way ever after, in XML and
// through JSON; and whatever it holds can be asked for.
#include <kx_util/src_email_data.h>
#include <nlohmann/json.hpp>

#include <cstdlib>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/origin_document.h"
#include "Agent/engine/kx_util/origin/source_xml.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

void AskFor(const CkxFileSrcProcess& process) {
  const WCHAR* name = nullptr;
  const WCHAR* detail = nullptr;
  Require((process.GetMainSourceType(name, detail) == CkxFileSrcType::None) == (name == nullptr));
  Require(process.GetDisplayName() != nullptr);
  process.MainPath();
}

void AskFor(const CkxFileSrcInstaller& installer) {
  for (const CkxFileSrcProcess& process : installer.Processes()) AskFor(process);
  Require((installer.MainProcess() == nullptr) == (installer.GetMainSourceType() == CkxFileSrcType::None));
  CkxFileSrcParentInstaller parent;
  Require(!installer.SelectParentInstaller(parent));  // of what was read nothing is known beside it
}

void AskFor(const CkxFileOrigin& origin) {
  AskFor(origin.Installer());
  AskFor(origin.ParentInstaller());
  Require(origin.SourcePath().IsEmpty() || !origin.SourceInstaller().IsEmpty() || !origin.Installer().IsEmpty());
  Require(origin.SourceKind().Size() <= CkxTiXmlUtil::kMaxText);
  origin.User();
}

template <class Record>
void AskFor(const Record& /*record*/) {}

template <class Record>
void ReadAndWrite(std::string_view xml, const char* element) {
  Record record;
  if (KxSourceXml_FromText(xml, element, record) != nullptr) return;
  AskFor(record);
  const std::optional<std::string> written = KxSourceXml_Text(element, record);
  if (!written) return;  // what was almost too large is, with all that is always written
  Record again, fromJson;
  Require(KxSourceXml_FromText(*written, element, again) == nullptr);
  Require(KxSourceXml_Text(element, again) == written);
  const nlohmann::json json = nlohmann::json::parse(KxOriginDocument_Write(record).dump());
  try {
    KxOriginDocument_Read(json, "", fromJson);
  } catch (const CkxDocumentFault&) {
    Require((std::is_same_v<Record, CkxFileSrcPackage>));  // of a type that is none
    return;
  }
  Require(KxSourceXml_Text(element, fromJson) == written);
}

void ReadEmail(std::string_view xml) {
  CkxSrcEmailData email, again;
  std::string written, rewritten;
  if (!email.FromXml(xml)) {
    Require(email.senderAddress.IsEmpty() && email.receivedTime == 0);
    return;
  }
  Require(!email.senderAddress.IsEmpty() && email.ToXml(written));
  Require(again.FromXml(written) && again.ToXml(rewritten) && rewritten == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view xml(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0]) {
    case '0':
      ReadAndWrite<CkxFileOrigin>(xml, "FileOrigin");
      break;
    case '1':
      ReadAndWrite<CkxFileSrcProcess>(xml, "Process");
      break;
    case '2':
      ReadAndWrite<CkxFileSrcParentInstaller>(xml, "ParentInstaller");
      break;
    case '3':
      ReadAndWrite<CkxFileSrcPackage>(xml, "Package");
      break;
    case '4':
      ReadAndWrite<CkxFileSrcUser>(xml, "User");
      break;
    case '5':
      ReadAndWrite<SkxFileSrcFile>(xml, "File");
      break;
    case '6':
      ReadAndWrite<SkxFileSrcCopySource>(xml, "CopyData");
      break;
    case '7':
      ReadEmail(xml);
      break;
    default:
      CkxFileOrigin origin;
      if (origin.FromEventXml(xml)) AskFor(origin);
      break;
  }
  return 0;
}
