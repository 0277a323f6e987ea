// Evaluations of one target and what they said (kx_publish/decision.h).
//
//   const CkxImageJudge judge(image);
//   const SkxDecision decision = KxDecision_OfDocument(document, {EkxExplain::Close}, judge);
//   puts(KxDecision_ToJson(decision).c_str());
#pragma once

#include <kx_publish/decision.h>

#include "Agent/engine/kx_publish/document/author_names.h"
#include "Agent/engine/kx_publish/image/image_judge.h"

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
