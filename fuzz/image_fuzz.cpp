// A whole image of hostile bytes: walked, looked up, and evaluated for a fixed target of each kind.
//
//   offset 0: u16 bytes of the application-groups section, u16 bytes of the alerts section
//          4: the groups section, the alerts section, the policies section
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include "Common_CPP/util/byte_cursor.h"
#include "tests/support/section_source.h"

namespace {

SkxFileFacts File(const WCHAR* path) {
  SkxFileFacts file;
  file.path = path;
  file.size = 1000;
  file.hashes = {{KXW("SHA1"), KXW("00112233445566778899AABBCCDDEEFF00112233")}};
  file.signers = {{KXW("Vendor Inc."), EkxPublisherStatus::Valid}};
  file.fileVersion = KXW("1.2.3.4");
  file.versionInfo = {{KXW("ProductName"), KXW("App")}};
  file.msiProperties = {{KXW("ProductVersion"), KXW("1.2.3")}};
  file.appPackage = {KXW("Vendor.App"), KXW("1.2.3.4"), {KXW("internetClient")}};
  return file;
}

void Evaluate(const CkxTargetInfo& target) {
  SkxTriggerPolicyShortInfo info;
  CkxSharedPoliciesData::GetTargetPolicyAction(target, info);
}

void EvaluateEachKind() {
  SkxProcessFacts process;
  process.commandLine = KXW("powershell.exe -File C:\\Tools\\run.ps1 /quiet");
  process.services = KXW("Spooler/Netlogon");
  const SkxServerFacts server = {KXW("{00000001-0000-0000-0000-000000000001}"), KXW("https://example.com/a.cab")};
  const WCHAR* const shell = KXW("C:\\Windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe");
  Evaluate(CkxTargetInfoProcess(File(shell), process, nullptr));
  Evaluate(CkxTargetInfoFile(File(KXW("C:\\Program Files\\Vendor\\app.exe")), nullptr));
  for (const auto type :
       {EkxPolicyTarget::Msi, EkxPolicyTarget::Msu, EkxPolicyTarget::Dll, EkxPolicyTarget::AppPackage}) {
    SkxFileFacts file = File(KXW("C:\\Temp\\setup.bin"));
    file.targetType = static_cast<uint32_t>(type);
    Evaluate(CkxTargetInfoFile(std::move(file), nullptr));
  }
  Evaluate(CkxTargetInfoActiveX(File(KXW("C:\\Temp\\a.ocx")), server, nullptr));
  Evaluate(CkxTargetInfoUacCOM(File(KXW("C:\\Temp\\a.dll")), server, nullptr));
  Evaluate(CkxTargetInfoElevator(CkxTargetInfoElevator::kUrlRequest, KXW("https://example.com/x"), nullptr));
}

/// Everything that a policy says of itself.
bool Show(const CkxShBufPolicy& policy, void*) {
  CkxUtilStr text;
  policy._AppendDebugMsg(text);
  for (uint32_t i = 0; i < policy.Alerts().Count(); ++i) {
    CkxShBufCustGuiBase* alert = nullptr;
    const SkxPolicyAlertLink link = policy.Alerts().GetAt(i);
    if (policy.GetAlert(link.trigger, link.type, alert)) alert->Release();
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  constexpr size_t kHeader = 2 * sizeof(uint16_t);
  if (size < kHeader) return 0;
  const size_t groups = std::min<size_t>(KxBytes_Load<uint16_t>(data), size - kHeader);
  const size_t alerts = std::min<size_t>(KxBytes_Load<uint16_t>(data + sizeof(uint16_t)), size - kHeader - groups);
  const unsigned char* const begin = data + kHeader;
  CkxSectionSource source;
  source.PublishBytes(EkxPolicySection::AppGroups, KxBytes(begin, begin + groups));
  source.PublishBytes(EkxPolicySection::Alerts, KxBytes(begin + groups, begin + groups + alerts));
  source.PublishBytes(EkxPolicySection::Policies, KxBytes(begin + groups + alerts, data + size));

  const CkxPolicySourceScope scope(source);
  CkxSharedPoliciesData::EnumPolicies(Show, nullptr, false, nullptr);
  EvaluateEachKind();
  CkxShBufPolicy* policy = nullptr;
  if (CkxSharedPoliciesData::GetPolicyById(1, policy)) policy->Release();
  CkxShBufCustGuiDialog* dialog = nullptr;
  if (CkxSharedPoliciesData::GetCommonDialog(EkxAlertTrigger::ReplaceUacOfStandardUser, dialog, nullptr)) {
    dialog->Release();
  }
  return 0;
}
