#include "tools/kxpolicy/decision_text.h"

#include <kx_publish/decision.h>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

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

/// The library's word for what a policy does, but for one that means something else to whoever wrote it: "Trust" is
/// what documents call elevateOnDemand.
std::string ActionWord(const SkxDecision& decision) {
  const EkxPolicyAction action = decision.info.PolicyAction;
  if (action != EkxPolicyAction::Trust) return KxDecision_ActionName(decision);
  return KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, action)->key;
}

/// `target 2 of 6 "Old browsers" of "Games", Executable`; without names `Executable {...}`.
std::string TargetText(const SkxExplainedTarget& target) {
  const std::string kind = KxText_ToUtf8(KxUtil_PolicyTargetTypeStr(target.type));
  if (target.number == 0) return kind + " " + KxGuid_ToUtf8(target.id);
  std::string text = "target " + std::to_string(target.number) + " of " + std::to_string(target.of);
  if (!target.name.empty()) text += " " + KxText_PrintableQuoted(target.name);
  if (target.group) text += " of group " + KxText_PrintableQuoted(*target.group);
  return text + ", " + kind;
}

}  // namespace

std::string KxDecision_TableHeading() { return Row("DECISION", "POLICY", "TARGET"); }

std::string KxDecision_ToRow(const SkxDecision& decision, const std::string& what) {
  if (!decision.matched) return Row("-", decision.error.empty() ? "no policy applies" : decision.error, what);
  return Row(ActionWord(decision), std::to_string(decision.info.PolicyId) + " " + decision.policyName, what);
}

std::string KxDecision_ExplanationText(const SkxDecision& decision) {
  if (!decision.explanation) return {};
  std::string text;
  for (const SkxExplainedPolicy& policy : *decision.explanation) {
    text += "    policy " + std::to_string(policy.id) + " " + KxText_Printable(policy.name) + ": " +
            KxUtil_PolicyOutcomeText(policy.outcome) + "\n";
    for (const SkxExplainedTarget& target : policy.targets) {
      text += "        " + TargetText(target) + ": " + (target.matched ? "matched" : "not matched") + "\n";
      if (!target.failed) continue;
      text += "            " + target.failed->property + ": expected " + KxText_Printable(target.failed->expected) +
              ", found " + KxText_Printable(target.failed->actual) + "\n";
    }
    if (policy.leftOut != 0) text += "        " + std::to_string(policy.leftOut) + " more targets are left out\n";
  }
  if (decision.policiesLeftOut != 0) {
    text += "    " + std::to_string(decision.policiesLeftOut) + " more policies are left out\n";
  }
  return text;
}
