// Questions about policies that are no evaluation of a launch, each over the kinds of policies that it is about.
#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy_kinds.h>

#include "Agent/engine/kx_util/store/policy_walk.h"

namespace {

constexpr uint32_t kBlock = KxActionBit_Of(EkxPolicyAction::Block);
constexpr uint32_t kTrust = KxActionBit_Of(EkxPolicyAction::Trust);
constexpr uint32_t kCollect = KxActionBit_Of(EkxPolicyAction::RunAndCollectEvents);
constexpr uint32_t kExclude = KxActionBit_Of(EkxPolicyAction::Exclude);
constexpr uint32_t kDistributor = KxActionBit_Of(EkxPolicyAction::SoftwareDistributor);
constexpr uint32_t kDeveloper = KxActionBit_Of(EkxPolicyAction::DeveloperApplication);

bool OffersShellElevation(const CkxShBufPolicy& policy) {
  return policy.IsAction(EkxPolicyAction::Trust) &&
         static_cast<const CkxShBufPolicyElevateOnDemand&>(policy).ShellExtensionEnabled();
}

/// Without any target such a policy is about everything.
bool IsAboutAnything(const CkxShBufPolicyWithTargets& policy) {
  return policy.Targets().Count() == 0 || policy.HasRealTargets();
}

bool AppliesWithoutTargets(const CkxShBufPolicyWithTargets& policy) {
  return policy.Targets().Count() == 0 &&
         (policy.IsAction(EkxPolicyAction::Trust) || policy.IsAction(EkxPolicyAction::RunAndCollectEvents));
}

}  // namespace

bool CkxSharedPoliciesData::IsBlocked(const CkxTargetInfo& target) {
  return KxPolicyWalk_AskDeciding("IsBlocked", target, [](const CkxShBufPolicyWithTargets& policy) {
    return policy.IsAction(EkxPolicyAction::Block);
  });
}

bool CkxSharedPoliciesData::ElevatorAllowed(const CkxTargetInfo& request) {
  return request.IsTargetInfoElevator() &&
         KxPolicyWalk_AskDeciding("ElevatorAllowed", request, [](const CkxShBufPolicyWithTargets& policy) {
           return policy.IsAction(EkxPolicyAction::Elevate);
         });
}

bool CkxSharedPoliciesData::ShellOnDemandElevationAllowed(const CkxTargetInfoProcess& process, uint32_t& policyId) {
  uint32_t found = 0;
  const auto offers = [&](const CkxShBufPolicyWithTargets& policy) {
    found = policy.Id();
    return OffersShellElevation(policy);
  };
  if (!KxPolicyWalk_AskDeciding("ShellOnDemandElevationAllowed", process, offers)) return false;
  policyId = found;
  return true;
}

bool CkxSharedPoliciesData::ActiveXPolicyAutomationAllowed(const CkxTargetInfo& control) {
  return control.IsTargetInfoActiveX() &&
         KxPolicyWalk_AskDeciding("ActiveXPolicyAutomationAllowed", control,
                                  [](const CkxShBufPolicyWithTargets& policy) { return policy.PolicyAutomation(); });
}

bool CkxSharedPoliciesData::GetPossibleActiveXInstallPolicyActions(void* token, uint32_t& actionMask) {
  uint32_t possible = 0;
  const bool walked = KxPolicyWalk_Each("GetPossibleActiveXInstallPolicyActions", kKxDecidingActions, token,
                                        [&](const CkxShBufPolicyWithTargets& policy) {
                                          const bool concerned = policy.HasTargetOfType(EkxPolicyTarget::ActiveX) ||
                                                                 AppliesWithoutTargets(policy);
                                          const bool decides = concerned && !KxPolicyWalk_IsPassedOver(policy);
                                          if (decides) possible |= KxActionBit_Of(policy.Action());
                                          return true;
                                        });
  if (!walked || possible == 0) return false;
  actionMask = possible;
  return true;
}

bool CkxSharedPoliciesData::IsExcluded(const WCHAR* path, void* token) {
  const CkxSimplePathProvider file(path, token);
  return KxPolicyWalk_Any("IsExcluded", kExclude, token, [&](const CkxShBufPolicyWithTargets& policy) {
    const auto& exclusion = static_cast<const CkxShBufPolicyExclude&>(policy);
    return exclusion.ShouldExcludeFromPolicies() && exclusion.IsExcludedTarget(file);
  });
}

bool CkxSharedPoliciesData::IsMultifileCreator(const CkxTargetInfo& target) {
  SkxTriggerPolicyShortInfo unused;
  return KxPolicyWalk_Any(
      "IsMultifileCreator", kDeveloper, target.UserToken(),
      [&](const CkxShBufPolicyWithTargets& policy) { return policy.IsApplicableTarget(target, unused); });
}

bool CkxSharedPoliciesData::IsSoftwareDistributor(const CkxFileSrcProcess& process, CkxUtilStr& name, void* token) {
  CkxUtilStr found;
  const auto names = [&](const CkxShBufPolicyWithTargets& policy) {
    return static_cast<const CkxShBufPolicySoftwareDistributors&>(policy).IsSoftwareDistributor(process, found);
  };
  if (!KxPolicyWalk_Any("IsSoftwareDistributor", kDistributor, token, names)) return false;
  name = std::move(found);
  return true;
}

bool CkxSharedPoliciesData::ManualPolicyRequestAllowed(void* token, uint32_t& policyId) {
  uint32_t found = 0;
  const auto allows = [&](const CkxShBufPolicyWithTargets& policy) {
    const auto& collecting = static_cast<const CkxShBufPolicyZeroTouch&>(policy);
    found = policy.Id();
    return collecting.Params().allowUserReq != 0 && collecting.IsApplicableToUser(token);
  };
  if (!KxPolicyWalk_Any("ManualPolicyRequestAllowed", kCollect, token, allows)) return false;
  policyId = found;
  return true;
}

bool CkxSharedPoliciesData::HasActiveShellEoDTargets(void* token) {
  return KxPolicyWalk_Any("HasActiveShellEoDTargets", kTrust, token, [](const CkxShBufPolicyWithTargets& policy) {
    return OffersShellElevation(policy) && IsAboutAnything(policy);
  });
}

bool CkxSharedPoliciesData::HasActiveBlockedTargets(void* token) {
  return KxPolicyWalk_Any("HasActiveBlockedTargets", kBlock, token,
                          [](const CkxShBufPolicyWithTargets& policy) { return policy.HasRealTargets(); });
}
