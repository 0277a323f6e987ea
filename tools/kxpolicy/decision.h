// One evaluation and what it said: the decision, whose policy it was, and on request how it came about.
#pragma once

#include <kx_util/policy_snapshot.h>
#include <kx_util/shared_policies_data.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/kxpolicy/explanation.h"

struct SkxDecision {
  std::string idJson = "null";  ///< the target's id, as JSON text
  bool matched = false;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  SkxTriggerPolicyShortInfo info;
  std::string policyName;
  std::vector<SkxPolicyAlertLink> alerts;
  std::string error;  ///< of a walk that ended in a fault; else empty
  std::optional<nlohmann::ordered_json> explanation;
  size_t policiesLeftOut = 0;  ///< of the explanation, because there are too many
};

/// What is kept of an evaluation beside its answer.
struct SkxDecisionWish {
  EkxExplain explain = EkxExplain::None;
  const CkxAuthorNames* names = nullptr;  ///< that explanations use; null: nobody has said
};

/// The central evaluation for `target`, by the policy source in force; by `snapshot` where that is one of it. A want of
/// memory is no answer: std::bad_alloc.
SkxDecision KxDecision_Of(const CkxTargetInfo& target, const SkxDecisionWish& wish,
                          const CkxPolicySnapshot* snapshot = nullptr);

/// What the policy does, in the library's words.
std::string KxDecision_ActionName(const SkxDecision& decision);

/// One row of the table for a person, and its heading. `what` is how the person calls the target.
std::string KxDecision_TableHeading();
std::string KxDecision_ToRow(const SkxDecision& decision, const std::string& what);

/// The explanation as indented text; empty without one.
std::string KxDecision_ExplanationText(const SkxDecision& decision);
