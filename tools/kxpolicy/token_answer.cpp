#include "tools/kxpolicy/token_answer.h"

#include <nlohmann/json.hpp>

#include "Common_CPP/util/guid.h"

nlohmann::ordered_json KxTokenAnswer_Of(const SkxTokenPolicyData& data) {
  return {{"version", data.GetVersion()},
          {"action", static_cast<int32_t>(data.GetPolicyAction())},
          {"originalAction", static_cast<int32_t>(data.GetOriginalPolicyAction())},
          {"targetType", static_cast<uint32_t>(data.GetTargetType())},
          {"flags", data.GetFlags()},
          {"pid", data.GetPid()},
          {"policyId", data.GetPolicyId()},
          {"targetId", KxGuid_ToUtf8(data.GetPolicyTargetId())},
          {"createdByUacElevator", data.CreatedByUacElevator()},
          {"inheritable", data.GetInheritable()},
          {"protectInstalledFiles", data.GetProtectInstalledFiles()},
          {"restrictFileDlg", data.GetRestrictFileDlg()},
          {"clientPid", data.GetClientPid()}};
}
