// The version resource of a program file: its fixed block of version numbers and its named texts.
//
//   a tree of nodes            u16 bytes of the node with its children, u16 of its value, u16 1 when that is text,
//                              key, NUL, to a multiple of 4, value, to a multiple of 4, children
//     "VS_VERSION_INFO"        fixed block, 52 bytes, u32 0xFEEF04BD first
//       "StringFileInfo"       tables "040904B0" (language, code page) of texts
//       "VarFileInfo"          "Translation": the table that counts, where there are several
//
// Only these pieces are read, each within a limit, and nothing is mapped: a file may be as long or as broken as it
// likes.
#pragma once

#include <kx_util/version.h>

#include <map>
#include <optional>

class IkxByteSource;

struct SkxPeVersionInfo {
  SkxVersion fileVersion;  ///< empty when there is no fixed block
  SkxVersion productVersion;
  std::map<KxWString, KxWString> fields;  ///< by name, folded

  /// Without regard to case; null when there is none.
  const KxWString* Field(CkxTextView name) const;
};

/// Nothing when it is no program file, has no version resource, or the way to it is broken. A resource whose tree is
/// broken further in gives what came before.
std::optional<SkxPeVersionInfo> KxPe_ReadVersionInfo(const IkxByteSource& file);
