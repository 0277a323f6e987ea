// The shape of targets in policy documents, as policy_fields.h has it for the rest.
#pragma once

#include <array>

#include "Agent/engine/kx_publish/model/target_model.h"
#include "Common_CPP/util/guid.h"

struct SkxCodeName {
  uint32_t code;
  const char* name;
};

inline constexpr SkxCodeName kKxCompareAs[] = {
    {1, "equals"}, {2, "startsWith"}, {3, "contains"}, {4, "wildcard"}, {5, "regExp"}};
inline constexpr SkxCodeName kKxSpawnerModes[] = {{1, "callerMadeFile"}, {2, "callerDidNotMakeFile"}};
inline constexpr SkxCodeName kKxRegistryRoots[] = {
    {0x80000000, "HKCR"}, {0x80000001, "HKCU"}, {0x80000002, "HKLM"}, {0x80000003, "HKU"}, {0x80000005, "HKCC"}};

inline constexpr const char* kKxLocationTypes[] = {"ANY",    "UNKNOWN", "REMOVABLE", "FIXED",
                                                   "REMOTE", "CDROM",   "RAMDISK"};

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

template <class Io>
void KxFields(Io& io, SkxTextTest& test) {
  io.Required("pattern", test.pattern);
  io.Field("caseSensitive", test.caseSensitive, false);
  io.Coded("compareAs", test.compareAs, kKxCompareAs, KxDefaultCompareAs(test.pattern));
}

template <class Io>
void KxFields(Io& io, SkxPublisherTest& test) {
  io.Field("unsignedOnly", test.unsignedOnly, false);
  if (!test.unsignedOnly) return KxFields(io, static_cast<SkxTextTest&>(test));
  io.Field("pattern", test.pattern, KxWString());
  io.Field("caseSensitive", test.caseSensitive, false);
  io.Coded("compareAs", test.compareAs, kKxCompareAs, KxDefaultCompareAs(test.pattern));
}

template <class Io>
void KxFields(Io& io, SkxVersionFieldTest& test) {
  io.Name("field", test.name);
  KxFields(io, static_cast<SkxTextTest&>(test));
}

template <class Io>
void KxFields(Io& io, SkxInstallerPropertyTest& test) {
  io.Name("property", test.name);
  KxFields(io, static_cast<SkxTextTest&>(test));
}

template <class Io>
void KxFields(Io& io, SkxFileNameTest& test) {
  io.Required("pattern", test.pattern);
  io.Coded("compareAs", test.compareAs, kKxCompareAs, KxDefaultCompareAs(test.pattern));
}

template <class Io>
void KxFields(Io& io, SkxLocationTest& test) {
  io.Field("pattern", test.pattern, KxWString(KXW("*")));
  io.Field("withSubfolders", test.withSubfolders, false);
  io.LocationTypes("types", test.types);
}

template <class Io>
void KxFields(Io& io, SkxVersionBounds& bounds) {
  io.Version("min", bounds.min, uint16_t{0});
  io.Version("max", bounds.max, uint16_t{0xFFFF});
}

template <class Io>
void KxFields(Io& io, SkxParentTest& test) {
  io.Group("includedGroup", test.includedGroup);
  io.Field("includedAnyAncestor", test.includedAnyAncestor, false);
  io.Group("excludedGroup", test.excludedGroup);
  io.Field("excludedAnyAncestor", test.excludedAnyAncestor, false);
}

template <class Io>
void KxFields(Io& io, SkxPackageTest& test) {
  io.Field("flag", test.flag, false);
  io.Field("name", test.name, KxWString());
  io.Property("versions", test.versions);
  io.List("publishers", test.publishers);
}

template <class Io>
void KxFields(Io& io, SkxSpawnerTest& test) {
  io.Field("allCallers", test.allCallers, false);
  io.Coded("mode", test.mode, kKxSpawnerModes);
}

template <class Io>
void KxFields(Io& io, SkxOriginTest& test) {
  io.Field("flag", test.flag, false);
  io.Field("mainSourceType", test.mainSourceType, 0u);
  io.Property("distributionService", test.distributionService);
  io.Property("location", test.location);
  io.Property("package", test.package);
  io.Property("spawnerProcess", test.spawnerProcess);
  io.Property("sourceAddress", test.sourceAddress);
  io.Property("users", test.users);
}

template <class Io>
void KxFields(Io& io, SkxCapabilityTest& test) {
  io.Name("name", test.name);
  io.Field("required", test.required, true);
}

template <class Io>
void KxFields(Io& io, SkxMediaTest& test) {
  io.Property("type", test.type);
  io.Property("vendor", test.vendor);
  io.Property("product", test.product);
  io.Property("serialNumber", test.serialNumber);
}

template <class Io>
void KxFields(Io& io, SkxGroupLink& link) {
  io.Group("group", link.group);
}

