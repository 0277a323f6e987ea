// Going through the records of a section.
//
//   offset 0: u32 count
//          4: `count` records back to back, each beginning with u32 signature, u32 size of the record, header included
//
// A record is handed out only when its header lies inside the section, bears the kind's signature, and its size is at
// least the header's and reaches at most to the section's end: whoever gets it may read `size` bytes, and a walk always
// advances.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "Common_CPP/util/byte_cursor.h"

struct SkxRecordKind {
  uint32_t signature;
  size_t headerBytes;
  std::string_view word;  ///< as error lines name the record
  std::string_view headerOutOfBuffer;
  std::string_view wrongSignature;
  std::string_view outOfBuffer;
};

extern const SkxRecordKind kKxPolicyRecord;
extern const SkxRecordKind kKxAppGroupRecord;
extern const SkxRecordKind kKxAlertRecord;

class CkxSectionRecords {
 public:
  CkxSectionRecords(const SkxRecordKind& kind, std::span<const unsigned char> section);

  /// False for a section too short to hold its count.
  bool HasCount() const { return _cursor != nullptr; }
  uint32_t Count() const { return _count; }

  /// The next record, or null with `Fault` set (and traced) when what lies there is none.
  const unsigned char* Next();
  std::string_view Fault() const { return _fault; }

 private:
  const unsigned char* Fail(std::string_view line);

  const SkxRecordKind& _kind;
  const unsigned char* _cursor = nullptr;
  const unsigned char* _end = nullptr;
  uint32_t _count = 0;
  std::string_view _fault;
};

inline const unsigned char* CkxSectionRecords::Next() {
  const auto left = static_cast<size_t>(_end - _cursor);
  if (left < _kind.headerBytes) return Fail(_kind.headerOutOfBuffer);
  if (KxBytes_Load<uint32_t>(_cursor) != _kind.signature) return Fail(_kind.wrongSignature);
  const auto size = KxBytes_Load<uint32_t>(_cursor + sizeof(uint32_t));
  if (size < _kind.headerBytes || size > left) return Fail(_kind.outOfBuffer);
  const unsigned char* const record = _cursor;
  _cursor += size;
  return record;
}
