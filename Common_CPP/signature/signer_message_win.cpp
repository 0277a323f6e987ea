#include "Common_CPP/signature/signer_message_win.h"

#include <algorithm>
#include <initializer_list>

#include "Common_CPP/signature/asn1_win.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Part = std::span<const unsigned char>;

constexpr unsigned char kInteger = 0x02;
constexpr unsigned char kOctets = 0x04;
constexpr unsigned char kSequence = 0x30;
constexpr unsigned char kSet = 0x31;
constexpr unsigned char kContext0 = 0xA0;

// Object identifiers and numbers, as they are encoded.
constexpr unsigned char kData[] = {6, 9, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 1, 7, 1};
constexpr unsigned char kSignedData[] = {6, 9, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 1, 7, 2};
constexpr unsigned char kContentType[] = {6, 9, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 1, 9, 3};
constexpr unsigned char kMessageDigest[] = {6, 9, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 1, 9, 4};
constexpr unsigned char kSigningTime[] = {6, 9, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 1, 9, 5};
constexpr unsigned char kRsa[] = {6, 9, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 1, 1, 1};
constexpr unsigned char kSha256[] = {6, 9, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 2, 1};
constexpr unsigned char kEcdsaWithSha256[] = {6, 8, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 4, 3, 2};
constexpr unsigned char kNull[] = {5, 0};
constexpr unsigned char kVersion1[] = {kInteger, 1, 1};

Bytes Joined(std::initializer_list<Part> parts) {
  Bytes bytes;
  for (const Part part : parts) bytes.insert(bytes.end(), part.begin(), part.end());
  return bytes;
}

/// A value of that kind, in DER.
Bytes Encoded(unsigned char tag, std::initializer_list<Part> parts) {
  constexpr size_t kLongForm = 0x80;
  const Bytes content = Joined(parts);
  Bytes size;  // the least significant byte first
  for (size_t rest = content.size(); rest != 0; rest >>= 8) size.push_back(static_cast<unsigned char>(rest));
  if (content.size() >= kLongForm) {
    size.push_back(static_cast<unsigned char>(kLongForm | size.size()));
  } else {
    size.resize(1);
  }
  std::ranges::reverse(size);
  return Joined({Part(&tag, 1), size, content});
}

Bytes Algorithm(Part identifier, Part parameters) { return Encoded(kSequence, {identifier, parameters}); }

Bytes Attribute(Part identifier, Part value) { return Encoded(kSequence, {identifier, Encoded(kSet, {value})}); }

/// Of a positive number, the most significant byte first: without zeros before it, but for one that keeps it positive.
Bytes Number(Part bytes) {
  constexpr unsigned char kSign[] = {0};
  while (!bytes.empty() && bytes.front() == 0) bytes = bytes.subspan(1);
  const bool needsSign = bytes.empty() || (bytes.front() & 0x80) != 0;
  return Encoded(kInteger, {needsSign ? Part(kSign) : Part(), bytes});
}

/// Of two numbers, as messages have the signatures of curves.
Bytes BothNumbers(Part signature) {
  const size_t half = signature.size() / 2;
  return Encoded(kSequence, {Number(signature.first(half)), Number(signature.subspan(half))});
}

/// The signer's certificate, by who issued it and its number there, letter for letter as it has them.
std::optional<Bytes> IssuerAndNumber(const Bytes& certificate) {
  const Bytes parts = KxAsn1_Decoded(X509_SEQUENCE_OF_ANY, certificate);
  const Bytes fields = KxAsn1_Decoded(X509_SEQUENCE_OF_ANY, KxAsn1_Element(parts, 0));
  const Part first = KxAsn1_Element(fields, 0);
  const DWORD number = !first.empty() && first.front() == kContext0 ? 1 : 0;  // behind the version, where there is one
  const Part issuer = KxAsn1_Element(fields, number + 2);
  if (issuer.empty()) return std::nullopt;
  return Encoded(kSequence, {issuer, KxAsn1_Element(fields, number)});
}

/// Without whatever a file may have behind it.
Bytes CertificateAlone(const Bytes& bytes) {
  const Bytes parts = KxAsn1_Decoded(X509_SEQUENCE_OF_ANY, bytes);
  return Encoded(kSequence, {KxAsn1_Element(parts, 0), KxAsn1_Element(parts, 1), KxAsn1_Element(parts, 2)});
}

std::optional<Bytes> EncodedTime(FILETIME when) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  DWORD size = 0;
  const auto encode = [&](unsigned char* bytes) {
    return system.encode(kKxAsn1Encoding, X509_CHOICE_OF_TIME, &when, 0, nullptr, bytes, &size);
  };
  if (!encode(nullptr)) return std::nullopt;
  Bytes bytes(size);
  if (!encode(bytes.data())) return std::nullopt;
  bytes.resize(size);
  return bytes;
}

}  // namespace

std::optional<std::vector<unsigned char>> KxSignerMessage_Attributes(std::span<const unsigned char> digest,
                                                                     FILETIME when) {
  const std::optional<Bytes> time = EncodedTime(when);
  if (!time) return std::nullopt;
  // A set stands in the order of its elements' bytes, which is that of their sizes here.
  return Encoded(kSet, {Attribute(kContentType, kData), Attribute(kSigningTime, *time),
                        Attribute(kMessageDigest, Encoded(kOctets, {digest}))});
}

std::optional<std::vector<unsigned char>> KxSignerMessage_Encode(const SkxSignerMessage& message) {
  const std::optional<Bytes> signer = IssuerAndNumber(message.certificates.front());
  if (!signer) return std::nullopt;
  const Bytes sha256 = Algorithm(kSha256, kNull);
  const Bytes algorithm = message.isRsa ? Algorithm(kRsa, kNull) : Algorithm(kEcdsaWithSha256, {});
  const Bytes signature =
      Encoded(kOctets, {message.isRsa ? Joined({message.signature}) : BothNumbers(message.signature)});
  Bytes attributes = Joined({message.attributes});
  attributes.front() = kContext0;  // what is signed is a set, what stands in the message is tagged
  const Bytes info = Encoded(kSequence, {kVersion1, *signer, sha256, attributes, algorithm, signature});

  Bytes certificates;
  for (const Bytes& bytes : message.certificates) certificates = Joined({certificates, CertificateAlone(bytes)});
  const Bytes content = Encoded(kSequence, {kVersion1, Encoded(kSet, {sha256}), Encoded(kSequence, {kData}),
                                            Encoded(kContext0, {certificates}), Encoded(kSet, {info})});
  return Encoded(kSequence, {kSignedData, Encoded(kContext0, {content})});
}
