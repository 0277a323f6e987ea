// Going over the targets of a policy or a group in their record, noting which properties are set and where they lie.
//
// The objects of targets are what judges; this is for the prefilter, which has to get from one target to the next
// before there is any object. A target's own size is not to be trusted: the way to the next one leads over each field.
#pragma once

#include <kx_util/shared_policy_target.h>

#include "Agent/engine/kx_util/match/stored_pattern.h"

/// Properties, in the order in which a target checks those that it has, whatever its kind; then those that the
/// prefilter makes nothing of, and fields that are no properties.
enum class EkxTargetField : unsigned char {
  Arguments,
  FileName,
  Location,
  Origin,
  ServiceName,
  Owners,
  FileVersions,
  ProductVersions,
  InstallerProperties,
  VersionFields,
  Publishers,
  ParentProcess,
  Text,
  Capabilities,
  // No properties: always there.
  Byte,
  PlainText,
  StoredText,
  Guid,
};
inline constexpr size_t kKxTargetProperties = static_cast<size_t>(EkxTargetField::Byte);

constexpr uint32_t KxTargetField_Bit(EkxTargetField field) { return 1U << static_cast<unsigned>(field); }

/// A target of a record.
struct SkxScannedTarget {
  EkxPolicyTarget type = EkxPolicyTarget::Invalid;
  uint32_t set = 0;                              ///< bits of the properties that are set
  const unsigned char* at[kKxTargetProperties];  ///< of those, but the name: behind the byte that says so
  SkxStoredPattern name;                         ///< when that is set
  SkxPlainText hashAlgorithm;                    ///< of the hash that goes with it
  SkxPlainText hash;                             ///< empty for none
  int64_t fileSize = 0;
  const unsigned char* end = nullptr;    ///< of the target
  const unsigned char* group = nullptr;  ///< of a link: the id of its group

  CkxRecordScan FieldsOf(EkxTargetField field) const { return {at[static_cast<size_t>(field)], end}; }
};

