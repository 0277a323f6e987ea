#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/secure_named_pipe/peer_identity.h"
#include "Common_CPP/secure_named_pipe/pipe_platform.h"

bool KxPeer_IsOwnUser(const CkxSid& user) {
  const std::optional<CkxSid> own = KxToken_User(nullptr);
  return own && own->Equals(user);
}

const IkxProcessIdentity* KxPeer_SystemIdentity() { return nullptr; }
