// What the policy buffer looks like, as data: one table a layout, one line a field, in buffer order. Whatever needs to
// know more of a record than its objects tell goes by these tables: the walk that verifies records (record_walk.h) and
// the reference for other producers (docs/record-formats.md).
//
//   {"fileName", EkxField::Property, &kFileNameTest, "..."}     a flag byte; the fields of kFileNameTest when it is set
//   {"targets", EkxField::List, &kElementTarget, "..."}         u32 count, then so many elements
//
// The library's readers do not go by them: being read twice, in two ways, is what keeps both right. A name is the key
// that policy documents have for the field, so that the path of a field ("targets/0/fileName/pattern") is also its
// place in a document. A field without a name has the place of what it is in.
#pragma once

#include <kx_util/policy_codes.h>

#include <span>

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
  Unused,            ///< `bytes` of them
  NameSlot,          ///< text up to its NUL in a fixed place of `bytes`
  Text,              ///< u32 byte count, UTF-16LE with its terminator
  ObfuscatedText,    ///< the same, obfuscated
  NonEmptyText,      ///< obfuscated; a count of 0 is a fault
  Data,              ///< u32 byte count, bytes that nobody here interprets
  Sid,               ///< u32 byte count, binary SID
  Part,              ///< the fields of `nested`, in place
  Property,          ///< flag byte; the fields of `nested` when it is not 0
  List,              ///< u32 count, so many times the fields of `nested`
  Target,            ///< a target record
  Rest,              ///< whatever follows
};

struct SkxLayout;

struct SkxLayoutField {
  const char* name;
  EkxField kind;
  const SkxLayout* nested;
  const char* meaning;
  uint16_t bytes = 0;  ///< of the kinds whose size is the field's own
};

struct SkxLayout {
  const char* name;
  std::span<const SkxLayoutField> fields;
};

/// Bytes that a field of `kind` always takes; 0 when that differs from record to record, or from field to field.
size_t KxField_FixedBytes(EkxField kind);
/// The same of a field, of which `Unused` ones and slots know their size.
size_t KxField_FixedBytes(const SkxLayoutField& field);

/// The body that goes with a code of the header.
struct SkxRecordBody {
  uint32_t code;
  const SkxLayout* layout;
};

/// A record with a header of its own: u32 magic, u32 size of the record with its header, and where there are several
/// kinds the code that says which.
struct SkxRecordLayout {
  const char* name;
  uint32_t magic;
  const SkxLayout* header;
  size_t headerBytes;
  const char* codeField;  ///< null: there is one kind of body
  size_t codeOffset;
  size_t codeBytes;
  std::string (*codeText)(uint32_t code);  ///< "14 (Unknown Policy Action)"
  std::span<const SkxRecordBody> bodies;

  /// Null for a code that is not accepted.
  const SkxLayout* Body(uint32_t code) const;
};

extern const SkxRecordLayout kKxPolicyLayout;
extern const SkxRecordLayout kKxAppGroupLayout;
extern const SkxRecordLayout kKxTargetLayout;
extern const SkxRecordLayout kKxAlertLayout;

/// Parts that all policies, and those with targets, have.
extern const SkxLayout kKxPolicyCommonLayout;
extern const SkxLayout kKxPolicyTargetsLayout;
extern const SkxLayout kKxAlertLinkLayout;

extern const SkxLayout kKxIndexLayout;    ///< the section that names the others
extern const SkxLayout kKxSectionLayout;  ///< each of those

/// Every kind of property, those that no target has among them.
std::span<const SkxLayout* const> KxRecordLayout_Properties();
