// A whole image of hostile bytes: walked, looked up and evaluated for a fixed process.
//
//   offset 0: u16 bytes of the application-groups section, that section, then the policies section
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_process.h>

#include "Common_CPP/util/byte_cursor.h"
#include "tests/support/section_source.h"

namespace {

CkxTargetInfoProcess FixedTarget() {
  SkxFileFacts file;
  file.path = KXW("C:\\Program Files\\Vendor\\app.exe");
  file.size = 1000;
  file.hashes = {{KXW("SHA1"), KXW("00112233445566778899AABBCCDDEEFF00112233")}};
  file.signers = {{KXW("Vendor Inc."), EkxPublisherStatus::Valid}};
  file.fileVersion = KXW("1.2.3.4");
  file.versionInfo = {{KXW("ProductName"), KXW("App")}};
  SkxProcessFacts process;
  process.commandLine = KXW("app.exe /quiet");
  process.services = KXW("Spooler/Netlogon");
  return CkxTargetInfoProcess(std::move(file), std::move(process), nullptr);
}

/// Everything that a policy says of itself.
bool Show(const CkxShBufPolicy& policy, void*) {
  CkxUtilStr text;
  policy._AppendDebugMsg(text);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size < sizeof(uint16_t)) return 0;
  const size_t groups = std::min<size_t>(KxBytes_Load<uint16_t>(data), size - sizeof(uint16_t));
  const unsigned char* const begin = data + sizeof(uint16_t);
  CkxSectionSource source;
  source.PublishBytes(EkxPolicySection::AppGroups, KxBytes(begin, begin + groups));
  source.PublishBytes(EkxPolicySection::Policies, KxBytes(begin + groups, data + size));

  const CkxPolicySourceScope scope(source);
  CkxSharedPoliciesData::EnumPolicies(Show, nullptr, false, nullptr);
  const CkxTargetInfoProcess target = FixedTarget();
  SkxTriggerPolicyShortInfo info;
  CkxSharedPoliciesData::GetTargetPolicyAction(target, info);
  CkxShBufPolicy* policy = nullptr;
  if (CkxSharedPoliciesData::GetPolicyById(1, policy)) policy->Release();
  return 0;
}
