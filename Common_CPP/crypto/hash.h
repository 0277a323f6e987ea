// Cryptographic hashes, computed by the system's library, and streamed: a file is never held in memory.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "Common_CPP/util/text_view.h"

class CkxFileReader;

enum class EkxHashAlgorithm : unsigned char { Md5, Sha1, Sha256, Sha384, Sha512 };

/// "MD5", "SHA1", "SHA256", "SHA384", "SHA512"; found without regard to case.
const WCHAR* KxHash_Name(EkxHashAlgorithm algorithm);
std::optional<EkxHashAlgorithm> KxHash_FromName(CkxTextView name);

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

/// Upper-case hexadecimal texts.
using KxHashTexts = std::map<EkxHashAlgorithm, KxWString>;

/// The hashes of the first `size` bytes of a file, which is read once: what is added to it meanwhile does not count,
/// and keeps nobody. `mayRead` is asked before each block, with its bytes, and may end it. None when it did, when the
/// file cannot be read, and when it is shorter by now; an algorithm that the system lacks is left out.
KxHashTexts KxHash_OfFile(const CkxFileReader& file, uint64_t size, std::span<const EkxHashAlgorithm> algorithms,
                          bool (*mayRead)(uint64_t bytes));

/// Of the file at `path`, as long as it is when it is opened; nothing when it cannot be read.
std::optional<KxWString> KxHash_OfFile(CkxTextView path, EkxHashAlgorithm algorithm);
std::optional<std::vector<unsigned char>> KxHash_OfBytes(std::span<const unsigned char> bytes,
                                                         EkxHashAlgorithm algorithm);
