#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <string>

#include "Common_CPP/file/file_lock.h"
#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

/// A lock on a file that has no name any more keeps nobody off.
bool IsNamed(const CkxDescriptor& lock, const std::string& path) {
  struct stat opened {};
  struct stat named {};
  return fstat(lock.Get(), &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

}  // namespace

bool CkxFileLock::Acquire(CkxTextView path) {
  Release();
  const std::string native = KxText_ToUtf8(path);
  CkxDescriptor lock(open(native.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
  if (!lock || flock(lock.Get(), LOCK_EX | LOCK_NB) != 0 || !IsNamed(lock, native)) {
    KxLastError_SetFromSystem();
    return false;
  }
  _handle = lock.Release();
  return true;
}

void CkxFileLock::Release() {
  CkxDescriptor(static_cast<int>(_handle)).Close();
  _handle = -1;
}
