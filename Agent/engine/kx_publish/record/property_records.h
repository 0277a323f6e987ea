// Properties as records: what targets ask for.
#pragma once

#include "Agent/engine/kx_publish/record/record_declaration.h"

template <>
inline constexpr auto kKxRecord<SkxTextTest> =
    KxRecord("Text test", KxField("pattern", &SkxTextTest::pattern, "what to compare with"),
             KxField("caseSensitive", &SkxTextTest::caseSensitive, "whether upper and lower case differ"),
             KxField("compareAs", &SkxTextTest::compareAs, "how to compare", EkxField::CompareAs));

template <>
inline constexpr auto kKxRecord<SkxBitmaskTest> =
    KxRecord("Bitmask test", KxField("mask", &SkxBitmaskTest::mask, "the bits to compare with"),
             KxField("compareAs", &SkxBitmaskTest::compareAs, "how to compare", EkxField::BitmaskCompareAs));

template <>
inline constexpr auto kKxRecord<SkxFileNameTest> = KxRecord(
    "File name test",
    KxField("pattern", &SkxFileNameTest::pattern, "against the last part of the path; case never counts"),
    KxField("compareAs", &SkxFileNameTest::compareAs, "how to compare", EkxField::CompareAs),
    KxField("hashAlgorithm", &SkxFileNameTest::hashAlgorithm,
            "`MD5`, `SHA1`, `SHA256`, `SHA384` or `SHA512`; `AUTHENTICODE-SHA1` or `AUTHENTICODE-SHA256` for what a "
            "signature covers; absent when there is no hash",
            EkxField::Text),
    KxField("hash", &SkxFileNameTest::hash, "`ALGORITHM##HEX`, asked for besides the name; absent: any content",
            EkxField::Text),
    KxField("fileSize", &SkxFileNameTest::fileSize, "in bytes, compared only together with a hash; -1: any"));

template <>
inline constexpr auto kKxRecord<SkxLocationTest> = KxRecord(
    "Location test",
    KxField("pattern", &SkxLocationTest::pattern, "a folder, or with wildcards a path up to its last backslash"),
    KxField("withSubfolders", &SkxLocationTest::withSubfolders,
            "whether folders below it count too; not with wildcards"),
    KxField("types", &SkxLocationTest::types,
            "where the drive must be: `ANY`, `UNKNOWN`, `REMOVABLE`, `FIXED`, `REMOTE`, `CDROM`, `RAMDISK`, separated "
            "by `,` without blanks; absent: anywhere",
            EkxField::Text));

template <>
inline constexpr auto kKxRecord<SkxServiceTest> =
    KxRecord("Service name test", KxField("name", &SkxServiceTest::name, "one of the services of the process"));

template <>
inline constexpr auto kKxRecord<SkxVersionBounds> = KxRecord(
    "Version range", KxField("min", &SkxVersionBounds::min, "the lowest version that counts", EkxField::Version),
    KxField("max", &SkxVersionBounds::max, "the highest version that counts", EkxField::Version));

template <>
inline constexpr auto kKxRecord<SkxPublisherTest> =
    KxRecord("Publisher test", SkxBase<SkxTextTest>{"against the signer's name"},
             KxField("unsignedOnly", &SkxPublisherTest::unsignedOnly,
                     "asks for a file without a signature instead, whatever the pattern"));

template <>
inline constexpr auto kKxRecord<SkxOwnerTest> = KxRecord("Owner test",
                                                         KxField("sid", &SkxOwnerTest::sid, "the owner of the file"));

template <>
inline constexpr auto kKxRecord<SkxVersionFieldTest> = KxRecord(
    "Version field test", SkxBase<SkxTextTest>{"against the field's text"},
    KxField("field", &SkxVersionFieldTest::name, "name of a text of the file's version resource, as `CompanyName`"));

template <>
inline constexpr auto kKxRecord<SkxInstallerPropertyTest> = KxRecord(
    "Installer property test", SkxBase<SkxTextTest>{"against the property's text"},
    KxField("property", &SkxInstallerPropertyTest::name, "name of a property of the package, as `ProductCode`"));

