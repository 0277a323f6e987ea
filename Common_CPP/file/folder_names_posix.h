// What a folder has.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// The names in an open folder, but for "." and "..", all read before anybody acts on one of them. Nothing, with
/// `errno` set, when it cannot be listed.
std::optional<std::vector<std::string>> KxPosixFolder_Names(int folder);
