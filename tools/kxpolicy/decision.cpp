#include "tools/kxpolicy/decision.h"

#include <new>

#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/explanation.h"

using nlohmann::ordered_json;

namespace {

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

bool Evaluate(const CkxTargetInfo& target, const CkxPolicySnapshot* snapshot, SkxDecision& decision) {
  if (snapshot != nullptr) {
    return snapshot->Evaluate(target, KxPolicySource_Current(), decision.info, decision.outcome);
  }
  return CkxSharedPoliciesData::GetTargetPolicyAction(target, decision.info, decision.outcome);
}

}  // namespace

SkxDecision KxDecision_Of(const CkxTargetInfo& target, bool explain, const CkxPolicySnapshot* snapshot) {
  SkxDecision decision;
  CkxDecisionObserver observer(explain);
  {
    const CkxEvaluationObserverScope scope(observer);
    decision.matched = Evaluate(target, snapshot, decision);
  }
  if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  decision.policyName = observer.PolicyName();
  decision.alerts = observer.Alerts();
  decision.error = observer.Fault();
  decision.policiesLeftOut = observer.PoliciesLeftOut();
  if (explain) decision.explanation = observer.TakePolicies();
  return decision;
}

std::string KxDecision_ActionName(const SkxDecision& decision) {
  return KxText_ToUtf8(KxUtil_PolicyActionStr(decision.info.PolicyAction));
}

std::string KxDecision_TableHeading() { return Row("DECISION", "POLICY", "TARGET"); }

std::string KxDecision_ToRow(const SkxDecision& decision, const std::string& what) {
  if (!decision.matched) return Row("-", decision.error.empty() ? "no policy applies" : decision.error, what);
  return Row(KxDecision_ActionName(decision), std::to_string(decision.info.PolicyId) + " " + decision.policyName, what);
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
