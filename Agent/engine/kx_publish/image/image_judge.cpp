#include "Agent/engine/kx_publish/image/image_judge.h"

#include <kx_util/shared_policies_data.h>

#include <new>

CkxImageJudge::CkxImageJudge(SkxPolicyImage image) : _source(std::move(image)) {
  EkxEvaluationFault ignored;  // each decision meets it again
  _snapshot = CkxPolicySnapshot::Prepare(_source, ignored);
}

SkxJudgement CkxImageJudge::Judge(const CkxTargetDocument& document) const {
  const CkxMachineFactsScope machine(document.Machine());
  const CkxPolicySourceScope scope(_source);
  SkxJudgement judgement;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  judgement.matched = _snapshot != nullptr
                          ? _snapshot->Evaluate(document.Target(), _source, judgement.info, outcome)
                          : CkxSharedPoliciesData::GetTargetPolicyAction(document.Target(), judgement.info, outcome);
  judgement.fault = KxUtil_LastFault();
  if (judgement.fault == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  return judgement;
}
