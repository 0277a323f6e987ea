// Local accounts as SIDs, where the system has numbers: S-1-22-1-uid and S-1-22-2-gid. Root is the system's own
// account.
#pragma once

#include <sys/types.h>

#include <vector>

#include "Common_CPP/security/sid.h"

inline CkxSid KxPosixAccount_UserSid(uid_t user) {
  return CkxSid::FromUtf8(user == 0 ? "S-1-5-18" : "S-1-22-1-" + std::to_string(user)).value_or(CkxSid());
}

inline CkxSid KxPosixAccount_GroupSid(gid_t group) {
  return CkxSid::FromUtf8("S-1-22-2-" + std::to_string(group)).value_or(CkxSid());
}

/// What a process of that user is in the groups of: its own, everyone, users, and root in the administrators.
std::vector<CkxSid> KxPosixAccount_Groups(uid_t user, const std::vector<gid_t>& groups);
