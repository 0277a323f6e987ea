// What the agent says of an elevation prompt that the system is about to show.
#pragma once

#include <kx_util/policy_result.h>

#pragma pack(push, 1)
/// The decision, and the prompt that is shown in place of the system's.
struct SvcUacActionInfo {
  static constexpr size_t kHtmlPathUnits = 1000;

  SkxTriggerPolicyShortInfo policy;  ///< empty when no policy applies
  unsigned char policyApplies;
  unsigned char replacePrompt;  ///< the dialog takes the place of the system's prompt
  unsigned char reserved319;
  GUID alertId;                    ///< of the dialog; null when there is none
  uint32_t dialogType;             ///< EkxDialogType
  WCHAR htmlPath[kHtmlPathUnits];  ///< terminated
};
#pragma pack(pop)
static_assert(sizeof(SvcUacActionInfo) == 2340, "crosses processes of different releases");
