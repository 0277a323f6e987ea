// A folder whose files keep extended attributes of any size, of the system's own; there may be none.
#pragma once

#include <filesystem>
#include <optional>

/// Its parent: a memory file system where the disk's holds less.
std::optional<std::filesystem::path> KxTest_EaFolder();
