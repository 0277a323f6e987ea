// The kinds of targets with a body of a field or three: the link to a group, the exclusion, the address of a download.
#include <kx_util/shared_policy_target.h>
#include <kx_util/target_info_kinds.h>

#include "Agent/engine/kx_util/buffer_reader.h"
#include "Agent/engine/kx_util/policy_lookup.h"
#include "Agent/engine/kx_util/target_checks.h"
#include "Agent/engine/kx_util/target_text.h"
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

bool CkxShBufTargetExclude::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTarget::FromBuffer(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  return in.Nested(_location) && in.Nested(_fileName) && in.Nested(_users);
}

bool CkxShBufTargetExclude::MatchTarget(const CkxTargetInfo& target) const {
  const IkxPathProvider* const file = target.QueryPathProvider();
  return KxCheck_Kind(file != nullptr, KXW("something with a path"), target) && MatchExcludedTarget(*file);
}

bool CkxShBufTargetExclude::MatchExcludedTarget(const IkxPathProvider& file) const {
  return KxCheck_FileName(_fileName, file) && KxCheck_Location(_location, file) &&
         KxCheck_Users(_users, file.GetAccessToken());
}

void CkxShBufTargetExclude::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    text.Append(KXW("\r\n  Target: EXCLUDE.\r\n"));
    KxTargetText_AppendLocation(text, _location);
    if (_fileName.Initialized()) KxText_AppendFormat(text, KXW("    Filename: %s\r\n"), _fileName.Pattern());
    KxTargetText_AppendUsers(text, Users());
  });
}

bool CkxShBufTargetUrl::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxShBufTarget::FromBuffer(cursor, remaining) && CkxBufReader(cursor, remaining).Nested(_url);
}

bool CkxShBufTargetUrl::MatchTarget(const CkxTargetInfo& target) const {
  const auto* const request =
      target.IsTargetInfoElevator() ? static_cast<const CkxTargetInfoElevator*>(&target) : nullptr;
  const bool isUrl = request != nullptr && request->RequestKind() == CkxTargetInfoElevator::kUrlRequest;
  return KxCheck_Kind(isUrl, KXW("request for an address"), target) && KxCheck_Url(_url, request->Url());
}

void CkxShBufTargetUrl::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] { KxText_AppendFormat(text, KXW("\r\n  Target: URL: %s\r\n"), _url.Pattern()); });
}
