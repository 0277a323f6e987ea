#include "Agent/engine/kx_publish/decision/decision.h"

#include <memory>
#include <new>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/decision/explanation.h"
#include "Common_CPP/util/text.h"

SkxDecision KxDecision_Of(const CkxTargetInfo& target, const SkxDecisionWish& wish, const CkxImageJudge& judge) {
  static const CkxAuthorNames& kNoNames = *std::make_unique<CkxAuthorNames>().release();
  const CkxPolicySnapshot* const snapshot = judge.SnapshotForNext();
  SkxDecision decision;
  CkxDecisionObserver observer(wish.explain, wish.names != nullptr ? *wish.names : kNoNames);
  {
    const CkxEvaluationObserverScope scope(observer);
    decision.matched = judge.Evaluate(target, snapshot, decision.info, decision.outcome);
  }
  if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  decision.policyName = observer.PolicyName();
  decision.alerts = observer.Alerts();
  decision.error = observer.Fault();
  decision.policiesLeftOut = observer.PoliciesLeftOut();
  if (wish.explain != EkxExplain::None) decision.explanation = observer.TakePolicies();
  return decision;
}

SkxDecision KxDecision_OfDocument(const CkxTargetDocument& document, const SkxDecisionWish& wish,
                                  const CkxImageJudge& judge) {
  const CkxMachineFactsScope machine(document.Machine());
  SkxDecision decision = KxDecision_Of(document.Target(), wish, judge);
  decision.idJson = document.IdJson();
  return decision;
}

std::string KxDecision_ActionName(const SkxDecision& decision) {
  return KxText_ToUtf8(KxUtil_PolicyActionStr(decision.info.PolicyAction));
}