template <class Io>
void KxFields(Io& io, SkxExeTarget& target) {
  io.FileNameAndHash(target.fileName);
  io.Property("location", target.location);
  io.Property("fileVersion", target.fileVersion);
  io.Property("productVersion", target.productVersion);
  io.Property("versionFields", target.versionFields);
  io.Property("publishers", target.publishers);
  io.Property("owners", target.owners);
  io.Property("arguments", target.arguments);
  io.Property("serviceName", target.serviceName);
  io.Property("parentProcess", target.parentProcess);
  io.Property("origin", target.origin);
  io.Field("inheritable", target.inheritable, false);
  io.Field("users", target.users, KxWString());
  io.Field("softwareDistributorName", target.softwareDistributorName, KxWString());
}

template <class Io>
void KxFields(Io& io, SkxScriptTarget& target) {
  io.FileNameAndHash(target.fileName);
  io.Property("location", target.location);
  io.Property("publishers", target.publishers);
  io.Property("owners", target.owners);
  io.Property("arguments", target.arguments);
  io.Property("parentProcess", target.parentProcess);
  io.Property("origin", target.origin);
  io.Field("inheritable", target.inheritable, false);
  io.Field("embedded", target.embedded, false);
}

template <class Io>
void KxFields(Io& io, SkxMsiTarget& target) {
  io.FileNameAndHash(target.fileName);
  io.Property("location", target.location);
  io.Property("productVersion", target.productVersion);
  io.Property("installerProperties", target.installerProperties);
  io.Property("publishers", target.publishers);
  io.Property("owners", target.owners);
  io.Property("arguments", target.arguments);
  io.Property("parentProcess", target.parentProcess);
  io.Property("origin", target.origin);
}

template <class Io>
void KxFields(Io& io, SkxMsuTarget& target) {
  io.FileNameAndHash(target.fileName);
  io.Property("location", target.location);
  io.Property("publishers", target.publishers);
  io.Property("owners", target.owners);
  io.Property("parentProcess", target.parentProcess);
  io.Property("origin", target.origin);
}

template <class Io>
void KxFields(Io& io, SkxUrlTarget& target) {
  io.Property("url", target.url);
}

template <class Io>
void KxFields(Io& io, SkxAdminTaskTarget& target) {
  io.AdminTask("task", target.task);
}

template <class Io>
void KxFields(Io& io, SkxActiveXTarget& target) {
  io.ClassId("classId", target.classId);
  io.Property("sourceAddress", target.sourceAddress);
  io.FileNameAndHash(target.fileName);
  io.Property("location", target.location);
  io.Property("publishers", target.publishers);
}

template <class Io>
void KxFields(Io& io, SkxFileSystemEntryTarget& target) {
  io.Name("path", target.path.path);
  io.Field("folder", target.path.folder, false);
  io.AccessMask("accessMask", target.accessMask);
}

template <class Io>
void KxFields(Io& io, SkxRegistryKeyTarget& target) {
  io.Coded("root", target.root, kKxRegistryRoots);
  io.Required("keyPath", target.keyPath);
  io.AccessMask("accessMask", target.accessMask);
}

template <class Io>
void KxFields(Io& io, SkxComTarget& target) {
  io.ClassId("classId", target.classId);
  io.FileNameAndHash(target.fileName);
  io.Property("location", target.location);
  io.Property("versionFields", target.versionFields);
  io.Property("publishers", target.publishers);
  io.Property("owners", target.owners);
}

template <class Io>
void KxFields(Io& io, SkxExcludeTarget& target) {
  io.FileNameAndHash(target.fileName);
  io.Property("location", target.location);
  io.Field("users", target.users, KxWString());
}

template <class Io>
void KxFields(Io& io, SkxServiceTarget& target) {
  io.Name("serviceName", target.service.name);
  io.AccessMask("accessMask", target.accessMask);
}

template <class Io>
void KxFields(Io& io, SkxMediaTarget& target) {
  io.Property("media", target.media);
  io.AccessMask("accessMask", target.accessMask);
}

template <class Io>
void KxFields(Io& io, SkxAppPackageTarget& target) {
  io.Property("packageName", target.packageName);
  io.Property("packageVersion", target.packageVersion);
  io.Property("publishers", target.publishers);
  io.Property("capabilities", target.capabilities);
  io.Field("inheritable", target.inheritable, false);
}

template <class Io>
void KxFields(Io& io, SkxDllTarget& target) {
  io.FileNameAndHash(target.fileName);
  io.Property("location", target.location);
  io.Property("fileVersion", target.fileVersion);
  io.Property("productVersion", target.productVersion);
  io.Property("versionFields", target.versionFields);
  io.Property("publishers", target.publishers);
  io.Property("owners", target.owners);
  io.Property("origin", target.origin);
}

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
