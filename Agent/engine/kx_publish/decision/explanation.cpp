#include "Agent/engine/kx_publish/decision/explanation.h"

#include <algorithm>
#include <utility>

#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"

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
  _failed = {property, namesGroups ? WithGroupNames(Beginning(expected)) : Beginning(expected), Beginning(actual)};
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
  SkxExplainedTarget& entry = _targets.emplace_back();
  entry.id = target.id;
  entry.type = target.type;
  entry.matched = matched;
  if (!matched) entry.failed = std::move(_failed);
  _failed.reset();
  ++_targetsKept;
}

void CkxDecisionObserver::OnPolicy(const SkxObservedPolicy& policy, EkxPolicyOutcome outcome) {
  const bool applies = outcome == EkxPolicyOutcome::Applies;
  if (applies && policy.policy != nullptr) KeepApplied(*policy.policy);
  if (_explain == EkxExplain::None) return;
  std::vector<SkxExplainedTarget> targets = std::exchange(_targets, {});
  const size_t leftOut = std::exchange(_targetsLeftOut, 0);
  const bool isClose = std::exchange(_isClose, false);
  _failed.reset();
  if (_explain == EkxExplain::Close && !applies && !isClose) {
    _targetsKept -= targets.size();
    return;
  }
  if (_policies.size() >= kMaxPolicies && !applies) {
    ++_policiesLeftOut;
    return;
  }
  for (SkxExplainedTarget& target : targets) AddPlace(policy.id, target);
  SkxExplainedPolicy& explained = _policies.emplace_back();
  explained.id = policy.id;
  explained.name = Beginning(policy.name);
  explained.action = policy.action;
  explained.outcome = outcome;
  explained.targets = std::move(targets);
  explained.leftOut = leftOut;
  if (const SkxAuthorName* const written = _names.Policy(policy.id)) {
    explained.written = {written->document, written->pointer};
  }
}

void CkxDecisionObserver::AddPlace(uint32_t policy, SkxExplainedTarget& target) const {
  const std::optional<SkxTargetPlace> place = _names.Target(policy, target.id);
  if (!place) return;
  target.name = place->owner->targets[place->index].name;
  target.number = place->index + 1;
  target.of = place->owner->targets.size();
  if (place->group != nullptr) target.group = place->group->name;
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
