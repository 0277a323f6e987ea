#include "Common_CPP/signature/timestamp_posix.h"

#include <algorithm>

#include "Common_CPP/signature/certificate_chain_posix.h"
#include "Common_CPP/signature/pkcs7_posix.h"

namespace {

constexpr const char* kTimestampToken = "1.3.6.1.4.1.311.3.3.1";
constexpr const char* kCounterSignature = "1.2.840.113549.1.9.6";
constexpr const char* kTimestampInfo = "1.2.840.113549.1.9.16.1.4";
constexpr const char* kPlainData = "1.2.840.113549.1.7.1";

std::optional<time_t> ToTime(const ASN1_TIME* text) {
  tm parts{};
  if (text == nullptr || ASN1_TIME_to_tm(text, &parts) != 1) return std::nullopt;
  return timegm(&parts);
}

/// Whether the digest in `imprint` is that of `bytes`.
bool IsImprintOf(std::span<const unsigned char> bytes, TS_MSG_IMPRINT* imprint) {
  const std::optional<EkxHashAlgorithm> algorithm = KxPkcs7_HashOf(TS_MSG_IMPRINT_get_algo(imprint)->algorithm);
  const auto digest = algorithm ? KxHash_OfBytes(bytes, *algorithm) : std::nullopt;
  return digest && std::ranges::equal(*digest, KxPkcs7_Bytes(TS_MSG_IMPRINT_get_msg(imprint)));
}

bool IsTrustedWithTime(X509* certificate, STACK_OF(X509) * others, const CkxTrustStore& trust, time_t time) {
  return KxChain_Judge(certificate, others, trust, time, EkxCertificateUse::SignTime) == EkxChainVerdict::Good;
}

/// By a token of RFC 3161.
std::optional<time_t> TimeOfToken(const SkxTimedSignature& signature, const CkxTrustStore& trust) {
  const auto bytes = KxPkcs7_SequenceOf(signature.signer->unauth_attr, kTimestampToken);
  const CkxPkcs7 token = bytes ? KxPkcs7_Parse(*bytes) : nullptr;
  if (token == nullptr) return std::nullopt;
  const CkxTstInfo info(PKCS7_to_TS_TST_INFO(token.get()));
  CkxOpensslErrors::Check();
  PKCS7_SIGNER_INFO* const signer = KxPkcs7_OnlySigner(token.get());
  X509* const certificate = signer != nullptr ? PKCS7_cert_from_signer_info(token.get(), signer) : nullptr;
  if (info == nullptr || certificate == nullptr) return std::nullopt;

  const ASN1_OCTET_STRING* const content = token->d.sign->contents->d.other->value.octet_string;
  const std::optional<time_t> time = ToTime(TS_TST_INFO_get_time(info.get()));
  const bool holds =
      time && IsImprintOf(KxPkcs7_Bytes(signature.signer->enc_digest), TS_TST_INFO_get_msg_imprint(info.get())) &&
      KxPkcs7_IsSignedBy(token.get(), signer, certificate, KxPkcs7_Bytes(content), kTimestampInfo) &&
      IsTrustedWithTime(certificate, token->d.sign->cert, trust, *time);
  return holds ? time : std::nullopt;
}

/// By a second signature over the first, whose certificates lie in the same message.
std::optional<time_t> TimeOfCounterSignature(const SkxTimedSignature& signature, const CkxTrustStore& trust) {
  const auto bytes = KxPkcs7_SequenceOf(signature.signer->unauth_attr, kCounterSignature);
  if (!bytes) return std::nullopt;
  const unsigned char* at = bytes->data();
  const CkxSignerInfo signer(d2i_PKCS7_SIGNER_INFO(nullptr, &at, static_cast<long>(bytes->size())));
  CkxOpensslErrors::Check();
  if (signer == nullptr) return std::nullopt;
  X509* const certificate = PKCS7_cert_from_signer_info(signature.message, signer.get());
  const ASN1_TYPE* const said = PKCS7_get_signed_attribute(signer.get(), NID_pkcs9_signingTime);
  if (certificate == nullptr || said == nullptr ||
      (said->type != V_ASN1_UTCTIME && said->type != V_ASN1_GENERALIZEDTIME))
    return std::nullopt;

  const std::optional<time_t> time = ToTime(said->value.asn1_string);
  const bool holds = time &&
                     KxPkcs7_IsSignedBy(signature.message, signer.get(), certificate,
                                        KxPkcs7_Bytes(signature.signer->enc_digest), kPlainData) &&
                     IsTrustedWithTime(certificate, signature.message->d.sign->cert, trust, *time);
  return holds ? time : std::nullopt;
}

}  // namespace

std::optional<time_t> KxTimestamp_Prove(const SkxTimedSignature& signature, const CkxTrustStore& trust, time_t now) {
  std::optional<time_t> time = TimeOfToken(signature, trust);
  if (!time) time = TimeOfCounterSignature(signature, trust);
  return time && *time <= now ? time : std::nullopt;
}
