// Which of the processes that brought a file is a software distributor's, by the policies that name those.
#include <kx_util/shared_policies_data.h>

#include <atomic>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

std::atomic<KxSoftwareDistributorUpdateHelper> updateHelper{nullptr};

}  // namespace

bool CkxSharedPoliciesData::UpdateSoftwareDistributor(CkxFileSrcProcess& process, void* token) {
  return KxEntry(false, [&] {
    CkxUtilStr name;
    if (!IsSoftwareDistributor(process, name, token)) return false;
    process.Facts().softwareDistributor = name.View().ToString();
    return true;
  });
}

bool CkxSharedPoliciesData::UpdateSoftwareDistributors(CkxFileSrcInstaller& installer, void* token) {
  bool any = false;
  for (CkxFileSrcProcess& process : installer.Processes()) any = UpdateSoftwareDistributor(process, token) || any;
  return any;
}

bool CkxSharedPoliciesData::UpdateSoftwareDistributors(CkxFileOrigin& origin, void* token) {
  if (const KxSoftwareDistributorUpdateHelper helper = updateHelper) return helper(origin);
  const bool installer = UpdateSoftwareDistributors(origin.Installer(), token);
  const bool parentInstaller = UpdateSoftwareDistributors(origin.ParentInstaller(), token);
  return installer || parentInstaller;
}

void CkxSharedPoliciesData::SetSoftwareDistributorUpdateHelper(KxSoftwareDistributorUpdateHelper helper) {
  updateHelper = helper;
}
