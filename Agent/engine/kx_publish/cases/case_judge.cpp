#include "Agent/engine/kx_publish/cases/case_judge.h"

#include <kx_util/shared_policies_data.h>

#include <algorithm>

#include "Agent/engine/kx_publish/cases/check_watch.h"
#include "Agent/engine/kx_publish/cases/near_misses.h"
#include "Agent/engine/kx_publish/decision/decision.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/model/derived_id.h"
#include "Common_CPP/util/text.h"

namespace {

CkxCoverage CoverageOf(const IkxPolicySource& policies) {
  const CkxPolicySourceScope scope(policies);
  return CkxCoverage::OfSource();
}

std::string Wanted(const SkxCase& test) {
  std::string text = test.expect ? KxExpectation_Text(*test.expect) : "";
  if (test.expectNot) text += (text.empty() ? "anything but " : ", and not ") + KxExpectation_Text(*test.expectNot);
  return text;
}

bool AsksForAlert(const SkxCase& test) {
  return (test.expect && test.expect->alert) || (test.expectNot && test.expectNot->alert);
}

void AddFailure(SkxCaseFailure failure, SkxCaseResult& result) {
  ++result.failed;
  if (result.failures.size() < SkxCaseResult::kMaxTold) result.failures.push_back(std::move(failure));
}

}  // namespace

CkxCaseJudge::CkxCaseJudge(SkxPolicyImage image, KxAlertNames alertNames)
    : _judge(std::move(image), EkxPrepare::WhenItPays),
      _alertNames(std::move(alertNames)),
      _coverage(CoverageOf(_judge.Source())) {}

SkxCaseResult CkxCaseJudge::Judge(const SkxCase& test) {
  SkxCaseResult result;
  SkxCase prepared;
  if (!Prepare(test, prepared, result)) return result;
  for (const SkxCaseTarget& target : test.targets) {
    Check(prepared, target.document, Decide(target.document), {target.pointer, ""}, result);
    if (_watchesChecks) WatchChecks(target.document);
  }
  return result;
}

void CkxCaseJudge::WatchChecks(const SkxImageModels& models) {
  _watchesChecks = true;
  _coverage.AddChecks(models);
}

void CkxCaseJudge::WatchChecks(const CkxTargetDocument& target) {
  CkxCheckWatch watch(_coverage);
  const CkxPolicySourceScope source(_judge.Source());
  const CkxMachineFactsScope machine(target.Machine());
  const CkxEvaluationObserverScope scope(watch);
  SkxTriggerPolicyShortInfo unused;
  CkxSharedPoliciesData::GetTargetPolicyAction(target.Target(), unused);
}

bool CkxCaseJudge::Prepare(const SkxCase& test, SkxCase& prepared, SkxCaseResult& result) const {
  prepared.expect = test.expect;
  prepared.expectNot = test.expectNot;
  for (std::optional<SkxExpectation>* const expected : {&prepared.expect, &prepared.expectNot}) {
    const std::string unknown = *expected ? Unknown(**expected) : "";
    if (unknown.empty()) continue;
    AddFailure({{test.pointer, ""}, "", Wanted(test), unknown, {}}, result);
    return false;
  }
  return true;
}

/// An expectation about what is not there would hold, or fail, whatever the policies do.
std::string CkxCaseJudge::Unknown(SkxExpectation& expected) const {
  const auto isMeant = [&](const SkxCoveredPolicy& policy) {
    return (!expected.policyId || *expected.policyId == policy.id) &&
           (!expected.policyName || *expected.policyName == policy.name);
  };
  const auto policies = _coverage.Policies();
  if (expected.NamesPolicy() && std::none_of(policies.begin(), policies.end(), isMeant)) {
    return "nothing: no active policy about launches has this " + std::string(expected.policyId ? "id" : "name");
  }
  if (!expected.alert) return "";
  const auto named = _alertNames.find(*expected.alert);
  const std::optional<GUID> id = KxGuid_FromUtf8(*expected.alert);
  expected.alertId = named != _alertNames.end() ? named->second : id ? *id : KxDerivedId("alert/" + *expected.alert);
  return HasAlert(expected.alertId) ? "" : "nothing: no active policy about launches has this alert";
}

