// Reading little-endian fields from hostile bytes.
//
// A reader function takes a pointer to the next byte and the count of bytes left, both by reference; the cursor wraps
// that pair. Each operation either reads its whole field, advances both and returns true, or returns false having
// consumed nothing. Nothing outside `remaining` bytes is ever touched, and no address needs to be aligned.
//
//   CkxByteCursor in(cursor, remaining);
//   return in.U32(size) && in.U8(flag) && in.Guid(id);
#pragma once

#include <bit>
#include <cstring>
#include <span>
#include <type_traits>

#include "Common_CPP/util/base.h"

static_assert(std::endian::native == std::endian::little, "fields are loaded as they lie");

/// A number at any address.
template <class Number>
Number KxBytes_Load(const void* bytes) {
  static_assert(std::is_trivially_copyable_v<Number>);
  Number number;
  std::memcpy(&number, bytes, sizeof(number));
  return number;
}

/// A number at a place that is known to be within `bytes`.
inline uint16_t KxBytes_U16(std::span<const unsigned char> bytes, size_t at) {
  return KxBytes_Load<uint16_t>(bytes.data() + at);
}
inline uint32_t KxBytes_U32(std::span<const unsigned char> bytes, size_t at) {
  return KxBytes_Load<uint32_t>(bytes.data() + at);
}

class CkxByteCursor {
 public:
  CkxByteCursor(const unsigned char*& cursor, unsigned long& remaining) : _cursor(cursor), _remaining(remaining) {}

  bool Has(size_t count) const { return _cursor != nullptr && _remaining >= count; }
  unsigned long Remaining() const { return _remaining; }

  bool U8(uint8_t& value) { return Fixed(value); }
  bool U16(uint16_t& value) { return Fixed(value); }
  bool U32(uint32_t& value) { return Fixed(value); }
  bool U64(uint64_t& value) { return Fixed(value); }
  bool I64(int64_t& value) { return Fixed(value); }
  bool Guid(GUID& value) { return Fixed(value); }

  /// Any number or GUID.
  template <class Number>
  bool Fixed(Number& value) {
    if (!Has(sizeof(value))) return false;
    value = KxBytes_Load<Number>(_cursor);
    Advance(sizeof(value));
    return true;
  }

  /// One byte; any value but 0 is true.
  bool Flag(bool& value) {
    uint8_t byte = 0;
    if (!U8(byte)) return false;
    value = byte != 0;
    return true;
  }

  /// `count` bytes in place.
  bool Bytes(size_t count, const unsigned char*& bytes) {
    if (!Has(count)) return false;
    bytes = _cursor;
    Advance(count);
    return true;
  }

  /// The next 4-byte number, without consuming it.
  bool PeekU32(uint32_t& value) const {
    if (!Has(sizeof(value))) return false;
    value = KxBytes_Load<uint32_t>(_cursor);
    return true;
  }

 protected:
  void Advance(size_t count) {
    _cursor += count;
    _remaining -= static_cast<unsigned long>(count);
  }

  const unsigned char*& _cursor;
  unsigned long& _remaining;
};
