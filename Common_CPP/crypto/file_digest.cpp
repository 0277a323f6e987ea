#include "Common_CPP/crypto/file_digest.h"

#include <algorithm>
#include <array>
#include <deque>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kBlockBytes = 256 * 1024;

/// One digest on its way through a file.
class CkxDigestRun {
 public:
  CkxDigestRun(const SkxFileDigest& digest, const SkxCoveredBytes& covered)
      : _hasher(digest.algorithm), _covered(digest.isAuthenticode ? &covered : nullptr) {}

  /// A hasher that cannot does not finish either.
  void Update(uint64_t offset, std::span<const unsigned char> block) {
    if (_covered == nullptr) {
      _hasher.Update(block);
      return;
    }
    const uint64_t end = offset + block.size();
    uint64_t at = offset;
    for (const SkxCoveredBytes::Range& hole : _covered->leftOut) {
      if (hole.end <= at || hole.begin >= end) continue;
      if (hole.begin > at) _hasher.Update(Piece(block, at - offset, hole.begin - offset));
      at = std::min(hole.end, end);
    }
    if (at < end) _hasher.Update(Piece(block, at - offset, end - offset));
  }

  bool Finish(std::vector<unsigned char>& digest) {
    constexpr std::array<unsigned char, 8> kZeros{};
    if (_covered != nullptr) _hasher.Update(std::span(kZeros).first(_covered->zerosBehind));
    return _hasher.Finish(digest);
  }

 private:
  static std::span<const unsigned char> Piece(std::span<const unsigned char> block, uint64_t begin, uint64_t end) {
    return block.subspan(static_cast<size_t>(begin), static_cast<size_t>(end - begin));
  }

  CkxHasher _hasher;
  const SkxCoveredBytes* const _covered;
};

}  // namespace

const SkxFileDigestName* KxFileDigest_Named(CkxTextView name) {
  for (const SkxFileDigestName& known : kKxFileDigestNames) {
    if (KxText_Equals(name, known.name, false)) return &known;
  }
  return nullptr;
}

KxFileDigests KxFileDigest_Read(const IkxByteSource& file, uint64_t size, const SkxCoveredBytes& covered,
                                std::span<const SkxFileDigest> digests, bool (*mayRead)(uint64_t bytes)) {
  std::deque<CkxDigestRun> runs;
  for (const SkxFileDigest& digest : digests) runs.emplace_back(digest, covered);
  std::vector<unsigned char> buffer(static_cast<size_t>(std::min<uint64_t>(size, kBlockBytes)));
  for (uint64_t offset = 0; offset < size;) {
    const auto block = std::span(buffer).first(static_cast<size_t>(std::min<uint64_t>(size - offset, buffer.size())));
    if (!mayRead(block.size()) || !file.ReadExactly(offset, block)) return {};
    for (CkxDigestRun& run : runs) run.Update(offset, block);
    offset += block.size();
  }
  KxFileDigests read;
  std::vector<unsigned char> digest;
  for (size_t i = 0; i < digests.size(); ++i) {
    if (runs[i].Finish(digest)) read.emplace(digests[i], std::move(digest));
  }
  return read;
}

std::optional<KxWString> KxFileDigest_OfPath(CkxTextView path, EkxHashAlgorithm algorithm) {
  CkxFileReader file;
  SkxFileStatus status;
  const SkxFileDigest whole = {algorithm};
  if (!file.Open(path) || !file.Status(status)) return std::nullopt;
  const KxFileDigests digests =
      KxFileDigest_Read(file, status.size, {}, std::span(&whole, 1), [](uint64_t) { return true; });
  if (digests.empty()) return std::nullopt;
  return KxHash_Hexadecimal(digests.begin()->second);
}

KxWString KxHash_Hexadecimal(std::span<const unsigned char> digest) {
  constexpr const WCHAR* kDigits = KXW("0123456789ABCDEF");
  KxWString text;
  text.reserve(digest.size() * 2);
  for (const unsigned char byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}
