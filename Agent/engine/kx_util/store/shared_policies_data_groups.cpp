// Calling a member of a group by the group's id, which is how links, policies and parent-process conditions reach the
// targets of a group.
#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_util/policy/policy_lookup.h"
#include "Agent/engine/kx_util/store/found_groups.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

bool CallToMatch(CkxFoundGroups& groups, const GUID& id, CkxShBufAppGroup::SkxMatchContext& question) {
  const std::optional<const CkxShBufTarget*> match = groups.Match(id, question.target);
  question.found = match.value_or(nullptr) != nullptr;
  if (question.found) (*match)->FillTargetInfo(question.info);
  return match.has_value();
}

}  // namespace

bool CkxSharedPoliciesData::CallAppGroup(const GUID& id, KxAppGroupMember member, void* context) {
  if (member == nullptr || context == nullptr) return false;  // the members that there are have a context
  return KxEntry(false, [&] {
    const CkxFoundGroups::Scope scope;
    CkxFoundGroups& groups = CkxFoundGroups::Current();
    if (member == &CkxShBufAppGroup::DoMatchTarget) {
      return CallToMatch(groups, id, *static_cast<CkxShBufAppGroup::SkxMatchContext*>(context));
    }
    if (member == &CkxShBufAppGroup::DoEnumTargets) {
      return groups.Enumerate(id, *static_cast<CkxShBufAppGroup::SkxEnumContext*>(context));
    }
    return groups.Call(id, member, context);
  });
}

bool KxPolicyLookup_CallAppGroup(const GUID& id, KxAppGroupMember member, void* context) {
  return CkxSharedPoliciesData::CallAppGroup(id, member, context);
}

SkxGroupGlance KxPolicyLookup_GlanceAtGroup(const GUID& id, const CkxTargetInfo& target) {
  const CkxFoundGroups::Scope scope;
  return CkxFoundGroups::Current().GlanceAt(id, target);
}

void KxPolicyLookup_NoteOutside(const GUID& id, const CkxTargetInfo& target) {
  const CkxFoundGroups::Scope scope;
  CkxFoundGroups::Current().NoteOutside(id, target);
}
