// A fake of Windows' security attributes of tokens, in memory, in force on its thread for its lifetime. Like the
// original it takes and gives the records of version 1, tells how large an answer is that does not fit, gives one whose
// pointers lead into itself, applies all of a request or nothing, and refuses versions, lengths, types, flags and
// operations that are not as they must be.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <utility>

#include "Common_CPP/token_security_attributes/native_token_attributes.h"

class CkxFakeTokenAttributes {
 public:
  using Attributes = std::vector<SkxTokenAttribute>;

  CkxFakeTokenAttributes() : _scope(Table()) { _fake = this; }
  ~CkxFakeTokenAttributes() { _fake = nullptr; }
  CkxFakeTokenAttributes(const CkxFakeTokenAttributes&) = delete;
  CkxFakeTokenAttributes& operator=(const CkxFakeTokenAttributes&) = delete;

  std::map<void*, Attributes> tokens;  ///< others are no tokens
  SkxOsVersion version = {10, 0};
  int queries = 0;
  std::vector<uint32_t> operations;                                   ///< that were asked for, also in vain
  std::function<void(Attributes&)> before = [](Attributes&) {};       ///< what somebody else does right before a change
  std::function<void(std::vector<unsigned char>&)> damage = nullptr;  ///< what goes wrong with an answer

 private:
  static const SkxNativeTokenAttributes& Table() {
    static constexpr SkxNativeTokenAttributes kTable = {Query, Set, [] { return _fake->version; }};
    return kTable;
  }

  // --- answers ---

  /// Records one behind the other, on eight bytes, with pointers that are right at `base`.
  class Writer {
   public:
    explicit Writer(const unsigned char* base) : _base(base) {}

    size_t Room(size_t size) {
      _bytes.resize((_bytes.size() + 7) / 8 * 8);
      const size_t at = _bytes.size();
      _bytes.resize(at + size);
      return at;
    }
    template <class Record>
    void Put(size_t at, const Record& record) {
      std::memcpy(_bytes.data() + at, &record, sizeof(record));
    }
    template <class Record>
    const Record* At(size_t at) const {
      return reinterpret_cast<const Record*>(_base + at);
    }
    const unsigned char* Append(const void* bytes, size_t size) {
      const size_t at = Room(size);
      if (size != 0) std::memcpy(_bytes.data() + at, bytes, size);
      return _base + at;
    }
    SkxTokenNameRecord Name(const KxWString& text) {
      const auto size = static_cast<uint16_t>(text.size() * sizeof(WCHAR));
      return {size, size, reinterpret_cast<const WCHAR*>(Append(text.data(), size))};
    }
    std::vector<unsigned char>& Bytes() { return _bytes; }

   private:
    const unsigned char* const _base;
    std::vector<unsigned char> _bytes;
  };

  static const void* PutValues(Writer& out, const SkxTokenAttribute& attribute) {
    const bool isProgram = attribute.type == KxTokenFqbn;
    const bool isText = attribute.type == KxTokenString;
    const bool isBytes = attribute.type == KxTokenSid || attribute.type == KxTokenOctetString;
    const size_t size = isProgram ? sizeof(SkxTokenProgramRecord) : isText || isBytes ? 16 : sizeof(uint64_t);
    const size_t first = out.Room(size * attribute.values.size());
    size_t at = first;
    for (const SkxTokenAttribute::Value& value : attribute.values) {
      if (isProgram) {
        out.Put(at, SkxTokenProgramRecord{value.number, out.Name(value.text)});
      } else if (isText) {
        out.Put(at, out.Name(value.text));
      } else if (isBytes) {
        const auto count = static_cast<uint32_t>(value.bytes.size());
        out.Put(at, SkxTokenBytesRecord{out.Append(value.bytes.data(), count), count});
      } else {
        out.Put(at, value.number);
      }
      at += size;
    }
    return out.At<unsigned char>(first);
  }

