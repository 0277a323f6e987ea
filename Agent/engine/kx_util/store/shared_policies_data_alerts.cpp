// Finding the message that a policy asks to show: by its id, or by what it is shown for.
#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_util/policy/policy_lookup.h"
#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Agent/engine/kx_util/store/section_lookup.h"
#include "Common_CPP/util/guid.h"

namespace {

/// Active policies of the one action that configures the agent.
constexpr SkxPolicyFilter kConfiguration = {SkxPolicyFilter::kActive | SkxPolicyFilter::kByAction,
                                            KxPolicyWalk_Bit(EkxPolicyAction::Configuration)};

struct DialogSearch {
  const EkxAlertTrigger trigger;
  GUID alertId = {};  ///< null until found
};

/// The walk's callback: goes on until a policy names a dialog.
bool GetCommonDialogEnumProc(const CkxShBufPolicy& policy, void* context) {
  auto& search = *static_cast<DialogSearch*>(context);
  SkxPolicyAlertLink link;
  if (!policy.FindAlertLink(search.trigger, EkxAlertType::Dialog, link)) return true;
  search.alertId = link.alertId;
  if (!KxGuid_IsNull(search.alertId)) return false;
  KxTrace(EkxTraceLevel::Error, "CkxSharedPoliciesData", "ERROR: Alert id is GUID_NULL in policy ", policy.Id());
  return true;
}

}  // namespace

bool CkxSharedPoliciesData::GetAlert(const GUID& id, EkxAlertType type, CkxShBufCustGuiBase*& alert) {
  const auto wanted = [&](const SkxAlertBufHeader& record) {
    const GUID candidate = record.id;
    return record.type == type && KxGuid_Equal(candidate, id);
  };
  return KxSection_LookUp(EkxPolicySection::Alerts, kKxAlertRecord, wanted, CkxShBufCustGuiBase::CustGuiFromBuffer,
                          alert);
}

bool CkxSharedPoliciesData::GetCommonDialog(EkxAlertTrigger trigger, CkxShBufCustGuiDialog*& dialog, void* token) {
  return KxEntry(false, [&] {
    DialogSearch search = {trigger};
    if (!EnumPolicies(kConfiguration, GetCommonDialogEnumProc, &search, true, token)) return false;
    CkxShBufCustGuiBase* alert = nullptr;
    if (KxGuid_IsNull(search.alertId) || !GetAlert(search.alertId, EkxAlertType::Dialog, alert)) return false;
    dialog = static_cast<CkxShBufCustGuiDialog*>(alert);
    return true;
  });
}

bool KxPolicyLookup_GetAlert(const GUID& id, EkxAlertType type, CkxShBufCustGuiBase*& alert) {
  return CkxSharedPoliciesData::GetAlert(id, type, alert);
}
