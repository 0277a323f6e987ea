// Calling a member of a group by the group's id, which is how links, policies and parent-process conditions reach the
// targets of a group.
//
// Groups may link to groups, and bytes from outside may make them link to themselves. So a call nests at most eight
// deep, past which a group matches nothing. Two things keep the work of one question proportional to the number of
// groups instead of exponential: a group that was found not to match a description at one depth is not tried again
// there, and a group whose targets were handed out already is not handed out again.
#include <kx_util/shared_policies_data.h>

#include <algorithm>

#include "Agent/engine/kx_util/policy_lookup.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr unsigned kMaxDepth = 8;

struct FailedMatch {
  GUID group;
  const CkxTargetInfo* target;
  unsigned depth;
  bool called;  ///< there is such a group, and no target of it matched

  bool IsOf(const GUID& otherGroup, const CkxTargetInfo& otherTarget, unsigned otherDepth) const {
    return depth == otherDepth && target == &otherTarget && KxGuid_Equal(group, otherGroup);
  }
};

struct Enumerated {
  GUID group;
  const void* enumeration;  ///< whose targets they are handed to: a callback may enumerate on its own account
};

/// The calls under way on this thread; gone, with what they learned, when the outermost returns.
thread_local unsigned depth = 0;
thread_local std::vector<FailedMatch> failedMatches;
thread_local std::vector<Enumerated> enumeratedGroups;

class Nesting {
 public:
  Nesting() { ++depth; }
  ~Nesting() {
    if (--depth != 0) return;
    failedMatches.clear();
    enumeratedGroups.clear();
  }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
};

bool Call(const GUID& id, KxAppGroupMember member, void* context) {
  CkxShBufAppGroup* group = nullptr;
  if (!CkxSharedPoliciesData::GetAppGroupById(id, group)) return false;
  const CkxShBufAppGroupPtr owned(group);
  (owned.get()->*member)(context);
  return true;
}

bool CallToMatch(const GUID& id, CkxShBufAppGroup::SkxMatchContext& match) {
  match.found = false;
  for (const FailedMatch& failed : failedMatches) {
    if (failed.IsOf(id, match.target, depth)) return failed.called;
  }
  const bool called = Call(id, &CkxShBufAppGroup::DoMatchTarget, &match);
  if (depth > 1 && !match.found) failedMatches.push_back({id, &match.target, depth, called});
  return called;
}

bool CallToEnumerate(const GUID& id, CkxShBufAppGroup::SkxEnumContext& enumeration) {
  const auto isOfThis = [&](const Enumerated& done) { return done.enumeration == enumeration.context; };
  const auto isThis = [&](const Enumerated& done) { return isOfThis(done) && KxGuid_Equal(done.group, id); };
  if (std::any_of(enumeratedGroups.begin(), enumeratedGroups.end(), isThis)) return true;

  const bool isOutermost = std::none_of(enumeratedGroups.begin(), enumeratedGroups.end(), isOfThis);
  enumeratedGroups.push_back({id, enumeration.context});
  const bool called = Call(id, &CkxShBufAppGroup::DoEnumTargets, &enumeration);
  if (isOutermost) std::erase_if(enumeratedGroups, isOfThis);  // another may come to lie at the same address
  return called;
}

}  // namespace

bool CkxSharedPoliciesData::CallAppGroup(const GUID& id, KxAppGroupMember member, void* context) {
  if (depth == kMaxDepth) {
    KxTrace(EkxTraceLevel::Error, "CkxSharedPoliciesData", "ERROR: Application groups nest too deep at ",
            KxGuid_ToUtf8(id));
    return false;
  }
  const Nesting nesting;
  if (member == &CkxShBufAppGroup::DoMatchTarget) {
    return CallToMatch(id, *static_cast<CkxShBufAppGroup::SkxMatchContext*>(context));
  }
  if (member == &CkxShBufAppGroup::DoEnumTargets) {
    return CallToEnumerate(id, *static_cast<CkxShBufAppGroup::SkxEnumContext*>(context));
  }
  return Call(id, member, context);
}

bool KxPolicyLookup_CallAppGroup(const GUID& id, KxAppGroupMember member, void* context) {
  return CkxSharedPoliciesData::CallAppGroup(id, member, context);
}
