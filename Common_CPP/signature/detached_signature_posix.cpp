#include "Common_CPP/signature/detached_signature.h"

#include <openssl/pem.h>

#include <ctime>

#include "Common_CPP/signature/certificate_chain_posix.h"
#include "Common_CPP/signature/pkcs7_posix.h"
#include "Common_CPP/signature/signing_refusal.h"

namespace {

constexpr const char* kPlainData = "1.2.840.113549.1.7.1";

using CkxPrivateKey = CkxOpensslPtr<EVP_PKEY, EVP_PKEY_free>;
using CkxCertificate = CkxOpensslPtr<X509, X509_free>;

void FreeCertificates(STACK_OF(X509) * certificates) { sk_X509_pop_free(certificates, X509_free); }
using CkxCertificates = CkxOpensslPtr<STACK_OF(X509), FreeCertificates>;

CkxBio ReaderOf(std::span<const unsigned char> bytes) {
  return CkxBio(KxOpenssl_NotNull(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size()))));
}

/// The library would ask whoever sits at the terminal.
int NoPassPhrase(char* /*buffer*/, int /*size*/, int /*isWriting*/, void* /*context*/) { return -1; }

bool IsWeakHash(const PKCS7_SIGNER_INFO* signer) {
  const std::optional<EkxHashAlgorithm> hash = KxPkcs7_HashOf(signer->digest_alg->algorithm);
  return !hash || *hash == EkxHashAlgorithm::Md5 || *hash == EkxHashAlgorithm::Sha1;
}

std::optional<std::vector<unsigned char>> Encoded(PKCS7* message) {
  const int size = i2d_PKCS7(message, nullptr);
  if (size <= 0) return std::nullopt;
  std::vector<unsigned char> bytes(static_cast<size_t>(size));
  unsigned char* at = bytes.data();
  i2d_PKCS7(message, &at);
  return bytes;
}

}  // namespace

SkxSigner KxDetachedSignature_Look(std::span<const unsigned char> message, std::span<const unsigned char> content,
                                   const CkxTrustStore& trust) {
  const CkxOpensslErrors errors;
  SkxSigner found = {KxWString(), EkxPublisherStatus::Invalid};
  const CkxPkcs7 parsed = KxPkcs7_Parse(message);
  if (parsed == nullptr || PKCS7_is_detached(parsed.get()) != 1) return found;
  PKCS7_SIGNER_INFO* const signer = KxPkcs7_OnlySigner(parsed.get());
  X509* const certificate = signer != nullptr ? PKCS7_cert_from_signer_info(parsed.get(), signer) : nullptr;
  if (certificate == nullptr) return found;

  found.name = KxCertificate_Name(certificate);
  if (!KxPkcs7_IsSignedBy(parsed.get(), signer, certificate, content, kPlainData)) return found;
  found.status = KxChain_Status(
      KxChain_Judge(certificate, parsed->d.sign->cert, trust, std::time(nullptr), EkxCertificateUse::SignImage));
  if (found.status == EkxPublisherStatus::Valid && IsWeakHash(signer)) {
    found.status = EkxPublisherStatus::ValidByWeakDigest;
  }
  return found;
}

std::optional<std::vector<unsigned char>> KxDetachedSignature_Make(std::span<const unsigned char> content,
                                                                   std::span<const unsigned char> key,
                                                                   std::span<const unsigned char> certificates,
                                                                   std::string& error) {
  const CkxOpensslErrors errors;
  const CkxPrivateKey privateKey(PEM_read_bio_PrivateKey(ReaderOf(key).get(), nullptr, NoPassPhrase, nullptr));
  const CkxBio rest = ReaderOf(certificates);
  const CkxCertificate certificate(PEM_read_bio_X509(rest.get(), nullptr, NoPassPhrase, nullptr));
  const CkxCertificates others(KxOpenssl_NotNull(sk_X509_new_null()));
  while (certificate != nullptr) {
    CkxCertificate other(PEM_read_bio_X509(rest.get(), nullptr, NoPassPhrase, nullptr));
    if (other == nullptr || sk_X509_push(others.get(), other.get()) == 0) break;
    static_cast<void>(other.release());  // the list's
  }
  if (privateKey == nullptr) error = kKxNoPrivateKey;
  if (certificate == nullptr) error = kKxNoCertificate;
  if (privateKey == nullptr || certificate == nullptr) return std::nullopt;
  if (X509_check_private_key(certificate.get(), privateKey.get()) != 1) {
    error = kKxKeyOfAnother;
    return std::nullopt;
  }
  const CkxPkcs7 message(PKCS7_sign(certificate.get(), privateKey.get(), others.get(), ReaderOf(content).get(),
                                    PKCS7_DETACHED | PKCS7_BINARY | PKCS7_NOSMIMECAP));
  CkxOpensslErrors::Check();
  std::optional<std::vector<unsigned char>> bytes = message != nullptr ? Encoded(message.get()) : std::nullopt;
  if (!bytes) error = kKxKeyCannotSign;
  return bytes;
}
