// Text in the code pages of Windows, as files of older formats have it.
#pragma once

#include <optional>
#include <span>

#include "Common_CPP/util/base.h"

/// The one of western Europe, and UTF-8.
inline constexpr unsigned kKxCodePageLatin = 1252;
inline constexpr unsigned kKxCodePageUtf8 = 65001;

/// Nothing when the bytes are no text in that code page, or this system does not know it. ASCII is taken as it is,
/// whatever the code page; numbers that stand for this machine's own code pages are unknown.
std::optional<KxWString> KxText_FromCodePage(std::span<const unsigned char> bytes, unsigned codePage);

/// The system's part of that, for bytes that are neither ASCII nor UTF-8.
std::optional<KxWString> KxText_FromSystemCodePage(std::span<const unsigned char> bytes, unsigned codePage);
