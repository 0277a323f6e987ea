#include "Common_CPP/signature/signed_message_win.h"

#include <algorithm>
#include <string_view>

#include "Common_CPP/signature/asn1_win.h"

namespace {

constexpr std::string_view kNestedSignature = "1.3.6.1.4.1.311.2.4.1";

/// A part of the message; empty when it has none. Aligned for what the system puts there, which points into itself.
std::vector<unsigned char> Part(HCRYPTMSG message, DWORD part) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  DWORD size = 0;
  if (!system.messagePart(message, part, 0, nullptr, &size)) return {};
  std::vector<unsigned char> bytes(size);
  if (!system.messagePart(message, part, 0, bytes.data(), &size)) return {};
  bytes.resize(size);
  return bytes;
}

bool IsWeak(const char* algorithm) {
  constexpr std::string_view kWeak[] = {szOID_RSA_MD5, szOID_OIWSEC_sha1};
  return algorithm == nullptr || std::find(std::begin(kWeak), std::end(kWeak), algorithm) != std::end(kWeak);
}

/// Of the file: the content is a sequence of what is signed and of a digest, which is one of its algorithm and its
/// bytes.
bool IsContentWeak(HCRYPTMSG message) {
  const std::vector<unsigned char> content = KxAsn1_Decoded(X509_SEQUENCE_OF_ANY, Part(message, CMSG_CONTENT_PARAM));
  const std::vector<unsigned char> digest = KxAsn1_Decoded(X509_SEQUENCE_OF_ANY, KxAsn1_Element(content, 1));
  const std::vector<unsigned char> algorithm = KxAsn1_Decoded(X509_SEQUENCE_OF_ANY, KxAsn1_Element(digest, 0));
  const std::vector<unsigned char> identifier = KxAsn1_Decoded(X509_OBJECT_IDENTIFIER, KxAsn1_Element(algorithm, 0));
  const auto* const text = KxAsn1_As<LPSTR>(identifier);
  return text == nullptr || IsWeak(*text);
}

/// The one value of the one attribute of its kind; empty when there is none, or more. `part` is a message's list of
/// signed attributes.
std::vector<unsigned char> SignedAttribute(const std::vector<unsigned char>& part, std::string_view kind) {
  const auto* const attributes = KxAsn1_As<CRYPT_ATTRIBUTES>(part);
  const CRYPT_ATTRIBUTE* found = nullptr;
  for (DWORD i = 0; attributes != nullptr && i < attributes->cAttr; ++i) {
    const CRYPT_ATTRIBUTE& attribute = attributes->rgAttr[i];
    if (kind != attribute.pszObjId) continue;
    if (found != nullptr || attribute.cValue != 1) return {};
    found = &attribute;
  }
  if (found == nullptr) return {};
  const std::span<const unsigned char> value = KxAsn1_Bytes(found->rgValue[0]);
  return {value.begin(), value.end()};
}

KxWString NamePart(PCCERT_CONTEXT certificate, const char* part) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  void* const type = const_cast<char*>(part);
  const DWORD units = system.nameOf(certificate, CERT_NAME_ATTR_TYPE, 0, type, nullptr, 0);
  KxWString name(units, WCHAR{});
  system.nameOf(certificate, CERT_NAME_ATTR_TYPE, 0, type, name.data(), units);
  if (!name.empty()) name.pop_back();  // the terminator
  return name.find(WCHAR{0}) == KxWString::npos ? name : KxWString();
}

/// Null when it is not among `certificates`. The caller frees it.
PCCERT_CONTEXT SignerCertificate(HCRYPTMSG message, HCERTSTORE certificates) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  const std::vector<unsigned char> signer = Part(message, CMSG_SIGNER_CERT_INFO_PARAM);
  const auto* const certificateInfo = KxAsn1_As<CERT_INFO>(signer);
  if (certificateInfo == nullptr) return nullptr;
  return system.findInStore(certificates, kKxAsn1Encoding, 0, CERT_FIND_SUBJECT_CERT, certificateInfo, nullptr);
}

}  // namespace

HCRYPTMSG KxSignedMessage_Open(std::span<const unsigned char> bytes) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  const HCRYPTMSG message = system.openMessage(kKxAsn1Encoding, 0, 0, 0, nullptr, nullptr);
  if (message == nullptr) return nullptr;
  if (system.updateMessage(message, bytes.data(), static_cast<DWORD>(bytes.size()), TRUE)) return message;
  system.closeMessage(message);
  return nullptr;
}

