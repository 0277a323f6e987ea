#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_util/store/section_lookup.h"
#include "Agent/engine/kx_util/store/section_walk.h"
#include "Common_CPP/util/callback.h"
#include "Common_CPP/util/guid.h"

namespace {

bool AppendIds(const CkxApplicablePolicies& applicable, std::vector<int>& ids) {
  for (const uint32_t id : applicable.Ids()) ids.push_back(static_cast<int>(id));
  return true;
}

bool AppendAllIds(void* token, std::vector<int>& ids) {
  auto append = [&](const CkxShBufPolicy& policy) {
    ids.push_back(static_cast<int>(policy.Id()));
    return true;
  };
  return CkxSharedPoliciesData::EnumPolicies(KxCallback<const CkxShBufPolicy&>(append), &append, false, token) &&
         KxFault_Current() == EkxEvaluationFault::None;
}

}  // namespace

bool CkxSharedPoliciesData::EnumPolicies(KxPolicyCallback callback, void* context, bool applicableOnly, void* token) {
  return EnumPolicies(SkxPolicyFilter(), callback, context, applicableOnly, token);
}

bool CkxSharedPoliciesData::EnumPolicies(const SkxPolicyFilter& filter, KxPolicyCallback callback, void* context,
                                         bool applicableOnly, void* token) {
  if (callback == nullptr) return false;
  EkxWalkEnd end = EkxWalkEnd::Faulted;
  KxEntry([&] { end = KxSectionWalk_Policies(filter, callback, context, applicableOnly, token); });
  // A section that could not be opened enumerates nothing, which is no failure of the walk; the fault says the rest.
  return end == EkxWalkEnd::Walked || end == EkxWalkEnd::NothingPublished || end == EkxWalkEnd::NotOpened;
}

bool CkxSharedPoliciesData::GetPolicyById(uint32_t id, CkxShBufPolicy*& policy) {
  const auto wanted = [&](const SkxPolicyBufHeader& record) { return record.id == id; };
  return KxSection_LookUp(EkxPolicySection::Policies, kKxPolicyRecord, wanted, CkxShBufPolicy::PolicyFromBuffer,
                          policy);
}

bool CkxSharedPoliciesData::GetPolicyByIdWithValidation(uint32_t id, EkxPolicyAction action, bool active,
                                                        CkxShBufPolicy*& policy) {
  CkxShBufPolicy* found = nullptr;
  if (!GetPolicyById(id, found)) return false;
  CkxShBufPolicyPtr owned(found);
  if (!owned->IsAction(action) || owned->Active() != active) return false;
  policy = owned.release();
  return true;
}

bool CkxSharedPoliciesData::GetAppGroupById(const GUID& id, CkxShBufAppGroup*& group) {
  const auto wanted = [&](const SkxAppGroupBufHeader& record) {
    const GUID candidate = record.id;
    return KxGuid_Equal(candidate, id);
  };
  return KxSection_LookUp(EkxPolicySection::AppGroups, kKxAppGroupRecord, wanted, CkxShBufAppGroup::AppGroupFromBuffer,
                          group);
}

bool CkxSharedPoliciesData::GetPoliciesApplicableForUser(void* token, std::vector<int>& ids) {
  return KxEntry(false, [&] {
    std::vector<int> all = ids;
    const auto applicable = KxPolicySource_Current().ApplicablePolicies(token);
    if (applicable == nullptr) KxFault_Note(EkxEvaluationFault::UserUnknown);
    if (applicable == nullptr || applicable->IsNone()) return false;
    if (applicable->IsAll() ? !AppendAllIds(token, all) : !AppendIds(*applicable, all)) return false;
    ids.swap(all);
    return true;
  });
}
