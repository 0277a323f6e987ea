#include "Common_CPP/access_token/user_groups.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

#include "Common_CPP/access_token/account_posix.h"
#include "Common_CPP/util/last_error.h"

namespace {

constexpr std::string_view kUserSidBegin = "S-1-22-1-";

/// Nothing for a SID that is none of this system's accounts.
std::optional<uid_t> UserOf(const std::string& sid) {
  if (sid == "S-1-5-18") return 0;
  if (!sid.starts_with(kUserSidBegin)) return std::nullopt;
  uid_t user = 0;
  const auto [end, error] = std::from_chars(sid.data() + kUserSidBegin.size(), sid.data() + sid.size(), user);
  if (error != std::errc() || end != sid.data() + sid.size()) return std::nullopt;
  return user;
}

std::vector<gid_t> GroupsOf(const passwd& account) {
  int count = 32;
  std::vector<gid_t> groups(static_cast<size_t>(count));
  while (getgrouplist(account.pw_name, account.pw_gid, groups.data(), &count) < 0) {
    count = std::max(count, static_cast<int>(groups.size()) * 2);
    groups.resize(static_cast<size_t>(count));
  }
  groups.resize(static_cast<size_t>(count));
  return groups;
}

}  // namespace

std::optional<std::vector<CkxSid>> KxUser_Groups(const CkxSid& user) {
  const std::optional<uid_t> number = UserOf(user.ToUtf8());
  if (!number) return std::vector<CkxSid>();
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(4096);
  int error = 0;
  while ((error = getpwuid_r(*number, &entry, buffer.data(), buffer.size(), &found)) == ERANGE) {
    buffer.resize(buffer.size() * 2);
  }
  const bool isUnknown = found == nullptr && (error == 0 || error == ENOENT || error == ESRCH);
  if (found != nullptr) return KxPosixAccount_Groups(*number, GroupsOf(entry));
  if (isUnknown) return KxPosixAccount_Groups(*number, {});
  KxLastError_Set(kKxErrorGenFailure);
  return std::nullopt;
}
