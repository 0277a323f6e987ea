#include <kx_util/shared_policy_kinds.h>
#include <kx_util/shared_policy_target_exclude.h>
#include <kx_util/shared_policy_target_exe.h>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/policy/target_debug_text.h"
#include "Common_CPP/access_token/access_token.h"

namespace {

struct ExclusionQuestion {
  const IkxPathProvider& file;
  bool excluded = false;
};

struct DistributorQuestion {
  const CkxFileSrcProcess& process;
  std::optional<CkxUtilStr> name;  ///< of the target that matched; copied, since a group's targets go with the group
};

}  // namespace

bool CkxShBufPolicyNormalRun::ShouldReplaceUAC(bool isAdmin) const {
  SkxPolicyAlertLink link;
  return FindAlertLink(isAdmin ? EkxAlertTrigger::ReplaceUacOfAdministrator : EkxAlertTrigger::ReplaceUacOfStandardUser,
                       link);
}

bool CkxShBufPolicyNormalRun::ShouldReplaceUAC(void* token) const {
  return KxEntry(false, [&] { return ShouldReplaceUAC(KxToken_IsAdministrator(token)); });
}

bool CkxShBufPolicyElevateOnDemand::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxShBufPolicyWithTargets::FromBuffer(cursor, remaining) && CkxBufReader(cursor, remaining).InPlace(_params);
}

bool CkxShBufPolicyElevateOnDemand::IsApplicableTarget(const CkxTargetInfo& target,
                                                       SkxTriggerPolicyShortInfo& info) const {
  return !target.IsTargetInfoElevator() && CkxShBufPolicyWithTargets::IsApplicableTarget(target, info);
}

bool CkxShBufPolicyElevateOnDemand::_IsApplicableToAnyTarget(const CkxTargetInfo& target,
                                                             SkxTriggerPolicyShortInfo& info) const {
  return _AppliesWithoutTargets(target, info);
}

bool CkxShBufPolicyElevateOnDemand::ShouldReplaceUAC(bool isAdmin) const {
  return (isAdmin ? _params->replaceUacOfAdministrators : _params->replaceUacOfStandardUsers) != 0;
}

bool CkxShBufPolicyElevateOnDemand::ShouldReplaceUAC(void* token) const {
  return KxEntry(false, [&] { return ShouldReplaceUAC(KxToken_IsAdministrator(token)); });
}

void CkxShBufPolicyElevateOnDemand::_AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    CkxShBufPolicyWithTargets::_AppendDebugMsg(text);
    KxText_AppendFormat(text, KXW("Shell Extension:\t%s\r\nReplace non-admin UAC:\t%s\r\nReplace admin UAC:\t%s\r\n"),
                        KxText_YesNo(ShellExtensionEnabled()), KxText_YesNo(ShouldReplaceUAC(false)),
                        KxText_YesNo(ShouldReplaceUAC(true)));
  });
}

bool CkxShBufPolicyZeroTouch::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxShBufPolicyWithTargets::FromBuffer(cursor, remaining) && CkxBufReader(cursor, remaining).InPlace(_params);
}

bool CkxShBufPolicyZeroTouch::_IsApplicableToAnyTarget(const CkxTargetInfo& target,
                                                       SkxTriggerPolicyShortInfo& info) const {
  return _AppliesWithoutTargets(target, info);
}

bool CkxShBufPolicyZeroTouch::IsApplicableToUser(void* token) const {
  return KxEntry(false, [&] {
    bool opened = false;
    const bool isAdmin = KxToken_IsAdministrator(token, &opened);
    return opened && (isAdmin ? _params->monitorAdministrators : _params->monitorStandardUsers) != 0;
  });
}

