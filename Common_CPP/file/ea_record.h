// The records of extended attributes as the system takes and returns them, alone and chained.
//
//   0  u32   where the next record begins, from here: on 4 bytes and not within this one; 0 in the last
//   4  u8    flags
//   5  u8    bytes of the name, n; at least 1
//   6  u16   bytes of the value, v
//   8  n+1   the name without a zero in it, and its zero
//   9+n  v   the value
//
// What is read is hostile: nothing outside the given bytes is touched, and whatever departs from the table is refused.
#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "Common_CPP/util/base.h"

inline constexpr size_t kKxEaHeaderBytes = 8;
inline constexpr size_t kKxEaMaxNameBytes = 254;
inline constexpr size_t kKxEaMaxValueBytes = 0xFFFF;
inline constexpr size_t kKxEaMaxRecordBytes = kKxEaHeaderBytes + 256 + kKxEaMaxValueBytes;

/// Points into the bytes that it was read from.
struct SkxEaRecord {
  uint32_t next = 0;  ///< bytes to the next record; 0: there is none
  uint8_t flags = 0;
  std::string_view name;
  std::span<const unsigned char> value;

  size_t Size() const { return kKxEaHeaderBytes + name.size() + 1 + value.size(); }
};

/// The record that `bytes` begin with. What lies behind it is not looked at, the next record included.
std::optional<SkxEaRecord> KxEaRecord_Read(std::span<const unsigned char> bytes);

/// Whether `bytes` begin with a list that is well-formed to its last record; bytes behind that one are nobody's.
bool KxEaList_IsWellFormed(std::span<const unsigned char> bytes);

/// Calls `visit(record, bytesOfRecord)` for each record of a well-formed list, until it returns false. Bytes that are
/// empty are an empty list.
template <class Visit>
void KxEaList_ForEach(std::span<const unsigned char> list, Visit visit) {
  while (const std::optional<SkxEaRecord> record = KxEaRecord_Read(list)) {
    if (!visit(*record, list.first(record->Size())) || record->next == 0) return;
    list = list.subspan(record->next);
  }
}

/// Appends a record to a list, which begins on 4 bytes and whose last one is at `last`; a new list has `last` 0.
/// The caller keeps the lengths within their limits. Returns where the new record begins.
size_t KxEaList_Append(std::vector<unsigned char>& list, size_t last, const SkxEaRecord& record);

/// What names one attribute in a question to the system: u32 0, u8 bytes of the name, the name and its zero.
std::vector<unsigned char> KxEaQuery_Of(std::string_view name);

/// The name in such a question; nothing when it is none.
std::optional<std::string_view> KxEaQuery_Name(std::span<const unsigned char> query);

/// ASCII from the blank on, and none of \/:*?"<>|,+=[];
bool KxEaName_IsValidChar(char character);
bool KxEaName_IsValid(std::string_view name);

/// The name as the system keeps it. Letters of ASCII alone have capitals.
std::string KxEaName_Upper(std::string_view name);
bool KxEaName_Equals(std::string_view a, std::string_view b);

/// Names that the kernel alone sets, and drops when the content of the file changes.
bool KxEaName_IsKernel(std::string_view name);
