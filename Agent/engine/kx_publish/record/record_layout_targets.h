// The tables of record_layout.h, second part: the kinds of targets. For record_layout.cpp alone.
#pragma once

#include <kx_util/shared_policy_target.h>

#include "Agent/engine/kx_publish/record/record_layout_props.h"

namespace kx_layout {

inline constexpr const char* kInheritable = "whether what it starts is judged the same";
inline constexpr const char* kAccessMask = "the system's access rights that the policy is about";

inline constexpr Fields kTargetHeaderFields = {
    {"magic", F::U32, nullptr, "always 0x22232427"},
    {"size", F::U32, nullptr, "bytes of the record, this header included"},
    {"id", F::Guid, nullptr, "of the target; reported with a decision"},
    {"type", F::U32, nullptr, "what the target is about, and which body follows"},
};
inline constexpr SkxLayout kTargetHeader = {"Target", kTargetHeaderFields};
static_assert(FixedBytes(kTargetHeader) == sizeof(SkxTargetBufHeader));

inline constexpr Fields kGroupLinkFields = {{"group", F::GroupId, nullptr, "stands for the targets of that group"}};
inline constexpr SkxLayout kGroupLink = {"Link to an application group", kGroupLinkFields};

inline constexpr Fields kExeFields = {
    {"inheritable", F::Flag, nullptr, kInheritable},
    {"fileVersion", F::Property, &kVersionRange, "of the file"},
    {"productVersion", F::Property, &kVersionRange, "of the product that it belongs to"},
    {"location", F::Property, &kLocationTest, "where it lies"},
    {"fileName", F::Property, &kFileNameTest, "its name, or its name and hash"},
    {"arguments", F::Property, &kTextTest, "of the process; a mere file never has them"},
    {"owners", F::Property, &kListOf<kOwnerTest>, "any of them"},
    {"publishers", F::Property, &kListOf<kPublisherTest>, "any of them"},
    {"versionFields", F::Property, &kListOf<kVersionFieldTest>, "all of them"},
    {"serviceName", F::Property, &kServiceTest, "the process runs that service"},
    {"parentProcess", F::Property, &kParentTest, "who started the process"},
    {"users", F::Text, nullptr, "a security descriptor (SDDL) or `KxNoUsers`; carried"},
    {"origin", F::Property, &kOriginTest, "where the file came from"},
    {"softwareDistributorName", F::ObfuscatedText, nullptr, "what the program is known as, when it brings software"},
};
inline constexpr SkxLayout kExe = {"Program", kExeFields};

inline constexpr Fields kScriptFields = {
    {"inheritable", F::Flag, nullptr, kInheritable},
    {"embedded", F::Flag, nullptr, "the policy brings the script with it"},
    {"location", F::Property, &kLocationTest, "where it lies"},
    {"fileName", F::Property, &kFileNameTest, "its name, or its name and hash"},
    {"arguments", F::Property, &kTextTest, "of the process that runs it"},
    {"owners", F::Property, &kListOf<kOwnerTest>, "any of them"},
    {"publishers", F::Property, &kListOf<kPublisherTest>, "any of them"},
    {"parentProcess", F::Property, &kParentTest, "who started the process that runs it"},
    {"origin", F::Property, &kOriginTest, "where the file came from"},
};
inline constexpr SkxLayout kScript = {"Script", kScriptFields};

inline constexpr Fields kMsiFields = {
    {"productVersion", F::Property, &kVersionRange, "of the product that it installs"},
    {"location", F::Property, &kLocationTest, "where it lies"},
    {"fileName", F::Property, &kFileNameTest, "its name, or its name and hash"},
    {"arguments", F::Property, &kTextTest, "of the process that installs it"},
    {"owners", F::Property, &kListOf<kOwnerTest>, "any of them"},
    {"publishers", F::Property, &kListOf<kPublisherTest>, "any of them"},
    {"installerProperties", F::Property, &kListOf<kInstallerPropertyTest>, "all of them"},
    {"parentProcess", F::Property, &kParentTest, "who started the process that installs it"},
    {"origin", F::Property, &kOriginTest, "where the file came from"},
};
inline constexpr SkxLayout kMsi = {"Installer package", kMsiFields};

inline constexpr Fields kMsuFields = {
    {"location", F::Property, &kLocationTest, "where it lies"},
    {"fileName", F::Property, &kFileNameTest, "its name, or its name and hash"},
    {"owners", F::Property, &kListOf<kOwnerTest>, "any of them"},
    {"publishers", F::Property, &kListOf<kPublisherTest>, "any of them"},
    {"parentProcess", F::Property, &kParentTest, "who started the process that installs it"},
    {"origin", F::Property, &kOriginTest, "where the file came from"},
};
inline constexpr SkxLayout kMsu = {"System update package", kMsuFields};

inline constexpr Fields kUrlFields = {{"url", F::Property, &kTextTest, "the address; not set, or empty: any"}};
inline constexpr SkxLayout kUrl = {"Address of a download", kUrlFields};

inline constexpr Fields kAdminTaskFields = {{"task", F::TaskId, nullptr, "number of the task"}};
inline constexpr SkxLayout kAdminTask = {"Administrative task", kAdminTaskFields};

inline constexpr Fields kActiveXFields = {
    {"classId", F::Property, &kTextTest, "`{...}`"},
    {"sourceAddress", F::Property, &kTextTest, "where it is installed from"},
    {"location", F::Property, &kLocationTest, "where it lies"},
    {"fileName", F::Property, &kFileNameTest, "its name, or its name and hash"},
    {"publishers", F::Property, &kListOf<kPublisherTest>, "any of them"},
};
inline constexpr SkxLayout kActiveX = {"Control of a web page", kActiveXFields};

inline constexpr Fields kFsEntryFields = {
    {"accessMask", F::U32, nullptr, kAccessMask},
    {"path", F::Property, &kFsPath, "which file or folder"},
};
inline constexpr SkxLayout kFsEntry = {"File or folder", kFsEntryFields};

inline constexpr Fields kRegKeyFields = {
    {"accessMask", F::U32, nullptr, kAccessMask},
    {"root", F::U32, nullptr, "the value of the system's handle, as 0x80000002 for HKLM"},
    {"keyPath", F::ObfuscatedText, nullptr, "path of the key below the root"},
};
inline constexpr SkxLayout kRegKey = {"Registry key", kRegKeyFields};

inline constexpr Fields kComFields = {
    {"classId", F::Property, &kTextTest, "`{...}`"},
    {"location", F::Property, &kLocationTest, "where its server lies"},
    {"fileName", F::Property, &kFileNameTest, "its server's name, or name and hash"},
    {"owners", F::Property, &kListOf<kOwnerTest>, "any of them"},
    {"publishers", F::Property, &kListOf<kPublisherTest>, "any of them"},
    {"versionFields", F::Property, &kListOf<kVersionFieldTest>, "all of them"},
};
inline constexpr SkxLayout kCom = {"Component", kComFields};

inline constexpr Fields kExcludeTargetFields = {
    {"location", F::Property, &kLocationTest, "where it lies"},
    {"fileName", F::Property, &kFileNameTest, "its name; one that names a hash is never met"},
    {"users", F::Text, nullptr, "for whom: a security descriptor (SDDL); absent, or `KxNoUsers`: everybody"},
};
inline constexpr SkxLayout kExcludeTarget = {"Exclusion", kExcludeTargetFields};

inline constexpr Fields kServiceFields = {
    {"accessMask", F::U32, nullptr, kAccessMask},
    {"serviceName", F::Property, &kServiceTest, "which service"},
};
inline constexpr SkxLayout kService = {"Service", kServiceFields};

inline constexpr Fields kMediaFields = {
    {"accessMask", F::U32, nullptr, kAccessMask},
    {"media", F::Property, &kListOf<kMediaTest>, "any of them; not set: every medium"},
};
inline constexpr SkxLayout kUsbDevice = {"USB device", kMediaFields};
inline constexpr SkxLayout kOpticalDisc = {"Optical disc", kMediaFields};

inline constexpr Fields kAppPackageFields = {
    {"inheritable", F::Flag, nullptr, kInheritable},
    {"packageVersion", F::Property, &kVersionRange, "of the package"},
    {"packageName", F::Property, &kTextTest, "its name"},
    {"publishers", F::Property, &kListOf<kPublisherTest>, "any of them"},
    {"capabilities", F::Property, &kListOf<kCapabilityTest>, "all of them"},
};
inline constexpr SkxLayout kAppPackage = {"Application package", kAppPackageFields};

inline constexpr Fields kDllFields = {
    {"fileVersion", F::Property, &kVersionRange, "of the file"},
    {"productVersion", F::Property, &kVersionRange, "of the product that it belongs to"},
    {"location", F::Property, &kLocationTest, "where it lies"},
    {"fileName", F::Property, &kFileNameTest, "its name, or its name and hash"},
    {"owners", F::Property, &kListOf<kOwnerTest>, "any of them"},
    {"publishers", F::Property, &kListOf<kPublisherTest>, "any of them"},
    {"versionFields", F::Property, &kListOf<kVersionFieldTest>, "all of them"},
    {"origin", F::Property, &kOriginTest, "where the file came from"},
};
inline constexpr SkxLayout kDll = {"Library", kDllFields};

inline constexpr uint32_t Code(EkxPolicyTarget type) { return static_cast<uint32_t>(type); }
inline constexpr SkxRecordBody kTargetBodies[] = {
    {Code(EkxPolicyTarget::AppGroupLink), &kGroupLink},
    {Code(EkxPolicyTarget::Executable), &kExe},
    {Code(EkxPolicyTarget::Script), &kScript},
    {Code(EkxPolicyTarget::Msi), &kMsi},
    {Code(EkxPolicyTarget::Msu), &kMsu},
    {Code(EkxPolicyTarget::Url), &kUrl},
    {Code(EkxPolicyTarget::AdminTask), &kAdminTask},
    {Code(EkxPolicyTarget::ActiveX), &kActiveX},
    {Code(EkxPolicyTarget::FileSystemEntry), &kFsEntry},
    {Code(EkxPolicyTarget::RegistryKey), &kRegKey},
    {Code(EkxPolicyTarget::Com), &kCom},
    {Code(EkxPolicyTarget::Exclude), &kExcludeTarget},
    {Code(EkxPolicyTarget::Service), &kService},
    {Code(EkxPolicyTarget::UsbDevice), &kUsbDevice},
    {Code(EkxPolicyTarget::OpticalDisc), &kOpticalDisc},
    {Code(EkxPolicyTarget::AppPackage), &kAppPackage},
    {Code(EkxPolicyTarget::Dll), &kDll},
};

inline constexpr Fields kTargetElementFields = {{"", F::Target, nullptr, ""}};
inline constexpr SkxLayout kTargetElement = {"Target", kTargetElementFields};

}  // namespace kx_layout
