// Replacing a file as a whole: written beside its place, then renamed into it.
#pragma once

#include <sys/types.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>

struct SkxReplaceProgress;

/// What a power failure must not take, and what is gone at the next start anyhow and need not wait for the disk.
enum class EkxReplaced { ForGood, UntilRestart };

/// `path` is relative to the open folder `folder` (or AT_FDCWD). `mode` is the file's exact mode; without it the file
/// keeps the mode of the one that it replaces, and a new one has what the umask leaves of 0666. False with `errno` set;
/// the old file is then as it was and nothing is left beside it. There is one exception: where the folder fails to be
/// flushed at the very end, the new file has the name.
/// `progress`, where it is given, says how far it came.
bool KxPosixFile_Replace(int folder, const std::string& path, std::span<const unsigned char> bytes,
                         std::optional<mode_t> mode, EkxReplaced lasting, SkxReplaceProgress* progress = nullptr);

/// The same for a new file, whose name is on the disk once its folder is flushed. What is made of it before a failure
/// stays.
bool KxPosixFile_WriteNew(const std::string& path, std::span<const unsigned char> bytes);

/// Hands the content of a file, or the names in a folder, to the disk. A file system that keeps nothing back has
/// nothing to flush. Needs no memory.
bool KxPosixFile_Flush(int descriptor);

/// Whether `name`, without its folder, is that of a file on its way into its place. One that is there although nobody
/// replaces anything was left behind by a process that was killed.
bool KxPosixFile_IsTemporary(std::string_view name);
