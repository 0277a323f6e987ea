// The policy store: reads the published sections, and answers which policy applies to a target.
//
//   index section "Global\KxPoliciesIndexSection"     three NUL-terminated names in slots of 128 bytes:
//                                                     policies, application groups, alerts
//   each named section                                u32 record count, then the records back to back
//
// Every call opens the sections it needs and closes them before it returns, so it sees the newest publication and holds
// nothing. There is no lock: a view is the call's own, and publications replace sections as a whole.
//
// Threads. All of these may be called at once, from any thread, and from inside a callback of another; none waits for
// another, but for the moment in which a remembered answer about tools folders is looked up or kept. Each call works
// with the source and the observer of its own thread, and calls back on it. What is handed in is the caller's: a
// description fills its cache without a lock, so one thread at a time may ask about it. What is handed out (policies,
// groups, alerts) never changes: any threads may read it at once, and one of them releases it when all are done;
// whoever asks it about a target asks with the source of their own thread. Only `SetSoftwareDistributorUpdateHelper`
// holds for the process: calls under way may still end in the helper before.
//
// True is success or found; every failure is false, with the trace saying why.
//
// The members live in Agent/engine/kx_util/store:
//
//   shared_policies_data.cpp                 enumeration, look-ups of policies and groups, who they are applicable to
//   shared_policies_data_action.cpp          the central evaluation
//   shared_policies_data_predicates.cpp      the questions of their own
//   shared_policies_data_groups.cpp          what is done with a group
//   shared_policies_data_alerts.cpp          alerts
//   shared_policies_data_distributors.cpp    the names of distributors in records of processes
//   agent_requests.cpp, tools_folder.cpp     prompts; folders of tools
#pragma once

#include <kx_util/agent_uac_action.h>
#include <kx_util/evaluation_fault.h>
#include <kx_util/file_origin.h>
#include <kx_util/policy_enum_filter.h>
#include <kx_util/policy_source.h>
#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy.h>

/// Told of the origin of a file that a distributor brought; true when it changed it. Must not throw.
using KxSoftwareDistributorUpdateHelper = bool (*)(CkxFileOrigin& origin);
/// Must not throw; what it asks of the library counts as part of the walk, its faults and its cost too.
using KxPolicyCallback = bool (*)(const CkxShBufPolicy& policy, void* context);

