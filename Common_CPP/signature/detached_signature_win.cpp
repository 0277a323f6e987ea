#include "Common_CPP/signature/detached_signature.h"

#include "Common_CPP/crypto/hash.h"
#include "Common_CPP/signature/certificate_chain_win.h"
#include "Common_CPP/signature/pem_win.h"
#include "Common_CPP/signature/private_key_win.h"
#include "Common_CPP/signature/signed_message_win.h"
#include "Common_CPP/signature/signer_message_win.h"
#include "Common_CPP/signature/signing_refusal.h"

namespace {

using Bytes = std::vector<unsigned char>;

PCCERT_CONTEXT NewCertificate(const Bytes& bytes) {
  return SkxTrustFunctions::Get().makeCertificate(X509_ASN_ENCODING, bytes.data(), static_cast<DWORD>(bytes.size()));
}

void FreeCertificate(PCCERT_CONTEXT certificate) { SkxTrustFunctions::Get().freeCertificate(certificate); }

/// In DER, up to the first one that cannot be read.
std::vector<Bytes> CertificatesOf(std::span<const unsigned char> text) {
  std::vector<Bytes> found;
  std::string_view rest = KxPem_Text(text);
  while (const std::optional<SkxPemBlock> block = KxPem_Next(rest)) {
    if (block->label != "CERTIFICATE") continue;
    Bytes bytes = KxPem_Decoded<Bytes>(block->body);
    const CkxTrustObject certificate(NewCertificate(bytes), FreeCertificate);
    if (!certificate) break;
    found.push_back(std::move(bytes));
  }
  return found;
}

FILETIME SystemTimeNow() {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return now;
}

std::optional<Bytes> Sha256(std::span<const unsigned char> bytes) {
  return KxHash_OfBytes(bytes, EkxHashAlgorithm::Sha256);
}

std::optional<Bytes> AttributesOf(std::span<const unsigned char> content) {
  const std::optional<Bytes> digest = Sha256(content);
  return digest ? KxSignerMessage_Attributes(*digest, SystemTimeNow()) : std::nullopt;
}

}  // namespace

SkxSigner KxDetachedSignature_Look(std::span<const unsigned char> message, std::span<const unsigned char> content,
                                   const CkxTrustStore& trust) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  SkxSigner found = {KxWString(), EkxPublisherStatus::Invalid};
  if (!system.AreThere()) return {};
  const CkxTrustObject opened(KxSignedMessage_OpenDetached(message, content),
                              [&](HCRYPTMSG handle) { system.closeMessage(handle); });
  if (!opened) return found;
  const CkxTrustObject certificates(KxSignedMessage_Certificates(opened.Get()),
                                    [&](HCERTSTORE store) { system.closeStore(store, 0); });
  if (!certificates) return found;
  const CkxTrustObject certificate(KxSignedMessage_OnlyCertificate(opened.Get(), certificates.Get()),
                                   [&](PCCERT_CONTEXT context) { system.freeCertificate(context); });
  if (!certificate) return found;

  found.name = KxCertificate_Name(certificate.Get());
  if (!KxSignedMessage_IsSignedAsData(opened.Get()) || !KxSignedMessage_IsOfItsContent(opened.Get()) ||
      !system.controlMessage(opened.Get(), 0, CMSG_CTRL_VERIFY_SIGNATURE, certificate.Get()->pCertInfo)) {
    return found;
  }
  found.status = KxChain_Judge(certificate.Get(), &trust, SystemTimeNow(), EkxCertificateUse::SignImage);
  if (found.status == EkxPublisherStatus::Valid && KxSignedMessage_IsSignerWeak(opened.Get())) {
    found.status = EkxPublisherStatus::ValidByWeakDigest;
  }
  return found;
}

std::optional<std::vector<unsigned char>> KxDetachedSignature_Make(std::span<const unsigned char> content,
                                                                   std::span<const unsigned char> key,
                                                                   std::span<const unsigned char> certificates,
                                                                   std::string& error) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  error = "this system cannot sign";
  if (!system.CanSign()) return std::nullopt;
  const std::optional<SkxPrivateKey> privateKey = KxPrivateKey_FromPem(key);
  const std::vector<Bytes> chain = CertificatesOf(certificates);
  if (!privateKey) error = kKxNoPrivateKey;
  if (chain.empty()) error = kKxNoCertificate;
  if (!privateKey || chain.empty()) return std::nullopt;

  const CkxTrustObject certificate(NewCertificate(chain.front()), FreeCertificate);
  const std::optional<Bytes> attributes = AttributesOf(content);
  const std::optional<Bytes> digest = attributes ? Sha256(*attributes) : std::nullopt;
  if (!certificate || !digest) return std::nullopt;
  Bytes signature;
  switch (KxPrivateKey_Sign(*privateKey, certificate.Get(), *digest, signature)) {
    case EkxSigning::NotOfCertificate:
      error = kKxKeyOfAnother;
      return std::nullopt;
    case EkxSigning::UnknownKind:
      error = kKxKeyCannotSign;
      return std::nullopt;
    case EkxSigning::Signed:
      break;
  }
  return KxSignerMessage_Encode({chain, *attributes, signature, privateKey->algorithm == szOID_RSA_RSA});
}
