// Shortcuts (.lnk): which program is started with which arguments.
//
//   0            header, 76 bytes: u32 76; class {00021401-0000-0000-C000-000000000046}; u32 flags: what follows
//   item list    u16 bytes; the way through the shell's folders: u16 bytes of an item with these two, u8 kind; at its
//                end a 0. The first is the computer, the second a drive, the others folders and a file
//   link info    u32 bytes; where the file was found: on a drive of the computer or of another one
//   texts        u16 units, units, each of: description, relative path, folder to start in, arguments, icon. In UTF-16,
//                or in the code page of whoever wrote it. Of all but the arguments no more than 260 units are there,
//                whatever their number says
//   blocks       u32 bytes with these four, u32 kind; less than four bytes end them. 0xA0000001: the path as it was
//                typed, with names of variables
//
// Whoever writes a shortcut can have each of these places say something else. The one that counts is the one that the
// shell follows.
#pragma once

#include <optional>
#include <span>

#include "Common_CPP/util/base.h"

struct SkxShortcut {
  /// The path, with names of variables as they stand: "%windir%\\notepad.exe". Empty where it leads to no file.
  KxWString target;
  KxWString arguments;
  KxWString startFolder;
  KxWString relativePath;  ///< from the shortcut's folder, for when the target is not where it was
};

/// Longer ones are none.
inline constexpr size_t kKxMaxShortcutBytes = 1024 * 1024;

/// Nothing when it is no shortcut, or its parts do not fit in it.
std::optional<SkxShortcut> KxShortcut_Read(std::span<const unsigned char> bytes);
