// The pieces of PKCS #7 messages that signatures of files and timestamps share.
#pragma once

#include <optional>
#include <span>

#include "Common_CPP/crypto/hash.h"
#include "Common_CPP/signature/openssl_posix.h"

/// Null when it is no signed message; bytes behind it are nobody's.
CkxPkcs7 KxPkcs7_Parse(std::span<const unsigned char> bytes);

/// Null unless there is exactly one. Of the message.
PKCS7_SIGNER_INFO* KxPkcs7_OnlySigner(PKCS7* message);

/// Whether `signer` signed `content` as what `type` (dotted) says, with the key of `certificate`.
bool KxPkcs7_IsSignedBy(PKCS7* message, PKCS7_SIGNER_INFO* signer, X509* certificate,
                        std::span<const unsigned char> content, const char* type);

/// Whether `object` is `type`, in dotted form.
bool KxPkcs7_IsType(const ASN1_OBJECT* object, const char* type);

std::optional<EkxHashAlgorithm> KxPkcs7_HashOf(const ASN1_OBJECT* algorithm);
std::span<const unsigned char> KxPkcs7_Bytes(const ASN1_STRING* text);

/// The whole encoding of the first value, a sequence, of the attribute `type`; nothing when there is none.
std::optional<std::span<const unsigned char>> KxPkcs7_SequenceOf(const STACK_OF(X509_ATTRIBUTE) * attributes,
                                                                 const char* type);

/// Elements one after the other, in their distinguished encoding. Points into the bytes that it reads.
class CkxDerReader {
 public:
  explicit CkxDerReader(std::span<const unsigned char> bytes) : _rest(bytes) {}

  /// The inside of the next element, if that has the universal tag `tag`; else nothing is consumed.
  bool Enter(int tag, std::span<const unsigned char>& inside);

  /// The same of the next element with that tag, whatever stands before it.
  bool Find(int tag, std::span<const unsigned char>& inside);

 private:
  bool Next(int& tag, std::span<const unsigned char>& inside);

  std::span<const unsigned char> _rest;
};

using CkxAsn1Object = CkxOpensslPtr<ASN1_OBJECT, ASN1_OBJECT_free>;

/// The object identifier that `bytes` begin with; null when it is none.
CkxAsn1Object KxDer_Object(std::span<const unsigned char> bytes);
