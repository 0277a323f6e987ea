// Documents on which two publications decide differently, found without any to begin with: what the policies of both
// ask for is built (witness/candidates.h), at the bounds of what they take, and both are asked.
//
// What is found differs; that nothing is found proves nothing.
#pragma once

#include "Agent/engine/kx_publish/compare/decision_changes.h"
#include "Agent/engine/kx_publish/image/policy_set.h"

/// Counted in `changes`, which is of the same two. An example is called by its document, the smallest on which the two
/// decisions are the same two, and its number is the id of the policy that it was made from.
void KxWitnessed_Ask(const CkxPolicySet& was, const CkxPolicySet& is, CkxDecisionChanges& changes);
