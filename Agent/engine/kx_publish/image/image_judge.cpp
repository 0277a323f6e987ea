#include "Agent/engine/kx_publish/image/image_judge.h"

#include <kx_util/shared_policies_data.h>

#include <new>

namespace {

/// Preparing takes as long as judging some hundred targets.
constexpr uint64_t kQuestionsWorthPreparing = 256;

}  // namespace

CkxImageJudge::CkxImageJudge(SkxPolicyImage image, EkxPrepare prepare)
    : CkxImageJudge(std::make_unique<const CkxImageSource>(std::move(image)), prepare) {}

CkxImageJudge::CkxImageJudge(std::unique_ptr<const IkxPolicySource> owned, EkxPrepare prepare)
    : _owned(std::move(owned)), _source(*_owned), _prepare(prepare) {
  if (_prepare == EkxPrepare::AtOnce) Prepare();
}

CkxImageJudge::CkxImageJudge(const IkxPolicySource& source, EkxPrepare prepare) : _source(source), _prepare(prepare) {
  if (_prepare == EkxPrepare::AtOnce) Prepare();
}

void CkxImageJudge::Prepare() const {
  EkxEvaluationFault ignored;  // each decision meets it again
  _snapshot = CkxPolicySnapshot::Prepare(_source, ignored);
  _ready.store(_snapshot.get(), std::memory_order_release);
}

const CkxPolicySnapshot* CkxImageJudge::SnapshotForNext() const {
  const CkxPolicySnapshot* const ready = _ready.load(std::memory_order_acquire);
  if (ready != nullptr || _prepare != EkxPrepare::WhenItPays) return ready;
  if (_asked.fetch_add(1, std::memory_order_relaxed) + 1 == kQuestionsWorthPreparing) Prepare();
  return _ready.load(std::memory_order_acquire);
}

bool CkxImageJudge::Evaluate(const CkxTargetInfo& target, const CkxPolicySnapshot* snapshot,
                             SkxTriggerPolicyShortInfo& info, EkxEvaluationOutcome& outcome) const {
  const CkxPolicySourceScope scope(_source);
  return snapshot != nullptr ? snapshot->Evaluate(target, _source, info, outcome)
                             : CkxSharedPoliciesData::GetTargetPolicyAction(target, info, outcome);
}

SkxJudgement CkxImageJudge::Judge(const CkxTargetDocument& document) const {
  const CkxMachineFactsScope machine(document.Machine());
  SkxJudgement judgement;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  judgement.matched = Evaluate(document.Target(), SnapshotForNext(), judgement.info, outcome);
  judgement.fault = KxUtil_LastFault();
  if (judgement.fault == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  return judgement;
}
