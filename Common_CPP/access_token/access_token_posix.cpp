#include <fcntl.h>
#include <grp.h>
#include <unistd.h>

#include <algorithm>

#include "Common_CPP/access_token/account_posix.h"
#include "Common_CPP/access_token/native_token.h"
#include "Common_CPP/access_token/own_token_posix.h"
#include "Common_CPP/access_token/session_posix.h"
#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/last_error.h"

// The system has no tokens: the caller's own is made from the process's effective user, and any other is refused.

namespace {

std::vector<gid_t> ProcessGroups() {
  std::vector<gid_t> groups(static_cast<size_t>(std::max(getgroups(0, nullptr), 0)));
  const int count = getgroups(static_cast<int>(groups.size()), groups.data());
  groups.resize(static_cast<size_t>(std::max(count, 0)));
  groups.push_back(getegid());
  return groups;
}

bool IsOwnToken(void* token) {
  if (token != nullptr) KxLastError_Set(kKxErrorNoToken);
  return token == nullptr;
}

}  // namespace

std::vector<CkxSid> KxPosixAccount_Groups(uid_t user, const std::vector<gid_t>& groups) {
  std::vector<CkxSid> sids;
  sids.reserve(groups.size() + 3);
  for (const gid_t group : groups) sids.push_back(KxPosixAccount_GroupSid(group));
  sids.push_back(*CkxSid::FromUtf8("S-1-1-0"));       // everyone
  sids.push_back(*CkxSid::FromUtf8("S-1-5-32-545"));  // users
  if (user == 0) sids.push_back(*CkxSid::FromUtf8("S-1-5-32-544"));
  return sids;
}

CkxAccessToken KxToken_OfProcess() {
  const uid_t user = geteuid();
  return CkxAccessToken(KxPosixAccount_UserSid(user), KxPosixAccount_Groups(user, ProcessGroups()), user == 0);
}

std::optional<CkxSid> KxNativeToken_User(void* token) {
  if (!IsOwnToken(token)) return std::nullopt;
  return KxPosixAccount_UserSid(geteuid());
}

std::optional<std::vector<CkxSid>> KxNativeToken_Groups(void* token) {
  if (!IsOwnToken(token)) return std::nullopt;
  return KxToken_OfProcess().Groups();
}

std::optional<std::vector<CkxSid>> KxNativeToken_DenyOnlyGroups(void* token) {
  if (!IsOwnToken(token)) return std::nullopt;
  return std::vector<CkxSid>();
}

bool KxNativeToken_IsMember(void* token, const CkxSid& sid) {
  if (!IsOwnToken(token)) return false;
  CkxAccessToken own = KxToken_OfProcess();
  return KxToken_IsMember(own.Handle(), sid);
}

std::optional<uint32_t> KxNativeToken_Session(void* token) {
  if (!IsOwnToken(token)) return std::nullopt;
  const CkxDescriptor self(open("/proc/self", O_PATH | O_DIRECTORY | O_CLOEXEC));
  return KxPosixSession_Of(self.Get());
}

bool KxNativeToken_IsAdministrator(void* token, bool& opened) {
  opened = IsOwnToken(token);
  return opened && geteuid() == 0;
}

CkxImpersonationScope::CkxImpersonationScope(void*) {}
CkxImpersonationScope::~CkxImpersonationScope() = default;
