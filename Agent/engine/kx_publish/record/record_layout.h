// What the policy buffer looks like, as data: one table a layout, one line a field, in buffer order, made of the tables
// that records are declared by (record_declaration.h). Whatever needs to know more of a record than its objects tell
// goes by these: the walk that verifies records (record_walk.h) and the reference for other producers
// (docs/record-formats.md).
//
//   {"fileName", EkxField::Property, &file name test, "..."}     a flag byte; the fields of the test when it is set
//   {"targets", EkxField::List, &target, "..."}                  u32 count, then so many elements
//
// A name is the key that policy documents have for the field, so that the path of a field
// ("targets/0/fileName/pattern") is also its place in a document. A field without a name has the place of what it is
// in.
#pragma once

#include <span>
#include <string>

#include "Agent/engine/kx_publish/record/record_field.h"

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

/// Bytes that a field always takes, of which `Unused` ones and slots know how many; 0 when it differs.
constexpr size_t KxField_FixedBytes(const SkxLayoutField& field) {
  return KxField_FixedBytes(field.kind) + field.bytes;
}

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
