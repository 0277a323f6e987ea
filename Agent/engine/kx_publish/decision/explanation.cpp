#include "Agent/engine/kx_publish/decision/explanation.h"

#include <algorithm>

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

/// Checks of what a target is about at all: which kind of thing, by which name.
bool IsFirstCheck(std::string_view property) {
  static constexpr std::string_view kFirst[] = {"kind", "fileName", "url", "classId", "packageName", "group"};
  return std::find(std::begin(kFirst), std::end(kFirst), property) != std::end(kFirst);
}

constexpr size_t kGuidBytes = 38;  // {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}

}  // namespace

void CkxDecisionObserver::OnCheckFailed(const char* property, CkxTextView expected, CkxTextView actual) {
  _isClose = _isClose || !IsFirstCheck(property);
  if (!HasPlaceForTarget(false)) return;
  const std::string_view check = property;
  const bool namesGroups = check == "group" || check == "parentProcess";
  _failed = {{"property", property},
             {"expected", namesGroups ? WithGroupNames(Beginning(expected)) : Beginning(expected)},
             {"actual", Beginning(actual)}};
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
  _targetIds.push_back(target.id);
  ++_targetsKept;
}

void CkxDecisionObserver::OnPolicy(const SkxObservedPolicy& policy, EkxPolicyOutcome outcome) {
  const bool applies = outcome == EkxPolicyOutcome::Applies;
  if (applies && policy.policy != nullptr) KeepApplied(*policy.policy);
  if (_explain == EkxExplain::None) return;
  ordered_json targets = std::exchange(_targets, ordered_json::array());
  const size_t leftOut = std::exchange(_targetsLeftOut, 0);
  const std::vector<GUID> ids = std::exchange(_targetIds, {});
  const bool isClose = std::exchange(_isClose, false);
  _failed = nullptr;
  if (_explain == EkxExplain::Close && !applies && !isClose) {
    _targetsKept -= targets.size();
    return;
  }
  if (_policies.size() >= kMaxPolicies && !applies) {
    ++_policiesLeftOut;
    return;
  }
  for (size_t i = 0; i < ids.size(); ++i) AddPlace(policy.id, ids[i], targets[i]);
  _policies.push_back({{"policyId", policy.id},
                       {"policyName", Beginning(policy.name)},
                       {"action", static_cast<int32_t>(policy.action)},
                       {"outcome", KxUtil_PolicyOutcomeText(outcome)},
                       {"targets", std::move(targets)}});
  if (leftOut != 0) _policies.back()["leftOut"] = leftOut;
  if (const SkxAuthorName* const written = _names.Policy(policy.id)) {
    _policies.back()["document"] = written->document;
    _policies.back()["pointer"] = written->pointer;
  }
}

void CkxDecisionObserver::AddPlace(uint32_t policy, const GUID& id, ordered_json& target) const {
  const std::optional<SkxTargetPlace> place = _names.Target(policy, id);
  if (!place) return;
  const std::string& name = place->owner->targets[place->index].name;
  if (!name.empty()) target["name"] = name;
  target["number"] = place->index + 1;
  target["of"] = place->owner->targets.size();
  if (place->group != nullptr) target["group"] = place->group->name;
}

/// "a target of {...}" is "a target of "Games"" where the group has that name.
std::string CkxDecisionObserver::WithGroupNames(std::string text) const {
  for (size_t at = text.find('{'); at != std::string::npos; at = text.find('{', at + 1)) {
    const std::optional<GUID> id = KxGuid_FromUtf8(text.substr(at, kGuidBytes));
    const SkxAuthorName* const group = id ? _names.Group(*id) : nullptr;
    if (group != nullptr && !group->name.empty()) text.replace(at, kGuidBytes, "\"" + group->name + "\"");
  }
  return text;
}

void CkxDecisionObserver::KeepApplied(const CkxShBufPolicy& policy) {
  _policyName = KxText_ToUtf8(policy.NameView());
  _alerts.clear();
  for (uint32_t i = 0; i < policy.Alerts().Count(); ++i) _alerts.push_back(policy.Alerts().GetAt(i));
}
