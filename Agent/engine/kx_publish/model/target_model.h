// What targets ask for, in plain values.
//
// An optional value is a property of a target: no value means that the property asks for nothing. In a list property an
// element may be without a value too (an owner, a capability or a medium without a value lets everything pass, any
// other such element is never met). An empty text is the same as an absent one.
#pragma once

#include <optional>
#include <variant>
#include <vector>

#include "Common_CPP/security/sid.h"

template <class Value>
using KxElements = std::vector<std::optional<Value>>;

struct SkxTextTest {
  KxWString pattern;
  bool caseSensitive = false;
  uint16_t compareAs = 1;  ///< EkxStrCompareAs, or a number outside its table
};

struct SkxFileNameTest {
  KxWString pattern;
  uint16_t compareAs = 1;
  KxWString hashAlgorithm;
  KxWString hash;         ///< ALGORITHM##HEX
  int64_t fileSize = -1;  ///< bytes; -1: any
};

struct SkxLocationTest {
  KxWString pattern = KXW("*");
  bool withSubfolders = false;
  KxWString types;  ///< separated by ","
};

struct SkxVersionBounds {
  static constexpr uint64_t kOpen = ~uint64_t{0};
  uint64_t min = kOpen;  ///< four 16-bit parts, major first
  uint64_t max = kOpen;
};

struct SkxPublisherTest : SkxTextTest {
  bool unsignedOnly = false;
};

/// The test of one text among several that a file has under names.
struct SkxNamedTextTest : SkxTextTest {
  KxWString name;
};
struct SkxVersionFieldTest : SkxNamedTextTest {};
struct SkxInstallerPropertyTest : SkxNamedTextTest {};

/// A name that has a value; no target asks for one.
struct SkxNameValueTest : SkxTextTest {
  KxWString value;
};

/// No target asks for one.
struct SkxBitmaskTest {
  uint32_t mask = 0;
  uint16_t compareAs = 1;  ///< EkxBitmaskCompareAs, or a number outside its table
};

// What properties of one value hold. Targets have the value alone.
struct SkxOwnerTest {
  CkxSid sid;
};
struct SkxUserTest {
  CkxSid sid;
};
struct SkxServiceTest {
  KxWString name;
};
struct SkxDistributionServiceTest {
  KxWString name;
};

struct SkxFsPath {
  KxWString path;
  bool folder = false;
};

/// A null GUID is no group.
struct SkxParentTest {
  GUID includedGroup{};
  bool includedAnyAncestor = false;
  GUID excludedGroup{};
  bool excludedAnyAncestor = false;
};

struct SkxPackageTest {
  bool flag = false;
  KxWString name;
  std::optional<SkxVersionBounds> versions;
  KxElements<SkxPublisherTest> publishers;
};

struct SkxSpawnerTest {
  bool allCallers = false;
  uint8_t mode = 1;  ///< 1: the caller made the file, 2: it did not
};

struct SkxOriginTest {
  bool flag = false;
  uint32_t mainSourceType = 0;
  std::optional<KxWString> distributionService;
  std::optional<SkxLocationTest> location;
  std::optional<SkxPackageTest> package;
  std::optional<SkxSpawnerTest> spawnerProcess;
  std::optional<SkxTextTest> sourceAddress;
  std::optional<KxElements<CkxSid>> users;
};

struct SkxCapabilityTest {
  KxWString name;
  bool required = true;  ///< false: it must not be declared
};

struct SkxMediaTest {
  std::optional<SkxTextTest> type;
  std::optional<SkxTextTest> vendor;
  std::optional<SkxTextTest> product;
  std::optional<SkxTextTest> serialNumber;
};

struct SkxGroupLink {
  GUID group{};
};

struct SkxExeTarget {
  bool inheritable = false;
  std::optional<SkxVersionBounds> fileVersion;
  std::optional<SkxVersionBounds> productVersion;
  std::optional<SkxLocationTest> location;
  std::optional<SkxFileNameTest> fileName;
  std::optional<SkxTextTest> arguments;
  std::optional<KxElements<CkxSid>> owners;
  std::optional<KxElements<SkxPublisherTest>> publishers;
  std::optional<KxElements<SkxVersionFieldTest>> versionFields;
  std::optional<KxWString> serviceName;
  std::optional<SkxParentTest> parentProcess;
  KxWString users;  ///< SDDL or "KxNoUsers"
  std::optional<SkxOriginTest> origin;
  KxWString softwareDistributorName;
};

