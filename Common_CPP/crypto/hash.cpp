#include "Common_CPP/crypto/hash.h"

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kBlockBytes = 64 * 1024;

struct SkxAlgorithm {
  EkxHashAlgorithm algorithm;
  const WCHAR* name;
};

/// The names are those of the systems' libraries too.
constexpr SkxAlgorithm kAlgorithms[] = {
    {EkxHashAlgorithm::Md5, KXW("MD5")},       {EkxHashAlgorithm::Sha1, KXW("SHA1")},
    {EkxHashAlgorithm::Sha256, KXW("SHA256")}, {EkxHashAlgorithm::Sha384, KXW("SHA384")},
    {EkxHashAlgorithm::Sha512, KXW("SHA512")},
};

KxWString Hexadecimal(std::span<const unsigned char> bytes) {
  constexpr const WCHAR* kDigits = KXW("0123456789ABCDEF");
  KxWString text;
  text.reserve(bytes.size() * 2);
  for (const unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

bool UpdateFromFile(CkxHasher& hasher, const CkxFileReader& file) {
  std::vector<unsigned char> block(kBlockBytes);
  for (uint64_t offset = 0;; offset += kBlockBytes) {
    const std::optional<size_t> count = file.ReadAt(offset, block);
    if (!count || !hasher.Update(std::span(block).first(*count))) return false;
    if (*count < kBlockBytes) return true;
  }
}

}  // namespace

const WCHAR* KxHash_Name(EkxHashAlgorithm algorithm) {
  for (const SkxAlgorithm& known : kAlgorithms) {
    if (known.algorithm == algorithm) return known.name;
  }
  return KXW("");
}

std::optional<EkxHashAlgorithm> KxHash_FromName(CkxTextView name) {
  for (const SkxAlgorithm& known : kAlgorithms) {
    if (KxText_Equals(name, known.name, false)) return known.algorithm;
  }
  return std::nullopt;
}

std::optional<KxWString> KxHash_OfFile(CkxTextView path, EkxHashAlgorithm algorithm) {
  CkxFileReader file;
  CkxHasher hasher(algorithm);
  std::vector<unsigned char> digest;
  if (!file.Open(path) || !UpdateFromFile(hasher, file) || !hasher.Finish(digest)) return std::nullopt;
  return Hexadecimal(digest);
}

std::optional<std::vector<unsigned char>> KxHash_OfBytes(std::span<const unsigned char> bytes,
                                                         EkxHashAlgorithm algorithm) {
  CkxHasher hasher(algorithm);
  std::vector<unsigned char> digest;
  if (!hasher.Update(bytes) || !hasher.Finish(digest)) return std::nullopt;
  return digest;
}
