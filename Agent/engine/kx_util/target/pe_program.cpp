#include "Agent/engine/kx_util/target/pe_program.h"

#include <algorithm>
#include <array>

#include "Common_CPP/pe/pe_image.h"
#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text.h"

namespace {

/// All of `bytes` at an address of the loaded program, within its section.
bool ReadAtAddress(const IkxByteSource& file, const CkxPeImage& image, uint32_t address,
                   std::span<unsigned char> bytes) {
  const std::optional<CkxPeImage::Place> place = image.Find(address);
  return place && bytes.size() <= place->available && file.ReadExactly(place->offset, bytes);
}

/// "v4.0.30319"; empty when the way to it is broken.
KxWString RuntimeVersion(const IkxByteSource& file, const CkxPeImage& image, uint32_t clrAddress) {
  constexpr uint32_t kMetadataMark = 0x424A5342;  // "BSJB"
  constexpr uint32_t kMaxVersionBytes = 256;
  std::array<unsigned char, 16> clr, metadata;
  if (!ReadAtAddress(file, image, clrAddress, clr)) return {};
  const uint32_t address = KxBytes_U32(clr, 8);
  if (!ReadAtAddress(file, image, address, metadata) || KxBytes_U32(metadata, 0) != kMetadataMark) return {};
  const uint32_t size = KxBytes_U32(metadata, 12);
  std::vector<unsigned char> version(std::min(size, kMaxVersionBytes));
  if (!ReadAtAddress(file, image, address + static_cast<uint32_t>(metadata.size()), version)) return {};
  const auto end = std::find(version.begin(), version.end(), 0);
  return KxText_FromUtf8(std::string(version.begin(), end)).value_or(KxWString());
}

}  // namespace

std::optional<SkxProgramFacts> KxPe_ReadProgram(const IkxByteSource& file) {
  const std::optional<CkxPeImage> image = CkxPeImage::Read(file);
  if (!image) return std::nullopt;
  SkxProgramFacts program;
  program.machine = image->Machine();
  program.subsystem = image->Subsystem();
  if (const uint32_t clr = image->Directory(EkxPeDirectory::Clr).address; clr != 0) {
    program.isManaged = true;
    program.runtimeVersion = RuntimeVersion(file, *image, clr);
  }
  return program;
}
