// Policies, application groups and alerts in documents, and what of a model no document may say.
#pragma once

#include "Agent/engine/kx_publish/document/target_fields.h"
#include "Common_CPP/util/text.h"

inline constexpr SkxCodeName kKxAlertTriggers[] = {{26, "replaceUacOfStandardUser"}, {27, "replaceUacOfAdministrator"}};
inline constexpr auto kKxAlertTypes = [] {
  std::array<SkxCodeName, std::size(kKxAlertKinds)> names{};
  for (size_t i = 0; i < names.size(); ++i) {
    names[i] = {static_cast<uint32_t>(kKxAlertKinds[i].type), kKxAlertKinds[i].key};
  }
  return names;
}();

/// The part of a derived id that comes from the object itself. That of a target comes from whom it belongs to.
inline std::string KxPlaceOf(const SkxPolicyModel& policy) { return "policy/" + std::to_string(policy.id); }
inline std::string KxPlaceOf(const SkxAppGroupModel& group) { return "group/" + KxText_ToUtf8(group.name); }
inline std::string KxPlaceOf(const SkxAlertModel& alert) { return "alert/" + KxText_ToUtf8(alert.name); }
inline std::string KxPlaceOf(const SkxTargetModel& /*target*/) { return {}; }

template <class Struct>
consteval auto KxDerivedIdKey(GUID Struct::*member, const char* meaning) {
  return KxKey<EkxKey::DerivedId>(member, {nullptr, meaning});
}
template <class Struct>
consteval auto KxTargetsKey(std::vector<SkxTargetModel> Struct::*member) {
  return KxKey<EkxKey::Targets>(member, {nullptr, "what it is about, tried in order"});
}

template <>
inline constexpr auto kKxTables<SkxTargetModel> = SkxTables<SkxTargetHeaderPart>{};
template <>
inline constexpr auto kKxFields<SkxTargetModel> = std::tuple{
    SkxKindKey{{"type", "what the target is about, and which keys follow"}},
    KxOptional(&SkxTargetModel::name, {"name", "what people call it, where a decision is explained"}),
    KxDerivedIdKey(&SkxTargetModel::id, "of the target; default: derived from where it stands"),
    SkxOfKind(),
};

template <>
inline constexpr auto kKxFields<SkxAlertLinkModel> = std::tuple{
    KxCoded(&SkxAlertLinkModel::trigger, kKxAlertTriggers, {nullptr, "the event"}),
    SkxAlertKeys{{"type", "the kind of message; default: that of the alert, which must be of the publication then"},
                 {"id", "name or id of an alert of the publication, or the id of one that is published elsewhere"}},
};
template <>
inline constexpr const char* kKxDescription<SkxAlertLinkModel> = "a message and when it is shown";

template <>
inline constexpr auto kKxFields<SkxElevateOnDemandParams> = std::tuple{
    KxOptional(&SkxElevateOnDemandParams::shellExtension),
    KxOptional(&SkxElevateOnDemandParams::replaceUacOfStandardUsers),
    KxOptional(&SkxElevateOnDemandParams::replaceUacOfAdministrators),
};

template <>
inline constexpr auto kKxFields<SkxZeroTouchParams> = std::tuple{
    KxOptional(&SkxZeroTouchParams::allowUserRequest),
    KxOptional(&SkxZeroTouchParams::monitorAdministrators),
    KxOptional(&SkxZeroTouchParams::monitorStandardUsers),
    KxOptional(&SkxZeroTouchParams::useHeuristics),
    KxOptional(&SkxZeroTouchParams::triggeredByUser),
    KxOptional(&SkxZeroTouchParams::suppressUacOfStandardUsers),
    KxOptional(&SkxZeroTouchParams::suppressUacOfAdministrators),
};

template <>
inline constexpr auto kKxFields<SkxComputerActionParams> = std::tuple{
    KxRequired(&SkxComputerActionParams::computerAction),
};

template <>
inline constexpr auto kKxFields<SkxScriptParams> = std::tuple{
    KxRequired(&SkxScriptParams::id),         KxOptional(&SkxScriptParams::firstText),
    KxOptional(&SkxScriptParams::firstData),  KxOptional(&SkxScriptParams::secondText),
    KxOptional(&SkxScriptParams::secondData), KxOptional(&SkxScriptParams::thirdData),
};

template <>
inline constexpr auto kKxFields<SkxConfigurationParams> = std::tuple{
    KxOptional(&SkxConfigurationParams::configurationXml),
    KxOptional(&SkxConfigurationParams::messagesXml),
};

