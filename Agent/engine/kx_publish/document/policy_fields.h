// The shape of policy documents: which keys an object has, in the order in which they are written, and their defaults.
// Reading (`CkxDocumentIn`) and writing (`CkxDocumentOut`) both walk these tables, so neither can know a key that the
// other does not. What a table says of a key:
//
//   Required    must be there
//   Name        must be there and not be empty
//   Field       may be missing: then it has the default, the third argument
//   Always      may be missing, and is always written
//   Property    may be missing: asks for nothing
//   List        may be missing: has no elements
//   Coded       a number with names
//   Kind        must be there: which fields follow depends on it
#pragma once

#include "Agent/engine/kx_publish/document/target_fields.h"
#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Common_CPP/util/text.h"

inline constexpr SkxCodeName kKxAlertTriggers[] = {{26, "replaceUacOfStandardUser"}, {27, "replaceUacOfAdministrator"}};
inline constexpr auto kKxAlertTypes = [] {
  std::array<SkxCodeName, std::size(kKxAlertKinds)> names{};
  for (size_t i = 0; i < names.size(); ++i) {
    names[i] = {static_cast<uint32_t>(kKxAlertKinds[i].type), kKxAlertKinds[i].key};
  }
  return names;
}();

/// The part of a target's derived id that comes from whom it belongs to.
inline std::string KxTargetOwner(const SkxPolicyModel& policy) { return "policy/" + std::to_string(policy.id); }
inline std::string KxTargetOwner(const SkxAppGroupModel& group) { return "group/" + KxText_ToUtf8(group.name); }

template <class Io>
void KxFields(Io& io, SkxAlertLinkModel& link) {
  io.Coded("trigger", link.trigger, kKxAlertTriggers);
  io.Alert("type", "id", link);
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
  io.Kind("action", policy);
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

template <class Io>
void KxFields(Io& io, SkxDialogAlert& dialog) {
  io.Field("dialogType", dialog.dialogType, 0u);
  io.Field("htmlPath", dialog.htmlPath, KxWString());
}

template <class Io>
void KxFields(Io&, SkxBalloonAlert&) {}

template <class Io>
void KxFields(Io& io, SkxAlertModel& alert) {
  io.Name("name", alert.name);
  io.DerivedId("id", alert.id, "alert/" + KxText_ToUtf8(alert.name));
  io.Kind("type", alert.body);
  std::visit([&io](auto& body) { KxFields(io, body); }, alert.body);
}

inline const char* KxFaultOf(const SkxPolicyModel& policy) {
  return policy.id == 0 ? "the id 0 means no policy" : nullptr;
}
inline const char* KxFaultOf(const SkxAppGroupModel& group) {
  return KxGuid_IsNull(group.id) ? "the null id means no group" : nullptr;
}
inline const char* KxFaultOf(const SkxAlertModel& alert) {
  return KxGuid_IsNull(alert.id) ? "the null id means no alert" : nullptr;
}
