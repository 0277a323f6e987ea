// Digests of files, as policies and documents name them: of all bytes, or of those that a signature in the file covers.
// A file is read once for all that is asked of it, block by block, and never held in memory.
#pragma once

#include <map>

#include "Common_CPP/crypto/hash.h"
#include "Common_CPP/util/text_view.h"

class IkxByteSource;

struct SkxFileDigest {
  EkxHashAlgorithm algorithm = EkxHashAlgorithm::Sha256;
  bool isAuthenticode = false;  ///< of what a signature in the file would sign
  auto operator<=>(const SkxFileDigest&) const = default;
};

/// "SHA256", "AUTHENTICODE-SHA256" and so on, found without regard to case; empty for a digest that has no name.
struct SkxFileDigestName {
  const WCHAR* name;
  SkxFileDigest digest;
  size_t bytes;
};
inline constexpr SkxFileDigestName kKxFileDigestNames[] = {
    {KXW("MD5"), {EkxHashAlgorithm::Md5}, 16},
    {KXW("SHA1"), {EkxHashAlgorithm::Sha1}, 20},
    {KXW("SHA256"), {EkxHashAlgorithm::Sha256}, 32},
    {KXW("SHA384"), {EkxHashAlgorithm::Sha384}, 48},
    {KXW("SHA512"), {EkxHashAlgorithm::Sha512}, 64},
    {KXW("AUTHENTICODE-SHA1"), {EkxHashAlgorithm::Sha1, true}, 20},
    {KXW("AUTHENTICODE-SHA256"), {EkxHashAlgorithm::Sha256, true}, 32},
};
const SkxFileDigestName* KxFileDigest_Named(CkxTextView name);  ///< null for a name that is none

/// What a signature in a file covers of it.
struct SkxCoveredBytes {
  struct Range {
    uint64_t begin;
    uint64_t end;
  };
  std::vector<Range> leftOut;  ///< in order, apart from each other
  size_t zerosBehind = 0;      ///< that are hashed behind the last byte
};

using KxFileDigests = std::map<SkxFileDigest, std::vector<unsigned char>>;

/// The digests of the first `size` bytes: what is added to the file meanwhile does not count, and keeps nobody.
/// `covered` is for those of what a signature covers. `mayRead` is asked before each block, with its bytes, and may end
/// it. None when it did, when the file cannot be read, and when it is shorter by now; an algorithm that the system
/// lacks is left out.
KxFileDigests KxFileDigest_Read(const IkxByteSource& file, uint64_t size, const SkxCoveredBytes& covered,
                                std::span<const SkxFileDigest> digests, bool (*mayRead)(uint64_t bytes));

/// Of all bytes of the file at `path`, as long as it is when it is opened, in upper-case hexadecimal; nothing when it
/// cannot be read.
std::optional<KxWString> KxFileDigest_OfPath(CkxTextView path, EkxHashAlgorithm algorithm);

KxWString KxHash_Hexadecimal(std::span<const unsigned char> digest);  ///< upper-case
