// Security identifiers.
//
//   offset 0: revision, always 1
//          1: count n of sub-authorities, 1 to 15 for a valid SID in records and tokens
//          2: identifier authority, 6 bytes, most significant first
//          8: n sub-authorities, 4 bytes each, little-endian
//
// A `CkxSid` is a value: it holds its bytes. One read from bad bytes is kept, is not valid, and equals nothing.
#pragma once

#include <array>
#include <optional>

#include "Common_CPP/util/base.h"

class KX_UTIL_API CkxSid {
 public:
  static constexpr size_t kHeaderBytes = 8;
  static constexpr size_t kMaxSubAuthorities = 15;
  static constexpr size_t kMaxBytes = kHeaderBytes + 4 * kMaxSubAuthorities;

  /// No SID: not valid.
  CkxSid() = default;

  /// S-1-0-0, which an empty SID field of a record stands for.
  static CkxSid Null();

  /// From the binary layout. Not valid when `count` bytes do not hold all that the layout says; bytes beyond it are
  /// ignored.
  static CkxSid FromBytes(const void* bytes, size_t count);

  /// From the text form "S-1-5-32-544"; the authority may be hexadecimal ("0x..."). Nothing when it is malformed.
  static std::optional<CkxSid> FromUtf8(std::string_view text);

  bool IsValid() const { return _size != 0; }

  /// Both valid and the same; `EqualSid` of two SIDs that `IsValidSid` accepts.
  bool Equals(const CkxSid& other) const;

  /// "S-1-5-32-544"; an authority of 2^32 or more is written in hexadecimal. Empty when not valid.
  std::string ToUtf8() const;
  KxWString ToText() const;

  const unsigned char* Bytes() const { return _bytes.data(); }
  size_t Size() const { return _size; }  ///< bytes in use; 0 when not valid

 private:
  std::array<unsigned char, kMaxBytes> _bytes{};
  size_t _size = 0;
};
