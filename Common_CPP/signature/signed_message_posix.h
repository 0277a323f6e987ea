// A PKCS #7 message that somebody signed for others to trust:
//
//   content                     for a file, the digest of the bytes that are signed; for a catalog, the digests of many
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

/// Types of content, dotted.
inline constexpr const char* kKxIndirectData = "1.3.6.1.4.1.311.2.1.4";
inline constexpr const char* kKxTrustList = "1.3.6.1.4.1.311.10.1";

class CkxSignedMessage {
 public:
  /// Nothing when it is no message with such content; whether it holds is another question.
  static std::optional<CkxSignedMessage> Parse(std::span<const unsigned char> bytes, const char* type);

  /// The inside of the content, a sequence; of this message.
  std::span<const unsigned char> Content() const { return _content; }

  /// The common name of the signer, else its organization; empty when it has neither, or one with a NUL.
  KxWString SignerName() const;

  /// Of the message alone: whether the file has the digest that it speaks of is for the caller to see. `now`: seconds
  /// since 1970, UTC.
  EkxPublisherStatus Judge(const CkxTrustStore& trust, time_t now) const;

  /// The bytes of the second message; nothing when there is none.
  std::optional<std::span<const unsigned char>> Nested() const;

 private:
  CkxSignedMessage() = default;
  bool ReadContent();
  bool ReadSigner();

  const char* _type = nullptr;  // lives for ever
  CkxPkcs7 _message;
  std::span<const unsigned char> _content;  // of the message
  PKCS7_SIGNER_INFO* _signer = nullptr;     // of the message
  X509* _certificate = nullptr;             // of the message: the signer's
};

/// What a signature says of the bytes that it covers.
struct SkxSignedDigest {
  EkxHashAlgorithm algorithm = EkxHashAlgorithm::Sha256;
  std::vector<unsigned char> digest;

  /// `content`: the inside of indirect data. Nothing when it is broken, or of an algorithm that nobody knows.
  static std::optional<SkxSignedDigest> Read(std::span<const unsigned char> content);
  bool IsWeak() const;
};
