// Targets in policy documents; policy_fields.h has the rest.
#pragma once

#include <array>

#include "Agent/engine/kx_publish/document/document_fields.h"
#include "Agent/engine/kx_util/match/compare_modes.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"

inline constexpr auto kKxCompareAs = [] {
  std::array<SkxCodeName, std::size(kKxCompareModes)> names{};
  for (size_t i = 0; i < names.size(); ++i) {
    names[i] = {static_cast<uint32_t>(kKxCompareModes[i].code), kKxCompareModes[i].key};
  }
  return names;
}();
inline constexpr SkxCodeName kKxSpawnerModes[] = {{1, "callerMadeFile"}, {2, "callerDidNotMakeFile"}};
inline constexpr SkxCodeName kKxSourceTypes[] = {{1, "Internet"},   {2, "eMail"}, {3, "SoftwareDistributor"},
                                                 {5, "LocalShare"}, {4, "Share"}, {6, "Removable"},
                                                 {7, "CDROM"},      {8, "DevApp"}};
inline constexpr SkxCodeName kKxRegistryRoots[] = {
    {0x80000000, "HKCR"}, {0x80000001, "HKCU"}, {0x80000002, "HKLM"}, {0x80000003, "HKU"}, {0x80000005, "HKCC"}};

/// The words for drives, and the one for all of them.
inline std::vector<std::string> KxLocationTypes() {
  std::vector<std::string> types = {"ANY"};
  for (const SkxDriveTypeWord& drive : kKxDriveTypeWords) types.push_back(KxText_ToUtf8(drive.word));
  return types;
}

/// An object that has these keys alone, all with the same text, may be written as that text.
template <class Value>
inline constexpr std::array<const char*, 0> kKxShorthand{};
template <>
inline constexpr std::array kKxShorthand<SkxTextTest>{"pattern"};
template <>
inline constexpr std::array kKxShorthand<SkxPublisherTest>{"pattern"};
template <>
inline constexpr std::array kKxShorthand<SkxFileNameTest>{"pattern"};
template <>
inline constexpr std::array kKxShorthand<SkxLocationTest>{"pattern"};
template <>
inline constexpr std::array kKxShorthand<SkxVersionBounds>{"min", "max"};
template <>
inline constexpr std::array kKxShorthand<SkxCapabilityTest>{"name"};

/// How a pattern is compared when its author does not say.
inline uint16_t KxDefaultCompareAs(const KxWString& pattern) {
  return pattern.find_first_of(KXW("*?")) == KxWString::npos ? 1 : 4;
}

inline constexpr SkxKeyText kKxPattern{nullptr, "what the text is compared with; empty: only the empty text equals it"};

template <class Struct>
consteval auto KxCompareAs(uint16_t Struct::*member) {
  return KxKey<EkxKey::CompareAs>(
      member,
      {nullptr,
       "how the pattern is compared: the same text, the beginning, a part, with * and ? as placeholders, a regular "
       "expression for the whole; a number is for modes that have no name; default: \"wildcard\" when the pattern has "
       "a * or a ?, else \"equals\""});
}
template <class Struct>
consteval auto KxFileNameAndHash(std::optional<SkxFileNameTest> Struct::*member) {
  return KxKey<EkxKey::FileNameAndHash>(member, {nullptr, "the part of its path after the last separator"});
}
template <class Struct>
consteval auto KxClassId(std::optional<SkxTextTest> Struct::*member) {
  return KxKey<EkxKey::ClassId>(
      member,
      {nullptr, "a text alone is the id of the class; as a test the pattern is compared with the id in its braces"});
}
template <class Struct>
consteval auto KxAccessMask(uint32_t Struct::*member) {
  return KxKey<EkxKey::AccessMask>(
      member, {nullptr,
               "the access rights, bits as the system defines them for that kind of thing: a number, or its "
               "hexadecimal digits after \"0x\""});
}
template <class Struct>
consteval auto KxGroup(GUID Struct::*member, const char* meaning) {
  return KxKey<EkxKey::Group>(member, {nullptr, meaning});
}

