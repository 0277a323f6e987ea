#include "Common_CPP/signature/catalogs_posix.h"

#include "Common_CPP/file/file.h"
#include "Common_CPP/file/files_of.h"
#include "Common_CPP/signature/pkcs7_posix.h"

namespace {

constexpr uint64_t kMaxCatalogBytes = 32 * 1024 * 1024;
constexpr const char* kForCatalogs = "1.3.6.1.4.1.311.12.1.1";

/// The members of the list; nothing when it is one for something else.
std::optional<std::span<const unsigned char>> MembersOf(std::span<const unsigned char> content) {
  std::span<const unsigned char> usage;
  std::span<const unsigned char> algorithm;
  std::span<const unsigned char> members;
  CkxDerReader list(content);
  if (!list.Enter(V_ASN1_SEQUENCE, usage) || !KxPkcs7_IsType(KxDer_Object(usage).get(), kForCatalogs)) {
    return std::nullopt;
  }
  if (!list.Find(V_ASN1_SEQUENCE, algorithm) || !list.Enter(V_ASN1_SEQUENCE, members)) return std::nullopt;
  return members;
}

std::optional<SkxSignedDigest> MemberDigest(std::span<const unsigned char> member) {
  std::span<const unsigned char> tag;
  std::span<const unsigned char> attributes;
  CkxDerReader parts(member);
  if (!parts.Enter(V_ASN1_OCTET_STRING, tag) || !parts.Enter(V_ASN1_SET, attributes)) return std::nullopt;
  CkxDerReader each(attributes);
  for (std::span<const unsigned char> attribute; each.Enter(V_ASN1_SEQUENCE, attribute);) {
    if (!KxPkcs7_IsType(KxDer_Object(attribute).get(), kKxIndirectData)) continue;
    std::span<const unsigned char> values;
    std::span<const unsigned char> data;
    if (CkxDerReader(attribute).Find(V_ASN1_SET, values) && CkxDerReader(values).Enter(V_ASN1_SEQUENCE, data)) {
      return SkxSignedDigest::Read(data);
    }
  }
  return std::nullopt;
}

}  // namespace

bool CkxCatalogs::Add(CkxTextView path) {
  bool found = false;
  const bool isRead = KxFile_ForEach(path, [&](CkxTextView file) {
    const std::optional<std::vector<unsigned char>> bytes = KxFile_ReadAll(file, kMaxCatalogBytes);
    found = (bytes && AddBytes(*bytes)) || found;
  });
  return isRead && found;
}

bool CkxCatalogs::AddBytes(std::span<const unsigned char> bytes) {
  std::optional<CkxSignedMessage> message = CkxSignedMessage::Parse(bytes, kKxTrustList);
  const auto members = message ? MembersOf(message->Content()) : std::nullopt;
  if (!members) return false;
  CkxDerReader each(*members);
  for (std::span<const unsigned char> member; each.Enter(V_ASN1_SEQUENCE, member);) {
    if (std::optional<SkxSignedDigest> digest = MemberDigest(member)) {
      _algorithms.insert(digest->algorithm);
      _members.emplace(Member(digest->algorithm, std::move(digest->digest)), _catalogs.size());
    }
  }
  _catalogs.push_back(std::make_unique<const CkxSignedMessage>(*std::move(message)));
  return true;
}

const CkxSignedMessage* CkxCatalogs::With(EkxHashAlgorithm algorithm, const std::vector<unsigned char>& digest) const {
  const auto member = _members.find({algorithm, digest});
  return member != _members.end() ? _catalogs[member->second].get() : nullptr;
}
