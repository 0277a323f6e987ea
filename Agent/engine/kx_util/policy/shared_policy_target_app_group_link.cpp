#include <kx_util/shared_policy_target_app_group_link.h>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/policy/policy_lookup.h"
#include "Agent/engine/kx_util/policy/target_checks.h"
#include "Agent/engine/kx_util/policy/target_debug_text.h"
#include "Common_CPP/util/guid.h"

bool CkxShBufTargetAppGroupLink::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxShBufTarget::FromBuffer(cursor, remaining) && CkxBufReader(cursor, remaining).InPlace(_groupId);
}

bool CkxShBufTargetAppGroupLink::MatchTarget(const CkxTargetInfo& target) const {
  SkxTriggerPolicyShortInfo unused;
  return MatchTarget(target, unused);
}

bool CkxShBufTargetAppGroupLink::MatchTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const {
  CkxShBufAppGroup::SkxMatchContext context = {false, target, info};
  const bool called = KxPolicyLookup_CallAppGroup(GroupId(), &CkxShBufAppGroup::DoMatchTarget, &context);
  return KxObserve_Check("group", called && context.found, [&](CkxUtilStr& expected, CkxUtilStr& actual) {
    KxText_AppendFormat(expected, KXW("a target of %s"), KxGuid_ToText(GroupId()));
    actual.Append(called ? KXW("none of them matches") : KXW("no such group"));
  });
}

bool CkxShBufTargetAppGroupLink::EnumTargets(KxTargetCallback callback, void* context) const {
  CkxShBufAppGroup::SkxEnumContext enumeration = {callback, context, true};
  return !KxPolicyLookup_CallAppGroup(GroupId(), &CkxShBufAppGroup::DoEnumTargets, &enumeration) ||
         enumeration.completed;
}

void CkxShBufTargetAppGroupLink::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    KxText_AppendFormat(text, KXW("\r\n  Target: AppGroupLink. GUID=%s\r\n"), KxGuid_ToText(GroupId()));
  });
}
