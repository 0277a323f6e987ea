// Cryptographic hashes, computed by the system's library.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

enum class EkxHashAlgorithm : unsigned char { Md5, Sha1, Sha256, Sha384, Sha512 };

/// One running computation. `Update` any number of times, then `Finish` once; both are false when the system has no
/// such algorithm. Out of memory is an exception, and never "no such algorithm".
class CkxHasher {
 public:
  explicit CkxHasher(EkxHashAlgorithm algorithm);
  ~CkxHasher();
  CkxHasher(const CkxHasher&) = delete;
  CkxHasher& operator=(const CkxHasher&) = delete;

  bool Update(std::span<const unsigned char> bytes);
  bool Finish(std::vector<unsigned char>& digest);

 private:
  struct State;
  std::unique_ptr<State> _state;
};

std::optional<std::vector<unsigned char>> KxHash_OfBytes(std::span<const unsigned char> bytes,
                                                         EkxHashAlgorithm algorithm);
