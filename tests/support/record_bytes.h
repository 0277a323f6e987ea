// Records put together by hand, one call a field, in the order in which they lie in the buffer:
//
//   CkxRecordBytes record;
//   record.U32(0x22232427).SizeHere().Id(5).U32(7).Set().Obfuscated(u"http*").U8(0).U16(4);
//
// Nothing here shares code with the readers or with the writers of the product.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "Common_CPP/util/base.h"

using KxBytes = std::vector<unsigned char>;

/// A GUID that shows which one it is: {000000NN-0000-0000-0000-0000000000NN}.
constexpr GUID KxTest_Id(unsigned char n) { return GUID{n, 0, 0, {0, 0, 0, 0, 0, 0, 0, n}}; }

class CkxRecordBytes {
 public:
  CkxRecordBytes& U8(unsigned value) { return Number(value, 1); }
  CkxRecordBytes& U16(unsigned value) { return Number(value, 2); }
  CkxRecordBytes& U32(uint32_t value) { return Number(value, 4); }
  CkxRecordBytes& U64(uint64_t value) { return Number(value, 8); }

  /// `KxTest_Id(n)`; 0 is the null GUID.
  CkxRecordBytes& Id(unsigned char n) { return U32(n).U64(0).U8(0).U8(0).U8(0).U8(n); }
  CkxRecordBytes& Zeros(size_t count) {
    _bytes.resize(_bytes.size() + count);
    return *this;
  }

  /// The flag of a property that is set, and all that there is of one that is not.
  CkxRecordBytes& Set() { return U8(1); }
  CkxRecordBytes& Unset(int properties = 1) { return Zeros(static_cast<size_t>(properties)); }

  /// Counted, with its terminator.
  CkxRecordBytes& Text(std::u16string_view text) { return U32(Count(text)).Units(text, 0); }

  /// The same, each byte complemented and XOR-ed with 0xB9, the low byte of 2654435769 = 0x9E3779B9: XOR 0x46 in all.
  CkxRecordBytes& Obfuscated(std::u16string_view text) { return U32(Count(text)).Units(text, 0x46); }

  /// Neither counted nor in a record: its units and the terminator.
  CkxRecordBytes& Plain(std::u16string_view text) { return Units(text, 0); }

  /// A text, blob or SID that is not there.
  CkxRecordBytes& Absent() { return U32(0); }

  /// A SID of the NT authority: S-1-5-a, or S-1-5-a-b.
  CkxRecordBytes& Sid(uint32_t a) { return U32(12).U8(1).U8(1).NtAuthority().U32(a); }
  CkxRecordBytes& Sid(uint32_t a, uint32_t b) { return U32(16).U8(1).U8(2).NtAuthority().U32(a).U32(b); }

  CkxRecordBytes& PadTo(size_t size) { return Zeros(size > Size() ? size - Size() : 0); }
  CkxRecordBytes& Align(size_t unit) { return PadTo((Size() + unit - 1) / unit * unit); }
  CkxRecordBytes& SetU16(size_t at, size_t value) {
    _bytes[at] = static_cast<unsigned char>(value);
    _bytes[at + 1] = static_cast<unsigned char>(value >> 8);
    return *this;
  }
  size_t Size() const { return _bytes.size(); }

  /// The size of the whole record, once it is known.
  CkxRecordBytes& SizeHere() {
    _sizeAt = _bytes.size();
    return U32(0);
  }

  CkxRecordBytes& Append(const KxBytes& bytes) {
    _bytes.insert(_bytes.end(), bytes.begin(), bytes.end());
    return *this;
  }
  CkxRecordBytes& Append(const CkxRecordBytes& record) { return Append(record.Bytes()); }

  KxBytes Bytes() const {
    KxBytes bytes = _bytes;
    if (_sizeAt != kNowhere) {
      for (size_t i = 0; i < 4; ++i) bytes[_sizeAt + i] = static_cast<unsigned char>(bytes.size() >> (8 * i));
    }
    return bytes;
  }

 private:
  static constexpr size_t kNowhere = static_cast<size_t>(-1);

  static uint32_t Count(std::u16string_view text) { return static_cast<uint32_t>((text.size() + 1) * 2); }

  CkxRecordBytes& Number(uint64_t value, unsigned bytes) {
    for (; bytes != 0; --bytes, value >>= 8) _bytes.push_back(static_cast<unsigned char>(value));
    return *this;
  }
  CkxRecordBytes& NtAuthority() { return Zeros(5).U8(5); }
  CkxRecordBytes& Units(std::u16string_view text, unsigned mask) {
    for (const char16_t unit : text) U8((unit & 0xFF) ^ mask).U8((unit >> 8) ^ mask);
    return U8(mask).U8(mask);
  }

  KxBytes _bytes;
  size_t _sizeAt = kNowhere;
};

/// Bytes in a heap block of exactly their size, so that a sanitizer sees a read of one too many; with a cursor on them.
class CkxExactBytes {
 public:
  explicit CkxExactBytes(const KxBytes& bytes) : CkxExactBytes(bytes, bytes.size()) {}
  CkxExactBytes(const KxBytes& bytes, size_t count)
      : _block(std::make_unique<unsigned char[]>(count)),
        cursor(_block.get()),
        remaining(static_cast<unsigned long>(count)) {
    for (size_t i = 0; i < count; ++i) _block[i] = bytes[i];
  }

  unsigned char* Data() { return _block.get(); }
  template <class Header>
  const Header* As() const {
    return reinterpret_cast<const Header*>(_block.get());
  }
  size_t Consumed() const { return static_cast<size_t>(cursor - _block.get()); }

 private:
  std::unique_ptr<unsigned char[]> _block;

 public:
  const unsigned char* cursor;
  unsigned long remaining;
};
