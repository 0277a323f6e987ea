#include "Common_CPP/crypto/hash.h"

std::optional<std::vector<unsigned char>> KxHash_OfBytes(std::span<const unsigned char> bytes,
                                                         EkxHashAlgorithm algorithm) {
  CkxHasher hasher(algorithm);
  std::vector<unsigned char> digest;
  if (!hasher.Update(bytes) || !hasher.Finish(digest)) return std::nullopt;
  return digest;
}
