// Makes archives, for tests: of files that are stored as they are, or were packed before.
#pragma once

#include <string_view>

#include "tests/support/record_bytes.h"

class CkxTestZip {
 public:
  /// With `isLarge` numbers stand in the larger fields.
  explicit CkxTestZip(bool isLarge = false) : _isLarge(isLarge) {}

  struct SkxOptions {
    unsigned method = 0;
    unsigned flags = 0;
    std::string_view nameInFile;  ///< another than in the directory
  };

  /// `packed`: the bytes as they lie in the archive; of a stored file the same as `content`.
  CkxTestZip& File(std::string_view name, const KxBytes& content, const KxBytes& packed, const SkxOptions& options) {
    const size_t at = _files.Size();
    const std::string_view nameInFile = options.nameInFile.empty() ? name : options.nameInFile;
    _files.U32(0x04034B50).U16(45).U16(options.flags).U16(options.method).U32(0).U32(Checksum(content));
    _files.U32(static_cast<uint32_t>(packed.size())).U32(static_cast<uint32_t>(content.size()));
    _files.U16(static_cast<unsigned>(nameInFile.size())).U16(0).Append(Bytes(nameInFile)).Append(packed);
    _directory.U32(0x02014B50).U16(45).U16(45).U16(options.flags).U16(options.method).U32(0).U32(Checksum(content));
    _directory.U32(Small(packed.size())).U32(Small(content.size())).U16(static_cast<unsigned>(name.size()));
    _directory.U16(_isLarge ? 28 : 0).U16(0).U16(0).U16(0).U32(0).U32(Small(at)).Append(Bytes(name));
    if (_isLarge) _directory.U16(1).U16(24).U64(content.size()).U64(packed.size()).U64(at);
    ++_count;
    return *this;
  }
  CkxTestZip& File(std::string_view name, const KxBytes& content) { return File(name, content, content, {}); }

  KxBytes Archive(std::string_view comment = {}) const {
    CkxRecordBytes archive = _files;
    const size_t at = archive.Size();
    archive.Append(_directory);
    const size_t end = archive.Size();
    if (_isLarge) {
      archive.U32(0x06064B50).U64(44).U16(45).U16(45).U32(0).U32(0).U64(_count).U64(_count);
      archive.U64(_directory.Size()).U64(at).U32(0x07064B50).U32(0).U64(end).U32(1);
    }
    archive.U32(0x06054B50).U16(0).U16(0).U16(_count).U16(_count).U32(Small(_directory.Size())).U32(Small(at));
    return archive.U16(static_cast<unsigned>(comment.size())).Append(Bytes(comment)).Bytes();
  }

  static KxBytes Bytes(std::string_view text) { return KxBytes(text.begin(), text.end()); }

 private:
  uint32_t Small(uint64_t number) const { return _isLarge ? 0xFFFFFFFF : static_cast<uint32_t>(number); }

  static uint32_t Checksum(const KxBytes& bytes) {
    uint32_t rest = 0xFFFFFFFF;
    for (const unsigned char byte : bytes) {
      rest ^= byte;
      for (int bit = 0; bit < 8; ++bit) rest = (rest >> 1) ^ ((rest & 1) != 0 ? 0xEDB88320 : 0);
    }
    return ~rest;
  }

  const bool _isLarge;
  CkxRecordBytes _files;
  CkxRecordBytes _directory;
  unsigned _count = 0;
};