bool CkxCaseJudge::HasAlert(const GUID& id) const {
  const auto policies = _coverage.Policies();
  return std::any_of(policies.begin(), policies.end(), [&](const SkxCoveredPolicy& policy) {
    return std::any_of(policy.alerts.begin(), policy.alerts.end(),
                       [&](const GUID& linked) { return KxGuid_Equal(linked, id); });
  });
}

SkxCaseDecision CkxCaseJudge::Decide(const CkxTargetDocument& target) {
  SkxDecision decided = KxDecision_OfDocument(target, {}, _judge);
  SkxCaseDecision decision;
  decision.matched = decided.matched;
  decision.policyId = decided.info.PolicyId;
  decision.action = decided.info.PolicyAction;
  decision.targetId = decided.info.PolicyTargetId;
  decision.policyName = std::move(decided.policyName);
  decision.alerts = std::move(decided.alerts);
  decision.error = std::move(decided.error);
  if (decided.outcome == EkxEvaluationOutcome::NothingPublished) decision.error = "there are no policies";
  if (decided.outcome == EkxEvaluationOutcome::NotAnswered && decision.error.empty()) {
    decision.error = KxUtil_FaultText(KxUtil_LastFault());
  }
  _coverage.Count(decision);
  return decision;
}

void CkxCaseJudge::Check(const SkxCase& test, const CkxTargetDocument& target, const SkxCaseDecision& decision,
                         const SkxCasePlace& place, SkxCaseResult& result) const {
  ++result.judged;
  const bool isExpected = !test.expect || KxExpectation_IsMet(*test.expect, decision);
  const bool isRuledOut = test.expectNot && KxExpectation_IsMet(*test.expectNot, decision);
  if (decision.error.empty() && isExpected && !isRuledOut) return;
  ++result.failed;
  if (result.failures.size() == SkxCaseResult::kMaxTold) return;
  const SkxExpectation* const missed = test.expect && !isExpected ? &*test.expect : nullptr;
  result.failures.push_back({place, KxCaseTarget_Name(target), Wanted(test),
                             KxCaseDecision_Text(decision, AsksForAlert(test)), Why(target, missed)});
}

/// Asked again, step by step.
std::vector<std::string> CkxCaseJudge::Why(const CkxTargetDocument& target, const SkxExpectation* missed) const {
  CkxNearMisses why(missed);
  const CkxPolicySourceScope source(_judge.Source());
  const CkxMachineFactsScope machine(target.Machine());
  const CkxEvaluationObserverScope scope(why);
  SkxTriggerPolicyShortInfo unused;
  CkxSharedPoliciesData::GetTargetPolicyAction(target.Target(), unused);
  return why.Lines();
}

CkxCaseEventsRun::CkxCaseEventsRun(CkxCaseJudge& judge, const std::vector<SkxCaseOnEvents*>& cases) : _judge(judge) {
  for (SkxCaseOnEvents* const one : cases) {
    SkxCase prepared;
    if (!judge.Prepare(*one->test, prepared, one->result)) continue;
    prepared.pointer = one->test->pointer;
    prepared.events = one->test->events;
    _cases.push_back(one);
    _prepared.push_back(std::move(prepared));
  }
}

void CkxCaseEventsRun::Take(std::string_view line, const std::string& place) {
  const nlohmann::json json = KxJson_Parse(line, false);
  const CkxTargetDocument target = CkxTargetDocument::FromJson(json);
  std::optional<SkxCaseDecision> decision;
  for (size_t i = 0; i < _cases.size(); ++i) {
    if (!_prepared[i].events->where.Takes(json)) continue;
    if (!decision) decision = _judge.Decide(target);
    _judge.Check(_prepared[i], target, *decision, {_prepared[i].pointer, place}, _cases[i]->result);
  }
}

void CkxCaseEventsRun::TakeFault(const std::string& fault, const std::string& place) {
  for (size_t i = 0; i < _cases.size(); ++i) {
    AddFailure({{_prepared[i].pointer, place}, "", "a target document", fault, {}}, _cases[i]->result);
  }
}

void CkxCaseEventsRun::End() {
  for (size_t i = 0; i < _cases.size(); ++i) {
    const uint64_t atLeast = _prepared[i].events->atLeast;
    SkxCaseResult& result = _cases[i]->result;
    if (result.judged >= atLeast) continue;
    AddFailure({{_prepared[i].pointer, ""},
                "",
                "to be about at least " + std::to_string(atLeast) + " of the events",
                "about " + std::to_string(result.judged),
                {}},
               result);
  }
}
