// The central evaluation: which policy applies to a target, and with what action.
#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Agent/engine/kx_util/watch/observe.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kScope = "GetProcessPolicyAction";

constexpr SkxPolicyFilter kEvaluated = {SkxPolicyFilter::kActive | SkxPolicyFilter::kByAction, kKxDecidingActions};

struct Evaluation {
  const CkxTargetInfo& target;
  SkxTriggerPolicyShortInfo result;
};

/// The walk's callback: goes on until a policy applies.
bool GetTargetPolicyActionEnumProc(const CkxShBufPolicy& policy, void* context) {
  if (!policy.WithTargets()) {
    KxTrace(EkxTraceLevel::Error, kScope, "ERROR: Unexpected policy action ", static_cast<int32_t>(policy.Action()));
    return false;
  }
  auto& evaluation = *static_cast<Evaluation*>(context);
  const EkxPolicyOutcome outcome =
      KxPolicyWalk_Judge(static_cast<const CkxShBufPolicyWithTargets&>(policy), evaluation.target, evaluation.result);
  const bool applies = outcome == EkxPolicyOutcome::Applies;
  if (IkxEvaluationObserver* const observer = applies ? KxObserve_Current() : KxObserve_Steps()) {
    observer->OnPolicy({policy.Id(), policy.Action(), policy.NameView(), &policy}, outcome);
  }
  return !applies;
}

EkxEvaluationOutcome Evaluate(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) {
  Evaluation evaluation = {target, {}};
  switch (KxSectionWalk_Policies(kEvaluated, GetTargetPolicyActionEnumProc, &evaluation, true, target.UserToken())) {
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
  if (evaluation.result.IsEmpty()) return EkxEvaluationOutcome::NoPolicyApplies;
  info = evaluation.result;
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
