#include "Common_CPP/pe/pe_image.h"

#include <algorithm>
#include <array>

#include "Common_CPP/util/byte_cursor.h"

namespace {

constexpr size_t kMaxSections = 96;  // what the system loads
constexpr size_t kMaxDirectories = 16;
constexpr size_t kDirectoryBytes = 8;
constexpr size_t kSectionHeaderBytes = 40;

}  // namespace

std::optional<CkxPeImage> CkxPeImage::Read(const IkxByteSource& file) {
  CkxPeImage image;
  if (!image.ReadHeaders(file)) return std::nullopt;
  return image;
}

bool CkxPeImage::ReadHeaders(const IkxByteSource& file) {
  std::array<unsigned char, 64> dos;
  if (!file.ReadExactly(0, dos) || KxBytes_U16(dos, 0) != 0x5A4D) return false;
  const uint64_t ntOffset = KxBytes_U32(dos, 60);

  std::array<unsigned char, 26> nt;  // signature, file header, magic number of the optional header
  if (!file.ReadExactly(ntOffset, nt) || KxBytes_U32(nt, 0) != 0x4550) return false;
  _machine = KxBytes_U16(nt, 4);
  const size_t sections = std::min<size_t>(KxBytes_U16(nt, 6), kMaxSections);
  const size_t optionalBytes = KxBytes_U16(nt, 20);
  const uint16_t magic = KxBytes_U16(nt, 24);
  if (magic != 0x10B && magic != 0x20B) return false;
  _optionalOffset = ntOffset + 24;

  const size_t ownBytes = magic == 0x10B ? 96 : 112;  // of the optional header, before its directories
  std::array<unsigned char, 112> own;
  if (optionalBytes < ownBytes || !file.ReadExactly(_optionalOffset, std::span(own).first(ownBytes))) return false;
  _subsystem = KxBytes_U16(own, 68);
  const size_t fitting = std::min(kMaxDirectories, (optionalBytes - ownBytes) / kDirectoryBytes);
  _directories.resize(std::min<size_t>(KxBytes_U32(own, ownBytes - 4), fitting) * kDirectoryBytes);
  _directoriesOffset = _optionalOffset + ownBytes;
  _sections.resize(sections * kSectionHeaderBytes);
  return file.ReadExactly(_directoriesOffset, _directories) &&
         file.ReadExactly(_optionalOffset + optionalBytes, _sections);
}

SkxPeDirectory CkxPeImage::Directory(EkxPeDirectory directory) const {
  const size_t at = static_cast<size_t>(directory) * kDirectoryBytes;
  if (at >= _directories.size()) return {};
  return {KxBytes_U32(_directories, at), KxBytes_U32(_directories, at + 4)};
}

std::optional<uint64_t> CkxPeImage::DirectoryOffset(EkxPeDirectory directory) const {
  const size_t at = static_cast<size_t>(directory) * kDirectoryBytes;
  if (at >= _directories.size()) return std::nullopt;
  return _directoriesOffset + at;
}

std::optional<CkxPeImage::Place> CkxPeImage::Find(uint32_t address) const {
  for (size_t at = 0; at < _sections.size(); at += kSectionHeaderBytes) {
    const uint32_t sectionAddress = KxBytes_U32(_sections, at + 12);
    const uint32_t bytesInFile = KxBytes_U32(_sections, at + 16);
    const uint32_t offsetInFile = KxBytes_U32(_sections, at + 20);
    if (address < sectionAddress || address - sectionAddress >= bytesInFile) continue;
    const uint32_t skipped = address - sectionAddress;
    return Place{uint64_t{offsetInFile} + skipped, bytesInFile - skipped};
  }
  return std::nullopt;
}
