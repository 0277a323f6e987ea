// Archives (ZIP), as application packages are. Read by position and within limits; only what is asked for is unpacked.
//
//   entries          for each file: u32 "PK\3\4", what is said of it, its name, its bytes
//   directory        for each file: u32 "PK\1\2", what is said of it, where its entry begins, its name; found from the
//   end              u32 "PK\5\6", how long the directory is and where it begins, a comment to the end of the file.
//                    Where a number is too large for its field, or a writer prefers that, the field is all ones and
//                    the number stands in a larger field: in front of the end, or behind the name
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "Common_CPP/file/byte_source.h"

class CkxZipArchive {
 public:
  /// `file` of `size` bytes must live as long. Nothing when it is no archive, or its directory is broken or too large.
  static std::optional<CkxZipArchive> Open(const IkxByteSource& file, uint64_t size);

  /// The file with that name, whose letters may be of either case, unpacked. Nothing when there is none or more than
  /// one, and for a file that has more than `limit` bytes, is encrypted, packed in a rare way, or broken.
  std::optional<std::vector<unsigned char>> Read(std::string_view name, size_t limit) const;

 private:
  struct SkxEntry;

  explicit CkxZipArchive(const IkxByteSource& file) : _file(&file) {}
  std::optional<SkxEntry> Find(std::string_view name) const;
  std::optional<std::vector<unsigned char>> Packed(const SkxEntry& entry, size_t limit) const;

  const IkxByteSource* _file;
  std::vector<unsigned char> _directory;
  uint64_t _directoryAt = 0;
};
