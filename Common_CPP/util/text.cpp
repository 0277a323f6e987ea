#include "Common_CPP/util/text.h"

#include <cstring>

#include "Common_CPP/util/text_search.h"

namespace {

bool IsSurrogate(uint32_t point) { return point >= 0xD800 && point <= 0xDFFF; }
bool IsHighSurrogate(uint32_t point) { return point >= 0xD800 && point <= 0xDBFF; }
bool IsLowSurrogate(uint32_t point) { return point >= 0xDC00 && point <= 0xDFFF; }

/// The code point at `at`, which moves past it; U+FFFD for a surrogate that stands alone.
uint32_t NextPoint(CkxTextView text, size_t& at) {
  const uint32_t unit = text[at++];
  if (!IsSurrogate(unit)) return unit;
  if (!IsHighSurrogate(unit) || at == text.Size() || !IsLowSurrogate(text[at])) return 0xFFFD;
  return 0x10000 + ((unit - 0xD800) << 10) + (text[at++] - 0xDC00u);
}

/// The same for UTF-8; false when the bytes at `at` are not well-formed.
bool NextPoint(std::string_view utf8, size_t& at, uint32_t& point) {
  const auto lead = static_cast<unsigned char>(utf8[at++]);
  point = lead;
  if (lead < 0x80) return true;

  const size_t trail = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
  if (lead < 0xC2 || lead > 0xF4 || utf8.size() - at < trail) return false;
  point = lead & (0x3Fu >> trail);
  for (size_t i = 0; i < trail; ++i) {
    const auto byte = static_cast<unsigned char>(utf8[at++]);
    if ((byte & 0xC0) != 0x80) return false;
    point = point << 6 | (byte & 0x3Fu);
  }
  constexpr uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};  // less would be an overlong form
  return point >= kSmallest[trail] && point <= 0x10FFFF && !IsSurrogate(point);
}

/// Most texts are ASCII for most of their length, and that needs no look at each unit.
constexpr size_t kRunStep = 8;

/// Whether the next `kRunStep` units are ASCII; false when there are fewer.
bool IsAsciiStep(std::string_view utf8, size_t at) {
  if (utf8.size() - at < kRunStep) return false;
  uint64_t bytes = 0;
  std::memcpy(&bytes, utf8.data() + at, sizeof(bytes));
  return (bytes & 0x8080'8080'8080'8080) == 0;
}
bool IsAsciiStep(CkxTextView text, size_t at) {
  if (text.Size() - at < kRunStep) return false;
  uint64_t units[2];
  std::memcpy(units, text.Bytes() + at * sizeof(WCHAR), sizeof(units));
  return ((units[0] | units[1]) & 0xFF80'FF80'FF80'FF80) == 0;
}

void AppendAsciiStep(std::string& utf8, CkxTextView text, size_t at) {
  char bytes[kRunStep];
  for (size_t i = 0; i < kRunStep; ++i) bytes[i] = static_cast<char>(text[at + i]);
  utf8.append(bytes, kRunStep);
}

void AppendUtf8(std::string& utf8, uint32_t point) {
  const auto append = [&utf8](uint32_t byte) { utf8 += static_cast<char>(byte); };
  if (point < 0x80) return append(point);
  if (point < 0x800) {
    append(0xC0 | point >> 6);
  } else {
    if (point < 0x10000) {
      append(0xE0 | point >> 12);
    } else {
      append(0xF0 | point >> 18);
      append(0x80 | (point >> 12 & 0x3F));
    }
    append(0x80 | (point >> 6 & 0x3F));
  }
  append(0x80 | (point & 0x3F));
}

}  // namespace

bool KxText_Equals(CkxTextView a, CkxTextView b, bool caseSensitive) {
  if (a.Size() != b.Size()) return false;
  return a.IsEmpty() || KxText_StartsWith(a, b, caseSensitive);
}

bool KxText_StartsWith(CkxTextView text, CkxTextView prefix, bool caseSensitive) {
  if (prefix.IsEmpty()) return true;
  if (text.Size() < prefix.Size()) return false;
  if (caseSensitive) return std::memcmp(text.Bytes(), prefix.Bytes(), prefix.Size() * sizeof(WCHAR)) == 0;
  return KxUnits_CountSame<SkxFoldedUnits>(text.Bytes(), prefix.Bytes(), prefix.Size()) == prefix.Size();
}

size_t KxText_Find(CkxTextView text, CkxTextView part, bool caseSensitive) {
  if (part.IsEmpty()) return CkxTextView::npos;
  return caseSensitive ? KxUnits_Find<SkxExactUnits>(text, part) : KxUnits_Find<SkxFoldedUnits>(text, part);
}

size_t KxText_FindUnit(CkxTextView text, WCHAR unit) {
  return KxUnits_FindUnit<SkxExactUnits>(text.Bytes(), 0, text.Size(), unit);
}

size_t KxText_FindLastUnit(CkxTextView text, WCHAR unit) {
  for (size_t at = text.Size(); at != 0; --at) {
    if (text[at - 1] == unit) return at - 1;
  }
  return CkxTextView::npos;
}

bool KxText_IsSpace(WCHAR unit) {
  if (unit < 0x80) return unit == 0x20 || (unit >= 0x09 && unit <= 0x0D);
  switch (unit) {
    case 0x0085:  // next line
    case 0x00A0:  // no-break space
    case 0x1680:  // Ogham space mark
    case 0x2028:  // line separator
    case 0x2029:  // paragraph separator
    case 0x202F:  // narrow no-break space
    case 0x205F:  // medium mathematical space
    case 0x3000:  // ideographic space
      return true;
    default:
      return unit >= 0x2000 && unit <= 0x200A;  // en quad to hair space
  }
}

CkxTextView KxText_Trim(CkxTextView text) {
  while (!text.IsEmpty() && KxText_IsSpace(text.Back())) text = text.Part(0, text.Size() - 1);
  while (!text.IsEmpty() && KxText_IsSpace(text.Front())) text = text.Part(1);
  return text;
}

std::string KxText_ToUtf8(CkxTextView text) {
  std::string utf8;
  utf8.reserve(text.Size());
  for (size_t at = 0; at < text.Size();) {
    for (; IsAsciiStep(text, at); at += kRunStep) AppendAsciiStep(utf8, text, at);
    if (at < text.Size()) AppendUtf8(utf8, NextPoint(text, at));
  }
  return utf8;
}

std::optional<KxWString> KxText_FromUtf8(std::string_view utf8) {
  KxWString text(utf8.size(), WCHAR{});  // no character has more units than bytes
  WCHAR* unit = text.data();
  uint32_t point = 0;
  for (size_t at = 0; at < utf8.size();) {
    for (; IsAsciiStep(utf8, at); at += kRunStep) {
      for (size_t i = 0; i < kRunStep; ++i) *unit++ = static_cast<unsigned char>(utf8[at + i]);
    }
    if (at == utf8.size()) break;
    if (!NextPoint(utf8, at, point)) return std::nullopt;
    if (point >= 0x10000) {
      *unit++ = static_cast<WCHAR>(0xD800 + ((point - 0x10000) >> 10));
      point = 0xDC00 + (point & 0x3FF);
    }
    *unit++ = static_cast<WCHAR>(point);
  }
  text.resize(static_cast<size_t>(unit - text.data()));
  return text;
}

bool KxText_IsUtf8(std::string_view utf8) {
  uint32_t point = 0;
  for (size_t at = 0; at < utf8.size();) {
    if (IsAsciiStep(utf8, at)) {
      at += kRunStep;
    } else if (!NextPoint(utf8, at, point)) {
      return false;
    }
  }
  return true;
}
