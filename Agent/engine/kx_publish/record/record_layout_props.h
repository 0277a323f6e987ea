// The tables of record_layout.h, first part: sizes, and every kind of property. For record_layout.cpp alone.
#pragma once

#include "Agent/engine/kx_publish/record/record_layout.h"

namespace kx_layout {

using F = EkxField;
using Fields = SkxLayoutField[];

struct FixedKind {
  EkxField kind;
  size_t bytes;
};
inline constexpr FixedKind kFixedKinds[] = {
    {F::U8, 1},        {F::U16, 2},
    {F::U32, 4},       {F::U64, 8},
    {F::I64, 8},       {F::Flag, 1},
    {F::Guid, 16},     {F::GroupId, 16},
    {F::AlertId, 16},  {F::AlertType, 2},
    {F::TaskId, 4},    {F::Version, 8},
    {F::CompareAs, 2}, {F::BitmaskCompareAs, 2},
};

inline constexpr size_t FixedBytes(EkxField kind) {
  for (const FixedKind& row : kFixedKinds) {
    if (row.kind == kind) return row.bytes;
  }
  return 0;
}

inline constexpr size_t FixedBytes(const SkxLayout& layout) {
  size_t bytes = 0;
  for (const SkxLayoutField& field : layout.fields) bytes += FixedBytes(field.kind) + field.bytes;
  return bytes;
}

/// The list of properties of one kind: u32 count, then elements with a flag of their own.
template <const SkxLayout& layout>
inline constexpr SkxLayoutField kElementFields[] = {{"", F::Property, &layout, ""}};
template <const SkxLayout& layout>
inline constexpr SkxLayout kElement = {layout.name, kElementFields<layout>};
template <const SkxLayout& layout>
inline constexpr SkxLayoutField kListFields[] = {{"", F::List, &kElement<layout>, ""}};
template <const SkxLayout& layout>
inline constexpr SkxLayout kListOf = {layout.name, kListFields<layout>};

inline constexpr Fields kTextTestFields = {
    {"pattern", F::ObfuscatedText, nullptr, "what to compare with"},
    {"caseSensitive", F::Flag, nullptr, "whether upper and lower case differ"},
    {"compareAs", F::CompareAs, nullptr, "how to compare"},
};
inline constexpr SkxLayout kTextTest = {"Text test", kTextTestFields};

inline constexpr Fields kBitmaskTestFields = {
    {"mask", F::U32, nullptr, "the bits to compare with"},
    {"compareAs", F::BitmaskCompareAs, nullptr, "how to compare"},
};
inline constexpr SkxLayout kBitmaskTest = {"Bitmask test", kBitmaskTestFields};

inline constexpr Fields kFileNameTestFields = {
    {"pattern", F::ObfuscatedText, nullptr, "against the last part of the path; case never counts"},
    {"compareAs", F::CompareAs, nullptr, "how to compare"},
    {"hashAlgorithm", F::Text, nullptr, "`MD5`, `SHA1`, `SHA256`, `SHA384` or `SHA512`; absent when there is no hash"},
    {"hash", F::Text, nullptr, "`ALGORITHM##HEX`, asked for besides the name; absent: any content"},
    {"fileSize", F::I64, nullptr, "in bytes, compared only together with a hash; -1: any"},
};
inline constexpr SkxLayout kFileNameTest = {"File name test", kFileNameTestFields};

inline constexpr Fields kLocationTestFields = {
    {"pattern", F::ObfuscatedText, nullptr, "a folder, or with wildcards a path up to its last backslash"},
    {"withSubfolders", F::Flag, nullptr, "whether folders below it count too; not with wildcards"},
    {"types", F::Text, nullptr,
     "where the drive must be: `ANY`, `UNKNOWN`, `REMOVABLE`, `FIXED`, `REMOTE`, `CDROM`, `RAMDISK`, separated by `,` "
     "without blanks; absent: anywhere"},
};
inline constexpr SkxLayout kLocationTest = {"Location test", kLocationTestFields};

inline constexpr Fields kServiceTestFields = {
    {"name", F::ObfuscatedText, nullptr, "one of the services of the process"}};
inline constexpr SkxLayout kServiceTest = {"Service name test", kServiceTestFields};

inline constexpr Fields kVersionRangeFields = {
    {"min", F::Version, nullptr, "the lowest version that counts"},
    {"max", F::Version, nullptr, "the highest version that counts"},
};
inline constexpr SkxLayout kVersionRange = {"Version range", kVersionRangeFields};

inline constexpr Fields kPublisherTestFields = {
    {"", F::Part, &kTextTest, "against the signer's name"},
    {"unsignedOnly", F::Flag, nullptr, "asks for a file without a signature instead, whatever the pattern"},
};
inline constexpr SkxLayout kPublisherTest = {"Publisher test", kPublisherTestFields};

inline constexpr Fields kOwnerTestFields = {{"sid", F::Sid, nullptr, "the owner of the file"}};
inline constexpr SkxLayout kOwnerTest = {"Owner test", kOwnerTestFields};

inline constexpr Fields kVersionFieldTestFields = {
    {"", F::Part, &kTextTest, "against the field's text"},
    {"field", F::ObfuscatedText, nullptr, "name of a text of the file's version resource, as `CompanyName`"},
};
inline constexpr SkxLayout kVersionFieldTest = {"Version field test", kVersionFieldTestFields};

inline constexpr Fields kInstallerPropertyTestFields = {
    {"", F::Part, &kTextTest, "against the property's text"},
    {"property", F::ObfuscatedText, nullptr, "name of a property of the package, as `ProductCode`"},
};
inline constexpr SkxLayout kInstallerPropertyTest = {"Installer property test", kInstallerPropertyTestFields};

inline constexpr Fields kParentTestFields = {
    {"includedGroup", F::GroupId, nullptr, "the group that the parent must belong to; null: none"},
    {"includedAnyAncestor", F::Flag, nullptr, "any ancestor will do; else the direct parent must"},
    {"excludedGroup", F::GroupId, nullptr, "the group that it must not belong to; null: none"},
    {"excludedAnyAncestor", F::Flag, nullptr, "no ancestor may; else only the direct parent may not"},
};
inline constexpr SkxLayout kParentTest = {"Parent process test", kParentTestFields};

inline constexpr Fields kNameValueFields = {
    {"", F::Part, &kTextTest, "against the name"},
    {"value", F::NonEmptyText, nullptr, "the value of that name"},
};
inline constexpr SkxLayout kNameValue = {"Name and value", kNameValueFields};

inline constexpr Fields kFsPathFields = {
    {"path", F::ObfuscatedText, nullptr, "of a file or a folder"},
    {"folder", F::Flag, nullptr, "whether it is a folder"},
};
inline constexpr SkxLayout kFsPath = {"File system path", kFsPathFields};

inline constexpr Fields kCapabilityTestFields = {
    {"name", F::ObfuscatedText, nullptr, "of a capability, as `internetClient`"},
    {"required", F::Flag, nullptr, "set: the package must declare it; clear: it must not"},
};
inline constexpr SkxLayout kCapabilityTest = {"Capability test", kCapabilityTestFields};

inline constexpr Fields kMediaTestFields = {
    {"type", F::Property, &kTextTest, "of the device"},
    {"vendor", F::Property, &kTextTest, "its maker"},
    {"product", F::Property, &kTextTest, "its model"},
    {"serialNumber", F::Property, &kTextTest, "the one piece"},
};
inline constexpr SkxLayout kMediaTest = {"Media test", kMediaTestFields};

inline constexpr Fields kDistributionServiceFields = {
    {"name", F::NonEmptyText, nullptr, "of the software distributor that brought the file"},
};
inline constexpr SkxLayout kDistributionService = {"Distribution service test", kDistributionServiceFields};

inline constexpr Fields kSpawnerTestFields = {
    {"allCallers", F::Flag, nullptr, "looks at every process that had a part in the file; else at the first"},
    {"mode", F::U8, nullptr, "1: the caller made the file; 2: it did not; anything else is never met"},
};
inline constexpr SkxLayout kSpawnerTest = {"Spawner process test", kSpawnerTestFields};

inline constexpr Fields kUserTestFields = {{"sid", F::Sid, nullptr, "a user or a group of users"}};
inline constexpr SkxLayout kUserTest = {"User test", kUserTestFields};

inline constexpr Fields kPackageTestFields = {
    {"flag", F::Flag, nullptr, "carried"},
    {"name", F::ObfuscatedText, nullptr, "of the package that brought the file"},
    {"versions", F::Property, &kVersionRange, "of that package"},
    {"publishers", F::List, &kElement<kPublisherTest>, "of that package; no flag before the count"},
};
inline constexpr SkxLayout kPackageTest = {"Package test", kPackageTestFields};

inline constexpr Fields kOriginTestFields = {
    {"flag", F::Flag, nullptr, "the record of the origin is judged by its own flag, and nothing below counts"},
    {"mainSourceType", F::U32, nullptr, "the kind of source that the file came from; 0: any"},
    {"distributionService", F::Property, &kDistributionService, "what brought it"},
    {"location", F::Property, &kLocationTest, "where it was before"},
    {"package", F::Property, &kPackageTest, "the package that it came in"},
    {"spawnerProcess", F::Property, &kSpawnerTest, "what made it"},
    {"sourceAddress", F::Property, &kTextTest, "the address that it was downloaded from"},
    {"users", F::Property, &kListOf<kUserTest>, "any of them brought it"},
};
inline constexpr SkxLayout kOriginTest = {"Origin test", kOriginTestFields};

inline constexpr const SkxLayout* kProperties[] = {
    &kTextTest,   &kFileNameTest,        &kLocationTest,     &kVersionRange,          &kPublisherTest,
    &kOwnerTest,  &kServiceTest,         &kVersionFieldTest, &kInstallerPropertyTest, &kParentTest,
    &kOriginTest, &kDistributionService, &kPackageTest,      &kSpawnerTest,           &kUserTest,
    &kFsPath,     &kMediaTest,           &kCapabilityTest,   &kBitmaskTest,           &kNameValue,
};

}  // namespace kx_layout