HCRYPTMSG KxSignedMessage_OpenDetached(std::span<const unsigned char> bytes, std::span<const unsigned char> content) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  const HCRYPTMSG message = system.openMessage(kKxAsn1Encoding, CMSG_DETACHED_FLAG, 0, 0, nullptr, nullptr);
  if (message == nullptr) return nullptr;
  const bool isRead = system.updateMessage(message, bytes.data(), static_cast<DWORD>(bytes.size()), TRUE) &&
                      Part(message, CMSG_CONTENT_PARAM).empty() &&
                      system.updateMessage(message, content.data(), static_cast<DWORD>(content.size()), TRUE);
  if (isRead) return message;
  system.closeMessage(message);
  return nullptr;
}

HCERTSTORE KxSignedMessage_Certificates(HCRYPTMSG message) {
  return SkxTrustFunctions::Get().openStore(CERT_STORE_PROV_MSG, kKxAsn1Encoding, 0, 0, message);
}

KxWString KxCertificate_Name(PCCERT_CONTEXT certificate) {
  KxWString name = NamePart(certificate, szOID_COMMON_NAME);
  return name.empty() ? NamePart(certificate, szOID_ORGANIZATION_NAME) : name;
}

KxWString KxSignedMessage_SignerName(HCRYPTMSG message) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  const CkxTrustObject certificates(KxSignedMessage_Certificates(message),
                                    [&](HCERTSTORE opened) { system.closeStore(opened, 0); });
  if (!certificates) return {};
  const CkxTrustObject certificate(SignerCertificate(message, certificates.Get()),
                                   [&](PCCERT_CONTEXT found) { system.freeCertificate(found); });
  return certificate ? KxCertificate_Name(certificate.Get()) : KxWString();
}

PCCERT_CONTEXT KxSignedMessage_OnlyCertificate(HCRYPTMSG message, HCERTSTORE certificates) {
  DWORD count = 0;
  DWORD size = sizeof(count);
  const bool isKnown = SkxTrustFunctions::Get().messagePart(message, CMSG_SIGNER_COUNT_PARAM, 0, &count, &size) != 0;
  return isKnown && count == 1 ? SignerCertificate(message, certificates) : nullptr;
}

bool KxSignedMessage_IsSignedAsData(HCRYPTMSG message) {
  const std::vector<unsigned char> type = KxAsn1_Decoded(
      X509_OBJECT_IDENTIFIER, SignedAttribute(Part(message, CMSG_SIGNER_AUTH_ATTR_PARAM), szOID_RSA_contentType));
  const auto* const text = KxAsn1_As<LPSTR>(type);
  return text != nullptr && std::string_view(szOID_RSA_data) == *text;
}

bool KxSignedMessage_IsOfItsContent(HCRYPTMSG message) {
  const std::vector<unsigned char> signedDigest = KxAsn1_Decoded(
      X509_OCTET_STRING, SignedAttribute(Part(message, CMSG_SIGNER_AUTH_ATTR_PARAM), szOID_RSA_messageDigest));
  const std::vector<unsigned char> digest = Part(message, CMSG_COMPUTED_HASH_PARAM);
  const auto* const expected = KxAsn1_As<CRYPT_DATA_BLOB>(signedDigest);
  return expected != nullptr && !digest.empty() && std::ranges::equal(KxAsn1_Bytes(*expected), digest);
}

bool KxSignedMessage_IsSignerWeak(HCRYPTMSG message) {
  const std::vector<unsigned char> signer = Part(message, CMSG_SIGNER_INFO_PARAM);
  const auto* const info = KxAsn1_As<CMSG_SIGNER_INFO>(signer);
  return info == nullptr || IsWeak(info->HashAlgorithm.pszObjId);
}

bool KxSignedMessage_IsWeak(HCRYPTMSG message) {
  return KxSignedMessage_IsSignerWeak(message) || IsContentWeak(message);
}

std::optional<std::vector<unsigned char>> KxSignedMessage_Nested(HCRYPTMSG message) {
  const std::vector<unsigned char> unsignedPart = Part(message, CMSG_SIGNER_UNAUTH_ATTR_PARAM);
  const auto* const attributes = KxAsn1_As<CRYPT_ATTRIBUTES>(unsignedPart);
  for (DWORD i = 0; attributes != nullptr && i < attributes->cAttr; ++i) {
    const CRYPT_ATTRIBUTE& attribute = attributes->rgAttr[i];
    if (kNestedSignature != attribute.pszObjId || attribute.cValue == 0) continue;
    const std::span<const unsigned char> bytes = KxAsn1_Bytes(attribute.rgValue[0]);
    return std::vector(bytes.begin(), bytes.end());
  }
  return std::nullopt;
}