template <>
inline constexpr auto kKxRecord<SkxParentTest> =
    KxRecord("Parent process test",
             KxField("includedGroup", &SkxParentTest::includedGroup,
                     "the group that the parent must belong to; null: none", EkxField::GroupId),
             KxField("includedAnyAncestor", &SkxParentTest::includedAnyAncestor,
                     "any ancestor will do; else the direct parent must"),
             KxField("excludedGroup", &SkxParentTest::excludedGroup, "the group that it must not belong to; null: none",
                     EkxField::GroupId),
             KxField("excludedAnyAncestor", &SkxParentTest::excludedAnyAncestor,
                     "no ancestor may; else only the direct parent may not"));

template <>
inline constexpr auto kKxRecord<SkxNameValueTest> = KxRecord("Name and value", SkxBase<SkxTextTest>{"against the name"},
                                                             KxField("value", &SkxNameValueTest::value,
                                                                     "the value of that name", EkxField::NonEmptyText));

template <>
inline constexpr auto kKxRecord<SkxFsPath> = KxRecord("File system path",
                                                      KxField("path", &SkxFsPath::path, "of a file or a folder"),
                                                      KxField("folder", &SkxFsPath::folder, "whether it is a folder"));

template <>
inline constexpr auto kKxRecord<SkxCapabilityTest> =
    KxRecord("Capability test", KxField("name", &SkxCapabilityTest::name, "of a capability, as `internetClient`"),
             KxField("required", &SkxCapabilityTest::required, "set: the package must declare it; clear: it must not"));

template <>
inline constexpr auto kKxRecord<SkxMediaTest> = KxRecord(
    "Media test", KxField("type", &SkxMediaTest::type, "of the device"),
    KxField("vendor", &SkxMediaTest::vendor, "its maker"), KxField("product", &SkxMediaTest::product, "its model"),
    KxField("serialNumber", &SkxMediaTest::serialNumber, "the one piece"));

template <>
inline constexpr auto kKxRecord<SkxDistributionServiceTest> = KxRecord(
    "Distribution service test", KxField("name", &SkxDistributionServiceTest::name,
                                         "of the software distributor that brought the file", EkxField::NonEmptyText));

template <>
inline constexpr auto kKxRecord<SkxSpawnerTest> = KxRecord(
    "Spawner process test",
    KxField("allCallers", &SkxSpawnerTest::allCallers,
            "looks at every process that had a part in the file; else at the first"),
    KxField("mode", &SkxSpawnerTest::mode, "1: the caller made the file; 2: it did not; anything else is never met"));

template <>
inline constexpr auto kKxRecord<SkxUserTest> = KxRecord("User test", KxField("sid", &SkxUserTest::sid,
                                                                             "a user or a group of users"));

template <>
inline constexpr auto kKxRecord<SkxPackageTest> = KxRecord(
    "Package test",
    KxField("flag", &SkxPackageTest::flag, "the program that starts the file must have come in such a package too"),
    KxField("name", &SkxPackageTest::name, "of the package that brought the file, with * and ?; empty: any"),
    KxField("versions", &SkxPackageTest::versions, "of that package"),
    KxField("publishers", &SkxPackageTest::publishers, "of that package; no flag before the count"));

template <>
inline constexpr auto kKxRecord<SkxOriginTest> = KxRecord(
    "Origin test",
    KxField("flag", &SkxOriginTest::flag,
            "the record of the origin is judged by its own flag, and nothing below counts"),
    KxField("mainSourceType", &SkxOriginTest::mainSourceType, "the kind of source that the file came from; 0: any"),
    KxField("distributionService", &SkxOriginTest::distributionService, "what brought it",
            kKxAs<SkxDistributionServiceTest>),
    KxField("location", &SkxOriginTest::location, "where it was before"),
    KxField("package", &SkxOriginTest::package, "the package that it came in"),
    KxField("spawnerProcess", &SkxOriginTest::spawnerProcess, "what made it"),
    KxField("sourceAddress", &SkxOriginTest::sourceAddress, "the address that it was downloaded from"),
    KxField("users", &SkxOriginTest::users, "any of them brought it", kKxAs<SkxUserTest>));
