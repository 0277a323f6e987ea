#include "Common_CPP/security/agent_trust.h"

#include <algorithm>
#include <atomic>

#ifndef KX_TRUST_OWN_USER
#define KX_TRUST_OWN_USER 0
#endif

namespace {

std::atomic<bool> ownUserRefused{false};

}  // namespace

bool KxTrust_IsPrivileged(const CkxSid& user) {
  constexpr std::string_view kAccounts[] = {"S-1-5-18", "S-1-5-19", "S-1-5-20", "S-1-5-32-544"};
  const std::string text = user.ToUtf8();
  return std::find(std::begin(kAccounts), std::end(kAccounts), text) != std::end(kAccounts) ||
         text.starts_with("S-1-5-80-");
}

bool KxTrust_IsDeveloperBuild() { return KX_TRUST_OWN_USER != 0; }
bool KxTrust_OwnUser() { return KxTrust_IsDeveloperBuild() && !ownUserRefused.load(std::memory_order_acquire); }
bool KxTrust_RefuseOwnUser(bool refused) { return ownUserRefused.exchange(refused, std::memory_order_acq_rel); }
