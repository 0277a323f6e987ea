// Walks over the active policies that apply to a user, for questions about some kinds of them.
#pragma once

#include <kx_util/evaluation_observer.h>

#include <string_view>

#include "Agent/engine/kx_util/store/section_walk.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

/// The filter's bit of an action that policies are made of.
constexpr uint32_t KxPolicyWalk_Bit(EkxPolicyAction action) {
  return action == EkxPolicyAction::DeveloperApplication ? 0x2000 : 1u << (static_cast<uint32_t>(action) - 1);
}

/// The kinds that decide about launches: Run, Block, Elevate, Trust, Run & Collect Events, Exclude.
inline constexpr uint32_t kKxDecidingActions =
    KxPolicyWalk_Bit(EkxPolicyAction::Run) | KxPolicyWalk_Bit(EkxPolicyAction::Block) |
    KxPolicyWalk_Bit(EkxPolicyAction::Elevate) | KxPolicyWalk_Bit(EkxPolicyAction::Trust) |
    KxPolicyWalk_Bit(EkxPolicyAction::RunAndCollectEvents) | KxPolicyWalk_Bit(EkxPolicyAction::Exclude);
static_assert(kKxDecidingActions == 0x82F);

/// An exclusion from something else than policies decides about no target.
bool KxPolicyWalk_IsPassedOver(const CkxShBufPolicy& policy);

/// What a deciding policy makes of `target`; one that applies has filled `info`.
EkxPolicyOutcome KxPolicyWalk_Judge(const CkxShBufPolicyWithTargets& policy, const CkxTargetInfo& target,
                                    SkxTriggerPolicyShortInfo& info);

/// Whether the question `name` is about policies like this one; if not, an error line says so.
bool KxPolicyWalk_IsExpected(std::string_view name, uint32_t actions, const CkxShBufPolicy& policy);

/// `ask(policy)` of each policy of those kinds, all of which have targets, until it is false or a policy of another
/// kind turns up. False when the walk itself failed: what was asked then is not all, and the last answer may be none.
template <class Ask>
bool KxPolicyWalk_Each(std::string_view name, uint32_t actions, void* token, Ask ask) {
  struct Question {
    std::string_view name;
    uint32_t actions;
    Ask& ask;
  } question = {name, actions, ask};
  const SkxPolicyFilter filter = {SkxPolicyFilter::kActive | SkxPolicyFilter::kByAction, actions};
  const auto callback = [](const CkxShBufPolicy& policy, void* context) {
    auto& asked = *static_cast<Question*>(context);
    return KxPolicyWalk_IsExpected(asked.name, asked.actions, policy) &&
           asked.ask(static_cast<const CkxShBufPolicyWithTargets&>(policy));
  };
  const EkxWalkEnd end =
      KxEntry(EkxWalkEnd::Faulted, [&] { return KxSectionWalk_Policies(filter, callback, &question, true, token); });
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
  return KxPolicyWalk_Each(name, kKxDecidingActions, target.UserToken(), isUndecided) && answer;
}
