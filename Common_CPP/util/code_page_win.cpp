#include <windows.h>

#include <climits>

#include "Common_CPP/util/code_page.h"

std::optional<KxWString> KxText_FromSystemCodePage(std::span<const unsigned char> bytes, unsigned codePage) {
  if (bytes.size() > INT_MAX) return std::nullopt;
  const auto* const text = reinterpret_cast<const char*>(bytes.data());
  const int size = static_cast<int>(bytes.size());
  const int units = MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text, size, nullptr, 0);
  if (units <= 0) return std::nullopt;
  KxWString wide(static_cast<size_t>(units), L'\0');
  if (MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text, size, wide.data(), units) != units) return std::nullopt;
  return wide;
}
