#include "Agent/engine/kx_util/store/policy_walk.h"

#include <kx_util/shared_policy_kinds.h>

#include "Agent/engine/kx_util/watch/observe.h"
#include "Common_CPP/util/trace.h"

bool KxPolicyWalk_IsPassedOver(const CkxShBufPolicy& policy) {
  return policy.IsAction(EkxPolicyAction::Exclude) &&
         !static_cast<const CkxShBufPolicyExclude&>(policy).ShouldExcludeFromPolicies();
}

EkxPolicyOutcome KxPolicyWalk_Judge(const CkxShBufPolicyWithTargets& policy, const CkxTargetInfo& target,
                                    SkxTriggerPolicyShortInfo& info) {
  if (KxPolicyWalk_IsPassedOver(policy)) return EkxPolicyOutcome::PassedOver;
  return policy.IsApplicableTarget(target, info) ? EkxPolicyOutcome::Applies : EkxPolicyOutcome::NoTargetMatched;
}

void KxPolicyWalk_Tell(const CkxShBufPolicy& policy, EkxPolicyOutcome outcome) {
  const bool applies = outcome == EkxPolicyOutcome::Applies;
  if (IkxEvaluationObserver* const observer = applies ? KxObserve_Current() : KxObserve_Steps()) {
    observer->OnPolicy({policy.Id(), policy.Action(), policy.NameView(), &policy}, outcome);
  }
}

bool KxPolicyWalk_IsExpected(std::string_view name, uint32_t actions, const CkxShBufPolicy& policy) {
  if (policy.WithTargets() && (SkxPolicyFilter::GetActionMask(policy.Action()) & actions) != 0) return true;
  KxTrace(EkxTraceLevel::Error, name, "ERROR: Unexpected policy action ", static_cast<int32_t>(policy.Action()));
  return false;
}
