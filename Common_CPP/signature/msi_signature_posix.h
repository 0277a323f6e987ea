// The signature that installer packages, patches and transforms carry, in two streams of their own:
//
//   "\5DigitalSignature"        a PKCS #7 message over the digest of what is in the package
//   "\5MsiDigitalSignatureEx"   only where its names, times and sizes are signed too: their digest
//
// The digest of a package: first that of the directory, where the second stream is there. Then each storage, from the
// root on, as the bytes of what it holds, in the order of their names, byte by byte as they lie in the file, and its
// class id last. The digest of the directory is over what it says, in the same order, of each storage before what that
// holds: its name (not of the root), its class id, or the size of a stream, its state, and its times (not of the root).
//
// The directory's digest is computed and never read: what the second stream says nobody has to believe.
#pragma once

#include "Common_CPP/crypto/hash.h"
#include "Common_CPP/ole/compound_file.h"

class CkxMsiSignature {
 public:
  /// Asked before bytes are read, with their number; may end it.
  using MayRead = bool (*)(uint64_t bytes);

  /// Of a file of `size` bytes, which must live as long; nothing when it is of another kind.
  static std::optional<CkxMsiSignature> Read(const IkxByteSource& file, uint64_t size);

  bool IsSigned() const { return _messageStream.has_value(); }

  /// Empty when there is none to be read.
  const std::vector<unsigned char>& Message() const { return _message; }

  /// What a signature would have signed; nothing when it cannot be told.
  std::optional<std::vector<unsigned char>> Digest(EkxHashAlgorithm algorithm, MayRead mayRead) const;

 private:
  /// A stream, or a storage: once when it begins, and once when all that it holds is done.
  struct SkxStep {
    SkxCompoundEntry entry;
    bool isEnd = false;
  };

  explicit CkxMsiSignature(CkxCompoundFile package) : _package(std::move(package)) {}
  bool AddStorage(const SkxCompoundEntry& storage, size_t depth, uint64_t& left);
  bool IsSignature(const SkxCompoundEntry& entry) const;
  std::optional<std::vector<unsigned char>> DirectoryDigest(EkxHashAlgorithm algorithm) const;

  CkxCompoundFile _package;
  std::optional<SkxCompoundEntry> _messageStream;
  std::optional<SkxCompoundEntry> _directoryStream;  // that it is there is all that counts
  std::vector<unsigned char> _message;
  std::vector<SkxStep> _steps;  // in the order of the digest; of the root first
  bool _isWhole = false;        // the steps are all there are
};
