#include "Common_CPP/signature/pkcs7_posix.h"

#include <array>
#include <limits>
#include <string_view>

namespace {

struct SkxHashObject {
  int object;
  EkxHashAlgorithm algorithm;
};

constexpr SkxHashObject kHashObjects[] = {
    {NID_md5, EkxHashAlgorithm::Md5},       {NID_sha1, EkxHashAlgorithm::Sha1},
    {NID_sha256, EkxHashAlgorithm::Sha256}, {NID_sha384, EkxHashAlgorithm::Sha384},
    {NID_sha512, EkxHashAlgorithm::Sha512},
};

/// A signature over bytes alone could be one that was made for something else: the type must be signed too.
bool IsSignedAs(const char* type, const PKCS7_SIGNER_INFO* signer) {
  const ASN1_TYPE* const value = PKCS7_get_signed_attribute(signer, NID_pkcs9_contentType);
  return value != nullptr && value->type == V_ASN1_OBJECT && KxPkcs7_IsType(value->value.object, type);
}

}  // namespace

CkxPkcs7 KxPkcs7_Parse(std::span<const unsigned char> bytes) {
  const CkxOpensslErrors errors;
  const unsigned char* at = bytes.data();
  CkxPkcs7 message;
  if (bytes.size() <= static_cast<size_t>(std::numeric_limits<int>::max())) {
    message.reset(d2i_PKCS7(nullptr, &at, static_cast<long>(bytes.size())));
  }
  CkxOpensslErrors::Check();
  const bool isSigned = message != nullptr && PKCS7_type_is_signed(message.get()) && message->d.sign != nullptr;
  return isSigned ? std::move(message) : nullptr;
}

PKCS7_SIGNER_INFO* KxPkcs7_OnlySigner(PKCS7* message) {
  STACK_OF(PKCS7_SIGNER_INFO)* const signers = PKCS7_get_signer_info(message);
  return signers != nullptr && sk_PKCS7_SIGNER_INFO_num(signers) == 1 ? sk_PKCS7_SIGNER_INFO_value(signers, 0)
                                                                      : nullptr;
}

bool KxPkcs7_IsSignedBy(PKCS7* message, PKCS7_SIGNER_INFO* signer, X509* certificate,
                        std::span<const unsigned char> content, const char* type) {
  const EVP_MD* const method = EVP_get_digestbyobj(signer->digest_alg->algorithm);
  if (method == nullptr || !IsSignedAs(type, signer)) return false;
  CkxBio digest(KxOpenssl_NotNull(BIO_new(BIO_f_md())));
  if (BIO_set_md(digest.get(), method) != 1) return false;
  BIO_push(digest.get(), KxOpenssl_NotNull(BIO_new(BIO_s_null())));
  const int size = static_cast<int>(content.size());
  if (BIO_write(digest.get(), content.data(), size) != size) return false;
  const bool isSigned = PKCS7_signatureVerify(digest.get(), message, signer, certificate) == 1;
  CkxOpensslErrors::Check();
  return isSigned;
}

bool KxPkcs7_IsType(const ASN1_OBJECT* object, const char* type) {
  std::array<char, 80> text;
  const int size = object != nullptr ? OBJ_obj2txt(text.data(), static_cast<int>(text.size()), object, 1) : 0;
  return size > 0 && std::string_view(text.data()) == type;
}

std::optional<EkxHashAlgorithm> KxPkcs7_HashOf(const ASN1_OBJECT* algorithm) {
  const int object = algorithm != nullptr ? OBJ_obj2nid(algorithm) : NID_undef;
  for (const SkxHashObject& known : kHashObjects) {
    if (known.object == object) return known.algorithm;
  }
  return std::nullopt;
}

std::span<const unsigned char> KxPkcs7_Bytes(const ASN1_STRING* text) {
  return {ASN1_STRING_get0_data(text), static_cast<size_t>(ASN1_STRING_length(text))};
}

std::optional<std::span<const unsigned char>> KxPkcs7_SequenceOf(const STACK_OF(X509_ATTRIBUTE) * attributes,
                                                                 const char* type) {
  for (int i = 0; i < sk_X509_ATTRIBUTE_num(attributes); ++i) {
    X509_ATTRIBUTE* const attribute = sk_X509_ATTRIBUTE_value(attributes, i);
    if (!KxPkcs7_IsType(X509_ATTRIBUTE_get0_object(attribute), type)) continue;
    const ASN1_TYPE* const value = X509_ATTRIBUTE_get0_type(attribute, 0);
    if (value != nullptr && value->type == V_ASN1_SEQUENCE) return KxPkcs7_Bytes(value->value.sequence);
  }
  return std::nullopt;
}

bool CkxDerReader::Enter(int tag, std::span<const unsigned char>& inside) {
  CkxDerReader ahead = *this;
  int found = 0;
  if (!ahead.Next(found, inside) || found != tag) return false;
  *this = ahead;
  return true;
}

bool CkxDerReader::Find(int tag, std::span<const unsigned char>& inside) {
  for (int found = 0; Next(found, inside);) {
    if (found == tag) return true;
  }
  return false;
}

/// `tag` is -1 of an element with one that is not universal.
bool CkxDerReader::Next(int& tag, std::span<const unsigned char>& inside) {
  constexpr int kIsBroken = 0x80;
  constexpr int kIsWithoutLength = 0x01;
  const unsigned char* at = _rest.data();
  long size = 0;
  int tagClass = 0;
  if (_rest.empty()) return false;
  const int flags = ASN1_get_object(&at, &size, &tag, &tagClass, static_cast<long>(_rest.size()));
  if ((flags & (kIsBroken | kIsWithoutLength)) != 0) return false;
  if (tagClass != V_ASN1_UNIVERSAL) tag = -1;
  inside = {at, static_cast<size_t>(size)};
  _rest = _rest.subspan(static_cast<size_t>(at - _rest.data()) + inside.size());
  return true;
}

CkxAsn1Object KxDer_Object(std::span<const unsigned char> bytes) {
  const unsigned char* at = bytes.data();
  CkxAsn1Object object(d2i_ASN1_OBJECT(nullptr, &at, static_cast<long>(bytes.size())));
  CkxOpensslErrors::Check();
  return object;
}
