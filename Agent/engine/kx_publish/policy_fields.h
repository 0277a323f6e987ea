// The shape of policy documents: which keys an object has, in the order in which they are written, and their defaults.
// Reading
// (`CkxDocumentIn`) and writing (`CkxDocumentOut`) both walk these tables, so neither can know a key that the other
// does not.
//
//   Required    must be there                        Field      may be missing: then it has the default, the third
//   argument Name        must be there and not be empty       Always     may be missing, and is always written Property
//   may be missing: asks for nothing     Coded      a number with names
#pragma once

#include <array>

#include "Agent/engine/kx_publish/policy_kinds.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"

struct SkxCodeName {
  uint32_t code;
  const char* name;
};

inline constexpr SkxCodeName kKxCompareAs[] = {
    {1, "equals"}, {2, "startsWith"}, {3, "contains"}, {4, "wildcard"}, {5, "regExp"}};
inline constexpr SkxCodeName kKxAlertTypes[] = {{1, "dialog"}, {2, "balloon"}};
inline constexpr SkxCodeName kKxAlertTriggers[] = {{26, "replaceUacOfStandardUser"}, {27, "replaceUacOfAdministrator"}};
inline constexpr SkxCodeName kKxSpawnerModes[] = {{1, "callerMadeFile"}, {2, "callerDidNotMakeFile"}};

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

/// How a pattern is compared when its author does not say.
inline uint16_t KxDefaultCompareAs(const KxWString& pattern) {
  return pattern.find_first_of(KXW("*?")) == KxWString::npos ? 1 : 4;
}

/// The part of a target's derived id that comes from whom it belongs to.
inline std::string KxTargetOwner(const SkxPolicyModel& policy) { return "policy/" + std::to_string(policy.id); }
inline std::string KxTargetOwner(const SkxAppGroupModel& group) { return "group/" + KxText_ToUtf8(group.name); }

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
  io.Name("field", test.field);
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
void KxFields(Io& io, SkxUrlTarget& target) {
  io.Property("url", target.url);
}

template <class Io>
void KxFields(Io& io, SkxExcludeTarget& target) {
  io.FileNameAndHash(target.fileName);
  io.Property("location", target.location);
  io.Field("users", target.users, KxWString());
}

template <class Io>
void KxFields(Io& io, SkxAlertLinkModel& link) {
  io.Coded("trigger", link.trigger, kKxAlertTriggers);
  io.Coded("type", link.type, kKxAlertTypes);
  io.Required("id", link.alert);
}

template <class Io>
void KxFields(Io&, std::monostate&) {}

template <class Io>
void KxFields(Io& io, SkxElevateOnDemandParams& params) {
  io.Field("shellExtension", params.shellExtension, false);
  io.Field("replaceUacOfStandardUsers", params.replaceUacOfStandardUsers, false);
  io.Field("replaceUacOfAdministrators", params.replaceUacOfAdministrators, false);
}

template <class Io>
void KxFields(Io& io, SkxZeroTouchParams& params) {
  io.Field("allowUserRequest", params.allowUserRequest, false);
  io.Field("monitorAdministrators", params.monitorAdministrators, false);
  io.Field("monitorStandardUsers", params.monitorStandardUsers, false);
  io.Field("useHeuristics", params.useHeuristics, false);
  io.Field("triggeredByUser", params.triggeredByUser, false);
  io.Field("suppressUacOfStandardUsers", params.suppressUacOfStandardUsers, false);
  io.Field("suppressUacOfAdministrators", params.suppressUacOfAdministrators, false);
}

template <class Io>
void KxFields(Io& io, SkxComputerActionParams& params) {
  io.Required("computerAction", params.computerAction);
}

template <class Io>
void KxFields(Io& io, SkxScriptParams& script) {
  io.Required("scriptId", script.id);
  io.Field("firstText", script.firstText, KxWString());
  io.Field("firstData", script.firstData, KxWString());
  io.Field("secondText", script.secondText, KxWString());
  io.Field("secondData", script.secondData, KxWString());
  io.Field("thirdData", script.thirdData, KxWString());
}

template <class Io>
void KxFields(Io& io, SkxConfigurationParams& params) {
  io.Field("configurationXml", params.configurationXml, KxWString());
  io.Field("messagesXml", params.messagesXml, KxWString());
}

template <class Io>
void KxFields(Io& io, SkxSetSecurityParams& params) {
  io.Required("allowAccess", params.allowAccess);
}

template <class Io>
void KxFields(Io& io, SkxExcludeParams& params) {
  io.Field("excludeType", params.excludeType, uint16_t{0});
}

template <class Io>
void KxFields(Io& io, SkxPolicyModel& policy) {
  io.Required("id", policy.id);
  io.Name("name", policy.name);
  io.Action("action", policy);
  io.Field("active", policy.active, true);
  io.Always("order", policy.order);
  io.Field("implicit", policy.implicit, false);
  io.Field("gpId", policy.gpId, KxWString());
  io.Field("kxGpoId", policy.kxGpoId, KxWString());
  io.Field("guiType", policy.guiType, 0u);
  io.Field("reportUsageState", policy.reportUsageState, 0u);
  io.List("alerts", policy.alerts);
  std::visit([&io](auto& params) { KxFields(io, params); }, policy.params);
  if (const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.action);
      kind != nullptr && kind->withTargets) {
    io.Field("policyAutomation", policy.policyAutomation, false);
    io.Targets("targets", policy.targets, KxTargetOwner(policy));
  }
}

template <class Io>
void KxFields(Io& io, SkxAppGroupModel& group) {
  io.Name("name", group.name);
  io.DerivedId("id", group.id, KxTargetOwner(group));
  io.Targets("targets", group.targets, KxTargetOwner(group));
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
inline const char* KxFaultOf(const SkxPolicyModel& policy) {
  return policy.id == 0 ? "the id 0 means no policy" : nullptr;
}
inline const char* KxFaultOf(const SkxAppGroupModel& group) {
  return KxGuid_IsNull(group.id) ? "the null id means no group" : nullptr;
}
