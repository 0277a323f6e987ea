#include <kx_util/version.h>

#include <limits>

#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr bool IsDigit(WCHAR unit) { return unit >= KXW('0') && unit <= KXW('9'); }

/// A signed decimal number: white space and a sign may lead, the first other unit ends it, no digits are 0. A number
/// that no `int` holds is the nearest that one does, so that every run of nines reads as 65535 once it is cut to 16
/// bits.
int ToInt(CkxTextView text) {
  size_t at = 0;
  while (at < text.Size() && KxText_IsSpace(text[at])) ++at;
  const bool negative = at < text.Size() && text[at] == KXW('-');
  if (negative || (at < text.Size() && text[at] == KXW('+'))) ++at;

  constexpr int64_t kMax = std::numeric_limits<int>::max();
  int64_t number = 0;
  for (; at < text.Size() && IsDigit(text[at]) && number <= kMax; ++at) number = number * 10 + (text[at] - KXW('0'));
  if (negative) return static_cast<int>(number > kMax ? -kMax - 1 : -number);
  return static_cast<int>(number > kMax ? kMax : number);
}

}  // namespace

SkxVersion SkxVersion::Parse(CkxTextView text) {
  if (text.IsEmpty()) return SkxVersion();
  uint16_t parts[4] = {};
  size_t count = 0;
  KxText_AnyField(text, KXW('.'), [&](CkxTextView field) {
    parts[count++] = static_cast<uint16_t>(ToInt(field));
    return count == 4;
  });
  return SkxVersion(parts[0], parts[1], parts[2], parts[3]);
}

bool SkxVersion::ToBuffer(unsigned char*& cursor, unsigned long& remaining) const {
  if (cursor == nullptr || remaining < GetBufferSize()) return false;
  const uint32_t words[] = {_ms, _ls};
  std::memcpy(cursor, words, sizeof(words));
  cursor += sizeof(words);
  remaining -= static_cast<unsigned long>(sizeof(words));
  return true;
}

bool SkxVersion::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  CkxByteCursor in(cursor, remaining);
  return in.Has(GetBufferSize()) && in.U32(_ms) && in.U32(_ls);
}

void CkxVersionRange::FromString(const WCHAR* min, const WCHAR* max) {
  _min.FromString(min);
  _max.FromString(max);
}

bool CkxVersionRange::Contains(const SkxVersion& version) const {
  if (IsInfinite()) return true;
  if (version.IsEmpty()) return false;
  if (!_min.IsEmpty() && version.IsLessThan(_min)) return false;
  return _max.IsEmpty() || version.IsLessOrEqualThan(_max);
}

bool CkxVersionRange::Contains(const WCHAR* text) const { return IsInfinite() || Contains(SkxVersion::Parse(text)); }

bool CkxVersionRange::ToBuffer(unsigned char*& cursor, unsigned long& remaining) const {
  return _min.ToBuffer(cursor, remaining) && _max.ToBuffer(cursor, remaining);
}

bool CkxVersionRange::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _min.FromBuffer(cursor, remaining) && _max.FromBuffer(cursor, remaining);
}
