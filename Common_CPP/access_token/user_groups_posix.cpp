#include "Common_CPP/access_token/user_groups.h"

#include <grp.h>
#include <pwd.h>

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

constexpr size_t kMaxGroups = 65536;  // the system's own limit for a process
constexpr size_t kMaxRecordBytes = size_t{1} << 20;

bool IsNone(int error) { return error == 0 || error == ENOENT || error == ESRCH; }

/// Whether groups can be asked for at all: a list of them ends without an error where they cannot.
bool AreGroupsThere(gid_t group) {
  std::vector<char> buffer(4096);
  struct group entry {};
  struct group* found = nullptr;
  const int error = getgrgid_r(group, &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr || IsNone(error) || error == ERANGE;
}

/// Nothing where the system cannot tell, and of an account that is in more groups than there may be.
std::optional<std::vector<gid_t>> GroupsOf(const passwd& account) {
  std::vector<gid_t> groups(32);
  int count = static_cast<int>(groups.size());
  while (getgrouplist(account.pw_name, account.pw_gid, groups.data(), &count) < 0) {
    if (groups.size() >= kMaxGroups) return std::nullopt;
    groups.resize(groups.size() * 2);
    count = static_cast<int>(groups.size());
  }
  groups.resize(static_cast<size_t>(count));
  if (!AreGroupsThere(account.pw_gid)) return std::nullopt;
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
  while ((error = getpwuid_r(*number, &entry, buffer.data(), buffer.size(), &found)) == ERANGE &&
         buffer.size() < kMaxRecordBytes) {
    buffer.resize(buffer.size() * 2);
  }
  if (found == nullptr && IsNone(error)) return KxPosixAccount_Groups(*number, {});
  const std::optional<std::vector<gid_t>> groups = found != nullptr ? GroupsOf(entry) : std::nullopt;
  if (groups) return KxPosixAccount_Groups(*number, *groups);
  KxLastError_Set(kKxErrorGenFailure);
  return std::nullopt;
}
