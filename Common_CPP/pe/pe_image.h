// The headers of a Windows program file, read by position and within limits, so that a file may be as long or as broken
// as it likes.
//
//   0                  DOS header, "MZ"; u32 at 60: where the NT headers begin
//   NT headers         u32 "PE\0\0"; file header, 20 bytes: u16 machine, u16 sections, ..., u16 size of what follows
//   optional header    u16 0x10B (PE32) or 0x20B (PE32+); u32 at 64: checksum; u16 at 68: subsystem; at its end the
//   data
//                      directories: u32 count, then u32 address and u32 size of each
//   section headers    40 bytes each: name, size, address, bytes in the file, offset in the file
#pragma once

#include <vector>

#include "Common_CPP/file/byte_source.h"

/// The data directories that are of use here, by their number.
enum class EkxPeDirectory : unsigned { Resources = 2, Certificates = 4, Clr = 14 };

struct SkxPeDirectory {
  uint32_t address = 0;  ///< as the program is loaded; that of the certificates is an offset in the file
  uint32_t size = 0;
};

class CkxPeImage {
 public:
  /// Nothing when it is no program file, or its headers are broken.
  static std::optional<CkxPeImage> Read(const IkxByteSource& file);

  uint16_t Machine() const { return _machine; }
  uint16_t Subsystem() const { return _subsystem; }
  uint64_t ChecksumOffset() const { return _optionalOffset + 64; }

  /// Zeros when the file has none.
  SkxPeDirectory Directory(EkxPeDirectory directory) const;

  /// Where that directory's own entry lies; nothing when the headers end before it.
  std::optional<uint64_t> DirectoryOffset(EkxPeDirectory directory) const;

  /// Where the bytes of `address` lie in the file, and how many of its section follow there.
  struct Place {
    uint64_t offset;
    uint32_t available;
  };
  std::optional<Place> Find(uint32_t address) const;

 private:
  CkxPeImage() = default;
  bool ReadHeaders(const IkxByteSource& file);

  uint16_t _machine = 0;
  uint16_t _subsystem = 0;
  uint64_t _optionalOffset = 0;
  uint64_t _directoriesOffset = 0;
  std::vector<unsigned char> _directories;
  std::vector<unsigned char> _sections;
};