template <>
inline constexpr auto kKxFields<SkxTextTest> = std::tuple{
    KxRequired(&SkxTextTest::pattern, kKxPattern),
    KxOptional(&SkxTextTest::caseSensitive),
    KxCompareAs(&SkxTextTest::compareAs),
};
template <>
inline constexpr const char* kKxDescription<SkxTextTest> = "a text that matches a pattern";

template <>
inline constexpr auto kKxFields<SkxPublisherTest> = std::tuple{
    KxOptional(&SkxPublisherTest::unsignedOnly),
    KxRequiredUnless(&SkxPublisherTest::pattern, &SkxPublisherTest::unsignedOnly, kKxPattern),
    KxOptional(&SkxPublisherTest::caseSensitive),
    KxCompareAs(&SkxPublisherTest::compareAs),
};
template <>
inline constexpr const char* kKxDescription<SkxPublisherTest> = "a signer whose name matches a pattern";

template <>
inline constexpr auto kKxFields<SkxVersionFieldTest> = std::tuple{
    KxNotEmpty(&SkxVersionFieldTest::name),
    SkxKeysOfBase<SkxTextTest>(),
};

template <>
inline constexpr auto kKxFields<SkxInstallerPropertyTest> = std::tuple{
    KxNotEmpty(&SkxInstallerPropertyTest::name),
    SkxKeysOfBase<SkxTextTest>(),
};

template <>
inline constexpr auto kKxFields<SkxFileNameTest> = std::tuple{
    KxRequired(&SkxFileNameTest::pattern, kKxPattern),
    KxCompareAs(&SkxFileNameTest::compareAs),
};
template <>
inline constexpr const char* kKxDescription<SkxFileNameTest> = "a file's name, without regard to case";

template <>
inline constexpr auto kKxFields<SkxLocationTest> = std::tuple{
    KxOptional(&SkxLocationTest::pattern,
               {nullptr,
                "the folder; with * or ?: a pattern for the whole path up to its last separator, this included; "
                "\"CDROM:\" in place of a drive stands for any optical drive"}),
    KxOptional(&SkxLocationTest::withSubfolders),
    KxKey<EkxKey::LocationTypes>(&SkxLocationTest::types, {nullptr, "what the drive may be; default: anything"}),
};
template <>
inline constexpr const char* kKxDescription<SkxLocationTest> = "the folder that a file is in";

template <>
inline constexpr auto kKxFields<SkxVersionBounds> = std::tuple{
    KxKey<EkxKey::LeastVersion>(&SkxVersionBounds::min, {nullptr, "the lowest version that counts; default: none"}),
    KxKey<EkxKey::GreatestVersion>(&SkxVersionBounds::max, {nullptr, "the highest version that counts; default: none"}),
};
template <>
inline constexpr const char* kKxDescription<SkxVersionBounds> =
    "a version in the range, bounds included; a text alone: exactly that version, or with \"*\" all that begin so";

template <>
inline constexpr auto kKxFields<SkxParentTest> = std::tuple{
    KxGroup(&SkxParentTest::includedGroup, "the group that the parent must belong to"),
    KxOptional(&SkxParentTest::includedAnyAncestor),
    KxGroup(&SkxParentTest::excludedGroup, "the group that the parent must not belong to"),
    KxOptional(&SkxParentTest::excludedAnyAncestor),
};

template <>
inline constexpr auto kKxFields<SkxPackageTest> = std::tuple{
    KxOptional(&SkxPackageTest::flag),
    KxOptional(&SkxPackageTest::name),
    KxOptional(&SkxPackageTest::versions),
    KxOptional(&SkxPackageTest::publishers, {nullptr, "any of them signed that package"}),
};

template <>
inline constexpr auto kKxFields<SkxSpawnerTest> = std::tuple{
    KxOptional(&SkxSpawnerTest::allCallers),
    KxCoded(&SkxSpawnerTest::mode, kKxSpawnerModes, {nullptr, "whether the asking process is one of them"}),
};

