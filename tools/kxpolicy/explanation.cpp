#include "tools/kxpolicy/explanation.h"

#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"

using nlohmann::ordered_json;

void CkxDecisionObserver::OnCheckFailed(const char* property, CkxTextView expected, CkxTextView actual) {
  _failed = {{"property", property}, {"expected", KxText_ToUtf8(expected)}, {"actual", KxText_ToUtf8(actual)}};
}

void CkxDecisionObserver::OnTarget(const SkxObservedTarget& target, bool matched) {
  ordered_json entry = {{"targetId", KxGuid_ToUtf8(target.id)},
                        {"targetType", static_cast<uint32_t>(target.type)},
                        {"outcome", matched ? "matched" : "not matched"}};
  if (!matched && !_failed.is_null()) entry["failed"] = std::move(_failed);
  _failed = nullptr;
  _targets.push_back(std::move(entry));
}

void CkxDecisionObserver::OnPolicy(const SkxObservedPolicy& policy, EkxPolicyOutcome outcome) {
  if (outcome == EkxPolicyOutcome::Applies && policy.policy != nullptr) KeepApplied(*policy.policy);
  if (!_steps) return;
  _policies.push_back({{"policyId", policy.id},
                       {"policyName", KxText_ToUtf8(policy.name)},
                       {"action", static_cast<int32_t>(policy.action)},
                       {"outcome", KxUtil_PolicyOutcomeText(outcome)},
                       {"targets", std::exchange(_targets, ordered_json::array())}});
  _failed = nullptr;
}

void CkxDecisionObserver::KeepApplied(const CkxShBufPolicy& policy) {
  _policyName = KxText_ToUtf8(policy.NameView());
  _alerts.clear();
  for (uint32_t i = 0; i < policy.Alerts().Count(); ++i) _alerts.push_back(policy.Alerts().GetAt(i));
}
