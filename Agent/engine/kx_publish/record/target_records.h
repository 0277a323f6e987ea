// Targets as records: what the kinds of targets have behind their header.
#pragma once

#include "Agent/engine/kx_publish/record/property_records.h"

/// The header of every target.
struct SkxTargetHeaderPart;
template <>
inline constexpr auto kKxRecord<SkxTargetHeaderPart> = KxRecord(
    "Target", SkxFrame{"magic", "always 0x22232427"}, SkxFrame{"size", "bytes of the record, this header included"},
    KxField("id", &SkxTargetModel::id, "of the target; reported with a decision"),
    SkxCode{"type", "what the target is about, and which body follows", EkxField::U32});

// What several kinds say of a field alike.
inline constexpr const char* kKxInheritable = "whether what it starts is judged the same";
inline constexpr const char* kKxAccessMask = "the system's access rights that the policy is about";
inline constexpr const char* kKxOfFile = "of the file";
inline constexpr const char* kKxOfProduct = "of the product that it belongs to";
inline constexpr const char* kKxWhere = "where it lies";
inline constexpr const char* kKxItsName = "its name, or its name and hash";
inline constexpr const char* kKxAny = "any of them";
inline constexpr const char* kKxAll = "all of them";
inline constexpr const char* kKxCameFrom = "where the file came from";

template <>
inline constexpr auto kKxRecord<SkxGroupLink> =
    KxRecord("Link to an application group",
             KxField("group", &SkxGroupLink::group, "stands for the targets of that group", EkxField::GroupId));

template <>
inline constexpr auto kKxRecord<SkxExeTarget> = KxRecord(
    "Program", KxField("inheritable", &SkxExeTarget::inheritable, kKxInheritable),
    KxField("fileVersion", &SkxExeTarget::fileVersion, kKxOfFile),
    KxField("productVersion", &SkxExeTarget::productVersion, kKxOfProduct),
    KxField("location", &SkxExeTarget::location, kKxWhere), KxField("fileName", &SkxExeTarget::fileName, kKxItsName),
    KxField("arguments", &SkxExeTarget::arguments, "of the process; a mere file never has them"),
    KxField("owners", &SkxExeTarget::owners, kKxAny, kKxAs<SkxOwnerTest>),
    KxField("publishers", &SkxExeTarget::publishers, kKxAny),
    KxField("versionFields", &SkxExeTarget::versionFields, kKxAll),
    KxField("serviceName", &SkxExeTarget::serviceName, "the process runs that service", kKxAs<SkxServiceTest>),
    KxField("parentProcess", &SkxExeTarget::parentProcess, "who started the process"),
    KxField("users", &SkxExeTarget::users, "a security descriptor (SDDL) or `KxNoUsers`; carried", EkxField::Text),
    KxField("origin", &SkxExeTarget::origin, kKxCameFrom),
    KxField("softwareDistributorName", &SkxExeTarget::softwareDistributorName,
            "what the program is known as, when it brings software"));

template <>
inline constexpr auto kKxRecord<SkxScriptTarget> =
    KxRecord("Script", KxField("inheritable", &SkxScriptTarget::inheritable, kKxInheritable),
             KxField("embedded", &SkxScriptTarget::embedded, "the policy brings the script with it"),
             KxField("location", &SkxScriptTarget::location, kKxWhere),
             KxField("fileName", &SkxScriptTarget::fileName, kKxItsName),
             KxField("arguments", &SkxScriptTarget::arguments, "of the process that runs it"),
             KxField("owners", &SkxScriptTarget::owners, kKxAny, kKxAs<SkxOwnerTest>),
             KxField("publishers", &SkxScriptTarget::publishers, kKxAny),
             KxField("parentProcess", &SkxScriptTarget::parentProcess, "who started the process that runs it"),
             KxField("origin", &SkxScriptTarget::origin, kKxCameFrom));

template <>
inline constexpr auto kKxRecord<SkxMsiTarget> = KxRecord(
    "Installer package", KxField("productVersion", &SkxMsiTarget::productVersion, "of the product that it installs"),
    KxField("location", &SkxMsiTarget::location, kKxWhere), KxField("fileName", &SkxMsiTarget::fileName, kKxItsName),
    KxField("arguments", &SkxMsiTarget::arguments, "of the process that installs it"),
    KxField("owners", &SkxMsiTarget::owners, kKxAny, kKxAs<SkxOwnerTest>),
    KxField("publishers", &SkxMsiTarget::publishers, kKxAny),
    KxField("installerProperties", &SkxMsiTarget::installerProperties, kKxAll),
    KxField("parentProcess", &SkxMsiTarget::parentProcess, "who started the process that installs it"),
    KxField("origin", &SkxMsiTarget::origin, kKxCameFrom));

template <>
inline constexpr auto kKxRecord<SkxMsuTarget> =
    KxRecord("System update package", KxField("location", &SkxMsuTarget::location, kKxWhere),
             KxField("fileName", &SkxMsuTarget::fileName, kKxItsName),
             KxField("owners", &SkxMsuTarget::owners, kKxAny, kKxAs<SkxOwnerTest>),
             KxField("publishers", &SkxMsuTarget::publishers, kKxAny),
             KxField("parentProcess", &SkxMsuTarget::parentProcess, "who started the process that installs it"),
             KxField("origin", &SkxMsuTarget::origin, kKxCameFrom));

