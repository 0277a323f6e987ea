#include <cerrno>

#include "Common_CPP/util/last_error.h"

namespace {

thread_local uint32_t lastError = kKxErrorSuccess;

/// The number that Windows has for the same fault, so that traces and callers read one set of numbers.
uint32_t ErrorFromErrno(int error) {
  switch (error) {
    case 0:
      return kKxErrorSuccess;
    case ENOENT:
      return kKxErrorFileNotFound;
    case EACCES:
    case EPERM:
      return kKxErrorAccessDenied;
    case ENOTDIR:
      return 3;  // path not found
    case EMFILE:
    case ENFILE:
      return kKxErrorTooManyOpenFiles;
    case EBADF:
      return kKxErrorInvalidHandle;
    case ENOMEM:
      return kKxErrorNotEnoughMemory;
    case EROFS:
      return 19;  // write protected
    case EOPNOTSUPP:
      return 50;  // not supported
    case EINVAL:
      return 87;  // invalid parameter
    case EPIPE:
      return 109;  // broken pipe
    case ENOSPC:
    case EDQUOT:
      return 112;  // disk full
    case EBUSY:
      return 170;  // busy
    case EEXIST:
      return 183;  // already exists
    case ENAMETOOLONG:
      return 206;  // file name too long
    case EIO:
      return kKxErrorIoDevice;
    case ETIMEDOUT:
      return 1460;  // timeout
    default:
      return kKxErrorGenFailure;
  }
}

}  // namespace

uint32_t KxLastError_Get() { return lastError; }
void KxLastError_Set(uint32_t error) { lastError = error; }
void KxLastError_SetFromSystem() { lastError = ErrorFromErrno(errno); }