  static long Query(void* token, std::span<unsigned char> answer, uint32_t& needed) {
    ++_fake->queries;
    const auto found = _fake->tokens.find(token);
    if (found == _fake->tokens.end()) return kKxStatusInvalidHandle;
    Writer out(answer.data());
    const size_t head = out.Room(sizeof(SkxTokenListRecord));
    const size_t records = out.Room(found->second.size() * sizeof(SkxTokenAttributeRecord));
    out.Put(head, SkxTokenListRecord{1, 0, static_cast<uint32_t>(found->second.size()),
                                     out.At<SkxTokenAttributeRecord>(records)});
    size_t at = records;
    for (const SkxTokenAttribute& attribute : found->second) {
      const SkxTokenNameRecord name = out.Name(attribute.name);
      out.Put(at, SkxTokenAttributeRecord{name, attribute.type, 0, attribute.flags,
                                          static_cast<uint32_t>(attribute.values.size()), PutValues(out, attribute)});
      at += sizeof(SkxTokenAttributeRecord);
    }
    if (_fake->damage) _fake->damage(out.Bytes());
    needed = static_cast<uint32_t>(out.Bytes().size());
    if (needed > answer.size()) return kKxStatusBufferTooSmall;
    std::memcpy(answer.data(), out.Bytes().data(), needed);
    return kKxStatusSuccess;
  }

  // --- changes ---

  static bool IsWellFormed(const SkxTokenAttributeRecord& record, uint32_t operation) {
    const uint32_t newFlag = _fake->version.major >= 10 ? uint32_t{KxTokenCompareIgnore} : 0;
    const bool isName = record.name.bytes != 0 && record.name.bytes % sizeof(WCHAR) == 0 &&
                        record.name.bytes <= record.name.room && record.name.units != nullptr;
    const bool areValues = operation == KxTokenDelete || (record.valueCount != 0 && record.values != nullptr);
    return isName && areValues && record.type == KxTokenUInt64 && record.reserved == 0 &&
           (record.flags & ~(0xFFFF003F | newFlag)) == 0;
  }

  static SkxTokenAttribute AttributeOf(const SkxTokenAttributeRecord& record) {
    SkxTokenAttribute attribute;
    attribute.name.assign(record.name.units, record.name.bytes / sizeof(WCHAR));
    attribute.type = record.type;
    attribute.flags = record.flags;
    for (uint32_t i = 0; i < record.valueCount; ++i) {
      attribute.values.emplace_back().number = static_cast<const uint64_t*>(record.values)[i];
    }
    return attribute;
  }

  static long Set(void* token, const SkxTokenRequestRecord& request) {
    const auto found = _fake->tokens.find(token);
    if (found == _fake->tokens.end()) return kKxStatusInvalidHandle;
    if (request.list == nullptr || request.operations == nullptr || request.list->version != 1 ||
        request.list->reserved != 0 || request.list->attributes == nullptr) {
      return kKxStatusInvalidParameter;
    }
    std::exchange(_fake->before, [](Attributes&) {})(found->second);
    Attributes changed = found->second;
    for (uint32_t i = 0; i < request.list->count; ++i) {
      const uint32_t operation = request.operations[i];
      _fake->operations.push_back(operation);
      const SkxTokenAttributeRecord& record = request.list->attributes[i];
      if (!IsWellFormed(record, operation)) return kKxStatusInvalidParameter;
      const SkxTokenAttribute attribute = AttributeOf(record);
      const auto there = std::find_if(changed.begin(), changed.end(),
                                      [&](const SkxTokenAttribute& other) { return other.name == attribute.name; });
      const bool isThere = there != changed.end();
      if (operation == KxTokenAdd) {
        if (isThere) return kKxStatusObjectNameCollision;
        changed.push_back(attribute);
      } else if (operation == KxTokenReplace || operation == KxTokenDelete) {
        if (!isThere) return kKxStatusNotFound;
        if (operation == KxTokenReplace) *there = attribute;
        if (operation == KxTokenDelete) changed.erase(there);
      } else {
        return kKxStatusInvalidParameter;
      }
    }
    found->second = std::move(changed);
    return kKxStatusSuccess;
  }

  static inline CkxFakeTokenAttributes* _fake = nullptr;
  CkxNativeTokenAttributesScope _scope;
};
