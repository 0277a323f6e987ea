#include "tools/kxpolicy/decision.h"

#include <new>

#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/explanation.h"
#include "tools/kxpolicy/hex.h"

using nlohmann::ordered_json;

namespace {

std::string ActionName(const SkxDecision& decision) {
  return KxText_ToUtf8(KxUtil_PolicyActionStr(decision.info.PolicyAction));
}

/// The bytes of the record that its rules leave undefined are written as 0.
std::string InfoHex(const SkxTriggerPolicyShortInfo& info) {
  SkxTriggerPolicyShortInfo canonical = info;
  canonical.SetGpId(CkxTextView::FromBytes(info.GpId, sizeof(info.GpId)));
  canonical.SetKxGpoId(CkxTextView::FromBytes(info.KxGpoId, sizeof(info.KxGpoId)));
  return KxHex_FromBytes({reinterpret_cast<const unsigned char*>(&canonical), sizeof(canonical)});
}

std::string FieldText(const WCHAR* field, size_t bytes) { return KxText_ToUtf8(CkxTextView::FromBytes(field, bytes)); }

ordered_json AlertsJson(const std::vector<SkxPolicyAlertLink>& alerts) {
  ordered_json list = ordered_json::array();
  for (const SkxPolicyAlertLink& link : alerts) {
    const GUID id = link.alertId;
    list.push_back({{"trigger", static_cast<uint32_t>(link.trigger)},
                    {"type", static_cast<uint16_t>(link.type)},
                    {"id", KxGuid_ToUtf8(id)}});
  }
  return list;
}

void AppendDecision(ordered_json& answer, const SkxDecision& decision) {
  const SkxTriggerPolicyShortInfo& info = decision.info;
  const GUID targetId = info.PolicyTargetId;
  answer["policyId"] = uint32_t{info.PolicyId};
  answer["policyName"] = decision.policyName;
  answer["action"] = static_cast<int32_t>(info.PolicyAction);
  answer["actionName"] = ActionName(decision);
  answer["originalAction"] = static_cast<int32_t>(info.OriginalPolicyAction);
  answer["targetType"] = static_cast<uint32_t>(info.TargetType);
  answer["targetId"] = KxGuid_ToUtf8(targetId);
  answer["gpId"] = FieldText(info.GpId, sizeof(info.GpId));
  answer["kxGpoId"] = FieldText(info.KxGpoId, sizeof(info.KxGpoId));
  answer["guiType"] = uint32_t{info.GuiType};
  answer["reportUsageState"] = uint32_t{info.ReportUsageState};
  answer["policyAutomation"] = info.PolicyAutomation != 0;
  answer["inheritable"] = info.Inheritable != 0;
  answer["protectInstalledFiles"] = info.ProtectInstalledFiles != 0;
  answer["restrictFileDlg"] = info.RestrictFileDlg != 0;
  answer["alerts"] = AlertsJson(decision.alerts);
  answer["info"] = InfoHex(info);
}

std::string Padded(std::string text, size_t width) {
  size_t shown = 0;
  for (const char unit : text) shown += (static_cast<unsigned char>(unit) & 0xC0) != 0x80 ? 1 : 0;
  if (shown < width) text.append(width - shown, ' ');
  return text + "  ";
}

constexpr size_t kActionWidth = 20;
constexpr size_t kPolicyWidth = 44;

/// The one line of a row, whatever the texts are.
std::string Row(const std::string& action, const std::string& policy, const std::string& target) {
  return Padded(action, kActionWidth) + Padded(KxText_Printable(policy), kPolicyWidth) + KxText_Printable(target);
}

std::string TextOf(const ordered_json& object, const char* key) {
  return KxText_Printable(object[key].get_ref<const std::string&>());
}

}  // namespace

SkxDecision KxDecision_Of(const CkxTargetInfo& target, bool explain) {
  SkxDecision decision;
  CkxDecisionObserver observer(explain);
  {
    const CkxEvaluationObserverScope scope(observer);
    decision.matched = CkxSharedPoliciesData::GetTargetPolicyAction(target, decision.info, decision.outcome);
  }
  if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  decision.policyName = observer.PolicyName();
  decision.alerts = observer.Alerts();
  decision.error = observer.Fault();
  decision.policiesLeftOut = observer.PoliciesLeftOut();
  if (explain) decision.explanation = observer.TakePolicies();
  return decision;
}

std::string KxDecision_ToJson(const SkxDecision& decision) {
  ordered_json answer = {{"matched", decision.matched}};
  if (decision.matched) AppendDecision(answer, decision);
  if (!decision.error.empty()) answer["error"] = decision.error;
  if (decision.explanation) answer["explain"] = *decision.explanation;
  if (decision.policiesLeftOut != 0) answer["explainLeftOut"] = decision.policiesLeftOut;
  return "{\"id\":" + decision.idJson + "," + answer.dump().substr(1);
}

std::string KxDecision_TableHeading() { return Row("DECISION", "POLICY", "TARGET"); }

std::string KxDecision_ToRow(const SkxDecision& decision, const std::string& what) {
  if (!decision.matched) return Row("-", decision.error.empty() ? "no policy applies" : decision.error, what);
  return Row(ActionName(decision), std::to_string(decision.info.PolicyId) + " " + decision.policyName, what);
}

std::string KxDecision_ExplanationText(const SkxDecision& decision) {
  if (!decision.explanation) return {};
  std::string text;
  for (const ordered_json& policy : *decision.explanation) {
    text += "    policy " + policy["policyId"].dump() + " " + TextOf(policy, "policyName") + ": " +
            TextOf(policy, "outcome") + "\n";
    for (const ordered_json& target : policy["targets"]) {
      const auto type = static_cast<EkxPolicyTarget>(target["targetType"].get<uint32_t>());
      text += "        " + KxText_ToUtf8(KxUtil_PolicyTargetTypeStr(type)) + " " + TextOf(target, "targetId") + ": " +
              TextOf(target, "outcome") + "\n";
      if (!target.contains("failed")) continue;
      const ordered_json& failed = target["failed"];
      text += "            " + TextOf(failed, "property") + ": expected " + TextOf(failed, "expected") + ", found " +
              TextOf(failed, "actual") + "\n";
    }
    if (policy.contains("leftOut")) text += "        " + policy["leftOut"].dump() + " more targets are left out\n";
  }
  if (decision.policiesLeftOut != 0) {
    text += "    " + std::to_string(decision.policiesLeftOut) + " more policies are left out\n";
  }
  return text;
}
