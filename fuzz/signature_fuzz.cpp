// Signed programs from arbitrary bytes: whatever they say, nothing outside of them is read, what a signature covers are
// bytes of theirs, and nobody is believed to have signed.
#include <algorithm>
#include <cstdlib>

#include "Common_CPP/file/file.h"
#include "Common_CPP/signature/signature.h"
#include "tests/support/memory_source.h"

namespace {

void RequireRangesInside(const SkxCoveredBytes& covered, size_t size) {
  uint64_t end = 0;
  for (const SkxCoveredBytes::Range& range : covered.leftOut) {
    if (range.begin < end || range.end <= range.begin) std::abort();
    end = range.end;
  }
  if (end > size + 4 || covered.zerosBehind >= 8) std::abort();  // the checksum of headers that end in it
}

void RequireNobodyToBeBelieved(const SkxSigner& signer) {
  if (signer.status == EkxPublisherStatus::Valid || signer.status == EkxPublisherStatus::ValidByWeakDigest)
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const CkxMemorySource source(data, size);
  const std::optional<SkxPeSignature> program = KxPeSignature_Read(source, size);
  if (!program) return 0;
  RequireRangesInside(program->covered, size);

  static const CkxTrustStore systems;
  const CkxTrustScope trust(systems);
  const CkxFileReader none;
  const auto digestOf = [&](EkxHashAlgorithm algorithm) -> std::optional<std::vector<unsigned char>> {
    const SkxFileDigest digest = {algorithm, true};
    KxFileDigests digests =
        KxFileDigest_Read(source, size, program->covered, std::span(&digest, 1), [](uint64_t) { return true; });
    if (digests.empty()) return std::nullopt;
    return std::move(digests.begin()->second);
  };
  const SkxSigners signers =
      KxSignature_Look({none, CkxTextView(), &*program, digestOf, [](uint64_t) { return true; }});
  RequireNobodyToBeBelieved(signers.first);
  RequireNobodyToBeBelieved(signers.second);
  return 0;
}
