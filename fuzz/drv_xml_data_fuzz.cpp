// Input: the identifier of a file (8 bytes), then a document of the driver. Whatever it holds can be asked for; signed
// for that file it holds there and for no other, and signing changes no more than the version and the signature.
#include <kx_util/drv_xml_data.h>

#include <cstdlib>

#include "Common_CPP/util/byte_cursor.h"
#include "tests/support/secret_scope.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

/// Every process that is told of can be asked for; addresses are of one of two lengths at most.
void AskFor(const CkxDrvXmlData& record) {
  constexpr size_t kLongestIPv4 = 15;
  constexpr size_t kIPv6 = 32;
  uint64_t time = 0;
  CkxUtilStr text;
  record.GetCreateTime(time);
  record.GetModifyTime(time);
  record.GetOriginalPath(text);
  record.GetUserSid(text);
  for (const int32_t order : record.GetProcessOrders()) {
    SkxDrvProcessInfo info;
    Require(record.GetProcessInfo(order, info) && info.order == order);
    Require(info.address.Length() <= kLongestIPv4 || info.address.Length() == kIPv6);
    Require(record.GetProcessPath(order, text) == !info.path.IsEmpty());
  }
}

void SignAndRead(const std::string& document, uint64_t fileId, EkxSignatureForm form, size_t signatureDigits) {
  std::string text = document;
  if (!CkxDrvXmlData::Sign(text, fileId, form)) {
    Require(text == document);
    return;
  }
  CkxDrvXmlData unchecked;
  Require(unchecked.FromXml(document, fileId, EkxSignatureCheck::None));
  uint32_t version = 0;
  CkxDrvXmlData record;
  Require(unchecked.GetVersion(version) || form == EkxSignatureForm::Older);
  // In the older form the version stays as it is, and another one than the driver's is not believed.
  const bool isRead = record.FromXml(text, fileId, EkxSignatureCheck::OlderToo);
  Require(isRead == (form == EkxSignatureForm::Keyed || version == 1));
  Require(!record.FromXml(text, fileId + 1, EkxSignatureCheck::OlderToo) && record.IsEmpty());
  Require(text.size() <= document.size() + signatureDigits);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  static const CkxSecretScope secrets;
  if (size < sizeof(uint64_t)) return 0;
  const auto fileId = KxBytes_Load<uint64_t>(data);
  const std::string document(reinterpret_cast<const char*>(data) + sizeof(fileId), size - sizeof(fileId));

  CkxDrvXmlData record;
  if (record.FromXml(document, fileId, EkxSignatureCheck::None)) AskFor(record);
  CkxDrvXmlData believed;
  Require(!believed.FromXml(document, fileId, EkxSignatureCheck::OlderToo) || !record.IsEmpty());

  SignAndRead(document, fileId, EkxSignatureForm::Keyed, 64);
  SignAndRead(document, fileId, EkxSignatureForm::Older, 40);
  return 0;
}
