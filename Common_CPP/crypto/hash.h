// Cryptographic hashes, computed by the system's library, and streamed: a file is never held in memory.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "Common_CPP/util/text_view.h"

enum class EkxHashAlgorithm : unsigned char { Md5, Sha1, Sha256, Sha384, Sha512 };

/// "MD5", "SHA1", "SHA256", "SHA384", "SHA512"; found without regard to case.
const WCHAR* KxHash_Name(EkxHashAlgorithm algorithm);
std::optional<EkxHashAlgorithm> KxHash_FromName(CkxTextView name);

/// One running computation. `Update` any number of times, then `Finish` once; both are false when the system fails.
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

/// Upper-case hexadecimal text of the hash of the file at `path`; nothing when it cannot be read.
std::optional<KxWString> KxHash_OfFile(CkxTextView path, EkxHashAlgorithm algorithm);
std::optional<std::vector<unsigned char>> KxHash_OfBytes(std::span<const unsigned char> bytes,
                                                         EkxHashAlgorithm algorithm);