template <>
inline constexpr auto kKxFields<SkxSetSecurityParams> = std::tuple{
    KxRequired(&SkxSetSecurityParams::allowAccess),
};

template <>
inline constexpr auto kKxFields<SkxExcludeParams> = std::tuple{
    KxOptional(&SkxExcludeParams::excludeType),
};

template <>
inline constexpr auto kKxTables<SkxPolicyModel> = SkxTables<SkxPolicyHeaderPart, SkxPolicyCommonPart>{};
template <>
inline constexpr auto kKxFields<SkxPolicyModel> = std::tuple{
    KxRequired(&SkxPolicyModel::id, {nullptr, "of the policy, unlike any other's in all documents of a publication"}),
    KxNotEmpty(&SkxPolicyModel::name),
    SkxKindKey{{"action", "what the policy does"}},
    KxOptional(&SkxPolicyModel::active),
    KxKey<EkxKey::Always>(&SkxPolicyModel::order,
                          {nullptr,
                           "shown: policies apply in the order of the document whatever it is; default: the position "
                           "of the policy, counted from 1"}),
    KxOptional(&SkxPolicyModel::implicit),
    KxOptional(&SkxPolicyModel::gpId),
    KxOptional(&SkxPolicyModel::kxGpoId),
    KxOptional(&SkxPolicyModel::guiType),
    KxOptional(&SkxPolicyModel::reportUsageState),
    KxOptional(&SkxPolicyModel::alerts,
               {nullptr, "which message is shown on which event; the first link for an event counts"}),
    KxOptional(&SkxPolicyModel::users,
               {"users", "whom it is for: names of userGroups, or SIDs of users or groups; default: everybody"}),
    KxOptional(&SkxPolicyModel::notUsers,
               {"notUsers",
                "whom it is not for, of these; refused where somebody might have the policy all the same, by being in "
                "another group too"}),
    SkxOfKind(),
};

/// What policies with targets have behind the keys of their kind.
template <>
inline constexpr auto kKxFields<SkxPolicyTargetsPart> = std::tuple{
    KxOptional(&SkxPolicyModel::policyAutomation),
    KxTargetsKey(&SkxPolicyModel::targets),
};

template <>
inline constexpr auto kKxTables<SkxAppGroupModel> = SkxTables<SkxAppGroupHeaderPart, SkxAppGroupModel>{};
template <>
inline constexpr auto kKxFields<SkxAppGroupModel> = std::tuple{
    KxNotEmpty(&SkxAppGroupModel::name, {"name", "what targets call it"}),
    KxDerivedIdKey(&SkxAppGroupModel::id, "of the group in records; default: derived from the name"),
    KxTargetsKey(&SkxAppGroupModel::targets),
};
template <>
inline constexpr const char* kKxDescription<SkxAppGroupModel> = "a named set of targets";

template <>
inline constexpr auto kKxFields<SkxDialogAlert> = std::tuple{
    KxOptional(&SkxDialogAlert::dialogType),
    KxOptional(&SkxDialogAlert::htmlPath),
};
template <>
inline constexpr const char* kKxDescription<SkxDialogAlert> = "a message that waits for an answer";
template <>
inline constexpr const char* kKxDescription<SkxBalloonAlert> = "a message that goes away by itself";

template <>
inline constexpr auto kKxTables<SkxAlertModel> = SkxTables<SkxAlertHeaderPart>{};
template <>
inline constexpr auto kKxFields<SkxAlertModel> = std::tuple{
    KxNotEmpty(&SkxAlertModel::name, {"name", "what policies call it"}),
    KxDerivedIdKey(&SkxAlertModel::id, "of the alert in records; default: derived from the name"),
    SkxKindKey{{"type", "which keys follow"}},
    SkxOfKind(),
};

inline const char* KxFaultOf(const SkxPolicyModel& policy) {
  return policy.id == 0 ? "the id 0 means no policy" : nullptr;
}
inline const char* KxFaultOf(const SkxAppGroupModel& group) {
  return KxGuid_IsNull(group.id) ? "the null id means no group" : nullptr;
}
inline const char* KxFaultOf(const SkxAlertModel& alert) {
  return KxGuid_IsNull(alert.id) ? "the null id means no alert" : nullptr;
}
inline const char* KxFaultOf(const SkxTargetModel& target) {
  return std::visit([](const auto& body) { return KxFaultOf(body); }, target.body);
}
