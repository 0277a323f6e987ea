// Counts which checks ended a target with "no", while an evaluation is watched step by step.
//
//   CkxCheckWatch watch(coverage);
//   const CkxEvaluationObserverScope scope(watch);
//   CkxSharedPoliciesData::GetTargetPolicyAction(target, unused);
#pragma once

#include <kx_util/evaluation_observer.h>

#include "Agent/engine/kx_publish/cases/coverage.h"

class CkxCheckWatch : public IkxEvaluationObserver {
 public:
  explicit CkxCheckWatch(CkxCoverage& coverage) : _coverage(coverage) {}

  void OnCheckFailed(const char* property, CkxTextView /*expected*/, CkxTextView /*actual*/) override {
    _failed = property;
  }
  void OnTarget(const SkxObservedTarget& target, bool matched) override {
    const std::string failed = std::exchange(_failed, "");
    const GUID id = target.id;
    if (!matched && failed != "kind") _ended.emplace_back(id, failed);
  }
  void OnPolicy(const SkxObservedPolicy& policy, EkxPolicyOutcome /*outcome*/) override {
    for (const auto& [target, check] : std::exchange(_ended, {})) _coverage.CountNo(policy.id, target, check);
  }
  void OnFault(std::string_view /*line*/) override {}

 private:
  CkxCoverage& _coverage;
  std::string _failed;                               // the last check
  std::vector<std::pair<GUID, std::string>> _ended;  // targets of the policy that is asked
};
