// Hexadecimal text of bytes.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

/// Lower case.
std::string KxHex_FromBytes(std::span<const unsigned char> bytes);

/// Either case; nothing for an odd count of digits or for anything else.
std::optional<std::vector<unsigned char>> KxHex_ToBytes(std::string_view text);
