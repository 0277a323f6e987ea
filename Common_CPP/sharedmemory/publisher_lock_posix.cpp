#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "Common_CPP/file/runtime_folder_posix.h"
#include "Common_CPP/sharedmemory/publisher_lock.h"
#include "Common_CPP/util/last_error.h"

namespace {

/// A lock on a file that has no name any more keeps nobody off.
bool IsNamed(const CkxDescriptor& lock, const CkxDescriptor& folder, const std::string& file) {
  struct stat opened {};
  struct stat named {};
  return fstat(lock.Get(), &opened) == 0 && fstatat(folder.Get(), file.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

bool IsTrusted(const CkxDescriptor& lock) {
  struct stat status {};
  if (fstat(lock.Get(), &status) != 0) return false;
  if (S_ISREG(status.st_mode) && KxPosix_IsTrustedOwner(status.st_uid)) return true;
  errno = EACCES;
  return false;
}

/// None with `errno` set.
CkxDescriptor Lock(const CkxDescriptor& folder, const std::string& file) {
  for (;;) {
    CkxDescriptor lock(
        openat(folder.Get(), file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    if (!lock || !IsTrusted(lock)) return CkxDescriptor();
    if (flock(lock.Get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno == EWOULDBLOCK) errno = EBUSY;
      return CkxDescriptor();
    }
    if (IsNamed(lock, folder, file)) return lock;
  }
}

}  // namespace

struct CkxPublisherLock::Held {
  CkxDescriptor folder;
  std::string file;
  CkxDescriptor lock;

  ~Held() { unlinkat(folder.Get(), file.c_str(), 0); }
};

CkxPublisherLock::CkxPublisherLock() = default;
CkxPublisherLock::~CkxPublisherLock() = default;

bool CkxPublisherLock::Acquire(CkxTextView name) {
  std::string file;
  CkxDescriptor folder;
  CkxDescriptor lock;
  if (KxPosix_RuntimeFileName(name, file)) {
    file += ".lock";
    folder = KxPosix_OpenRuntimeFolder(true);
    if (folder) lock = Lock(folder, file);
  }
  if (!lock) {
    KxLastError_SetFromSystem();
    return false;
  }
  _held.reset(new Held{std::move(folder), std::move(file), std::move(lock)});
  return true;
}

void CkxPublisherLock::Release() { _held.reset(); }
