#include "Agent/engine/kx_publish/cases/coverage.h"

#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy_target_app_group_link.h>

#include <algorithm>
#include <set>

#include "Agent/engine/kx_publish/cases/expectation.h"
#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Common_CPP/util/text.h"

namespace {

std::vector<SkxCoveredTarget> TargetsOf(const CkxShBufList& list) {
  std::vector<SkxCoveredTarget> targets;
  for (const CkxShBufTarget& target : CkxNodes<CkxShBufTarget>(list)) {
    targets.push_back({target.TargetId(), target.TargetType(), targets.size()});
  }
  return targets;
}

/// A link of a policy is never what an answer names: a target of the group is. `groups` gets those that are linked.
std::vector<SkxCoveredTarget> OwnTargetsOf(const CkxShBufPolicyWithTargets& policy,
                                           std::set<GUID, SkxGuidLess>& groups) {
  for (const CkxShBufTarget& target : CkxNodes<CkxShBufTarget>(policy.Targets())) {
    if (!target.IsTargetType(EkxPolicyTarget::AppGroupLink)) continue;
    groups.insert(static_cast<const CkxShBufTargetAppGroupLink&>(target).GroupId());
  }
  std::vector<SkxCoveredTarget> targets = TargetsOf(policy.Targets());
  std::erase_if(targets, [](const SkxCoveredTarget& target) { return target.type == EkxPolicyTarget::AppGroupLink; });
  return targets;
}

SkxCoveredPolicy PolicyOf(const CkxShBufPolicyWithTargets& policy, std::set<GUID, SkxGuidLess>& groups) {
  SkxCoveredPolicy covered = {policy.Id(), KxText_ToUtf8(policy.NameView()), OwnTargetsOf(policy, groups), {}};
  for (uint32_t i = 0; i < policy.Alerts().Count(); ++i) {
    const GUID alert = policy.Alerts().GetAt(i).alertId;
    covered.alerts.push_back(alert);
  }
  return covered;
}

SkxCoveredTarget* Find(std::vector<SkxCoveredTarget>& targets, const GUID& id) {
  const auto found = std::find_if(targets.begin(), targets.end(),
                                  [&](const SkxCoveredTarget& target) { return KxGuid_Equal(target.id, id); });
  return found != targets.end() ? &*found : nullptr;
}

SkxShare& operator+=(SkxShare& share, const std::vector<SkxCoveredTarget>& targets) {
  share.all += targets.size();
  share.decided += static_cast<size_t>(
      std::count_if(targets.begin(), targets.end(), [](const SkxCoveredTarget& target) { return target.decided; }));
  return share;
}

}  // namespace

CkxCoverage CkxCoverage::OfSource() {
  CkxCoverage coverage;
  std::set<GUID, SkxGuidLess> linked;
  auto add = [&](const CkxShBufPolicy& policy) {
    if (KxPolicyWalk_IsPassedOver(policy)) return true;
    coverage._byId.try_emplace(policy.Id(), coverage._policies.size());
    coverage._policies.push_back(PolicyOf(static_cast<const CkxShBufPolicyWithTargets&>(policy), linked));
    return true;
  };
  const SkxPolicyFilter deciding = {SkxPolicyFilter::kActive | SkxPolicyFilter::kByAction, kKxDecidingActions};
  CkxSharedPoliciesData::EnumPolicies(deciding, KxCallback<const CkxShBufPolicy&>(add), &add, false, nullptr);
  if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();

  for (const GUID& id : linked) {
    CkxShBufAppGroup* group = nullptr;
    if (!CkxSharedPoliciesData::GetAppGroupById(id, group)) continue;
    const CkxShBufAppGroupPtr owned(group);
    coverage._groups.push_back({id, TargetsOf(owned->Targets())});
  }
  if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  return coverage;
}

void CkxCoverage::Count(const SkxCaseDecision& decision) {
  if (!decision.matched || !_counted[decision.policyId].insert(decision.targetId).second) return;
  const auto policy = _byId.find(decision.policyId);
  if (policy == _byId.end()) return;
  SkxCoveredPolicy& covered = _policies[policy->second];
  covered.decided = true;
  SkxCoveredTarget* target = Find(covered.targets, decision.targetId);
  if (target == nullptr) target = FindInGroups(decision.targetId);
  if (target != nullptr) target->decided = true;
}

SkxCoveredTarget* CkxCoverage::FindInGroups(const GUID& id) {
  for (SkxCoveredGroup& group : _groups) {
    if (SkxCoveredTarget* const target = Find(group.targets, id)) return target;
  }
  return nullptr;
}

SkxShare CkxCoverage::PolicyShare() const {
  const auto decided =
      std::count_if(_policies.begin(), _policies.end(), [](const SkxCoveredPolicy& policy) { return policy.decided; });
  return {static_cast<size_t>(decided), _policies.size()};
}

SkxShare CkxCoverage::TargetShare() const {
  SkxShare share;
  for (const SkxCoveredPolicy& policy : _policies) share += policy.targets;
  for (const SkxCoveredGroup& group : _groups) share += group.targets;
  return share;
}
