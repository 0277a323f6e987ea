// The byte cursor, extended by the fields that only records have, so that a record reader reads as the table of its
// fields:
//
//   CkxBufReader in(cursor, remaining);
//   return in.ObfuscatedText(_name) && in.Text(_gpId) && in.U32(_guiType) && in.List(_targets,
//   CkxShBufTarget::TargetFromBuffer);
#pragma once

#include <kx_util/shared_buffer.h>

#include "Common_CPP/security/sid.h"
#include "Common_CPP/util/byte_cursor.h"

class CkxBufReader : public CkxByteCursor {
 public:
  using CkxByteCursor::CkxByteCursor;

  bool Text(CkxShBufString& text) { return text.FromBuffer(_cursor, _remaining); }
  bool ObfuscatedText(CkxShBufString& text) { return text.FromBufferAndUnObfuscate(_cursor, _remaining); }
  bool List(CkxShBufList& list, CkxShBufList::Factory factory) { return list.FromBuffer(_cursor, _remaining, factory); }

  /// Accepts a count of up to four bytes more than follow it, as obfuscated strings do.
  bool Sid(CkxSid& sid);

  /// A part that has a reader of its own: a property, a version range, an embedded script.
  template <class Part>
  bool Nested(Part& part) {
    return part.FromBuffer(_cursor, _remaining);
  }

  /// A fixed block in place.
  template <class Block>
  bool InPlace(const Block*& block) {
    static_assert(alignof(Block) == 1, "a block in place lies at any address");
    const unsigned char* bytes = nullptr;
    if (!Bytes(sizeof(Block), bytes)) return false;
    block = reinterpret_cast<const Block*>(bytes);
    return true;
  }

  /// A record's fixed header in place: with its kind's magic, and a size that fits in what remains from the header on.
  template <class Record>
  bool Header(const Record*& header) {
    const unsigned long left = _remaining;
    return InPlace(header) && header->magic == Record::kMagic && header->size <= left;
  }
};
