#include "Agent/engine/kx_publish/record/policy_decode.h"

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy_kinds.h>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Common_CPP/util/guid.h"

namespace {

KxWString Text(CkxTextView text) { return text.ToString(); }

void Read(const CkxShBufPolicyElevateOnDemand& policy, SkxElevateOnDemandParams& params) {
  const SkxElevateOnDemandConfigParams& stored = policy.Params();
  params = {stored.shellExtensionEnabled != 0, stored.replaceUacOfStandardUsers != 0,
            stored.replaceUacOfAdministrators != 0};
}

void Read(const CkxShBufPolicyZeroTouch& policy, SkxZeroTouchParams& params) {
  const SkxZeroTouchConfigParams& stored = policy.Params();
  params.allowUserRequest = stored.allowUserReq != 0;
  params.monitorAdministrators = stored.monitorAdministrators != 0;
  params.monitorStandardUsers = stored.monitorStandardUsers != 0;
  params.useHeuristics = stored.useHeuristics != 0;
  params.triggeredByUser = stored.triggeredByUser != 0;
  params.suppressUacOfStandardUsers = stored.suppressNonAdminUac != 0;
  params.suppressUacOfAdministrators = stored.suppressAdminUac != 0;
}

void Read(const CkxShBufPolicyCompAction& policy, SkxComputerActionParams& params) {
  params.computerAction = policy.ComputerAction();
}

void Read(const CkxShBufPolicyRunScript& policy, SkxScriptParams& params) {
  const CkxShBufEmbeddedScript& script = policy.Script();
  params.id = script.ScriptId();
  params.firstText = Text(script.FirstText().View());
  params.firstData = Text(script.FirstData().View());
  params.secondText = Text(script.SecondText().View());
  params.secondData = Text(script.SecondData().View());
  params.thirdData = Text(script.ThirdData().View());
}

void Read(const CkxShBufPolicyConfiguration& policy, SkxConfigurationParams& params) {
  params.configurationXml = policy.ConfigurationXml();
  params.messagesXml = policy.MessagesXml();
}

void Read(const CkxShBufPolicySetSecurity& policy, SkxSetSecurityParams& params) {
  params.allowAccess = policy.AllowAccess();
}

void Read(const CkxShBufPolicyExclude& policy, SkxExcludeParams& params) { params.excludeType = policy.ExcludeType(); }

/// The policy's own class, or false.
template <class Object, class Params>
bool ReadAs(const CkxShBufPolicy& policy, Params& params) {
  const auto* const object = dynamic_cast<const Object*>(&policy);
  if (object != nullptr) Read(*object, params);
  return object != nullptr;
}

bool ReadParams(const CkxShBufPolicy&, std::monostate&) { return true; }
bool ReadParams(const CkxShBufPolicy& policy, SkxElevateOnDemandParams& params) {
  return ReadAs<CkxShBufPolicyElevateOnDemand>(policy, params);
}
bool ReadParams(const CkxShBufPolicy& policy, SkxZeroTouchParams& params) {
  return ReadAs<CkxShBufPolicyZeroTouch>(policy, params);
}
bool ReadParams(const CkxShBufPolicy& policy, SkxComputerActionParams& params) {
  return ReadAs<CkxShBufPolicyCompAction>(policy, params);
}
bool ReadParams(const CkxShBufPolicy& policy, SkxScriptParams& params) {
  return ReadAs<CkxShBufPolicyRunScript>(policy, params);
}
bool ReadParams(const CkxShBufPolicy& policy, SkxConfigurationParams& params) {
  return ReadAs<CkxShBufPolicyConfiguration>(policy, params);
}
bool ReadParams(const CkxShBufPolicy& policy, SkxSetSecurityParams& params) {
  return ReadAs<CkxShBufPolicySetSecurity>(policy, params);
}
bool ReadParams(const CkxShBufPolicy& policy, SkxExcludeParams& params) {
  return ReadAs<CkxShBufPolicyExclude>(policy, params);
}

void ReadAlerts(const CkxShBufPolicyAlerts& alerts, std::vector<SkxAlertLinkModel>& links) {
  for (uint32_t i = 0; i < alerts.Count(); ++i) {
    const SkxPolicyAlertLink& link = alerts.GetAt(i);
    links.push_back({static_cast<uint32_t>(link.trigger), static_cast<uint16_t>(link.type), link.alertId});
  }
}

bool ReadTargets(const CkxShBufList& list, std::vector<SkxTargetModel>& targets) {
  for (const CkxShBufTarget& target : CkxNodes<CkxShBufTarget>(list)) {
    if (!KxDecode_Target(target, targets.emplace_back())) return false;
  }
  return true;
}

}  // namespace

bool KxDecode_Policy(const CkxShBufPolicy& policy, SkxPolicyModel& model) {
  const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.Action());
  if (kind == nullptr) return false;
  model = SkxPolicyModel();
  model.action = policy.Action();
  model.id = policy.Id();
  model.active = policy.Active();
  model.order = policy.Order();
  model.implicit = policy.IsImplicit();
  model.name = Text(policy.NameView());
  model.gpId = Text(policy.GpId());
  model.kxGpoId = Text(policy.KxGpoId());
  model.reportUsageState = policy.ReportUsageState();
  model.guiType = policy.GuiType();
  ReadAlerts(policy.Alerts(), model.alerts);
  model.params = kind->params();
  if (!std::visit([&policy](auto& params) { return ReadParams(policy, params); }, model.params)) return false;

  const auto* const withTargets = dynamic_cast<const CkxShBufPolicyWithTargets*>(&policy);
  if (withTargets == nullptr) return !kind->withTargets;
  model.policyAutomation = withTargets->PolicyAutomation();
  return ReadTargets(withTargets->Targets(), model.targets);
}

bool KxDecode_AppGroup(const CkxShBufAppGroup& group, SkxAppGroupModel& model) {
  model = SkxAppGroupModel();
  model.id = group.Id();
  model.name = KxGuid_ToText(model.id);
  return ReadTargets(group.Targets(), model.targets);
}

bool KxDecode_Alert(const CkxShBufCustGuiBase& alert, SkxAlertModel& model) {
  const SkxAlertKind* const kind = KxKind_Find(kKxAlertKinds, &SkxAlertKind::type, alert.AlertType());
  if (kind == nullptr) return false;
  model = SkxAlertModel();
  model.id = alert.Id();
  model.name = KxGuid_ToText(model.id);
  model.body = kind->body();
  if (const auto* const dialog = dynamic_cast<const CkxShBufCustGuiDialog*>(&alert)) {
    model.body = SkxDialogAlert{static_cast<uint32_t>(dialog->DlgType()), Text(dialog->HtmlPathView())};
  }
  return true;
}
