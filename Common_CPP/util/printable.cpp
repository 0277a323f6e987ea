#include "Common_CPP/util/printable.h"

#include <algorithm>
#include <cstdio>

#include "Common_CPP/util/text.h"

namespace {

struct SkxRange {
  uint32_t first;
  uint32_t last;
};

/// Controls, and what Unicode calls format characters: they do not show, or steer how others show. The joiners U+200C
/// and U+200D are not among them, since words of several languages are written with them.
constexpr SkxRange kHidden[] = {
    {0x0000, 0x001F},    // C0
    {0x007F, 0x009F},    // delete, and C1
    {0x00AD, 0x00AD},    // soft hyphen
    {0x061C, 0x061C},    // Arabic letter mark
    {0x180E, 0x180E},    // Mongolian vowel separator
    {0x200B, 0x200B},    // zero-width space
    {0x200E, 0x200F},    // left-to-right and right-to-left mark
    {0x2028, 0x202E},    // line and paragraph separator, embeddings and overrides
    {0x2060, 0x206F},    // invisible operators, isolates
    {0xD800, 0xDFFF},    // halves of surrogate pairs
    {0xFEFF, 0xFEFF},    // zero-width no-break space
    {0xFFF9, 0xFFFB},    // annotations
    {0xE0000, 0xE007F},  // tags
};

bool IsHidden(uint32_t point) {
  const auto isIn = [point](const SkxRange& range) { return range.first <= point && point <= range.last; };
  return point > 0x7E ? std::any_of(std::begin(kHidden), std::end(kHidden), isIn) : point < 0x20;
}

/// The code point at `at`, which moves past it; half of a surrogate pair stands for itself.
uint32_t NextShownPoint(CkxTextView text, size_t& at) {
  const uint32_t unit = text[at++];
  const bool isPair = unit >= 0xD800 && unit < 0xDC00 && at < text.Size() && text[at] >= 0xDC00 && text[at] < 0xE000;
  return isPair ? 0x10000 + ((unit - 0xD800) << 10) + (text[at++] - 0xDC00u) : unit;
}

std::string Hexadecimal(const char* format, uint32_t number) {
  char text[16];
  const int size = std::snprintf(text, sizeof(text), format, static_cast<unsigned>(number));
  return std::string(text, static_cast<size_t>(size));
}

}  // namespace

std::string KxText_Printable(CkxTextView text) {
  std::string printable;
  size_t begin = 0;  // of what is printed as it is
  for (size_t at = 0; at < text.Size();) {
    const size_t here = at;
    const uint32_t point = NextShownPoint(text, at);
    if (!IsHidden(point)) continue;
    printable += KxText_ToUtf8(text.Part(begin, here - begin)) + Hexadecimal("<U+%04X>", point);
    begin = at;
  }
  return printable + KxText_ToUtf8(text.Part(begin));
}

std::string KxText_Printable(std::string_view utf8) {
  if (const std::optional<KxWString> text = KxText_FromUtf8(utf8)) return KxText_Printable(*text);
  std::string printable;
  for (const char unit : utf8) {
    const auto byte = static_cast<unsigned char>(unit);
    printable += byte >= 0x80     ? Hexadecimal("<%02X>", byte)
                 : IsHidden(byte) ? Hexadecimal("<U+%04X>", byte)
                                  : std::string(1, unit);
  }
  return printable;
}

std::string KxText_PrintableQuoted(std::string_view utf8) {
  std::string quoted = "\"";
  for (const char unit : KxText_Printable(utf8)) {
    if (unit == '"' || unit == '\\') quoted += '\\';
    quoted += unit;
  }
  return quoted + '"';
}

bool KxText_IsPrintable(CkxTextView text) {
  for (size_t at = 0; at < text.Size();) {
    if (IsHidden(NextShownPoint(text, at))) return false;
  }
  return true;
}
