// The library's owned wide string. An empty text and no text are both "no value".
#pragma once

#include "Common_CPP/util/text_view.h"

class CkxUtilStr {
 public:
  CkxUtilStr() = default;
  CkxUtilStr(CkxTextView text) : _text(text.ToString()) {}          // NOLINT(google-explicit-constructor)
  CkxUtilStr(const WCHAR* text) : CkxUtilStr(CkxTextView(text)) {}  // NOLINT(google-explicit-constructor)
  CkxUtilStr(KxWString text) : _text(std::move(text)) {}            // NOLINT(google-explicit-constructor)

  bool IsEmpty() const { return _text.empty(); }
  size_t Length() const { return _text.size(); }
  void Empty() { _text.clear(); }

  /// Leaves the first `length` units, of at least as many. Needs no memory.
  void CutOff(size_t length) { _text.resize(length); }

  /// Never null; the pointer lives until the next change of the string.
  const WCHAR* String() const { return _text.c_str(); }
  CkxTextView View() const { return CkxTextView(_text.data(), _text.size()); }

  void Append(CkxTextView text) {
    const size_t old = _text.size();
    _text.resize(old + text.Size());
    if (!text.IsEmpty()) std::memcpy(_text.data() + old, text.Bytes(), text.Size() * sizeof(WCHAR));
  }

  bool operator==(const CkxUtilStr& other) const = default;

 private:
  KxWString _text;
};
