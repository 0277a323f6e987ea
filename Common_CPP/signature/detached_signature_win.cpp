#include "Common_CPP/signature/detached_signature.h"

#include "Common_CPP/signature/certificate_chain_win.h"
#include "Common_CPP/signature/signed_message_win.h"

namespace {

FILETIME SystemTimeNow() {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return now;
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
  found.status = KxChain_Judge(certificate.Get(), &trust, SystemTimeNow());
  if (found.status == EkxPublisherStatus::Valid && KxSignedMessage_IsSignerWeak(opened.Get())) {
    found.status = EkxPublisherStatus::ValidByWeakDigest;
  }
  return found;
}

/// Keys lie in the system's stores there, and are no files.
std::optional<std::vector<unsigned char>> KxDetachedSignature_Make(std::span<const unsigned char> /*content*/,
                                                                   std::span<const unsigned char> /*key*/,
                                                                   std::span<const unsigned char> /*certificates*/,
                                                                   std::string& error) {
  error = "signing by key files is not for Windows; sign where the image is built";
  return std::nullopt;
}
