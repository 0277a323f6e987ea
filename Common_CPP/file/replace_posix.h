// Replacing a file as a whole: written beside its place, then renamed into it.
#pragma once

#include <sys/types.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>

struct SkxReplaceProgress;

/// `path` is relative to the open folder `folder` (or AT_FDCWD). `mode` is the file's exact mode; without it the file
/// keeps the mode of the one that it replaces, and a new one has what the umask leaves of 0666. False with `errno` set;
/// the old file is then as it was and nothing is left beside it.
/// `progress`, where it is given, says how far it came.
bool KxPosixFile_Replace(int folder, const std::string& path, std::span<const unsigned char> bytes,
                         std::optional<mode_t> mode, SkxReplaceProgress* progress = nullptr);

/// Whether `name`, without its folder, is that of a file on its way into its place. One that is there although nobody
/// replaces anything was left behind by a process that was killed.
bool KxPosixFile_IsTemporary(std::string_view name);
