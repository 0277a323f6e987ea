// A PKCS #7 message that signs a file:
//
//   content, "indirect data"    what kind of file, and the digest of the bytes that are signed
//   certificates                of the signer and of those who vouch for it
//   one signer                  over the content's digest, its type, and maybe more
//     not signed                a timestamp of its own kind (RFC 3161) or a second signature with a time (PKCS #9);
//                               a second message like this one
#pragma once

#include <span>

#include "Common_CPP/crypto/hash.h"
#include "Common_CPP/signature/openssl_posix.h"
#include "Common_CPP/signature/signer.h"
#include "Common_CPP/signature/trust_store.h"
#include "Common_CPP/util/base.h"

class CkxSignedMessage {
 public:
  /// Nothing when it is no such message; whether it holds is another question.
  static std::optional<CkxSignedMessage> Parse(std::span<const unsigned char> bytes);

  EkxHashAlgorithm Algorithm() const { return _algorithm; }
  const std::vector<unsigned char>& Digest() const { return _digest; }  ///< of what the file's signature covers

  /// The common name of the signer, else its organization; empty when it has neither, or one with a NUL.
  KxWString SignerName() const;

  /// Of the message alone: whether the file has that digest is for the caller to see. `now`: seconds since 1970, UTC.
  EkxPublisherStatus Judge(const CkxTrustStore& trust, time_t now) const;

  /// The bytes of the second message; nothing when there is none.
  std::optional<std::span<const unsigned char>> Nested() const;

 private:
  CkxSignedMessage() = default;
  bool ReadContent();
  bool ReadSigner();

  CkxPkcs7 _message;
  std::span<const unsigned char> _content;  // of the message: the inside of the indirect data
  PKCS7_SIGNER_INFO* _signer = nullptr;     // of the message
  X509* _certificate = nullptr;             // of the message: the signer's
  EkxHashAlgorithm _algorithm = EkxHashAlgorithm::Sha256;
  std::vector<unsigned char> _digest;
};
