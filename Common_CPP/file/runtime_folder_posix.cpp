#include "Common_CPP/file/runtime_folder_posix.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstdlib>

#include "Common_CPP/security/agent_trust.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr size_t kMaxFileName = 200;  // bytes; file systems allow 255

std::string Environment(const char* name) {
  const char* value = secure_getenv(name);
  return value == nullptr ? "" : value;
}

bool IsOwnUser(uid_t owner) { return KxTrust_OwnUser() && owner == geteuid(); }

/// In a sticky folder nobody replaces the files of others, so that the owner of a file is all that counts.
bool IsTrustedFolder(const struct stat& status) {
  return (status.st_uid == 0 || IsOwnUser(status.st_uid)) &&
         ((status.st_mode & (S_IWGRP | S_IWOTH)) == 0 || (status.st_mode & S_ISVTX) != 0);
}

bool IsRootsFolder(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == 0;
}

}  // namespace

bool KxPosix_IsTrustedOwner(const CkxDescriptor& folder, uid_t owner) {
  struct stat status {};
  return owner == 0 || (IsOwnUser(owner) && fstat(folder.Get(), &status) == 0 && status.st_uid == owner);
}

bool KxPosix_IsTrustedFile(const CkxDescriptor& folder, const std::string& file, const struct stat& status,
                           std::string_view scope) {
  const bool isForOwnerAlone = (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
  if (S_ISREG(status.st_mode) && KxPosix_IsTrustedOwner(folder, status.st_uid) && isForOwnerAlone) return true;
  KxTrace(EkxTraceLevel::Error, scope, "ERROR: [", file, "] may be somebody else's than the agent's: owner ",
          status.st_uid, ". Refused");
  errno = EACCES;
  return false;
}

std::string KxPosix_RuntimeFolder(const std::string& systemFolder) {
  std::string folder = KxTrust_IsDeveloperBuild() ? Environment("KX_RUNTIME_DIR") : "";
  if (folder.empty() && (geteuid() == 0 || IsRootsFolder(systemFolder))) return systemFolder;
  if (folder.empty()) {
    folder = Environment("XDG_RUNTIME_DIR");
    if (!folder.empty()) folder += "/kx";
  }
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return folder;
}

CkxDescriptor KxPosix_OpenRuntimeFolder(bool create) {
  const std::string path = KxPosix_RuntimeFolder();
  if (create && mkdir(path.c_str(), 0755) == 0) chmod(path.c_str(), 0755);  // whatever the umask is
  CkxDescriptor folder(open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  struct stat status {};
  if (!folder || fstat(folder.Get(), &status) != 0) return CkxDescriptor();
  if (!IsTrustedFolder(status)) {
    KxTrace(EkxTraceLevel::Error, "KxPosix_OpenRuntimeFolder", "ERROR: Others could replace files in [", path,
            "]. Refused");
    errno = EACCES;
    return CkxDescriptor();
  }
  return folder;
}

bool KxPosix_IsRuntimeFolder(const CkxDescriptor& folder) {
  struct stat held {};
  struct stat named {};
  return fstat(folder.Get(), &held) == 0 && stat(KxPosix_RuntimeFolder().c_str(), &named) == 0 &&
         held.st_dev == named.st_dev && held.st_ino == named.st_ino && IsTrustedFolder(named);
}

CkxDescriptor KxPosix_LockFile(const CkxDescriptor& folder, const std::string& file) {
  CkxDescriptor lock(openat(folder.Get(), file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
  struct stat status {};
  if (!lock || fstat(lock.Get(), &status) != 0) return CkxDescriptor();
  if (!S_ISREG(status.st_mode) || !KxPosix_IsTrustedOwner(folder, status.st_uid)) {
    KxTrace(EkxTraceLevel::Error, "KxPosix_LockFile", "ERROR: [", file,
            "] may be somebody else's than the agent's: owner ", status.st_uid, ". Refused");
    errno = EACCES;
    return CkxDescriptor();
  }
  if (flock(lock.Get(), LOCK_EX | LOCK_NB) == 0) return lock;
  if (errno == EWOULDBLOCK) errno = EBUSY;
  return CkxDescriptor();
}

bool KxPosix_RuntimeFileName(CkxTextView name, std::string& file) {
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
  constexpr std::string_view kHex = "0123456789ABCDEF";
  file.clear();
  if (name.IsEmpty() || name.Size() > kMaxFileName || KxText_FindUnit(name, WCHAR{0}) != CkxTextView::npos) {
    errno = EINVAL;
    return false;
  }
  for (const char unit : KxText_ToUtf8(name)) {
    const auto byte = static_cast<unsigned char>(unit);
    if (kPlain.find(unit) != std::string_view::npos) {
      file += unit;
    } else {
      file += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  errno = ENAMETOOLONG;
  return file.size() <= kMaxFileName;
}
