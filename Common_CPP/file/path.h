// Taking paths apart, by text alone: the same on every platform, for Windows paths ("C:\dir\name",
// "\\server\share\dir") and for the slashes of others. Nothing here touches a disk. Backslash and slash both separate.
#pragma once

#include <optional>

#include "Common_CPP/util/text_view.h"

constexpr bool KxPath_IsSeparator(WCHAR unit) { return unit == KXW('\\') || unit == KXW('/'); }

/// The part after the last separator.
CkxTextView KxPath_FileName(CkxTextView path);

/// ".exe" of "C:\a.b\x.exe": from the last dot of the file name; empty when there is none.
CkxTextView KxPath_Extension(CkxTextView path);

/// The path up to and including its last separator; no value when it has none.
CkxTextView KxPath_Folder(CkxTextView path);

/// The drive letter of "C:..." in upper case, 0 when the path has none.
WCHAR KxPath_DriveLetter(CkxTextView path);

/// "\\server\share" and the rest of "\\server\share\dir\name". Two backslashes, a server name that does not begin with
/// a separator, a backslash, a share name that does not begin with a separator.
struct SkxUncPath {
  CkxTextView prefix;
  CkxTextView rest;
};
bool KxPath_SplitUnc(CkxTextView path, SkxUncPath& parts);
inline bool KxPath_IsUnc(CkxTextView path) {
  SkxUncPath parts;
  return KxPath_SplitUnc(path, parts);
}

/// The plain spelling of a path that is spelled in a roundabout way; nothing, and no allocation, for any other.
///   "." and ".."   are resolved by text alone. They never leave a drive or a share; a relative path keeps each ".."
///                  that leads above where it begins.
///   \\?\ and \\.\  before a drive letter mean nothing; `\\?\UNC\server\share` is `\\server\share`.
std::optional<KxWString> KxPath_Normalized(CkxTextView path);

/// Whether the folder `folder` (of a file) is `container`, or with `withSubfolders` lies below it. Case is folded,
/// kinds of separators, runs of them and a separator at the end of either do not matter.
///
/// Whole components count: "C:\Tools2" is not inside "C:\Tools". "." and ".." are resolved first, so that
/// "C:\Safe\..\Evil" is inside "C:\" and not inside "C:\Safe"; they never leave a drive or a share, and a relative path
/// that climbs above where it begins is inside nothing. "C:" is the drive's root, "C:dir" a path relative to the
/// drive's current folder, which is not known here and so differs from "C:\dir". An empty folder or container: false.
bool KxPath_IsFolderInside(CkxTextView folder, CkxTextView container, bool withSubfolders);
