// Finding the message that a policy asks to show: by its id, or by what it is shown for.
#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_util/policy/policy_lookup.h"
#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Agent/engine/kx_util/store/section_lookup.h"
#include "Agent/engine/kx_util/store/store_scope.h"
#include "Common_CPP/util/guid.h"

namespace {

/// Active policies of the one action that configures the agent.
constexpr SkxPolicyFilter kConfiguration = {SkxPolicyFilter::kActive | SkxPolicyFilter::kByAction,
                                            KxActionBit_Of(EkxPolicyAction::Configuration)};

/// The alert that the policy names as the dialog for `trigger`; null when it names none.
GUID DialogOf(const CkxShBufPolicy& policy, EkxAlertTrigger trigger) {
  SkxPolicyAlertLink link;
  if (!policy.FindAlertLink(trigger, EkxAlertType::Dialog, link)) return GUID{};
  const GUID id = link.alertId;
  if (KxGuid_IsNull(id)) {
    KxTrace(EkxTraceLevel::Error, kKxStoreScope, "ERROR: Alert id is GUID_NULL in policy ", policy.Id());
  }
  return id;
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
    GUID id = {};
    auto namesNone = [&](const CkxShBufPolicy& policy) { return KxGuid_IsNull(id = DialogOf(policy, trigger)); };
    if (!EnumPolicies(kConfiguration, KxCallback<const CkxShBufPolicy&>(namesNone), &namesNone, true, token)) {
      return false;
    }
    CkxShBufCustGuiBase* alert = nullptr;
    if (KxGuid_IsNull(id) || !GetAlert(id, EkxAlertType::Dialog, alert)) return false;
    dialog = static_cast<CkxShBufCustGuiDialog*>(alert);
    return true;
  });
}

bool KxPolicyLookup_GetAlert(const GUID& id, EkxAlertType type, CkxShBufCustGuiBase*& alert) {
  return CkxSharedPoliciesData::GetAlert(id, type, alert);
}
