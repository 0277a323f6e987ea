// What a shortcut (.lnk) starts: policies are about that, and not about the shortcut.
#pragma once

#include <kx_util/target_info.h>

/// What a shortcut starts.
struct SkxShortcutTarget {
  KxWString path;  ///< of a file that is there
  KxWString arguments;
  KxWString startFolder;  ///< full, or empty
};

/// Of the shortcut at `path` (full), which is read for the user of `userToken`, null being the caller's own. Variables
/// in its paths are replaced where the machine itself says what they are (%windir%, %SystemRoot% and %SystemDrive%); a
/// target that is not where the shortcut says is sought from the shortcut's own folder. False, and `target` as it was,
/// where it leads to no file, and for what is no shortcut by its name and its content.
KX_UTIL_API bool KxShortcut_Resolve(const WCHAR* path, void* userToken, SkxShortcutTarget& target) noexcept;

/// The description of what it starts, a process that is not there yet: a program with its command line and the file
/// that this names, or a script with its own. Anything else, another shortcut too, is described as the file that it is.
/// Null where `KxShortcut_Resolve` is false, or memory is short.
KX_UTIL_API CkxTargetInfoPtr KxShortcut_Describe(const WCHAR* path, void* userToken) noexcept;
