// Walks over the active policies that apply to a user, for questions about some kinds of them.
#pragma once

#include <kx_util/evaluation_observer.h>

#include <string_view>
#include <utility>

#include "Agent/engine/kx_util/store/section_walk.h"
#include "Agent/engine/kx_util/value/action_bits.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/callback.h"

/// The kinds that decide about launches: Run, Block, Elevate, Trust, Run & Collect Events, Exclude.
inline constexpr uint32_t kKxDecidingActions =
    KxActionBit_Of(EkxPolicyAction::Run) | KxActionBit_Of(EkxPolicyAction::Block) |
    KxActionBit_Of(EkxPolicyAction::Elevate) | KxActionBit_Of(EkxPolicyAction::Trust) |
    KxActionBit_Of(EkxPolicyAction::RunAndCollectEvents) | KxActionBit_Of(EkxPolicyAction::Exclude);
static_assert(kKxDecidingActions == 0x82F);

/// An exclusion from something else than policies decides about no target.
bool KxPolicyWalk_IsPassedOver(const CkxShBufPolicy& policy);

/// What a deciding policy makes of `target`; one that applies has filled `info`.
EkxPolicyOutcome KxPolicyWalk_Judge(const CkxShBufPolicyWithTargets& policy, const CkxTargetInfo& target,
                                    SkxTriggerPolicyShortInfo& info);

/// Tells whoever watches what became of a policy that was asked.
void KxPolicyWalk_Tell(const CkxShBufPolicy& policy, EkxPolicyOutcome outcome);

/// Whether the question `name` is about policies like this one; if not, an error line says so.
bool KxPolicyWalk_IsExpected(std::string_view name, uint32_t actions, const CkxShBufPolicy& policy);

/// `ask(policy)` of each policy of those kinds, all of which have targets, until it is false or a policy of another
/// kind turns up. What was asked is not all, and the last answer may be none, unless the walk went to its end. With
/// `about`, only of those that may apply to it (`KxSectionWalk_Policies`).
template <class Ask>
EkxWalkEnd KxPolicyWalk_Run(std::string_view name, uint32_t actions, void* token, const CkxTargetInfo* about, Ask ask) {
  const SkxPolicyFilter filter = {SkxPolicyFilter::kActive | SkxPolicyFilter::kByAction, actions};
  auto askExpected = [&](const CkxShBufPolicy& policy) {
    return KxPolicyWalk_IsExpected(name, actions, policy) && ask(static_cast<const CkxShBufPolicyWithTargets&>(policy));
  };
  return KxEntry(EkxWalkEnd::Faulted, [&] {
    return KxSectionWalk_Policies(filter, KxCallback<const CkxShBufPolicy&>(askExpected), &askExpected, true, token,
                                  about);
  });
}

/// The same; false when the walk itself failed.
template <class Ask>
bool KxPolicyWalk_Each(std::string_view name, uint32_t actions, void* token, Ask ask,
                       const CkxTargetInfo* about = nullptr) {
  const EkxWalkEnd end = KxPolicyWalk_Run(name, actions, token, about, std::move(ask));
  return end == EkxWalkEnd::Walked || end == EkxWalkEnd::NothingPublished;
}

/// Whether `ask(policy)` is true of one of them.
template <class Ask>
bool KxPolicyWalk_Any(std::string_view name, uint32_t actions, void* token, Ask ask) {
  bool any = false;
  const bool walked = KxPolicyWalk_Each(name, actions, token, [&](const CkxShBufPolicyWithTargets& policy) {
    any = ask(policy);
    return !any;
  });
  return walked && any;
}

/// `ask(policy)` of the one that decides about `target`, as the central evaluation finds it; false when none does.
template <class Ask>
bool KxPolicyWalk_AskDeciding(std::string_view name, const CkxTargetInfo& target, Ask ask) {
  SkxTriggerPolicyShortInfo unused;
  bool answer = false;
  const auto isUndecided = [&](const CkxShBufPolicyWithTargets& policy) {
    if (KxPolicyWalk_Judge(policy, target, unused) != EkxPolicyOutcome::Applies) return true;
    answer = ask(policy);
    return false;
  };
  return KxPolicyWalk_Each(name, kKxDecidingActions, target.UserToken(), isUndecided, &target) && answer;
}
