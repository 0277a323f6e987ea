#include "tools/kxpolicy/decision_text.h"

#include <kx_publish/decision.h>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

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

std::string Quoted(const ordered_json& object, const char* key) {
  return KxText_PrintableQuoted(object[key].get_ref<const std::string&>());
}

/// The library's word for what a policy does, but for one that means something else to whoever wrote it: "Trust" is
/// what documents call elevateOnDemand.
std::string ActionWord(const SkxDecision& decision) {
  const EkxPolicyAction action = decision.info.PolicyAction;
  if (action != EkxPolicyAction::Trust) return KxDecision_ActionName(decision);
  return KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, action)->key;
}

/// `target 2 of 6 "Old browsers" of "Games", Executable`; without names `Executable {...}`.
std::string TargetText(const ordered_json& target) {
  const auto type = static_cast<EkxPolicyTarget>(target["targetType"].get<uint32_t>());
  const std::string kind = KxText_ToUtf8(KxUtil_PolicyTargetTypeStr(type));
  if (!target.contains("number")) return kind + " " + TextOf(target, "targetId");
  std::string text = "target " + target["number"].dump() + " of " + target["of"].dump();
  if (target.contains("name")) text += " " + Quoted(target, "name");
  if (target.contains("group")) text += " of group " + Quoted(target, "group");
  return text + ", " + kind;
}

}  // namespace

std::string KxDecision_TableHeading() { return Row("DECISION", "POLICY", "TARGET"); }

std::string KxDecision_ToRow(const SkxDecision& decision, const std::string& what) {
  if (!decision.matched) return Row("-", decision.error.empty() ? "no policy applies" : decision.error, what);
  return Row(ActionWord(decision), std::to_string(decision.info.PolicyId) + " " + decision.policyName, what);
}

std::string KxDecision_ExplanationText(const SkxDecision& decision) {
  if (decision.explanationJson.empty()) return {};
  std::string text;
  for (const ordered_json& policy : ordered_json::parse(decision.explanationJson)) {
    text += "    policy " + policy["policyId"].dump() + " " + TextOf(policy, "policyName") + ": " +
            TextOf(policy, "outcome") + "\n";
    for (const ordered_json& target : policy["targets"]) {
      text += "        " + TargetText(target) + ": " + TextOf(target, "outcome") + "\n";
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
