#include "Common_CPP/crypto/hash.h"

#include <algorithm>
#include <deque>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kBlockBytes = 256 * 1024;

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

KxHashTexts KxHash_OfFile(const CkxFileReader& file, uint64_t size, std::span<const EkxHashAlgorithm> algorithms,
                          bool (*mayRead)(uint64_t bytes)) {
  std::deque<CkxHasher> hashers(algorithms.begin(), algorithms.end());
  std::vector<unsigned char> buffer(static_cast<size_t>(std::min<uint64_t>(size, kBlockBytes)));
  for (uint64_t offset = 0; offset < size;) {
    const auto block = std::span(buffer).first(static_cast<size_t>(std::min<uint64_t>(size - offset, buffer.size())));
    if (!mayRead(block.size()) || file.ReadAt(offset, block) != block.size()) return {};
    for (CkxHasher& hasher : hashers) hasher.Update(block);  // one that cannot does not finish either
    offset += block.size();
  }
  KxHashTexts texts;
  std::vector<unsigned char> digest;
  for (size_t i = 0; i < algorithms.size(); ++i) {
    if (hashers[i].Finish(digest)) texts.emplace(algorithms[i], Hexadecimal(digest));
  }
  return texts;
}

std::optional<KxWString> KxHash_OfFile(CkxTextView path, EkxHashAlgorithm algorithm) {
  CkxFileReader file;
  SkxFileStatus status;
  if (!file.Open(path) || !file.Status(status)) return std::nullopt;
  KxHashTexts texts = KxHash_OfFile(file, status.size, std::span(&algorithm, 1), [](uint64_t) { return true; });
  if (texts.empty()) return std::nullopt;
  return std::move(texts.begin()->second);
}

std::optional<std::vector<unsigned char>> KxHash_OfBytes(std::span<const unsigned char> bytes,
                                                         EkxHashAlgorithm algorithm) {
  CkxHasher hasher(algorithm);
  std::vector<unsigned char> digest;
  if (!hasher.Update(bytes) || !hasher.Finish(digest)) return std::nullopt;
  return digest;
}
