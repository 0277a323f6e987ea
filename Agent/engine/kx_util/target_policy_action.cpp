// The central evaluation: which policy applies to a target, and with what action.
#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy_kinds.h>

#include "Agent/engine/kx_util/observe.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kScope = "GetProcessPolicyAction";

/// Active policies that decide about launches: Run, Block, Elevate, Trust, Run & Collect Events, Exclude.
constexpr SkxPolicyFilter kEvaluated = {SkxPolicyFilter::kActive | SkxPolicyFilter::kByAction, 0x82F};

struct Evaluation {
  const CkxTargetInfo& target;
  SkxTriggerPolicyShortInfo result;
};

bool IsExclusionOfAnotherKind(const CkxShBufPolicy& policy) {
  return policy.IsAction(EkxPolicyAction::Exclude) &&
         !static_cast<const CkxShBufPolicyExclude&>(policy).ShouldExcludeFromPolicies();
}

EkxPolicyOutcome Judge(const CkxShBufPolicyWithTargets& policy, Evaluation& evaluation) {
  if (IsExclusionOfAnotherKind(policy)) return EkxPolicyOutcome::PassedOver;
  if (policy.IsApplicableTarget(evaluation.target, evaluation.result)) return EkxPolicyOutcome::Applies;
  return EkxPolicyOutcome::NoTargetMatched;
}

/// The walk's callback: goes on until a policy applies.
bool GetTargetPolicyActionEnumProc(const CkxShBufPolicy& policy, void* context) {
  if (!policy.WithTargets()) {
    KxTrace(EkxTraceLevel::Error, kScope, "ERROR: Unexpected policy action ", static_cast<int32_t>(policy.Action()));
    return false;
  }
  const EkxPolicyOutcome outcome =
      Judge(static_cast<const CkxShBufPolicyWithTargets&>(policy), *static_cast<Evaluation*>(context));
  const bool applies = outcome == EkxPolicyOutcome::Applies;
  if (IkxEvaluationObserver* const observer = applies ? KxObserve_Current() : KxObserve_Steps()) {
    observer->OnPolicy({policy.Id(), policy.Action(), policy.NameView(), &policy}, outcome);
  }
  return !applies;
}

}  // namespace

bool CkxSharedPoliciesData::GetTargetPolicyAction(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) {
  Evaluation evaluation = {target, {}};
  if (!EnumPolicies(kEvaluated, GetTargetPolicyActionEnumProc, &evaluation, true, target.UserToken())) return false;
  if (evaluation.result.IsEmpty()) return false;
  info = evaluation.result;
  return true;
}
