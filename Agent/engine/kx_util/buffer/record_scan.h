// Going over a record without making anything of it: each step checks that its field is there, as the readers of
// objects do, and is over it. For whoever looks at thousands of records and wants one of them.
//
//   CkxRecordScan in(record, size);
//   return in.StoredText() && in.Text() && in.Skip(8);
//
// False ends a scan: the rest of the record means nothing.
//
// Most texts of a record are empty, and steps ask for that first: what follows an empty text is where it is whatever
// its count says, so that the processor goes on without waiting for the count.
#pragma once

#include <algorithm>

#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text_view.h"

/// A plain text as it lies in its record.
struct SkxPlainText {
  const unsigned char* bytes = nullptr;
  size_t count = 0;

  CkxTextView View() const { return count != 0 ? CkxTextView::FromBytes(bytes, count) : CkxTextView(KXW("")); }
};

/// An obfuscated text as it lies in its record.
struct SkxStoredText {
  const unsigned char* bytes = nullptr;
  size_t count = 0;     ///< as the record counts them
  bool isWhole = true;  ///< false: up to four of them are not there
};

class CkxRecordScan {
 public:
  CkxRecordScan(const unsigned char* at, size_t size) : _at(at), _end(at + size) {}
  CkxRecordScan(const unsigned char* at, const unsigned char* end) : _at(at), _end(end) {}

  const unsigned char* At() const { return _at; }
  const unsigned char* End() const { return _end; }
  [[gnu::always_inline]] size_t Left() const { return static_cast<size_t>(_end - _at); }

  /// A place that another scan of the same bytes has come to.
  void GoTo(const unsigned char* at) { _at = at; }

  [[gnu::always_inline]] bool Skip(size_t bytes) {
    if (Left() < bytes) return false;
    _at += bytes;
    return true;
  }

  template <class Number>
  [[gnu::always_inline]] bool Read(Number& number) {
    if (Left() < sizeof(number)) return false;
    number = KxBytes_Load<Number>(_at);
    _at += sizeof(number);
    return true;
  }

  /// A plain counted text.
  [[gnu::always_inline]] bool Text(SkxPlainText& text) {
    uint32_t count = 0;
    if (!Read(count)) return false;
    text = {_at, count};
    return count == 0 || Skip(count);
  }
  [[gnu::always_inline]] bool Text() {
    uint32_t count = 0;
    return Read(count) && (count == 0 || Skip(count));
  }

  /// An obfuscated text or a SID, whose count is held against what is left from the count itself on.
  [[gnu::always_inline]] bool StoredText(SkxStoredText& text) {
    uint32_t count = 0;
    if (!Read(count)) return false;
    text = {_at, count, true};
    if (count == 0) return true;
    if (count > Left() + sizeof(count)) return false;
    text.isWhole = count <= Left();
    _at += std::min<size_t>(count, Left());
    return true;
  }
  [[gnu::always_inline]] bool StoredText() {
    SkxStoredText unused;
    return StoredText(unused);
  }

  /// A list, each element by `skip(scan)`.
  template <class SkipElement>
  bool List(SkipElement skip) {
    uint32_t count = 0;
    if (!Read(count)) return false;
    for (; count != 0; --count) {
      if (!skip(*this)) return false;
    }
    return true;
  }

  /// Goes over a byte of 0: a property that is not set.
  [[gnu::always_inline]] bool SkipZero() {
    if (_at == _end || *_at != 0) return false;
    ++_at;
    return true;
  }

  /// Goes over that many bytes, 8 to 16, when all are 0.
  [[gnu::always_inline]] bool SkipZeros(size_t bytes) {
    if (Left() < bytes) return false;
    const auto first = KxBytes_Load<uint64_t>(_at);
    const auto last = KxBytes_Load<uint64_t>(_at + bytes - sizeof(uint64_t));
    if ((first | last) != 0) return false;
    _at += bytes;
    return true;
  }

 private:
  const unsigned char* _at;
  const unsigned char* const _end;
};
