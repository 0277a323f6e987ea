#include <windows.h>

#include <new>

#include "Common_CPP/thread/shared_lock.h"

namespace {

SRWLOCK* NativeLock(unsigned char* room) { return std::launder(reinterpret_cast<SRWLOCK*>(room)); }

}  // namespace

CkxSharedLock::CkxSharedLock() {
  static_assert(sizeof(SRWLOCK) <= kRoom);
  InitializeSRWLock(new (_native) SRWLOCK);
}
CkxSharedLock::~CkxSharedLock() = default;
void CkxSharedLock::lock() { AcquireSRWLockExclusive(NativeLock(_native)); }
void CkxSharedLock::unlock() { ReleaseSRWLockExclusive(NativeLock(_native)); }
void CkxSharedLock::lock_shared() { AcquireSRWLockShared(NativeLock(_native)); }
void CkxSharedLock::unlock_shared() { ReleaseSRWLockShared(NativeLock(_native)); }
