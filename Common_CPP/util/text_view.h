// A bounded view of UTF-16 text that may lie at any byte address and may lack its terminator.
//
// Use it wherever text comes from a record: the text ends at its first NUL or at the end of its counted bytes,
// whichever comes first, and no unit beyond that is ever read. Units are loaded byte-wise, so an odd address is fine.
// The view owns nothing: it dies with the bytes it looks at. Copying it costs two words.
//
//   CkxTextView name = CkxTextView::FromBytes(cursor, byteCount);
//   if (KxText_Equals(name, KXW("notepad.exe"), false)) ...
#pragma once

#include <cstring>

#include "Common_CPP/util/base.h"

class KX_UTIL_API CkxTextView {
 public:
  static constexpr size_t npos = static_cast<size_t>(-1);

  /// No value at all, which is not the same as the empty text: a matcher tells the two apart.
  constexpr CkxTextView() = default;

  /// A NUL-terminated text; a null pointer is "no value".
  CkxTextView(const WCHAR* terminated)  // NOLINT(google-explicit-constructor): a literal is a view
      : CkxTextView(terminated, terminated == nullptr ? 0 : KxWStringView(terminated).size()) {}

  CkxTextView(KxWStringView text)  // NOLINT(google-explicit-constructor)
      : CkxTextView(text.data(), text.size()) {}

  CkxTextView(const KxWString& text)  // NOLINT(google-explicit-constructor)
      : CkxTextView(text.data(), text.size()) {}

  /// Exactly `units` units from `text`, NULs included.
  CkxTextView(const WCHAR* text, size_t units) : _bytes(reinterpret_cast<const unsigned char*>(text)), _units(units) {}

  /// Counted text of a record: `byteCount` bytes at any address; a lone last byte is no unit. Ends at the first NUL.
  static CkxTextView FromBytes(const void* bytes, size_t byteCount);

  bool IsNull() const { return _bytes == nullptr; }
  bool IsEmpty() const { return _units == 0; }
  size_t Size() const { return _units; }
  const unsigned char* Bytes() const { return _bytes; }

  WCHAR operator[](size_t index) const {
    WCHAR unit;
    std::memcpy(&unit, _bytes + index * sizeof(WCHAR), sizeof(unit));
    return unit;
  }
  WCHAR Front() const { return (*this)[0]; }
  WCHAR Back() const { return (*this)[_units - 1]; }

  /// The part from `from` (at most the size) of at most `count` units.
  CkxTextView Part(size_t from, size_t count = npos) const {
    const size_t left = _units - from;
    CkxTextView part;
    part._bytes = _bytes + from * sizeof(WCHAR);
    part._units = count < left ? count : left;
    return part;
  }

  KxWString ToString() const {
    KxWString text(_units, WCHAR{});
    if (_units != 0) std::memcpy(text.data(), _bytes, _units * sizeof(WCHAR));
    return text;
  }

 private:
  const unsigned char* _bytes = nullptr;
  size_t _units = 0;
};