/// What is asked of the policies in force on this thread: first of all which one applies.
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

  /// The first group with that id, as a copy that the caller releases; or a call of it, in place.
  static bool GetAppGroupById(const GUID& id, CkxShBufAppGroup*& group);
  static bool CallAppGroup(const GUID& id, void (CkxShBufAppGroup::*member)(void*), void* context);

  /// The first alert with that id and type, as a copy that the caller releases.
  static bool GetAlert(const GUID& id, EkxAlertType type, CkxShBufCustGuiBase*& alert);

  /// The dialog that all policies share for an event: the one that the first active configuration policy applicable to
  /// the user of `token` names for `trigger`. The caller releases it.
  static bool GetCommonDialog(EkxAlertTrigger trigger, CkxShBufCustGuiDialog*& dialog, void* token);

  /// The central evaluation: the first policy in section order that is active, decides about launches, is applicable to
  /// the target's user and applies to the target. `info` is untouched unless the answer is true.
  ///
  /// False alone does not say that nothing applies: it is also the answer of a question that could not be asked. Who
  /// lets things run on the strength of it takes the second form, and looks at `outcome`:
  ///
  ///   PolicyApplies      `info` says what to do
  ///   NoPolicyApplies    every policy of the user was asked
  ///   NothingPublished   this machine has no policies
  ///   NotAnswered        nobody knows; `KxUtil_LastFault` says why. Treat it as what may not be let through
  ///
  /// Of the other questions below, whose false is as ambiguous, `KxUtil_LastFault` tells the same.
  static bool GetTargetPolicyAction(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info);
  static bool GetTargetPolicyAction(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info,
                                    EkxEvaluationOutcome& outcome);

  /// Appends the ids of the policies that apply to the user of `token`, in the order of the answer.
  static bool GetPoliciesApplicableForUser(void* token, std::vector<int>& ids);

  /// What the agent says of a prompt that the system is about to show for the program at `path` (at most 149 units; a
  /// longer one is asked about as none). `administrator`: nonzero when the user is one. `action` is untouched unless
  /// the answer is true.
  static bool GetUacAction(const WCHAR* path, uint32_t administrator, SvcUacActionInfo& action);

  /// Whether the agent wants to be in the way of that prompt; false also when it does not answer.
  static bool ShouldHookConsent(const WCHAR* path, uint32_t administrator);

  // Questions of their own, each over the active policies that are applicable to the user (of the target, else of
  // `token`). "Decides" means: the policy that the central evaluation would find.

  /// A Block policy decides about the target. Run, Block, Elevate, Trust, Run & Collect Events, Exclude are looked at.
  static bool IsBlocked(const CkxTargetInfo& target);

  /// An Elevate policy decides about the elevation request; anything else is no such request. The kinds of `IsBlocked`.
  static bool ElevatorAllowed(const CkxTargetInfo& request);

  /// A Trust policy whose shell extension is enabled decides about the process: `policyId` is its id. The kinds of
  /// `IsBlocked`.
  static bool ShellOnDemandElevationAllowed(const CkxTargetInfoProcess& process, uint32_t& policyId);

  /// A policy that may act without asking decides about the control; anything else is no control. The kinds of
  /// `IsBlocked`.
  static bool ActiveXPolicyAutomationAllowed(const CkxTargetInfo& control);

  /// Which actions an installation of a control may meet, as a union of the filter's action bits: those of policies
  /// with a control among their targets, and of Trust and Run & Collect Events policies without targets. The kinds of
  /// `IsBlocked`, exclusions of type 0 alone. False, with `actionMask` untouched, when there are none.
  static bool GetPossibleActiveXInstallPolicyActions(void* token, uint32_t& actionMask);

  /// An exclusion from policies takes the path: Exclude policies of type 0.
  static bool IsExcluded(const WCHAR* path, void* token);

  /// A Developer Application policy applies to the target.
  static bool IsMultifileCreator(const CkxTargetInfo& target);

  /// A Software Distributor policy names the process: `name` is the distributor's.
  static bool IsSoftwareDistributor(const CkxFileSrcProcess& process, CkxUtilStr& name, void* token);

  /// A Run & Collect Events policy that monitors the user lets them ask for a policy: `policyId` is its id.
  static bool ManualPolicyRequestAllowed(void* token, uint32_t& policyId);

  /// A Trust policy whose shell extension is enabled has targets, those of groups counted, or is about everything.
  static bool HasActiveShellEoDTargets(void* token);

  /// A Block policy has targets, those of groups counted.
  static bool HasActiveBlockedTargets(void* token);

  /// An Elevate or Trust policy has a target that can only be started from the agent's folder of tools. Answers about
  /// the live publication are remembered per user until another is published.
  static bool KxToolsFolderEnabled(void* token);

  /// Such a policy has an administrative task that `item` of that folder starts.
  static bool KxToolsFolderIsToolAllowed(uint32_t item, void* token);

  /// Writes the distributor's name into the record of a process that is one's, into those of an installer's processes,
  /// or of an origin's two installers. True when any was written.
  static bool UpdateSoftwareDistributor(CkxFileSrcProcess& process, void* token);
  static bool UpdateSoftwareDistributors(CkxFileSrcInstaller& installer, void* token);
  static bool UpdateSoftwareDistributors(CkxFileOrigin& origin, void* token);

  /// From then on `helper` answers the last of them, for the whole process; null ends that.
  static void SetSoftwareDistributorUpdateHelper(KxSoftwareDistributorUpdateHelper helper);
};
