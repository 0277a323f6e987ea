#include <kx_util/token_policy_data.h>

#include <cstring>

#include <kx_util/policy_result.h>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/format.h"
#include "Common_CPP/util/guid.h"

SkxTokenPolicyData::SkxTokenPolicyData(bool createdByUacElevator, uint32_t pid, const SkxTriggerPolicyShortInfo& info)
    : Version(1),
      PolicyAction(static_cast<unsigned char>(info.PolicyAction)),
      OriginalPolicyAction(static_cast<unsigned char>(info.OriginalPolicyAction)),
      TargetType(static_cast<unsigned char>(info.TargetType)),
      Flags(static_cast<uint16_t>((createdByUacElevator ? kCreatedByUacElevator : 0) |
                                  (info.Inheritable != 0 ? kInheritable : 0) |
                                  (info.ProtectInstalledFiles != 0 ? kProtectInstalledFiles : 0) |
                                  (info.RestrictFileDlg != 0 ? kRestrictFileDlg : 0))),
      Pid(pid),
      PolicyId(info.PolicyId),
      PolicyTargetId(info.PolicyTargetId) {}

bool SkxTokenPolicyData::IsEmpty() const {
  const SkxTokenPolicyData empty;
  return std::memcmp(this, &empty, sizeof(empty)) == 0;
}

void SkxTokenPolicyData::GetDebugString(CkxUtilStr& text) const {
  const auto boolean = [](bool value) { return value ? KXW("True") : KXW("False"); };
  KxEntry([&] {
    CkxUtilStr whole;
    KxText_AppendFormat(whole, KXW("v=%d uac=%s, inheritable=%s, restricFD=%s, pid=%d, polAct=%d targId=%s"),
                        GetVersion(), boolean(CreatedByUacElevator()), boolean(GetInheritable()),
                        boolean(GetRestrictFileDlg()), GetPid(), PolicyAction, KxGuid_ToText(GetPolicyTargetId()));
    text = std::move(whole);
  });
}