template <>
inline constexpr auto kKxFields<SkxOriginTest> = std::tuple{
    KxOptional(&SkxOriginTest::flag),
    KxOptionalCoded(&SkxOriginTest::mainSourceType, kKxSourceTypes),
    KxOptional(&SkxOriginTest::distributionService),
    KxOptional(&SkxOriginTest::location),
    KxOptional(&SkxOriginTest::package),
    KxOptional(&SkxOriginTest::spawnerProcess),
    KxOptional(&SkxOriginTest::sourceAddress),
    KxOptional(&SkxOriginTest::users),
};
template <>
inline constexpr const char* kKxDescription<SkxOriginTest> =
    "where a file came from, as the agent recorded it; a file without a record does not match";

template <>
inline constexpr auto kKxFields<SkxCapabilityTest> = std::tuple{
    KxNotEmpty(&SkxCapabilityTest::name),
    KxOptional(&SkxCapabilityTest::required),
};
template <>
inline constexpr const char* kKxDescription<SkxCapabilityTest> =
    "something that a package may do, when it says so; a text alone: it must say so";

template <>
inline constexpr auto kKxFields<SkxMediaTest> = std::tuple{
    KxOptional(&SkxMediaTest::type),
    KxOptional(&SkxMediaTest::vendor),
    KxOptional(&SkxMediaTest::product),
    KxOptional(&SkxMediaTest::serialNumber),
};
template <>
inline constexpr const char* kKxDescription<SkxMediaTest> = "what a medium says of itself when it is plugged in";

template <>
inline constexpr auto kKxFields<SkxFsPath> = std::tuple{
    KxNotEmpty(&SkxFsPath::path),
    KxOptional(&SkxFsPath::folder),
};

template <>
inline constexpr auto kKxFields<SkxServiceTest> = std::tuple{
    KxNotEmpty(&SkxServiceTest::name, {"serviceName", "which service"}),
};

template <>
inline constexpr auto kKxFields<SkxGroupLink> = std::tuple{
    KxGroup(&SkxGroupLink::group, "which one"),
};
template <>
inline constexpr const char* kKxDescription<SkxGroupLink> = "stands for the targets of an application group";

template <>
inline constexpr auto kKxFields<SkxExeTarget> = std::tuple{
    KxFileNameAndHash(&SkxExeTarget::fileName), KxOptional(&SkxExeTarget::location),
    KxOptional(&SkxExeTarget::fileVersion),     KxOptional(&SkxExeTarget::productVersion),
    KxOptional(&SkxExeTarget::versionFields),   KxOptional(&SkxExeTarget::publishers),
    KxOptional(&SkxExeTarget::owners),          KxOptional(&SkxExeTarget::arguments),
    KxOptional(&SkxExeTarget::serviceName),     KxOptional(&SkxExeTarget::parentProcess),
    KxOptional(&SkxExeTarget::origin),          KxOptional(&SkxExeTarget::inheritable),
    KxOptional(&SkxExeTarget::users),           KxOptional(&SkxExeTarget::softwareDistributorName),
};
template <>
inline constexpr const char* kKxDescription<SkxExeTarget> = "a program: a file that is about to run, or a process";

template <>
inline constexpr auto kKxFields<SkxScriptTarget> = std::tuple{
    KxFileNameAndHash(&SkxScriptTarget::fileName), KxOptional(&SkxScriptTarget::location),
    KxOptional(&SkxScriptTarget::publishers),      KxOptional(&SkxScriptTarget::owners),
    KxOptional(&SkxScriptTarget::arguments),       KxOptional(&SkxScriptTarget::parentProcess),
    KxOptional(&SkxScriptTarget::origin),          KxOptional(&SkxScriptTarget::inheritable),
    KxOptional(&SkxScriptTarget::embedded),
};
template <>
inline constexpr const char* kKxDescription<SkxScriptTarget> = "a script, as a file or as what an interpreter runs";

