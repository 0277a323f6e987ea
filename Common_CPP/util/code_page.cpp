#include "Common_CPP/util/code_page.h"

#include <algorithm>

#include "Common_CPP/util/text.h"

std::optional<KxWString> KxText_FromCodePage(std::span<const unsigned char> bytes, unsigned codePage) {
  constexpr unsigned kFirst = 37;  // what is below means "of this machine", or "of this thread"
  if (std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte < 0x80; })) {
    return KxWString(bytes.begin(), bytes.end());
  }
  if (codePage == kKxCodePageUtf8) return KxText_FromUtf8({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  return codePage >= kFirst ? KxText_FromSystemCodePage(bytes, codePage) : std::nullopt;
}
