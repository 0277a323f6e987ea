#include "tools/kxpolicy/explanation.h"

#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"

using nlohmann::ordered_json;

namespace {

constexpr size_t kMaxPolicies = 10000;
constexpr size_t kMaxTargets = 5000;         // of all policies
constexpr size_t kMaxTargetsOfPolicy = 500;  // of one
constexpr size_t kMaxTextUnits = 1000;

std::string Beginning(CkxTextView text) {
  if (text.Size() <= kMaxTextUnits) return KxText_ToUtf8(text);
  return KxText_ToUtf8(text.Part(0, kMaxTextUnits)) + "... (" + std::to_string(text.Size() - kMaxTextUnits) + " more)";
}

}  // namespace

void CkxDecisionObserver::OnCheckFailed(const char* property, CkxTextView expected, CkxTextView actual) {
  if (!HasPlaceForTarget(false)) return;
  _failed = {{"property", property}, {"expected", Beginning(expected)}, {"actual", Beginning(actual)}};
}

/// What matched is kept always: a target, and the links that lead to it.
bool CkxDecisionObserver::HasPlaceForTarget(bool matched) const {
  return matched || (_targets.size() < kMaxTargetsOfPolicy && _targetsKept < kMaxTargets);
}

void CkxDecisionObserver::OnTarget(const SkxObservedTarget& target, bool matched) {
  if (!HasPlaceForTarget(matched)) {
    ++_targetsLeftOut;
    return;
  }
  ordered_json entry = {{"targetId", KxGuid_ToUtf8(target.id)},
                        {"targetType", static_cast<uint32_t>(target.type)},
                        {"outcome", matched ? "matched" : "not matched"}};
  if (!matched && !_failed.is_null()) entry["failed"] = std::move(_failed);
  _failed = nullptr;
  _targets.push_back(std::move(entry));
  ++_targetsKept;
}

void CkxDecisionObserver::OnPolicy(const SkxObservedPolicy& policy, EkxPolicyOutcome outcome) {
  const bool applies = outcome == EkxPolicyOutcome::Applies;
  if (applies && policy.policy != nullptr) KeepApplied(*policy.policy);
  if (!_steps) return;
  ordered_json targets = std::exchange(_targets, ordered_json::array());
  const size_t leftOut = std::exchange(_targetsLeftOut, 0);
  _failed = nullptr;
  if (_policies.size() >= kMaxPolicies && !applies) {
    ++_policiesLeftOut;
    return;
  }
  _policies.push_back({{"policyId", policy.id},
                       {"policyName", Beginning(policy.name)},
                       {"action", static_cast<int32_t>(policy.action)},
                       {"outcome", KxUtil_PolicyOutcomeText(outcome)},
                       {"targets", std::move(targets)}});
  if (leftOut != 0) _policies.back()["leftOut"] = leftOut;
}

void CkxDecisionObserver::KeepApplied(const CkxShBufPolicy& policy) {
  _policyName = KxText_ToUtf8(policy.NameView());
  _alerts.clear();
  for (uint32_t i = 0; i < policy.Alerts().Count(); ++i) _alerts.push_back(policy.Alerts().GetAt(i));
}
