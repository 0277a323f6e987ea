// The encodings of fields; docs/record-formats.md says what each looks like.
#pragma once

#include <cstddef>
#include <cstdint>

/// How a field is stored.
enum class EkxField : uint8_t {
  U8,
  U16,
  U32,
  U64,
  I64,
  Flag,
  Guid,
  GroupId,           ///< GUID of an application group; null is none
  AlertId,           ///< GUID of an alert
  AlertType,         ///< u16, EkxAlertType
  TaskId,            ///< u32, of the catalogue of administrative tasks; any other number is a fault
  CompareAs,         ///< u16, EkxStrCompareAs
  BitmaskCompareAs,  ///< u16, EkxBitmaskCompareAs
  Version,           ///< 8 bytes; all ones is an open bound
  Unused,            ///< a fixed count of them
  NameSlot,          ///< text up to its NUL in a fixed place
  Text,              ///< u32 byte count, UTF-16LE with its terminator
  ObfuscatedText,    ///< the same, obfuscated
  NonEmptyText,      ///< obfuscated; a count of 0 is a fault
  Data,              ///< u32 byte count, bytes that nobody here interprets
  Sid,               ///< u32 byte count, binary SID
  Part,              ///< the fields of another table, in place
  Property,          ///< flag byte; such fields when it is not 0
  List,              ///< u32 count, so many times such fields
  Target,            ///< a target record
  Rest,              ///< whatever follows
};

/// Bytes that a field of `kind` always takes; 0 when that differs from record to record, or from field to field.
constexpr size_t KxField_FixedBytes(EkxField kind) {
  switch (kind) {
    case EkxField::U8:
    case EkxField::Flag:
      return 1;
    case EkxField::U16:
    case EkxField::AlertType:
    case EkxField::CompareAs:
    case EkxField::BitmaskCompareAs:
      return 2;
    case EkxField::U32:
    case EkxField::TaskId:
      return 4;
    case EkxField::U64:
    case EkxField::I64:
    case EkxField::Version:
      return 8;
    case EkxField::Guid:
    case EkxField::GroupId:
    case EkxField::AlertId:
      return 16;
    default:
      return 0;
  }
}
