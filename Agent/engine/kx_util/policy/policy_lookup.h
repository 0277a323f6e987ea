// The questions that records ask of the floor above them: a group or an alert by its id. Declared here, where the
// records can see them; answered by the store, from the source in force on the calling thread.
#pragma once

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>

using KxAppGroupMember = void (CkxShBufAppGroup::*)(void* context);

/// Finds the group `id`, and calls `member` on it for the length of the call. False when there is no such group, when
/// it is malformed, or when groups nest too deep.
bool KxPolicyLookup_CallAppGroup(const GUID& id, KxAppGroupMember member, void* context);

/// The alert of that id and type, as a copy that the caller releases. False, with `alert` untouched, when there is no
/// such alert or it is malformed.
bool KxPolicyLookup_GetAlert(const GUID& id, EkxAlertType type, CkxShBufCustGuiBase*& alert);

/// What can be said of the group `id` without judging anything, for the walk under way.
struct SkxGroupGlance {
  bool isOutside = false;                        ///< none of its targets matches; or there is no such group
  const SkxAppGroupBufHeader* record = nullptr;  ///< where that is not known; but only once for each description
};
SkxGroupGlance KxPolicyLookup_GlanceAtGroup(const GUID& id, const CkxTargetInfo& target);

/// What a look at that record has shown: none of the group's targets, which link to no other, matches.
void KxPolicyLookup_NoteOutside(const GUID& id, const CkxTargetInfo& target);
