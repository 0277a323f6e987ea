#include <kx_util/policy_result.h>

#include <algorithm>
#include <cstring>

namespace {

void SetId(void* field, CkxTextView text) {
  const size_t units = std::min(text.Size(), SkxTriggerPolicyCommon::kIdUnits - 1);
  std::memset(field, 0, SkxTriggerPolicyCommon::kIdUnits * sizeof(WCHAR));
  if (units != 0) std::memcpy(field, text.Bytes(), units * sizeof(WCHAR));
}

}  // namespace

SkxTriggerPolicyShortInfo::SkxTriggerPolicyShortInfo(const SkxTokenPolicyData& token) {
  PolicyId = token.GetPolicyId();
  PolicyAction = token.GetPolicyAction();
  OriginalPolicyAction = token.GetOriginalPolicyAction();
  TargetType = token.GetTargetType();
  PolicyTargetId = token.GetPolicyTargetId();
  Inheritable = token.GetInheritable();
  ProtectInstalledFiles = token.GetProtectInstalledFiles();
  RestrictFileDlg = token.GetRestrictFileDlg();
}

void SkxTriggerPolicyShortInfo::SetGpId(CkxTextView text) { SetId(&GpId, text); }
void SkxTriggerPolicyShortInfo::SetKxGpoId(CkxTextView text) { SetId(&KxGpoId, text); }

SkxTriggerPolicyShortInfo_6_0_1_171::operator SkxTriggerPolicyShortInfo() const {
  SkxTriggerPolicyShortInfo info;
  static_cast<SkxTriggerPolicyCommon&>(info) = *this;
  info.Reserved313 = 0;  // whatever an old component left there
  info.RestrictFileDlg = RestrictFileDlg;
  return info;
}

SkxProcessPolicyData& SkxProcessPolicyData::operator=(const SkxProcessPolicyData_10_2& old) {
  ShortInfo = old.ShortInfo;
  ExtraFlags = old.ExtraFlags;
  ExtraState = 0;
  return *this;
}

SkxProcessPolicyData& SkxProcessPolicyData::operator=(const SkxProcessPolicyData_6_0_1_171& old) {
  ShortInfo = old.ShortInfo;
  ExtraFlags = old.ExtraFlags;
  ExtraState = 0;
  return *this;
}
