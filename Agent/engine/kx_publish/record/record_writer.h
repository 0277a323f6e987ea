// Writing the packed fields of records, the inverse of the record reader:
//
//   CkxRecordWriter out;
//   out.Record(SkxAppGroupBufHeader::kMagic, [&] {
//     out.Guid(group.id);
//     out.List(group.targets, [&](const SkxTargetModel& target) { WriteTarget(out, target); });
//   });
//   return std::move(out).Take();
#pragma once

#include <kx_util/shared_buffer.h>

#include <optional>
#include <span>
#include <vector>

#include "Common_CPP/security/sid.h"

class CkxRecordWriter {
 public:
  void U8(uint8_t value) { _bytes.push_back(value); }
  void U16(uint16_t value) { Number(value); }
  void U32(uint32_t value) { Number(value); }
  void U64(uint64_t value) { Number(value); }
  void I64(int64_t value) { Number(value); }
  void Flag(bool value) { U8(value ? 1 : 0); }
  void Guid(const GUID& guid) { Number(guid); }
  void Zeros(size_t count) { _bytes.insert(_bytes.end(), count, 0); }

  /// Any number or GUID, as it lies in memory.
  template <class Fixed>
  void Number(const Fixed& value) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&value);
    _bytes.insert(_bytes.end(), bytes, bytes + sizeof(value));
  }

  /// Counted text, its terminator counted in; the empty text is absent and has the count 0.
  void Text(CkxTextView text) { CountedText(text, 0); }
  void ObfuscatedText(CkxTextView text);

  /// Counted; one that is not valid has the count 0, which reads as S-1-0-0.
  void Sid(const CkxSid& sid);

  /// u32 count, then `write(element)` for each.
  template <class Elements, class Write>
  void List(const Elements& elements, Write write) {
    U32(static_cast<uint32_t>(elements.size()));
    for (const auto& element : elements) write(element);
  }

  /// The flag byte, and `write(value)` for a property that has a value.
  template <class Value, class Write>
  void Property(const std::optional<Value>& property, Write write) {
    Flag(property.has_value());
    if (property.has_value()) write(*property);
  }

  /// u32 magic, u32 size of the whole record, and what `write()` adds to it.
  template <class Write>
  void Record(uint32_t magic, Write write) {
    const size_t begin = _bytes.size();
    U32(magic);
    U32(0);
    write();
    PatchU32(begin + sizeof(uint32_t), static_cast<uint32_t>(_bytes.size() - begin));
  }

  std::vector<unsigned char> Take() && { return std::move(_bytes); }

 private:
  void CountedText(CkxTextView text, unsigned char mask);
  void PatchU32(size_t offset, uint32_t value) { std::memcpy(_bytes.data() + offset, &value, sizeof(value)); }

  std::vector<unsigned char> _bytes;
};
