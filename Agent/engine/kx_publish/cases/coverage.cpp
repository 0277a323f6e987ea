#include "Agent/engine/kx_publish/cases/coverage.h"

#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy_target_app_group_link.h>

#include <algorithm>
#include <set>

#include "Agent/engine/kx_publish/cases/expectation.h"
#include "Agent/engine/kx_publish/cases/set_checks.h"
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

void AddChecksOf(const std::vector<SkxTargetModel>& models, std::vector<SkxCoveredTarget>& targets) {
  for (SkxCoveredTarget& target : targets) {
    if (target.index >= models.size() || !KxGuid_Equal(models[target.index].id, target.id)) continue;
    for (std::string& name : KxTarget_SetChecks(models[target.index])) target.checks.push_back({std::move(name)});
  }
}

/// The first record of each id that can be read, as look-ups find it.
template <class Id, class Less, class Model>
std::map<Id, const Model*, Less> FirstModels(const std::vector<SkxImageRecord<Model>>& records, Id Model::*id) {
  std::map<Id, const Model*, Less> models;
  for (const SkxImageRecord<Model>& record : records) {
    if (record.model) models.try_emplace((*record.model).*id, &*record.model);
  }
  return models;
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
    const std::vector<SkxCoveredTarget>& targets = coverage._groups.back().targets;
    for (size_t i = 0; i < targets.size(); ++i) {
      coverage._inGroups.try_emplace(targets[i].id, coverage._groups.size() - 1, i);
    }
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
  if (SkxCoveredTarget* const target = TargetOf(covered, decision.targetId)) target->decided = true;
}

void CkxCoverage::AddChecks(const SkxImageModels& models) {
  const auto policies = FirstModels<uint32_t, std::less<>>(models.policies, &SkxPolicyModel::id);
  for (SkxCoveredPolicy& covered : _policies) {
    const auto policy = policies.find(covered.id);
    if (policy != policies.end()) AddChecksOf(policy->second->targets, covered.targets);
  }
  const auto groups = FirstModels<GUID, SkxGuidLess>(models.groups, &SkxAppGroupModel::id);
  for (SkxCoveredGroup& covered : _groups) {
    const auto group = groups.find(covered.id);
    if (group != groups.end()) AddChecksOf(group->second->targets, covered.targets);
  }
}

void CkxCoverage::CountNo(uint32_t policyId, const GUID& target, std::string_view check) {
  const auto policy = _byId.find(policyId);
  SkxCoveredTarget* const covered = policy != _byId.end() ? TargetOf(_policies[policy->second], target) : nullptr;
  if (covered == nullptr) return;
  for (SkxCoveredCheck& one : covered->checks) one.saidNo = one.saidNo || one.name == check;
}

/// Its own, else one of a group.
SkxCoveredTarget* CkxCoverage::TargetOf(SkxCoveredPolicy& policy, const GUID& id) {
  if (SkxCoveredTarget* const own = Find(policy.targets, id)) return own;
  const auto place = _inGroups.find(id);
  return place != _inGroups.end() ? &_groups[place->second.first].targets[place->second.second] : nullptr;
}

template <class Visit>
void CkxCoverage::ForEachTarget(Visit visit) const {
  for (const SkxCoveredPolicy& policy : _policies) std::for_each(policy.targets.begin(), policy.targets.end(), visit);
  for (const SkxCoveredGroup& group : _groups) std::for_each(group.targets.begin(), group.targets.end(), visit);
}

SkxShare CkxCoverage::PolicyShare() const {
  const auto decided =
      std::count_if(_policies.begin(), _policies.end(), [](const SkxCoveredPolicy& policy) { return policy.decided; });
  return {static_cast<size_t>(decided), _policies.size()};
}

SkxShare CkxCoverage::TargetShare() const {
  SkxShare share;
  ForEachTarget([&](const SkxCoveredTarget& target) { share.Add(target.decided); });
  return share;
}

SkxShare CkxCoverage::CheckShare() const {
  SkxShare share;
  ForEachTarget([&](const SkxCoveredTarget& target) {
    for (const SkxCoveredCheck& check : target.checks) share.Add(check.saidNo);
  });
  return share;
}
