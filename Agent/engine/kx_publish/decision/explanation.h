// Collects what an evaluation did, for an answer's "explain" (explanation_json.h).
//
// A few megabytes of linked groups make millions of steps, so that an explanation is bounded: of a policy its first
// targets and those that matched are kept, of all policies the first ones and the one that applies, of a long text its
// beginning. A policy of which targets are left out says how many ("leftOut").
//
// Where the author's names are known, a policy says where it was written ("document", "pointer"), and a target which of
// its policy's or its group's it is ("number", "of", "name", "group").
#pragma once

#include <kx_publish/decision.h>
#include <kx_util/evaluation_observer.h>
#include <kx_util/shared_policy.h>

#include <optional>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/document/author_names.h"

class CkxDecisionObserver : public IkxEvaluationObserver {
 public:
  /// `names` outlive the observer.
  CkxDecisionObserver(EkxExplain explain, const CkxAuthorNames& names) : _explain(explain), _names(names) {}

  bool WantsSteps() const override { return _explain != EkxExplain::None; }
  void OnCheckFailed(const char* property, CkxTextView expected, CkxTextView actual) override;
  void OnTarget(const SkxObservedTarget& target, bool matched) override;
  void OnPolicy(const SkxObservedPolicy& policy, EkxPolicyOutcome outcome) override;
  void OnFault(std::string_view line) override { _fault = line; }

  /// Of the policy that applied.
  const std::string& PolicyName() const { return _policyName; }
  const std::vector<SkxPolicyAlertLink>& Alerts() const { return _alerts; }

  const std::string& Fault() const { return _fault; }
  size_t PoliciesLeftOut() const { return _policiesLeftOut; }
  std::vector<SkxExplainedPolicy> TakePolicies() { return std::move(_policies); }

 private:
  void KeepApplied(const CkxShBufPolicy& policy);
  bool HasPlaceForTarget(bool matched) const;
  void AddPlace(uint32_t policy, SkxExplainedTarget& target) const;
  std::string WithGroupNames(std::string text) const;

  const EkxExplain _explain;
  const CkxAuthorNames& _names;
  std::string _policyName;
  std::vector<SkxPolicyAlertLink> _alerts;
  std::string _fault;
  std::vector<SkxExplainedPolicy> _policies;
  std::vector<SkxExplainedTarget> _targets;  // of the policy under way
  bool _isClose = false;                     // the policy under way
  size_t _targetsKept = 0;                   // of all policies
  size_t _targetsLeftOut = 0;                // of the policy under way
  size_t _policiesLeftOut = 0;
  std::optional<SkxExplainedCheck> _failed;  // last, of the target under way
};