namespace kx_target_scan {
using enum EkxTargetField;

constexpr bool IsProperty(EkxTargetField field) { return static_cast<size_t>(field) < kKxTargetProperties; }

inline constexpr size_t kMode = sizeof(uint16_t);
inline constexpr size_t kFlag = 1;
inline constexpr size_t kVersionRange = 2 * sizeof(uint64_t);
inline constexpr size_t kParentProcess = 2 * (sizeof(GUID) + kFlag);
inline constexpr size_t kSpawner = 2;

/// The byte that says whether a property is set, and what follows where it is.
template <class Fields>
inline bool Optional(CkxRecordScan& in, Fields fields) {
  uint8_t isSet = 0;
  return in.Read(isSet) && (isSet == 0 || fields(in));
}

inline bool Pattern(CkxRecordScan& in) { return in.StoredText() && in.Skip(kFlag + kMode); }
/// A name usually goes without a hash: two empty texts.
[[gnu::always_inline]] inline bool FileNameFields(CkxRecordScan& in, SkxScannedTarget& target) {
  target.hash = {};
  return in.StoredText(target.name.text) && in.Read(target.name.compareAs) &&
         (in.SkipZeros(2 * sizeof(uint32_t)) || (in.Text(target.hashAlgorithm) && in.Text(target.hash))) &&
         in.Read(target.fileSize);
}
inline bool LocationFields(CkxRecordScan& in) { return in.StoredText() && in.Skip(kFlag) && in.Text(); }
inline bool NonEmptyText(CkxRecordScan& in) {
  SkxStoredText text;
  return in.StoredText(text) && text.count != 0;
}

inline bool Publisher(CkxRecordScan& in) {
  return Optional(in, [](CkxRecordScan& fields) { return Pattern(fields) && fields.Skip(kFlag); });
}
inline bool NamedPattern(CkxRecordScan& in) {
  return Optional(in, [](CkxRecordScan& fields) { return Pattern(fields) && fields.StoredText(); });
}
inline bool FlaggedText(CkxRecordScan& in) {
  return Optional(in, [](CkxRecordScan& fields) { return fields.StoredText() && fields.Skip(kFlag); });
}
inline bool Sid(CkxRecordScan& in) {
  return Optional(in, [](CkxRecordScan& fields) { return fields.StoredText(); });
}
inline bool Package(CkxRecordScan& in) {
  return in.Skip(kFlag) && in.StoredText() &&
         Optional(in, [](CkxRecordScan& range) { return range.Skip(kVersionRange); }) && in.List(Publisher);
}

inline bool OriginFields(CkxRecordScan& in) {
  const auto users = [](CkxRecordScan& list) { return list.List(Sid); };
  const auto spawner = [](CkxRecordScan& fields) { return fields.Skip(kSpawner); };
  return in.Skip(kFlag + sizeof(uint32_t)) && Optional(in, NonEmptyText) && Optional(in, LocationFields) &&
         Optional(in, Package) && Optional(in, spawner) && Optional(in, Pattern) && Optional(in, users);
}

/// What follows the byte that says that a property is set.
template <EkxTargetField property>
inline bool SkipProperty(CkxRecordScan& in) {
  if constexpr (property == Arguments || property == Text) return Pattern(in);
  if constexpr (property == Location) return LocationFields(in);
  if constexpr (property == Origin) return OriginFields(in);
  if constexpr (property == ServiceName) return in.StoredText();
  if constexpr (property == Owners) return in.List(Sid);
  if constexpr (property == FileVersions || property == ProductVersions) return in.Skip(kVersionRange);
  if constexpr (property == InstallerProperties || property == VersionFields) return in.List(NamedPattern);
  if constexpr (property == Publishers) return in.List(Publisher);
  if constexpr (property == ParentProcess) return in.Skip(kParentProcess);
  if constexpr (property == Capabilities) return in.List(FlaggedText);
}

/// The property after the byte that says that it is set.
template <EkxTargetField property>
[[gnu::always_inline]] inline bool ScanProperty(CkxRecordScan& in, SkxScannedTarget& target) {
  target.set |= KxTargetField_Bit(property);
  if constexpr (property == FileName) {
    return FileNameFields(in, target);
  } else {
    target.at[static_cast<size_t>(property)] = in.At();
    CkxRecordScan fields(in.At(), in.End());
    if (!SkipProperty<property>(fields)) return false;
    in.GoTo(fields.At());
    return true;
  }
}

template <EkxTargetField field>
[[gnu::always_inline]] inline bool ScanPlainField(CkxRecordScan& in, SkxScannedTarget& target) {
  if constexpr (field == Byte) return in.Skip(kFlag);
  if constexpr (field == PlainText) return in.Text();
  if constexpr (field == StoredText) return in.StoredText();
  if constexpr (field == Guid) {
    target.group = in.At();
    return in.Skip(sizeof(GUID));
  }
}

/// Bytes of a field that says nothing, all of them 0.
constexpr size_t EmptyBytes(EkxTargetField field) {
  return field == PlainText || field == StoredText ? sizeof(uint32_t) : kFlag;
}

/// The fields of a kind behind the header, in the order of the record. Inlined, so that where the scan is stays in
/// registers. Behind the properties that a target has there is usually nothing: that is seen at once.
template <EkxTargetField field, EkxTargetField... rest>
[[gnu::always_inline]] inline bool Scan(CkxRecordScan& in, SkxScannedTarget& target) {
  constexpr size_t emptyRest = (EmptyBytes(rest) + ... + 0);
  if constexpr (!IsProperty(field)) {
    if (!ScanPlainField<field>(in, target)) return false;
  } else if (!in.SkipZero()) {
    if (!in.Skip(kFlag) || !ScanProperty<field>(in, target)) return false;
    if constexpr (emptyRest >= sizeof(uint64_t) && emptyRest <= 2 * sizeof(uint64_t)) {
      if (in.SkipZeros(emptyRest)) return true;
    }
  }
  if constexpr (sizeof...(rest) != 0) {
    return Scan<rest...>(in, target);
  } else {
    return true;
  }
}

[[gnu::always_inline]] inline bool ScanBody(CkxRecordScan& in, SkxScannedTarget& target) {
  switch (target.type) {
    case EkxPolicyTarget::AppGroupLink:
      return Scan<Guid>(in, target);
    case EkxPolicyTarget::Executable:
      return Scan<Byte, FileVersions, ProductVersions, Location, FileName, Arguments, Owners, Publishers, VersionFields,
                  ServiceName, ParentProcess, PlainText, Origin, StoredText>(in, target);
    case EkxPolicyTarget::Script:
      return Scan<Byte, Byte, Location, FileName, Arguments, Owners, Publishers, ParentProcess, Origin>(in, target);
    case EkxPolicyTarget::Msi:
      return Scan<ProductVersions, Location, FileName, Arguments, Owners, Publishers, InstallerProperties,
                  ParentProcess, Origin>(in, target);
    case EkxPolicyTarget::Msu:
      return Scan<Location, FileName, Owners, Publishers, ParentProcess, Origin>(in, target);
    case EkxPolicyTarget::Url:
      return Scan<Text>(in, target);
    case EkxPolicyTarget::ActiveX:
      return Scan<Text, Text, Location, FileName, Publishers>(in, target);
    case EkxPolicyTarget::Com:
      return Scan<Text, Location, FileName, Owners, Publishers, VersionFields>(in, target);
    case EkxPolicyTarget::Exclude:
      return Scan<Location, FileName, PlainText>(in, target);
    case EkxPolicyTarget::AppPackage:
      return Scan<Byte, FileVersions, Text, Publishers, Capabilities>(in, target);
    case EkxPolicyTarget::Dll:
      return Scan<FileVersions, ProductVersions, Location, FileName, Owners, Publishers, VersionFields, Origin>(in,
                                                                                                                target);
    default:
      return false;
  }
}

}  // namespace kx_target_scan

/// Goes over the target at `at` and returns where the next one begins; null where the reader of objects would refuse
/// it, and for kinds that are not known here.
[[gnu::always_inline]] inline const unsigned char* KxTargetScan_Next(const unsigned char* at, const unsigned char* end,
                                                                     SkxScannedTarget& target) {
  CkxRecordScan in(at, end);
  if (in.Left() < sizeof(SkxTargetBufHeader)) return nullptr;
  const auto* const header = reinterpret_cast<const SkxTargetBufHeader*>(at);
  if (header->magic != SkxTargetBufHeader::kMagic || header->size > in.Left()) return nullptr;
  target.type = header->type;
  target.set = 0;
  in.Skip(sizeof(SkxTargetBufHeader));
  return kx_target_scan::ScanBody(in, target) ? target.end = in.At() : nullptr;
}