void CkxShBufPolicyZeroTouch::_AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    CkxShBufPolicyWithTargets::_AppendDebugMsg(text);
    const auto yesNo = [](unsigned char value) { return KxText_YesNo(value != 0); };
    KxText_AppendFormat(text,
                        KXW("\r\nAllowUserReq:\t%s\r\nMonitor:\tAdmins=%s StdUsers=%s\r\nUseHeuristics:\t%s\r\n")
                            KXW("TriggeredByUser:\t%s\r\nsuppressNonAdminUAC:\t%s\r\nsuppressAdminUAC:\t%s\r\n"),
                        yesNo(_params->allowUserReq), yesNo(_params->monitorAdministrators),
                        yesNo(_params->monitorStandardUsers), yesNo(_params->useHeuristics),
                        yesNo(_params->triggeredByUser), yesNo(_params->suppressNonAdminUac),
                        yesNo(_params->suppressAdminUac));
  });
}

bool CkxShBufPolicySetSecurity::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxShBufPolicyWithTargets::FromBuffer(cursor, remaining) && CkxBufReader(cursor, remaining).Flag(_allowAccess);
}

void CkxShBufPolicySetSecurity::_AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    CkxShBufPolicyWithTargets::_AppendDebugMsg(text);
    KxText_AppendFormat(text, KXW("Security Action:\t%s access\r\n"), _allowAccess ? KXW("Allow") : KXW("Deny"));
  });
}

bool CkxShBufPolicyExclude::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxShBufPolicyWithTargets::FromBuffer(cursor, remaining) && CkxBufReader(cursor, remaining).U16(_excludeType);
}

bool CkxShBufPolicyExclude::IsApplicableTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const {
  return ShouldExcludeFromPolicies() && target.QueryPathProvider() != nullptr &&
         CkxShBufPolicyWithTargets::IsApplicableTarget(target, info);
}

bool CkxShBufPolicyExclude::IsExcludedTarget(const IkxPathProvider& file) const {
  ExclusionQuestion question = {file};
  EnumTargets(_EnumExcludedTarget, &question);
  return question.excluded;
}

bool CkxShBufPolicyExclude::_EnumExcludedTarget(const CkxShBufTarget& target, void* question) {
  auto& asked = *static_cast<ExclusionQuestion*>(question);
  asked.excluded = target.IsTargetType(EkxPolicyTarget::Exclude) &&
                   static_cast<const CkxShBufTargetExclude&>(target).MatchExcludedTarget(asked.file);
  return !asked.excluded;
}

void CkxShBufPolicyExclude::_AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    CkxShBufPolicyWithTargets::_AppendDebugMsg(text);
    KxText_AppendFormat(text, KXW("Exclude type: %d\r\n"), _excludeType);
  });
}

bool CkxShBufPolicySoftwareDistributors::IsSoftwareDistributor(const CkxFileSrcProcess& process,
                                                               CkxUtilStr& name) const {
  return KxEntry(false, [&] {
    DistributorQuestion question = {process, {}};
    EnumTargets(_EnumIsSoftwareDistributor, &question);
    if (!question.name || KxFault_Current() != EkxEvaluationFault::None) return false;
    CkxUtilStr found = question.name->IsEmpty() ? NameView() : question.name->View();
    name = std::move(found);
    return true;
  });
}

bool CkxShBufPolicySoftwareDistributors::_EnumIsSoftwareDistributor(const CkxShBufTarget& target, void* question) {
  auto& asked = *static_cast<DistributorQuestion*>(question);
  if (!target.IsTargetType(EkxPolicyTarget::Executable)) return true;
  if (!target.Observed(target.MatchProcess(asked.process))) return true;
  asked.name = static_cast<const CkxShBufTargetExe&>(target).SoftwareDistributorName();
  return false;
}

bool CkxShBufPolicyConfiguration::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!_ReadCommon(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  return in.ObfuscatedText(_configurationXml) && in.ObfuscatedText(_messagesXml);
}

bool CkxShBufPolicyCompAction::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _ReadCommon(cursor, remaining) && CkxBufReader(cursor, remaining).U32(_computerAction);
}

void CkxShBufPolicyCompAction::_AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    CkxShBufPolicy::_AppendDebugMsg(text);
    KxText_AppendFormat(text, KXW("Computer Action:\t%d\r\n"), _computerAction);
  });
}

bool CkxShBufPolicyRunScript::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _ReadCommon(cursor, remaining) && CkxBufReader(cursor, remaining).Nested(_script);
}
