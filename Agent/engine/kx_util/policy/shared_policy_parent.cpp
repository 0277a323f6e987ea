// Which group the parent of a process belongs to.
#include <kx_util/shared_policy_props.h>

#include "Agent/engine/kx_util/policy/policy_lookup.h"
#include "Agent/engine/kx_util/watch/observe.h"
#include "Common_CPP/util/guid.h"

namespace {

enum class Membership { NoSuchGroup, Outside, Inside };

Membership MembershipOf(const CkxTargetInfo& ancestor, const GUID& group) {
  SkxTriggerPolicyShortInfo unused;
  CkxShBufAppGroup::SkxMatchContext context = {false, ancestor, unused};
  if (!KxPolicyLookup_CallAppGroup(group, &CkxShBufAppGroup::DoMatchTarget, &context)) return Membership::NoSuchGroup;
  return context.found ? Membership::Inside : Membership::Outside;
}

const CkxTargetInfo* ParentOf(const CkxTargetInfo& target) {
  return target.IsTargetInfoProcess() ? static_cast<const CkxTargetInfoProcess&>(target).Parent() : nullptr;
}

/// All the way up, however far that is: who starts processes of processes gets rid of no ancestor. What asking takes is
/// spent where the group is asked.
Membership MembershipOfAny(const CkxTargetInfo* ancestor, const GUID& group, bool anyAncestor) {
  for (; ancestor != nullptr; ancestor = ParentOf(*ancestor)) {
    const Membership membership = MembershipOf(*ancestor, group);
    if (membership != Membership::Outside || !anyAncestor) return membership;
  }
  return Membership::Outside;
}

}  // namespace

bool CkxShBufPropParentProcess::Match(const CkxTargetInfoProcess& process, bool /*parentAtHand*/) const {
  if (!Initialized()) return true;
  const bool including = !KxGuid_IsNull(_included);
  const bool excluding = !KxGuid_IsNull(_excluded);
  if (!including && !excluding) return false;

  // A description holds its parents from the start, so there is nothing to fetch; of a parent that is not known neither
  // "is one of" nor "is none of" can be said.
  const CkxTargetInfo* const parent = process.Parent();
  if (parent == nullptr) return false;

  const CkxObservePause pause;
  if (excluding && MembershipOfAny(parent, _excluded, _excludedAnyAncestor) != Membership::Outside) return false;
  return !including || MembershipOfAny(parent, _included, _includedAnyAncestor) == Membership::Inside;
}