template <>
inline constexpr auto kKxFields<SkxMsiTarget> = std::tuple{
    KxFileNameAndHash(&SkxMsiTarget::fileName), KxOptional(&SkxMsiTarget::location),
    KxOptional(&SkxMsiTarget::productVersion),  KxOptional(&SkxMsiTarget::installerProperties),
    KxOptional(&SkxMsiTarget::publishers),      KxOptional(&SkxMsiTarget::owners),
    KxOptional(&SkxMsiTarget::arguments),       KxOptional(&SkxMsiTarget::parentProcess),
    KxOptional(&SkxMsiTarget::origin),
};
template <>
inline constexpr const char* kKxDescription<SkxMsiTarget> =
    "an installer package, as a file or as what the installer installs";

template <>
inline constexpr auto kKxFields<SkxMsuTarget> = std::tuple{
    KxFileNameAndHash(&SkxMsuTarget::fileName), KxOptional(&SkxMsuTarget::location),
    KxOptional(&SkxMsuTarget::publishers),      KxOptional(&SkxMsuTarget::owners),
    KxOptional(&SkxMsuTarget::parentProcess),   KxOptional(&SkxMsuTarget::origin),
};
template <>
inline constexpr const char* kKxDescription<SkxMsuTarget> =
    "a system update package, as a file or as what is installed";

template <>
inline constexpr auto kKxFields<SkxUrlTarget> = std::tuple{
    KxOptional(&SkxUrlTarget::url),
};
template <>
inline constexpr const char* kKxDescription<SkxUrlTarget> = "a request to elevate a download";

template <>
inline constexpr auto kKxFields<SkxAdminTaskTarget> = std::tuple{
    KxKey<EkxKey::AdminTask>(&SkxAdminTaskTarget::task,
                             {nullptr, "its name, without regard to case (\"Date and Time\"), or its number"}),
};
template <>
inline constexpr const char* kKxDescription<SkxAdminTaskTarget> =
    "a task of the control panel or a management console, however it is started";

template <>
inline constexpr auto kKxFields<SkxActiveXTarget> = std::tuple{
    KxClassId(&SkxActiveXTarget::classId),          KxOptional(&SkxActiveXTarget::sourceAddress),
    KxFileNameAndHash(&SkxActiveXTarget::fileName), KxOptional(&SkxActiveXTarget::location),
    KxOptional(&SkxActiveXTarget::publishers),
};
template <>
inline constexpr const char* kKxDescription<SkxActiveXTarget> = "a control that a web page brings";

template <>
inline constexpr auto kKxFields<SkxFileSystemEntryTarget> = std::tuple{
    KxKeysOf(&SkxFileSystemEntryTarget::path),
    KxAccessMask(&SkxFileSystemEntryTarget::accessMask),
};
template <>
inline constexpr const char* kKxDescription<SkxFileSystemEntryTarget> =
    "a file or a folder that access is given to or taken from";

template <>
inline constexpr auto kKxFields<SkxRegistryKeyTarget> = std::tuple{
    KxCoded(&SkxRegistryKeyTarget::root, kKxRegistryRoots,
            {nullptr, "the key that the path begins at; a number is the value of the system's handle"}),
    KxRequired(&SkxRegistryKeyTarget::keyPath),
    KxAccessMask(&SkxRegistryKeyTarget::accessMask),
};
template <>
inline constexpr const char* kKxDescription<SkxRegistryKeyTarget> =
    "a registry key that access is given to or taken from";

template <>
inline constexpr auto kKxFields<SkxComTarget> = std::tuple{
    KxClassId(&SkxComTarget::classId),     KxFileNameAndHash(&SkxComTarget::fileName),
    KxOptional(&SkxComTarget::location),   KxOptional(&SkxComTarget::versionFields),
    KxOptional(&SkxComTarget::publishers), KxOptional(&SkxComTarget::owners),
};
template <>
inline constexpr const char* kKxDescription<SkxComTarget> = "a component that asks to be made elevated";

