#include "Agent/engine/kx_publish/cases/near_misses.h"

#include <algorithm>

#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kMaxPolicies = 3;
constexpr size_t kMaxTargets = 5;  // of a policy
constexpr size_t kMaxTextUnits = 200;

std::string Beginning(CkxTextView text) {
  return KxText_ToUtf8(text.Part(0, std::min(text.Size(), kMaxTextUnits))) + (text.Size() > kMaxTextUnits ? "..." : "");
}

/// Checks of what a thing is called: one that fails there is about something else.
bool IsOfIdentity(std::string_view property) {
  constexpr std::string_view kIdentities[] = {"fileName", "hash", "group", "classId", "url", "task", "packageName"};
  return std::find(std::begin(kIdentities), std::end(kIdentities), property) != std::end(kIdentities);
}

}  // namespace

void CkxNearMisses::OnCheckFailed(const char* property, CkxTextView expected, CkxTextView actual) {
  if (_current.lines.size() >= kMaxTargets) return;
  _failed = std::string(property) + ": expected " + Beginning(expected) + ", found " + Beginning(actual);
  _failedAt = std::string_view(property) == "kind" ? Nearness::None
              : IsOfIdentity(property)             ? Nearness::Kind
                                                   : Nearness::Identity;
}

void CkxNearMisses::OnTarget(const SkxObservedTarget& target, bool matched) {
  const std::string failed = std::exchange(_failed, "");
  _current.nearness = std::max(_current.nearness, matched ? Nearness::Identity : _failedAt);
  _failedAt = Nearness::None;
  if (!matched && _current.lines.size() >= kMaxTargets) return;
  const std::string what = KxText_ToUtf8(KxUtil_PolicyTargetTypeStr(target.type)) + " " + KxGuid_ToUtf8(target.id);
  _current.lines.push_back("  " + what + ": " + (matched ? "matched" : failed.empty() ? "not matched" : failed));
}

bool CkxNearMisses::IsWanted(const SkxObservedPolicy& policy) const {
  if (_expected == nullptr || _expected->none) return false;
  return (!_expected->action || *_expected->action == policy.action) &&
         (!_expected->policyId || *_expected->policyId == policy.id) &&
         (!_expected->policyName || *_expected->policyName == KxText_ToUtf8(policy.name));
}

void CkxNearMisses::OnPolicy(const SkxObservedPolicy& policy, EkxPolicyOutcome outcome) {
  Policy seen = std::exchange(_current, Policy());
  _failed.clear();
  _failedAt = Nearness::None;
  const bool applies = outcome == EkxPolicyOutcome::Applies;
  const bool isNamed = _expected != nullptr && _expected->NamesPolicy();
  if (!applies && (!IsWanted(policy) || (seen.nearness == Nearness::None && !isNamed))) return;
  seen.lines.insert(seen.lines.begin(), "policy " + std::to_string(policy.id) + " \"" + Beginning(policy.name) +
                                            "\": " + KxUtil_PolicyOutcomeText(outcome));
  if (applies) {
    std::erase_if(seen.lines,
                  [](const std::string& line) { return line.starts_with("  ") && !line.ends_with(": matched"); });
    _decided = std::move(seen.lines);
    return;
  }
  // The nearest first; of the same nearness those that are asked first.
  const auto place =
      std::find_if(_near.begin(), _near.end(), [&](const Policy& other) { return other.nearness < seen.nearness; });
  _near.insert(place, std::move(seen));
  if (_near.size() > kMaxPolicies) _near.pop_back();
}

std::vector<std::string> CkxNearMisses::Lines() const {
  std::vector<std::string> lines = _decided;
  for (const Policy& policy : _near) lines.insert(lines.end(), policy.lines.begin(), policy.lines.end());
  if (_near.empty() && !_decided.empty() && _expected != nullptr && _expected->NamesPolicy()) {
    lines.emplace_back("the expected policy was not asked: what decided stands before it");
  }
  return lines;
}
