#include <kx_util/shared_policy.h>
#include <kx_util/shared_policy_kinds.h>

#include <algorithm>
#include <iterator>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/buffer/record_copy.h"
#include "Agent/engine/kx_util/buffer/record_memory.h"
#include "Agent/engine/kx_util/policy/policy_com_reference.h"
#include "Agent/engine/kx_util/policy/policy_lookup.h"
#include "Agent/engine/kx_util/policy/target_debug_text.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/trace.h"

namespace {

struct PolicyKind {
  EkxPolicyAction code;
  const WCHAR* displayName;
  CkxShBufPolicy* (*make)();  // null: records of this action are not accepted
};

template <class Policy>
CkxShBufPolicy* Make() {
  return new Policy;
}

constexpr PolicyKind kPolicyKinds[] = {
    {EkxPolicyAction::Invalid, KXW("Invalid Policy Action"), nullptr},
    {EkxPolicyAction::Run, KXW("Run"), Make<CkxShBufPolicyNormalRun>},
    {EkxPolicyAction::Block, KXW("Block"), Make<CkxShBufPolicyBlock>},
    {EkxPolicyAction::Elevate, KXW("Elevate"), Make<CkxShBufPolicyElevate>},
    {EkxPolicyAction::Trust, KXW("Trust"), Make<CkxShBufPolicyElevateOnDemand>},
    {EkxPolicyAction::CollectUac, KXW("Collect UAC"), Make<CkxShBufPolicyCollectUacUsage>},
    {EkxPolicyAction::RunAndCollectEvents, KXW("Run & Collect Events"), Make<CkxShBufPolicyZeroTouch>},
    {EkxPolicyAction::LogOff, KXW("Log Off"), Make<CkxShBufPolicyLogoff>},
    {EkxPolicyAction::ComputerAction, KXW("Computer Action"), Make<CkxShBufPolicyCompAction>},
    {EkxPolicyAction::RunScript, KXW("Run Script"), Make<CkxShBufPolicyRunScript>},
    {EkxPolicyAction::Configuration, KXW("Configuration"), Make<CkxShBufPolicyConfiguration>},
    {EkxPolicyAction::SetSecurity, KXW("Set Security"), Make<CkxShBufPolicySetSecurity>},
    {EkxPolicyAction::Exclude, KXW("Exclude"), Make<CkxShBufPolicyExclude>},
    {EkxPolicyAction::SoftwareDistributor, KXW("Software Distibutor"), Make<CkxShBufPolicySoftwareDistributors>},
    {EkxPolicyAction::DeveloperApplication, KXW("Developer Application"), Make<CkxShBufPolicyMultifileCreator>},
};

/// Null for a code that is none.
const PolicyKind* FindKind(EkxPolicyAction action) {
  const auto* const kind = std::find_if(std::begin(kPolicyKinds), std::end(kPolicyKinds),
                                        [&](const PolicyKind& row) { return row.code == action; });
  return kind != std::end(kPolicyKinds) ? kind : nullptr;
}

}  // namespace

const WCHAR* KxUtil_PolicyActionStr(EkxPolicyAction action) {
  if (const PolicyKind* const kind = FindKind(action)) return kind->displayName;
  KxTrace(EkxTraceLevel::Error, "KxUtil_PolicyActionStr", "ERROR: Unknown policy action ",
          static_cast<int32_t>(action));
  return KXW("Unknown Policy Action");
}

CkxShBufPolicy* CkxShBufPolicy::PolicyFromBuffer(const SkxPolicyBufHeader* record, bool copy) {
  if (record == nullptr || record->magic != SkxPolicyBufHeader::kMagic) return nullptr;
  const uint32_t size = record->size;
  if (size < sizeof(SkxPolicyBufHeader)) return nullptr;
  const PolicyKind* const kind = FindKind(record->action);
  if (kind == nullptr || kind->make == nullptr) return nullptr;

  CkxShBufPolicyPtr policy(kind->make());
  if (policy == nullptr || (copy && !policy->_CopyBuffer(record, size))) return nullptr;
  const auto* cursor = reinterpret_cast<const unsigned char*>(record);
  unsigned long remaining = size;
  return policy->FromBuffer(cursor, remaining) ? policy.release() : nullptr;
}

CkxShBufPolicy::CkxShBufPolicy() { CkxPolicyComReference::Acquire(); }

CkxShBufPolicy::~CkxShBufPolicy() {
  delete[] _copy;
  CkxPolicyComReference::Release();
}

void* CkxShBufPolicy::operator new(size_t bytes) noexcept { return KxRecord_Allocate(bytes); }
void CkxShBufPolicy::operator delete(void* piece) noexcept { KxRecord_Free(piece); }

void CkxShBufPolicy::Release() { delete this; }

