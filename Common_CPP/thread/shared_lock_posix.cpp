#include <new>
#include <shared_mutex>

#include "Common_CPP/thread/shared_lock.h"

namespace {

std::shared_mutex& NativeLock(unsigned char* room) { return *std::launder(reinterpret_cast<std::shared_mutex*>(room)); }

}  // namespace

CkxSharedLock::CkxSharedLock() {
  static_assert(sizeof(std::shared_mutex) <= kRoom);
  new (_native) std::shared_mutex;
}
CkxSharedLock::~CkxSharedLock() { NativeLock(_native).~shared_mutex(); }
void CkxSharedLock::lock() { NativeLock(_native).lock(); }
void CkxSharedLock::unlock() { NativeLock(_native).unlock(); }
void CkxSharedLock::lock_shared() { NativeLock(_native).lock_shared(); }
void CkxSharedLock::unlock_shared() { NativeLock(_native).unlock_shared(); }
