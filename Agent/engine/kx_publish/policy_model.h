// What a publication says, in plain values: the meeting point of everything that reads or writes policies.
//
//   policy document --read--> SkxPublication --encode--> record bytes --kx_util--> objects --decode--> SkxPublication
//   --write--> document
//
// An optional value is a property of a target: no value means that the property asks for nothing. In a list property an
// element may be without a value too (an owner without a value lets every owner pass, any other such element is never
// met). An empty text is the same as an absent one.
#pragma once

#include <kx_util/policy_codes.h>

#include <map>
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
  KxWString pattern;
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

struct SkxVersionFieldTest : SkxTextTest {
  KxWString field;
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

struct SkxUrlTarget {
  std::optional<SkxTextTest> url;
};

struct SkxExcludeTarget {
  std::optional<SkxLocationTest> location;
  std::optional<SkxFileNameTest> fileName;
  KxWString users;
};

/// The alternatives stand in the order of `kKxTargetKinds`.
using SkxTargetBody = std::variant<SkxGroupLink, SkxExeTarget, SkxUrlTarget, SkxExcludeTarget>;

struct SkxTargetModel {
  GUID id{};
  SkxTargetBody body;
};

struct SkxAlertLinkModel {
  uint32_t trigger = 0;
  uint16_t type = 0;
  GUID alert{};
};

struct SkxElevateOnDemandParams {
  bool shellExtension = false;
  bool replaceUacOfStandardUsers = false;
  bool replaceUacOfAdministrators = false;
};

struct SkxZeroTouchParams {
  bool allowUserRequest = false;
  bool monitorAdministrators = false;
  bool monitorStandardUsers = false;
  bool useHeuristics = false;
  bool triggeredByUser = false;
  bool suppressUacOfStandardUsers = false;
  bool suppressUacOfAdministrators = false;
};

struct SkxComputerActionParams {
  uint32_t computerAction = 0;
};

/// Handed on as they are to whatever runs the script.
struct SkxScriptParams {
  GUID id{};
  KxWString firstText;
  KxWString firstData;
  KxWString secondText;
  KxWString secondData;
  KxWString thirdData;
};

struct SkxConfigurationParams {
  KxWString configurationXml;
  KxWString messagesXml;
};

struct SkxSetSecurityParams {
  bool allowAccess = false;
};

struct SkxExcludeParams {
  uint16_t excludeType = 0;
};

/// What a kind of policy has beyond the common fields; which one a policy has follows from its action
/// (`kKxPolicyKinds`).
using SkxPolicyParams =
    std::variant<std::monostate, SkxElevateOnDemandParams, SkxZeroTouchParams, SkxComputerActionParams, SkxScriptParams,
                 SkxConfigurationParams, SkxSetSecurityParams, SkxExcludeParams>;

struct SkxPolicyModel {
  EkxPolicyAction action = EkxPolicyAction::Invalid;
  uint32_t id = 0;
  bool active = true;
  uint64_t order = 0;
  bool implicit = false;
  KxWString name;
  KxWString gpId;
  KxWString kxGpoId;
  uint32_t reportUsageState = 0;
  uint32_t guiType = 0;
  std::vector<SkxAlertLinkModel> alerts;
  bool policyAutomation = false;        ///< of policies with targets
  std::vector<SkxTargetModel> targets;  ///< likewise
  SkxPolicyParams params;
};

struct SkxAppGroupModel {
  KxWString name;  ///< in documents only: a record has the id alone
  GUID id{};
  std::vector<SkxTargetModel> targets;
};

/// Ids of the policies that apply, per SID in its canonical text; "*" serves every SID without a row of its own.
/// Without any row every policy applies to everybody.
using SkxApplicableRows = std::map<std::string, std::vector<uint32_t>>;

/// One publication, in the order of precedence.
struct SkxPublication {
  std::vector<SkxPolicyModel> policies;
  std::vector<SkxAppGroupModel> groups;
  SkxApplicableRows applicable;
};
