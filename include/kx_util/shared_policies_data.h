// The policy store: reads the published sections, and answers which policy applies to a target.
//
//   index section "Global\KxPoliciesIndexSection"     three NUL-terminated names in slots of 128 bytes:
//                                                     policies, application groups, alerts
//   each named section                                u32 record count, then the records back to back
//
// Every call opens the sections it needs and closes them before it returns, so it sees the newest publication and holds
// nothing. There is no lock: a view is the call's own, and publications replace sections as a whole.
// True is success or found; every failure is false, with the trace saying why.
#pragma once

#include <kx_util/policy_enum_filter.h>
#include <kx_util/policy_source.h>
#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_policy.h>

using KxPolicyCallback = bool (*)(const CkxShBufPolicy& policy, void* context);

class KX_UTIL_API CkxSharedPoliciesData {
 public:
  /// Each policy in section order until a call returns false. The policy points into the section: it lives for the
  /// call. True also when nothing is published; false when a record is malformed or the user's policies cannot be told.
  /// `applicableOnly`: those that the agent reports for the user of `token`.
  static bool EnumPolicies(KxPolicyCallback callback, void* context, bool applicableOnly, void* token);
  static bool EnumPolicies(const SkxPolicyFilter& filter, KxPolicyCallback callback, void* context, bool applicableOnly,
                           void* token);

  /// The first policy with that id, as a copy that the caller releases.
  static bool GetPolicyById(uint32_t id, CkxShBufPolicy*& policy);

  /// The same, only when its action and activity are these; else `policy` is untouched.
  static bool GetPolicyByIdWithValidation(uint32_t id, EkxPolicyAction action, bool active, CkxShBufPolicy*& policy);

  static bool GetAppGroupById(const GUID& id, CkxShBufAppGroup*& group);
  static bool CallAppGroup(const GUID& id, void (CkxShBufAppGroup::*member)(void*), void* context);

  /// The central evaluation: the first policy in section order that is active, decides about launches, is applicable to
  /// the target's user and applies to the target. `info` is untouched unless the answer is true.
  static bool GetTargetPolicyAction(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info);

  /// Appends the ids of the policies that apply to the user of `token`, in the order of the answer.
  static bool GetPoliciesApplicableForUser(void* token, std::vector<int>& ids);
};
