// What stands behind the handle of the C interface: an image that is prepared for very many questions, or whatever is
// in force on this machine. It never changes, so that any threads may ask it at once.
#pragma once

#include <kx_policy.h>

#include "Agent/engine/kx_publish/decision/decision.h"
#include "Agent/engine/kx_publish/decision/decision_summary.h"
#include "Agent/engine/kx_publish/image/policy_set.h"

struct kx_policies {
 public:
  /// Those that are in force on this machine whenever a question is asked.
  kx_policies();

  /// Throws std::bad_alloc, also where there is no memory to prepare them.
  explicit kx_policies(CkxPolicySet set);

  /// A want of memory is std::bad_alloc; any other question that could not be asked has an error in its decision.
  SkxDecision Judge(const CkxTargetDocument& document, EkxExplain explain) const;
  SkxDecision Judge(const CkxTargetInfo& target, EkxExplain explain) const;

  /// Of no target yet; of an image with its policies, so that those that never decide are told.
  const CkxDecisionSummary& EmptySummary() const { return _empty; }

 private:
  SkxDecision Told(SkxDecision decision) const;

  const bool _isLive;
  const CkxAuthorNames _names;
  const CkxDecisionSummary _empty;
  const CkxImageJudge _judge;
};