struct SkxScriptTarget {
  bool inheritable = false;
  bool embedded = false;  ///< the policy brings the script with it
  std::optional<SkxLocationTest> location;
  std::optional<SkxFileNameTest> fileName;
  std::optional<SkxTextTest> arguments;
  std::optional<KxElements<CkxSid>> owners;
  std::optional<KxElements<SkxPublisherTest>> publishers;
  std::optional<SkxParentTest> parentProcess;
  std::optional<SkxOriginTest> origin;
};

struct SkxMsiTarget {
  std::optional<SkxVersionBounds> productVersion;
  std::optional<SkxLocationTest> location;
  std::optional<SkxFileNameTest> fileName;
  std::optional<SkxTextTest> arguments;
  std::optional<KxElements<CkxSid>> owners;
  std::optional<KxElements<SkxPublisherTest>> publishers;
  std::optional<KxElements<SkxInstallerPropertyTest>> installerProperties;
  std::optional<SkxParentTest> parentProcess;
  std::optional<SkxOriginTest> origin;
};

struct SkxMsuTarget {
  std::optional<SkxLocationTest> location;
  std::optional<SkxFileNameTest> fileName;
  std::optional<KxElements<CkxSid>> owners;
  std::optional<KxElements<SkxPublisherTest>> publishers;
  std::optional<SkxParentTest> parentProcess;
  std::optional<SkxOriginTest> origin;
};

struct SkxUrlTarget {
  std::optional<SkxTextTest> url;
};

struct SkxAdminTaskTarget {
  uint32_t task = 0;  ///< its number in the catalogue
};

struct SkxActiveXTarget {
  std::optional<SkxTextTest> classId;
  std::optional<SkxTextTest> sourceAddress;
  std::optional<SkxLocationTest> location;
  std::optional<SkxFileNameTest> fileName;
  std::optional<KxElements<SkxPublisherTest>> publishers;
};

/// What the targets of policies that set security begin with.
struct SkxSecurityTarget {
  uint32_t accessMask = 0;
};

struct SkxFileSystemEntryTarget : SkxSecurityTarget {
  SkxFsPath path;
};

struct SkxRegistryKeyTarget : SkxSecurityTarget {
  uint32_t root = 0;  ///< the value of the system's handle
  KxWString keyPath;  ///< below the root
};

struct SkxComTarget {
  std::optional<SkxTextTest> classId;
  std::optional<SkxLocationTest> location;
  std::optional<SkxFileNameTest> fileName;
  std::optional<KxElements<CkxSid>> owners;
  std::optional<KxElements<SkxPublisherTest>> publishers;
  std::optional<KxElements<SkxVersionFieldTest>> versionFields;
};

struct SkxExcludeTarget {
  std::optional<SkxLocationTest> location;
  std::optional<SkxFileNameTest> fileName;
  KxWString users;
};

struct SkxServiceTarget : SkxSecurityTarget {
  SkxServiceTest service;
};

struct SkxMediaTarget : SkxSecurityTarget {
  std::optional<KxElements<SkxMediaTest>> media;
};
struct SkxUsbDeviceTarget : SkxMediaTarget {};
struct SkxOpticalDiscTarget : SkxMediaTarget {};

struct SkxAppPackageTarget {
  bool inheritable = false;
  std::optional<SkxVersionBounds> packageVersion;
  std::optional<SkxTextTest> packageName;
  std::optional<KxElements<SkxPublisherTest>> publishers;
  std::optional<KxElements<SkxCapabilityTest>> capabilities;
};

struct SkxDllTarget {
  std::optional<SkxVersionBounds> fileVersion;
  std::optional<SkxVersionBounds> productVersion;
  std::optional<SkxLocationTest> location;
  std::optional<SkxFileNameTest> fileName;
  std::optional<KxElements<CkxSid>> owners;
  std::optional<KxElements<SkxPublisherTest>> publishers;
  std::optional<KxElements<SkxVersionFieldTest>> versionFields;
  std::optional<SkxOriginTest> origin;
};

/// The alternatives stand in the order of `kKxTargetKinds`.
using SkxTargetBody = std::variant<SkxGroupLink, SkxExeTarget, SkxScriptTarget, SkxMsiTarget, SkxMsuTarget,
                                   SkxUrlTarget, SkxAdminTaskTarget, SkxActiveXTarget, SkxFileSystemEntryTarget,
                                   SkxRegistryKeyTarget, SkxComTarget, SkxExcludeTarget, SkxServiceTarget,
                                   SkxUsbDeviceTarget, SkxOpticalDiscTarget, SkxAppPackageTarget, SkxDllTarget>;

struct SkxTargetModel {
  GUID id{};
  SkxTargetBody body;
  KxWString name{};  ///< in documents only
};
