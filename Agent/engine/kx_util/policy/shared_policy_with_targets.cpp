// Policies that are about targets: reading them, walking them, and telling whether one of them takes what is about to
// run.
#include <kx_util/shared_policy.h>
#include <kx_util/shared_policy_target_app_group_link.h>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/policy/target_debug_text.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/callback.h"

namespace {

/// The target that a link stands for is the one that matched, and is what `info` names.
bool MatchAndFill(const CkxShBufTarget& target, const CkxTargetInfo& description, SkxTriggerPolicyShortInfo& info) {
  if (target.IsTargetType(EkxPolicyTarget::AppGroupLink)) {
    const auto& link = static_cast<const CkxShBufTargetAppGroupLink&>(target);
    return link.Observed(link.MatchTarget(description, info));
  }
  if (!target.Matches(description)) return false;
  target.FillTargetInfo(info);
  return true;
}

/// Hands on a target, or in the place of a link the targets of its group, links among those included.
struct HandOnExpanded {
  const KxTargetCallback callback;
  void* const context;

  bool operator()(const CkxShBufTarget& target) {
    if (!KxWork_Spend(1)) return false;
    if (!target.IsTargetType(EkxPolicyTarget::AppGroupLink)) return callback(target, context);
    const auto& link = static_cast<const CkxShBufTargetAppGroupLink&>(target);
    return link.EnumTargets(KxCallback<const CkxShBufTarget&>(*this), this);
  }
};

}  // namespace

bool CkxShBufPolicyWithTargets::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!_ReadCommon(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  return in.Flag(_policyAutomation) && in.List(_targets, CkxShBufTarget::TargetFromBuffer);
}

void CkxShBufPolicyWithTargets::FillPolicyInfo(SkxTriggerPolicyShortInfo& info) const {
  CkxShBufPolicy::FillPolicyInfo(info);
  info.PolicyAutomation = _policyAutomation;
}

bool CkxShBufPolicyWithTargets::IsApplicableTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const {
  return KxEntry(false, [&] {
    if (target.IsIncomplete()) KxFault_Note(EkxEvaluationFault::OutOfMemory);
    if (_IsApplicableToAnyTarget(target, info)) return true;
    for (const CkxShBufTarget& candidate : CkxNodes<CkxShBufTarget>(_targets)) {
      if (!KxWork_Spend(kWorkOfTarget)) return false;
      if (!MatchAndFill(candidate, target, info)) continue;
      FillPolicyInfo(info);
      return true;
    }
    return false;
  });
}

bool CkxShBufPolicyWithTargets::_IsApplicableToAnyTarget(const CkxTargetInfo& /*target*/,
                                                         SkxTriggerPolicyShortInfo& /*info*/) const {
  return false;
}

bool CkxShBufPolicyWithTargets::_AppliesWithoutTargets(const CkxTargetInfo& target,
                                                       SkxTriggerPolicyShortInfo& info) const {
  if (_targets.Count() != 0) return false;
  FillPolicyInfo(info);
  info.TargetType = target.TargetType();
  return true;
}

void CkxShBufPolicyWithTargets::EnumTargets(KxTargetCallback callback, void* context) const {
  if (callback == nullptr) return;
  HandOnExpanded handOn = {callback, context};
  KxEntry([&] {
    for (const CkxShBufTarget& target : CkxNodes<CkxShBufTarget>(_targets)) {
      if (!handOn(target)) return;
    }
  });
}

bool CkxShBufPolicyWithTargets::HasRealTargets() const {
  bool found = false;
  auto isNone = [&](const CkxShBufTarget&) { return !(found = true); };
  EnumTargets(KxCallback<const CkxShBufTarget&>(isNone), &isNone);
  return found;
}

bool CkxShBufPolicyWithTargets::HasTargetOfType(EkxPolicyTarget type) const {
  bool found = false;
  auto isOther = [&](const CkxShBufTarget& target) { return !(found = target.IsTargetType(type)); };
  EnumTargets(KxCallback<const CkxShBufTarget&>(isOther), &isOther);
  return found;
}

void CkxShBufPolicyWithTargets::_AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    CkxShBufPolicy::_AppendDebugMsg(text);
    if (_targets.Count() == 0) return text.Append(KXW("No targets\r\n"));
    KxText_AppendFormat(text, KXW("PolicyAutomation Enabled: %s\r\n\r\n%d targets\r\n"),
                        KxText_YesNo(_policyAutomation), _targets.Count());
    for (const CkxShBufTarget& target : CkxNodes<CkxShBufTarget>(_targets)) target.AppendDebugMsg(text);
  });
}
