// Appending formatted text, with the formats that the records' debug texts use and no others:
// %d %u %hu %I64d %I64u, %X and %x with `0`, width and precision (%.8X, %I64X, %4hx), %s, %c and %%.
// Numbers show their low 32 bits, with `h` the low 16, with `I64` all; %d takes them as signed.
//
//   KxText_AppendFormat(out, KXW("Policy id:\t%d\r\nName:\t%s\r\n"), Id(), name);
//
// Arguments are typed, so that a wrong one cannot be read as another: an integer for a number format, a text for %s.
// A mismatch, a missing argument or an unknown format writes "%!" in its place; it is our own fault and never an
// input's. A text without a value writes nothing.
#pragma once

#include <concepts>
#include <initializer_list>

#include "Common_CPP/util/owned_str.h"

class CkxFormatArg {
 public:
  template <std::integral Number>
  CkxFormatArg(Number number)  // NOLINT(google-explicit-constructor)
      : _number(static_cast<uint64_t>(number)), _bytes(sizeof(Number)), _isNumber(true) {}
  CkxFormatArg(CkxTextView text) : _text(text) {}               // NOLINT(google-explicit-constructor)
  CkxFormatArg(const WCHAR* text) : _text(text) {}              // NOLINT(google-explicit-constructor)
  CkxFormatArg(const KxWString& text) : _text(text) {}          // NOLINT(google-explicit-constructor)
  CkxFormatArg(const CkxUtilStr& text) : _text(text.View()) {}  // NOLINT(google-explicit-constructor)

  bool IsNumber() const { return _isNumber; }
  uint64_t Unsigned() const { return _bytes < 8 ? _number & ((uint64_t{1} << (_bytes * 8)) - 1) : _number; }
  int64_t Signed() const { return static_cast<int64_t>(_number); }
  CkxTextView Text() const { return _text; }

 private:
  CkxTextView _text;
  uint64_t _number = 0;
  unsigned _bytes = 8;
  bool _isNumber = false;
};

void KxText_AppendFormatArgs(CkxUtilStr& out, CkxTextView format, std::initializer_list<CkxFormatArg> args);

template <class... Args>
void KxText_AppendFormat(CkxUtilStr& out, CkxTextView format, const Args&... args) {
  KxText_AppendFormatArgs(out, format, {CkxFormatArg(args)...});
}
