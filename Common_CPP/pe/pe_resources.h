// The resources of a program file: a tree of directories of three levels - type, name, language - with the place of a
// resource's bytes at its end.
//
//   directory          16 bytes: u16 entries with names at 12, u16 entries with numbers at 14; then the entries:
//                      u32 number or place of the name, u32 place of what is below; 0x80000000 where that is a
//                      directory
//   place of the bytes u32 address as the program is loaded, u32 size, u32 code page, u32 0
//
// Places count from the first directory.
#pragma once

#include "Common_CPP/pe/pe_image.h"

struct SkxPeResourceId {
  uint32_t type;
  std::optional<uint32_t> name;  ///< of several the first one where it is not given

  static constexpr uint32_t kVersion = 16;
  static constexpr uint32_t kManifest = 24;
};

/// The bytes of a resource, in the first language that there is. Nothing when there is none, the way to it is broken,
/// or it is longer than `limit`.
std::optional<std::vector<unsigned char>> KxPe_ReadResource(const IkxByteSource& file, const CkxPeImage& image,
                                                            const SkxPeResourceId& id, uint32_t limit);
