#include "Common_CPP/file/xattr_posix.h"

#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <map>

#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/nt_status.h"

namespace {

constexpr std::string_view kUserPrefix = "user.";
constexpr size_t kMaxListBytes = size_t{64} << 10;  // the system's own limits
constexpr size_t kMaxXattrBytes = size_t{64} << 10;

struct StatusOfErrno {
  int error;
  long status;
};

constexpr StatusOfErrno kStatusOfErrno[] = {
    {E2BIG, kKxStatusEaTooLarge},          {ENOSPC, kKxStatusDiskFull},
    {EDQUOT, kKxStatusDiskFull},           {EACCES, kKxStatusAccessDenied},
    {EPERM, kKxStatusAccessDenied},        {ENOTSUP, kKxStatusEasNotSupported},
    {ENODATA, kKxStatusNoEasOnFile},       {ENAMETOOLONG, kKxStatusInvalidEaName},
    {ERANGE, kKxStatusInvalidEaName},      {EROFS, kKxStatusMediaWriteProtected},
    {ENOENT, kKxStatusObjectNameNotFound}, {ENOTDIR, kKxStatusObjectPathNotFound},
    {EBADF, kKxStatusInvalidHandle},       {ENOMEM, kKxStatusNoMemory},
};

std::string SystemName(std::string_view name) { return std::string(kUserPrefix).append(name); }

/// What a call of the system that is told how much room there is puts there. It sets as much aside itself, so that it
/// is told of the most that there can be only where the usual does not do. False with `errno` set.
template <class Bytes, class Call>
bool TakeFromSystem(Bytes& bytes, size_t most, Call call) {
  constexpr size_t kUsualBytes = 2048;
  ssize_t size = -1;
  for (const size_t room : {kUsualBytes, most}) {
    bytes.resize(room);
    size = call(bytes.data(), room);
    if (size >= 0 || errno != ERANGE) break;
  }
  bytes.resize(size > 0 ? static_cast<size_t>(size) : 0);
  return size >= 0;
}

/// Every name of the system's list that is one of ours, whatever its case.
long ListOurs(int file, std::vector<std::string>& names) {
  std::string list;
  const auto ask = [file](char* buffer, size_t room) { return flistxattr(file, buffer, room); };
  if (!TakeFromSystem(list, kMaxListBytes, ask)) return KxXattr_StatusOfErrno();
  for (size_t at = 0; at < list.size();) {
    const std::string_view name = std::string_view(list).substr(at, list.find('\0', at) - at);
    at += name.size() + 1;
    if (!name.starts_with(kUserPrefix)) continue;
    const std::string_view ours = name.substr(kUserPrefix.size());
    if (KxEaName_IsValid(ours)) names.emplace_back(ours);
  }
  return kKxStatusSuccess;
}

long RemoveOne(int file, const std::string& name) {
  if (fremovexattr(file, SystemName(name).c_str()) == 0 || errno == ENODATA) return kKxStatusSuccess;
  return KxXattr_StatusOfErrno();
}

/// All of that name but for the one that is spelled `kept`.
long RemoveSpellings(int file, std::string_view name, std::string_view kept) {
  std::vector<std::string> names;
  long status = ListOurs(file, names);
  for (const std::string& found : names) {
    if (KxEaName_Equals(found, name) && found != kept) status = std::min(status, RemoveOne(file, found));
  }
  return status;
}

}  // namespace

long KxXattr_StatusOfErrno() {
  const int error = errno;
  KxLastError_SetFromSystem();
  const auto* const row = std::find_if(std::begin(kStatusOfErrno), std::end(kStatusOfErrno),
                                       [error](const StatusOfErrno& known) { return known.error == error; });
  return row != std::end(kStatusOfErrno) ? row->status : kKxStatusUnsuccessful;
}

long KxXattr_Names(int file, std::vector<std::string>& names) {
  std::vector<std::string> all;
  const long status = ListOurs(file, all);
  std::map<std::string, size_t> known;  // the place of each in `names`, by its name in capitals
  for (std::string& name : all) {
    const auto [place, isNew] = known.emplace(KxEaName_Upper(name), names.size());
    if (isNew) {
      names.push_back(std::move(name));
    } else if (name == place->first) {
      names[place->second] = std::move(name);
    }
  }
  return status;
}

long KxXattr_Get(int file, const std::string& name, std::vector<unsigned char>& value) {
  const std::string systemName = SystemName(name);
  const auto ask = [&](unsigned char* buffer, size_t room) {
    return fgetxattr(file, systemName.c_str(), buffer, room);
  };
  if (!TakeFromSystem(value, kMaxXattrBytes, ask)) return KxXattr_StatusOfErrno();
  return value.size() > kKxEaMaxValueBytes ? kKxStatusEaTooLarge : kKxStatusSuccess;
}

/// Most files have it as we write it, or not at all: only where it is not there are names looked through.
long KxXattr_Find(int file, const std::string& upperName, std::vector<unsigned char>& value) {
  long status = KxXattr_Get(file, upperName, value);
  if (status != kKxStatusNoEasOnFile) return status;
  std::vector<std::string> names;
  status = ListOurs(file, names);
  if (status < 0) return status;
  const auto found = std::find_if(names.begin(), names.end(),
                                  [&](const std::string& name) { return KxEaName_Equals(name, upperName); });
  return found != names.end() ? KxXattr_Get(file, *found, value) : kKxStatusNoEasOnFile;
}

long KxXattr_Set(int file, std::string_view name, std::span<const unsigned char> value) {
  const std::string upper = KxEaName_Upper(name);
  if (fsetxattr(file, SystemName(upper).c_str(), value.data(), value.size(), 0) != 0) return KxXattr_StatusOfErrno();
  return RemoveSpellings(file, upper, upper);
}

long KxXattr_Remove(int file, std::string_view name) { return RemoveSpellings(file, name, ""); }
