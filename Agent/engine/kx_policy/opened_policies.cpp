#include "Agent/engine/kx_policy/opened_policies.h"

#include <new>

namespace {

CkxDecisionSummary SummaryOf(const SkxPolicyImage& image) {
  CkxDecisionSummary summary;
  summary.AddPolicies(image);
  return summary;
}

}  // namespace

kx_policies::kx_policies() : _isLive(true), _judge(KxPolicySource_Current(), EkxPrepare::Never) {}

kx_policies::kx_policies(CkxPolicySet set)
    : _isLive(false), _names(set.Names()), _empty(SummaryOf(set.Image())), _judge(set.TakeImage()) {
  if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
}

SkxDecision kx_policies::Judge(const CkxTargetDocument& document, EkxExplain explain) const {
  return Told(KxDecision_OfDocument(document, {explain, &_names}, _judge));
}

SkxDecision kx_policies::Judge(const CkxTargetInfo& target, EkxExplain explain) const {
  return Told(KxDecision_Of(target, {explain, &_names}, _judge));
}

/// An image is judged as it is; a machine where nothing is published has not answered.
SkxDecision kx_policies::Told(SkxDecision decision) const {
  if (_isLive && decision.outcome == EkxEvaluationOutcome::NothingPublished && decision.error.empty()) {
    decision.error = "No policies are published on this machine";
  }
  return decision;
}
