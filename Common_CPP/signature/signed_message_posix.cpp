#include "Common_CPP/signature/signed_message_posix.h"

#include <algorithm>

#include "Common_CPP/signature/certificate_chain_posix.h"
#include "Common_CPP/signature/pkcs7_posix.h"
#include "Common_CPP/signature/timestamp_posix.h"

namespace {

constexpr const char* kNestedSignature = "1.3.6.1.4.1.311.2.4.1";
constexpr const char* kLifetimeSigning = "1.3.6.1.4.1.311.10.3.13";

/// Such a certificate does not outlive its time, whatever a timestamp says.
bool IsForItsLifetimeAlone(X509* certificate) {
  using CkxUses = CkxOpensslPtr<EXTENDED_KEY_USAGE, EXTENDED_KEY_USAGE_free>;
  const CkxUses uses(
      static_cast<EXTENDED_KEY_USAGE*>(X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr)));
  for (int i = 0; uses != nullptr && i < sk_ASN1_OBJECT_num(uses.get()); ++i) {
    if (KxPkcs7_IsType(sk_ASN1_OBJECT_value(uses.get(), i), kLifetimeSigning)) return true;
  }
  return false;
}

bool IsWeak(EkxHashAlgorithm algorithm) {
  return algorithm == EkxHashAlgorithm::Md5 || algorithm == EkxHashAlgorithm::Sha1;
}

}  // namespace

std::optional<CkxSignedMessage> CkxSignedMessage::Parse(std::span<const unsigned char> bytes, const char* type) {
  CkxSignedMessage message;
  message._type = type;
  message._message = KxPkcs7_Parse(bytes);
  if (message._message == nullptr || !message.ReadContent() || !message.ReadSigner()) return std::nullopt;
  return message;
}

bool CkxSignedMessage::ReadContent() {
  const PKCS7* const contents = _message->d.sign->contents;
  if (contents == nullptr || !KxPkcs7_IsType(contents->type, _type)) return false;
  const ASN1_TYPE* const value = contents->d.other;
  if (value == nullptr || value->type != V_ASN1_SEQUENCE) return false;
  return CkxDerReader(KxPkcs7_Bytes(value->value.sequence)).Enter(V_ASN1_SEQUENCE, _content);
}

bool CkxSignedMessage::ReadSigner() {
  _signer = KxPkcs7_OnlySigner(_message.get());
  _certificate = _signer != nullptr ? PKCS7_cert_from_signer_info(_message.get(), _signer) : nullptr;
  return _certificate != nullptr;
}

KxWString CkxSignedMessage::SignerName() const {
  const CkxOpensslErrors errors;
  return KxCertificate_Name(_certificate);
}

EkxPublisherStatus CkxSignedMessage::Judge(const CkxTrustStore& trust, time_t now) const {
  const CkxOpensslErrors errors;
  const std::optional<EkxHashAlgorithm> signersHash = KxPkcs7_HashOf(_signer->digest_alg->algorithm);
  if (!signersHash || !KxPkcs7_IsSignedBy(_message.get(), _signer, _certificate, _content, _type)) {
    return EkxPublisherStatus::Invalid;
  }
  const std::optional<time_t> proven =
      IsForItsLifetimeAlone(_certificate) ? std::nullopt : KxTimestamp_Prove({_message.get(), _signer}, trust, now);
  const EkxPublisherStatus status = KxChain_Status(
      KxChain_Judge(_certificate, _message->d.sign->cert, trust, proven.value_or(now), EkxCertificateUse::SignCode));
  const bool isWeak = status == EkxPublisherStatus::Valid && IsWeak(*signersHash);
  return isWeak ? EkxPublisherStatus::ValidByWeakDigest : status;
}

std::optional<std::span<const unsigned char>> CkxSignedMessage::Nested() const {
  return KxPkcs7_SequenceOf(_signer->unauth_attr, kNestedSignature);
}

std::optional<SkxSignedDigest> SkxSignedDigest::Read(std::span<const unsigned char> content) {
  std::span<const unsigned char> kind;
  std::span<const unsigned char> info;
  CkxDerReader parts(content);
  if (!parts.Enter(V_ASN1_SEQUENCE, kind) || !parts.Enter(V_ASN1_SEQUENCE, info)) return std::nullopt;
  std::span<const unsigned char> algorithm;
  std::span<const unsigned char> digest;
  CkxDerReader infoParts(info);
  if (!infoParts.Enter(V_ASN1_SEQUENCE, algorithm) || !infoParts.Enter(V_ASN1_OCTET_STRING, digest))
    return std::nullopt;
  const std::optional<EkxHashAlgorithm> known = KxPkcs7_HashOf(KxDer_Object(algorithm).get());
  if (!known) return std::nullopt;
  return SkxSignedDigest{*known, {digest.begin(), digest.end()}};
}

bool SkxSignedDigest::IsWeak() const { return ::IsWeak(algorithm); }