template <>
inline constexpr auto kKxRecord<SkxUrlTarget> =
    KxRecord("Address of a download", KxField("url", &SkxUrlTarget::url, "the address; not set, or empty: any"));

template <>
inline constexpr auto kKxRecord<SkxAdminTaskTarget> =
    KxRecord("Administrative task", KxField("task", &SkxAdminTaskTarget::task, "number of the task", EkxField::TaskId));

template <>
inline constexpr auto kKxRecord<SkxActiveXTarget> =
    KxRecord("Control of a web page", KxField("classId", &SkxActiveXTarget::classId, "`{...}`"),
             KxField("sourceAddress", &SkxActiveXTarget::sourceAddress, "where it is installed from"),
             KxField("location", &SkxActiveXTarget::location, kKxWhere),
             KxField("fileName", &SkxActiveXTarget::fileName, kKxItsName),
             KxField("publishers", &SkxActiveXTarget::publishers, kKxAny));

template <>
inline constexpr auto kKxRecord<SkxFileSystemEntryTarget> =
    KxRecord("File or folder", KxField("accessMask", &SkxFileSystemEntryTarget::accessMask, kKxAccessMask),
             KxField("path", &SkxFileSystemEntryTarget::path, "which file or folder", EkxField::Property));

template <>
inline constexpr auto kKxRecord<SkxRegistryKeyTarget> =
    KxRecord("Registry key", KxField("accessMask", &SkxRegistryKeyTarget::accessMask, kKxAccessMask),
             KxField("root", &SkxRegistryKeyTarget::root, "the value of the system's handle, as 0x80000002 for HKLM"),
             KxField("keyPath", &SkxRegistryKeyTarget::keyPath, "path of the key below the root"));

template <>
inline constexpr auto kKxRecord<SkxComTarget> =
    KxRecord("Component", KxField("classId", &SkxComTarget::classId, "`{...}`"),
             KxField("location", &SkxComTarget::location, "where its server lies"),
             KxField("fileName", &SkxComTarget::fileName, "its server's name, or name and hash"),
             KxField("owners", &SkxComTarget::owners, kKxAny, kKxAs<SkxOwnerTest>),
             KxField("publishers", &SkxComTarget::publishers, kKxAny),
             KxField("versionFields", &SkxComTarget::versionFields, kKxAll));

template <>
inline constexpr auto kKxRecord<SkxExcludeTarget> =
    KxRecord("Exclusion", KxField("location", &SkxExcludeTarget::location, kKxWhere),
             KxField("fileName", &SkxExcludeTarget::fileName, "its name; one that names a hash is never met"),
             KxField("users", &SkxExcludeTarget::users,
                     "for whom: a security descriptor (SDDL); absent, or `KxNoUsers`: everybody", EkxField::Text));

template <>
inline constexpr auto kKxRecord<SkxServiceTarget> =
    KxRecord("Service", KxField("accessMask", &SkxServiceTarget::accessMask, kKxAccessMask),
             KxField("serviceName", &SkxServiceTarget::service, "which service", EkxField::Property));

template <>
inline constexpr auto kKxRecord<SkxUsbDeviceTarget> =
    KxRecord("USB device", KxField("accessMask", &SkxUsbDeviceTarget::accessMask, kKxAccessMask),
             KxField("media", &SkxUsbDeviceTarget::media, "any of them; not set: every medium"));

template <>
inline constexpr auto kKxRecord<SkxOpticalDiscTarget> =
    KxRecord("Optical disc", KxField("accessMask", &SkxOpticalDiscTarget::accessMask, kKxAccessMask),
             KxField("media", &SkxOpticalDiscTarget::media, "any of them; not set: every medium"));

template <>
inline constexpr auto kKxRecord<SkxAppPackageTarget> =
    KxRecord("Application package", KxField("inheritable", &SkxAppPackageTarget::inheritable, kKxInheritable),
             KxField("packageVersion", &SkxAppPackageTarget::packageVersion, "of the package"),
             KxField("packageName", &SkxAppPackageTarget::packageName, "its name"),
             KxField("publishers", &SkxAppPackageTarget::publishers, kKxAny),
             KxField("capabilities", &SkxAppPackageTarget::capabilities, kKxAll));

template <>
inline constexpr auto kKxRecord<SkxDllTarget> = KxRecord(
    "Library", KxField("fileVersion", &SkxDllTarget::fileVersion, kKxOfFile),
    KxField("productVersion", &SkxDllTarget::productVersion, kKxOfProduct),
    KxField("location", &SkxDllTarget::location, kKxWhere), KxField("fileName", &SkxDllTarget::fileName, kKxItsName),
    KxField("owners", &SkxDllTarget::owners, kKxAny, kKxAs<SkxOwnerTest>),
    KxField("publishers", &SkxDllTarget::publishers, kKxAny),
    KxField("versionFields", &SkxDllTarget::versionFields, kKxAll),
    KxField("origin", &SkxDllTarget::origin, kKxCameFrom));
