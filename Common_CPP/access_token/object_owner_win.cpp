#include "Common_CPP/access_token/object_owner_win.h"

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/owner_win.h"
#include "Common_CPP/security/agent_trust.h"
#include "Common_CPP/util/trace.h"

std::optional<CkxSid> KxObject_Owner(HANDLE object) {
  alignas(SECURITY_DESCRIPTOR) unsigned char bytes[256];
  DWORD size = 0;
  PSID owner = nullptr;
  BOOL defaulted = FALSE;
  if (!GetKernelObjectSecurity(object, OWNER_SECURITY_INFORMATION, bytes, sizeof(bytes), &size) ||
      !GetSecurityDescriptorOwner(bytes, &owner, &defaulted) || owner == nullptr) {
    return std::nullopt;
  }
  const CkxSid sid = CkxSid::FromBytes(owner, GetLengthSid(owner));
  if (!sid.IsValid()) return std::nullopt;
  return sid;
}

bool KxObject_IsOwn(const CkxSid& owner) {
  if (!KxTrust_OwnUser()) return false;
  const std::optional<CkxSid> user = KxToken_User(GetCurrentProcess());
  const std::optional<CkxSid> maker = KxToken_OwnerOfNewObjects(GetCurrentProcess());
  return (user && user->Equals(owner)) || (maker && maker->Equals(owner));
}

bool KxObject_IsAgents(HANDLE object, CkxTextView name) {
  const std::optional<CkxSid> owner = KxObject_Owner(object);
  if (owner && (KxTrust_IsPrivileged(*owner) || KxObject_IsOwn(*owner))) return true;
  KxTrace(EkxTraceLevel::Error, "KxObject_IsAgents", "ERROR: [", name, "] is not the agent's: its owner is ",
          owner ? owner->ToUtf8() : "not to be told", ". Refused");
  SetLastError(ERROR_ACCESS_DENIED);
  return false;
}
