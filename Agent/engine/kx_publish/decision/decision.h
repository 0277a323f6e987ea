// One evaluation and what it said: the decision, whose policy it was, and on request how it came about.
//
//   const CkxImageJudge judge(image);
//   const SkxDecision decision = KxDecision_OfDocument(document, {EkxExplain::Close}, judge);
//   puts(KxDecision_ToJson(decision).c_str());                                              // decision_json.h
#pragma once

#include <kx_util/shared_policies_data.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/decision/explanation.h"
#include "Agent/engine/kx_publish/image/image_judge.h"

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

/// The central evaluation for `target`. A want of memory is no answer: std::bad_alloc.
SkxDecision KxDecision_Of(const CkxTargetInfo& target, const SkxDecisionWish& wish, const CkxImageJudge& judge);

/// The same for the target of a document, by the machine that it was recorded on; the decision has its id.
SkxDecision KxDecision_OfDocument(const CkxTargetDocument& document, const SkxDecisionWish& wish,
                                  const CkxImageJudge& judge);

/// What the policy does, in the library's words.
std::string KxDecision_ActionName(const SkxDecision& decision);
