#include <fcntl.h>
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

/// None with `errno` set.
CkxDescriptor Lock(const CkxDescriptor& folder, const std::string& file) {
  for (;;) {
    CkxDescriptor lock = KxPosix_LockFile(folder, file);
    if (!lock || IsNamed(lock, folder, file)) return lock;
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