template <>
inline constexpr auto kKxFields<SkxExcludeTarget> = std::tuple{
    KxFileNameAndHash(&SkxExcludeTarget::fileName),
    KxOptional(&SkxExcludeTarget::location),
    KxOptional(&SkxExcludeTarget::users),
};
template <>
inline constexpr const char* kKxDescription<SkxExcludeTarget> = "files that an exclusion leaves out";

template <>
inline constexpr auto kKxFields<SkxServiceTarget> = std::tuple{
    KxKeysOf(&SkxServiceTarget::service),
    KxAccessMask(&SkxServiceTarget::accessMask),
};
template <>
inline constexpr const char* kKxDescription<SkxServiceTarget> = "a service that access is given to or taken from";

template <>
inline constexpr auto kKxFields<SkxUsbDeviceTarget> = std::tuple{
    KxOptional(&SkxUsbDeviceTarget::media),
    KxAccessMask(&SkxUsbDeviceTarget::accessMask),
};
template <>
inline constexpr const char* kKxDescription<SkxUsbDeviceTarget> = "a USB device that access is given to or taken from";

template <>
inline constexpr auto kKxFields<SkxOpticalDiscTarget> = std::tuple{
    KxOptional(&SkxOpticalDiscTarget::media),
    KxAccessMask(&SkxOpticalDiscTarget::accessMask),
};
template <>
inline constexpr const char* kKxDescription<SkxOpticalDiscTarget> =
    "an optical disc that access is given to or taken from";

template <>
inline constexpr auto kKxFields<SkxAppPackageTarget> = std::tuple{
    KxOptional(&SkxAppPackageTarget::packageName), KxOptional(&SkxAppPackageTarget::packageVersion),
    KxOptional(&SkxAppPackageTarget::publishers),  KxOptional(&SkxAppPackageTarget::capabilities),
    KxOptional(&SkxAppPackageTarget::inheritable),
};
template <>
inline constexpr const char* kKxDescription<SkxAppPackageTarget> = "an application package, by its identity";

template <>
inline constexpr auto kKxFields<SkxDllTarget> = std::tuple{
    KxFileNameAndHash(&SkxDllTarget::fileName), KxOptional(&SkxDllTarget::location),
    KxOptional(&SkxDllTarget::fileVersion),     KxOptional(&SkxDllTarget::productVersion),
    KxOptional(&SkxDllTarget::versionFields),   KxOptional(&SkxDllTarget::publishers),
    KxOptional(&SkxDllTarget::owners),          KxOptional(&SkxDllTarget::origin),
};
template <>
inline constexpr const char* kKxDescription<SkxDllTarget> = "a library";

/// What is wrong with a value that has been read as a whole; null when nothing is.
template <class Value>
const char* KxFaultOf(const Value&) {
  return nullptr;
}
inline const char* KxFaultOf(const SkxLocationTest& test) {
  return test.pattern.empty() ? "an empty pattern is met by no file" : nullptr;
}
inline const char* KxFaultOf(const SkxVersionBounds& bounds) {
  const bool bothGiven = bounds.min != SkxVersionBounds::kOpen && bounds.max != SkxVersionBounds::kOpen;
  return bothGiven && bounds.min > bounds.max ? "min is above max" : nullptr;
}
inline const char* KxFaultOf(const SkxParentTest& test) {
  const bool namesGroup = !KxGuid_IsNull(test.includedGroup) || !KxGuid_IsNull(test.excludedGroup);
  return namesGroup ? nullptr : "names neither an includedGroup nor an excludedGroup";
}
inline const char* KxFaultOf(const SkxGroupLink& link) {
  return KxGuid_IsNull(link.group) ? "\"group\" is missing" : nullptr;
}
inline const char* KxFaultOf(const SkxExcludeTarget& target) {
  const bool byHash = target.fileName.has_value() && !target.fileName->hash.empty();
  return byHash ? "exclusions go by name and place, not by hash" : nullptr;
}
