// What the library asks the agent's service, one request and one reply each. All numbers are little-endian.
//
//   HANDLER_APPLICABLE_POLICIES   request: the user's SID as text, terminated   reply: u32 policy ids, the first not 0
//   HANDLER_GET_UAC_ACTION        request: as below                             reply: SvcUacActionInfo
//   HANDLER_SHOULD_HOOK_CONSENT   request: as below                             reply: u8
//
//   0: u32 nonzero for an administrator
//   4: 300 bytes of path, terminated; all zero when it is too long
//
// The questions about prompts name a file, which the agent opens with the rights of who asks and no others.
#pragma once

#include <kx_util/agent_uac_action.h>

#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "Common_CPP/util/text_view.h"

/// Where a request goes, and as whom it is asked. What is expected of who answers is the host's to say
/// (kx_util/expected_agent.h).
struct SkxAgentRequest {
  const WCHAR* serverName;
  const WCHAR* clientName;
  const WCHAR* requestName;
  uint32_t channel;
  const WCHAR* image;   ///< of the program that asks, as it says itself
  const WCHAR* signer;  ///< likewise
  uint32_t timeout;     ///< milliseconds for all of it
  bool namesFile;       ///< that the agent opens as the user who asks
};

inline constexpr SkxAgentRequest kKxApplicablePoliciesRequest = {KXW("applicablePoliciesSer"),
                                                                 KXW("applicablePoliciesSerCli"),
                                                                 KXW("HANDLER_APPLICABLE_POLICIES"),
                                                                 6,
                                                                 KXW(""),
                                                                 KXW(""),
                                                                 30000,
                                                                 false};
inline constexpr SkxAgentRequest kKxUacActionRequest = {KXW("uacActionServ"),
                                                        KXW("uacActionCli"),
                                                        KXW("HANDLER_GET_UAC_ACTION"),
                                                        4,
                                                        KXW("System"),
                                                        KXW("Microsoft Windows"),
                                                        10000,
                                                        true};
inline constexpr SkxAgentRequest kKxHookConsentRequest = {KXW("shouldHookConsentServ"),
                                                          KXW("shouldHookConsentCli"),
                                                          KXW("HANDLER_SHOULD_HOOK_CONSENT"),
                                                          2,
                                                          KXW("System"),
                                                          KXW("Microsoft Windows"),
                                                          10000,
                                                          true};

#pragma pack(push, 1)
struct SkxConsentQuestion {
  static constexpr size_t kPathUnits = 150;
  uint32_t administrator;
  WCHAR path[kPathUnits];  ///< terminated
};
#pragma pack(pop)
static_assert(sizeof(SkxConsentQuestion) == 304);

/// The ids of the user's policies, none when the agent says that there are none; nothing when it does not say.
/// `request` is the one above unless a test asks another server. Every failure leaves a line in the trace. `meanwhile`
/// is done while the agent thinks, also twice when it has to be asked again, and not when it cannot be asked.
std::optional<std::vector<uint32_t>> KxAgent_ApplicablePolicies(
    CkxTextView userSid, const SkxAgentRequest& request = kKxApplicablePoliciesRequest,
    const std::function<void()>& meanwhile = {});
bool KxAgent_UacAction(CkxTextView path, uint32_t administrator, SvcUacActionInfo& action,
                       const SkxAgentRequest& request = kKxUacActionRequest);
std::optional<bool> KxAgent_ShouldHookConsent(CkxTextView path, uint32_t administrator,
                                              const SkxAgentRequest& request = kKxHookConsentRequest);

/// What a reply says, whoever sent it. A reply that is none leaves a line in the trace, and `action` as it was.
std::optional<std::vector<uint32_t>> KxAgent_ReadApplicablePolicies(std::span<const unsigned char> reply);
bool KxAgent_ReadUacAction(std::span<const unsigned char> reply, SvcUacActionInfo& action);
std::optional<bool> KxAgent_ReadHookConsent(std::span<const unsigned char> reply);
