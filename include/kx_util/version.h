// Version numbers of four 16-bit parts, and ranges of them, as files and policies hold them.
//
//   offset 0: u32 major << 16 | minor         (the "MS" word of a version resource)
//          4: u32 build << 16 | revision      (the "LS" word)
//
// All ones is the empty version. 65535.65535.65535.65535 cannot be told from it, and is it.
#pragma once

#include "Common_CPP/util/text_view.h"

/// A version, 8 bytes in buffers.
struct KX_UTIL_API SkxVersion {
  SkxVersion() = default;
  SkxVersion(uint32_t mostSignificant, uint32_t leastSignificant) : _ms(mostSignificant), _ls(leastSignificant) {}
  SkxVersion(uint16_t major, uint16_t minor, uint16_t build, uint16_t revision) {
    From4Words(major, minor, build, revision);
  }
  explicit SkxVersion(uint64_t qword) { FromQWORD(qword); }

  /// "1.2.3.4": up to four numbers between runs of "."; missing ones are 0, more are ignored, each is cut to 16 bits.
  /// No text, or the empty text, is the empty version.
  static SkxVersion Parse(CkxTextView text);
  void FromString(const WCHAR* text) { *this = Parse(text); }

  bool IsEmpty() const { return ToQWORD() == ~uint64_t{0}; }
  void Empty() { *this = SkxVersion(); }

  uint64_t ToQWORD() const { return uint64_t{_ms} << 32 | _ls; }
  void FromQWORD(uint64_t qword) {
    _ms = static_cast<uint32_t>(qword >> 32);
    _ls = static_cast<uint32_t>(qword);
  }
  void From4Words(uint16_t major, uint16_t minor, uint16_t build, uint16_t revision) {
    _ms = uint32_t{major} << 16 | minor;
    _ls = uint32_t{build} << 16 | revision;
  }

  uint32_t MostSignificant() const { return _ms; }
  uint32_t LeastSignificant() const { return _ls; }

  /// Part 0 is major, 1 minor, 2 build, 3 revision; any other is 0.
  uint16_t GetAt(unsigned char index) const {
    return index < 4 ? static_cast<uint16_t>(ToQWORD() >> (48 - 16 * index)) : uint16_t{0};
  }

  /// By the first word, then the second; the empty version is the greatest of all.
  bool IsEqual(const SkxVersion& other) const { return ToQWORD() == other.ToQWORD(); }
  bool IsEqual(uint32_t ms, uint32_t ls) const { return IsEqual(SkxVersion(ms, ls)); }
  bool IsEqual(uint16_t a, uint16_t b, uint16_t c, uint16_t d) const { return IsEqual(SkxVersion(a, b, c, d)); }
  bool IsGreaterThan(const SkxVersion& other) const { return ToQWORD() > other.ToQWORD(); }
  bool IsGreaterThan(uint32_t ms, uint32_t ls) const { return IsGreaterThan(SkxVersion(ms, ls)); }
  bool IsGreaterOrEqualThan(const SkxVersion& other) const { return ToQWORD() >= other.ToQWORD(); }
  bool IsGreaterOrEqualThan(uint32_t ms, uint32_t ls) const { return IsGreaterOrEqualThan(SkxVersion(ms, ls)); }
  bool IsLessThan(const SkxVersion& other) const { return ToQWORD() < other.ToQWORD(); }
  bool IsLessThan(uint32_t ms, uint32_t ls) const { return IsLessThan(SkxVersion(ms, ls)); }
  bool IsLessOrEqualThan(const SkxVersion& other) const { return ToQWORD() <= other.ToQWORD(); }
  bool IsLessOrEqualThan(uint32_t ms, uint32_t ls) const { return IsLessOrEqualThan(SkxVersion(ms, ls)); }

  static constexpr unsigned long GetBufferSize() { return 8; }
  bool ToBuffer(unsigned char*& cursor, unsigned long& remaining) const;
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining);

 private:
  uint32_t _ms = 0xFFFFFFFF;
  uint32_t _ls = 0xFFFFFFFF;
};

/// Versions between two bounds, both included; an empty bound is open.
///
///   offset 0: minimum, 8 bytes
///          8: maximum, 8 bytes
class KX_UTIL_API CkxVersionRange {
 public:
  CkxVersionRange() = default;

  const SkxVersion& MinVersion() const { return _min; }
  const SkxVersion& MaxVersion() const { return _max; }
  bool IsInfinite() const { return _min.IsEmpty() && _max.IsEmpty(); }

  void FromString(const WCHAR* min, const WCHAR* max);

  /// The infinite range contains everything; any other does not contain the empty version.
  bool Contains(const SkxVersion& version) const;
  bool Contains(const WCHAR* text) const;

  static constexpr unsigned long GetBufferSize() { return 16; }

  /// With 8 to 15 bytes left the minimum is consumed and the answer is false.
  bool ToBuffer(unsigned char*& cursor, unsigned long& remaining) const;
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining);

 private:
  SkxVersion _min;
  SkxVersion _max;
};