void CkxShBufPolicy::Release(CkxShBufPolicy* policy) {
  if (policy != nullptr) policy->Release();
}

bool CkxShBufPolicy::_CopyBuffer(const SkxPolicyBufHeader*& record, uint32_t size) {
  _copy = KxRecord_Copy(record, size, "CkxShBufPolicy");
  if (_copy == nullptr) return false;
  record = reinterpret_cast<const SkxPolicyBufHeader*>(_copy);
  return true;
}

bool CkxShBufPolicy::_ReadCommon(const unsigned char*& cursor, unsigned long& remaining) {
  CkxBufReader in(cursor, remaining);
  // clang-format off
  return in.Header(_header) &&
         in.ObfuscatedText(_name) &&
         in.Text(_gpId) &&
         in.Text(_kxGpoId) &&
         in.U32(_reportUsageState) &&
         in.U32(_guiType) &&
         in.Nested(_alerts);
  // clang-format on
}

void CkxShBufPolicy::FillPolicyInfo(SkxTriggerPolicyShortInfo& info) const {
  info.PolicyId = Id();
  info.PolicyAction = Action();
  info.SetGpId(GpId());
  info.SetKxGpoId(KxGpoId());
  info.GuiType = GuiType();
  info.ReportUsageState = ReportUsageState();
}

bool CkxShBufPolicy::GetAlert(EkxAlertTrigger trigger, EkxAlertType type, CkxShBufCustGuiBase*& alert) const {
  SkxPolicyAlertLink link;
  if (!FindAlertLink(trigger, type, link)) return false;
  const GUID id = link.alertId;
  return KxPolicyLookup_GetAlert(id, type, alert);
}

bool CkxShBufPolicy::GetDebugMessage(KxBstr& text) const {
  return KxEntry(false, [&] {
    CkxUtilStr message;
    _AppendDebugMsg(message);
    if (KxFault_Current() != EkxEvaluationFault::None) return false;
    const KxBstr copy = KxRecord_NotNull(KxBstr_Alloc(message.View()));
    if (copy == nullptr) {
      KxTrace(EkxTraceLevel::Error, "CkxShBufPolicy", "ERROR: Failed to alloc ", message.Length(), " characters");
      return false;
    }
    text = copy;
    return true;
  });
}

void CkxShBufPolicy::_AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    KxText_AppendFormat(text,
                        KXW("Policy id:\t%d\r\nName:\t%s\r\nOrder:\t0x%I64X\r\nImplicit:\t%s\r\nGpId:\t%s\r\n") KXW(
                            "KxGpoId:\t%s\r\nAction:\t%d\r\nActive:\t%s\r\nGUI Type:\t%d\r\nReportUsageState:\t%d\r\n"),
                        Id(), NameView(), Order(), KxText_YesNo(IsImplicit()), GpId(), KxGpoId(),
                        static_cast<int32_t>(Action()), KxText_YesNo(Active()), GuiType(), ReportUsageState());
    _alerts.AppendDebugMsg(text);
  });
}

bool CkxShBufPolicyAlerts::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  CkxBufReader in(cursor, remaining);
  uint32_t count = 0;
  const unsigned char* links = nullptr;
  const bool read = in.U32(count) && count <= in.Remaining() / sizeof(SkxPolicyAlertLink) &&
                    in.Bytes(count * sizeof(SkxPolicyAlertLink), links);
  _count = read ? count : 0;
  _links = reinterpret_cast<const SkxPolicyAlertLink*>(links);
  return read;
}

bool CkxShBufPolicyAlerts::Find(EkxAlertTrigger trigger, SkxPolicyAlertLink& link) const {
  const auto* const found = std::find_if(_links, _links + _count, [&](const auto& l) { return l.trigger == trigger; });
  if (found == _links + _count) return false;
  link = *found;
  return true;
}

bool CkxShBufPolicyAlerts::Find(EkxAlertTrigger trigger, EkxAlertType type, SkxPolicyAlertLink& link) const {
  const auto* const found =
      std::find_if(_links, _links + _count, [&](const auto& l) { return l.trigger == trigger && l.type == type; });
  if (found == _links + _count) return false;
  link = *found;
  return true;
}

void CkxShBufPolicyAlerts::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    if (_count == 0) return text.Append(KXW("No alerts\r\n"));
    KxText_AppendFormat(text, KXW("\r\n%d Alerts\r\n"), _count);
    for (uint32_t i = 0; i < _count; ++i) {
      const GUID alertId = _links[i].alertId;
      KxText_AppendFormat(text, KXW("   %s Trigger %d, Type %d\r\n"), KxGuid_ToText(alertId),
                          static_cast<uint32_t>(_links[i].trigger), static_cast<uint16_t>(_links[i].type));
    }
  });
}

bool CkxShBufPolicyWithoutTargets::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _ReadCommon(cursor, remaining);
}
