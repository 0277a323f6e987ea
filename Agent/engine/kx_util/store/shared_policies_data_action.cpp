// The central evaluation: which policy applies to a target, and with what action.
#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

constexpr std::string_view kActionScope = "GetProcessPolicyAction";

/// Every kind that decides, until a policy applies.
EkxEvaluationOutcome Evaluate(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) {
  SkxTriggerPolicyShortInfo result;
  const auto isUndecided = [&](const CkxShBufPolicyWithTargets& policy) {
    const EkxPolicyOutcome outcome = KxPolicyWalk_Judge(policy, target, result);
    KxPolicyWalk_Tell(policy, outcome);
    return outcome != EkxPolicyOutcome::Applies;
  };
  switch (KxPolicyWalk_Run(kActionScope, kKxDecidingActions, target.UserToken(), &target, isUndecided)) {
    case EkxWalkEnd::Walked:
      break;
    case EkxWalkEnd::NothingPublished:
      return EkxEvaluationOutcome::NothingPublished;
    case EkxWalkEnd::NoneApplicable:
      return EkxEvaluationOutcome::NoPolicyApplies;
    case EkxWalkEnd::NotOpened:
    case EkxWalkEnd::Faulted:
      return EkxEvaluationOutcome::NotAnswered;
  }
  if (result.IsEmpty()) return EkxEvaluationOutcome::NoPolicyApplies;
  info = result;
  return EkxEvaluationOutcome::PolicyApplies;
}

}  // namespace

bool CkxSharedPoliciesData::GetTargetPolicyAction(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info,
                                                  EkxEvaluationOutcome& outcome) {
  outcome = KxEntry(EkxEvaluationOutcome::NotAnswered, [&] { return Evaluate(target, info); });
  return outcome == EkxEvaluationOutcome::PolicyApplies;
}

bool CkxSharedPoliciesData::GetTargetPolicyAction(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) {
  EkxEvaluationOutcome unused;
  return GetTargetPolicyAction(target, info, unused);
}
