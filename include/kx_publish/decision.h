// A decision: whether a policy applies, which, what it does, and on request how that came about.
//
//   const SkxDecision decision = judge.Decide(target, EkxExplain::Close);      // judge.h
//   if (decision.outcome == EkxEvaluationOutcome::NotAnswered) return Refuse(decision.error);
//   if (decision.matched) Apply(decision.info.PolicyAction);
//   puts(KxDecision_ToJson(decision).c_str());
#pragma once

#include <kx_util/evaluation_observer.h>
#include <kx_util/policy_result.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy.h>

#include <optional>
#include <string>
#include <vector>

/// Which policies an explanation tells.
enum class EkxExplain : unsigned char {
  None,
  Close,  ///< that apply, or came close: a target is of the thing's kind, and fails by something else than its name
  All,
};

/// The check that ended the look at a target.
struct SkxExplainedCheck {
  std::string property, expected, actual;
};

/// A look at one target of a policy.
struct SkxExplainedTarget {
  GUID id{};
  EkxPolicyTarget type{};
  bool matched = false;
  std::optional<SkxExplainedCheck> failed{};
  std::string name{};                  ///< its author's; empty: has none
  size_t number = 0;                   ///< of its policy's or group's targets, from 1; 0: nobody has said
  size_t of = 0;                       ///< so many
  std::optional<std::string> group{};  ///< that it is one of
};

/// A look at one policy, in the order of the policies.
struct SkxExplainedPolicy {
  uint32_t id = 0;
  std::string name;
  EkxPolicyAction action{};
  EkxPolicyOutcome outcome{};
  std::vector<SkxExplainedTarget> targets;
  size_t leftOut = 0;  ///< targets
  /// In one of the documents.
  struct Place {
    std::string document, pointer;
  };
  std::optional<Place> written{};  ///< where, if anybody has said
};

/// All texts are UTF-8.
struct SkxDecision {
  std::string idJson = "null";  ///< the target's id, as JSON text
  bool matched = false;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  SkxTriggerPolicyShortInfo info;
  std::string policyName;
  std::vector<SkxPolicyAlertLink> alerts;
  std::string error;                                           ///< of an evaluation that ended in a fault; else empty
  std::optional<std::vector<SkxExplainedPolicy>> explanation;  ///< where somebody has asked
  size_t policiesLeftOut = 0;                                  ///< of the explanation, because there are too many
};

/// What the policy does, in the library's words.
std::string KxDecision_ActionName(const SkxDecision& decision);

/// The answer that `kxpolicy eval --format json` writes, without a line end.
std::string KxDecision_ToJson(const SkxDecision& decision);
