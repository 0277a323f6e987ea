#include "Common_CPP/access_token/object_access_win.h"
#include "Common_CPP/sharedmemory/publisher_lock.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/last_error.h"

struct CkxPublisherLock::Held {
  CkxHandle section;  // that it exists is the lock; nothing is in it
};

CkxPublisherLock::CkxPublisherLock() = default;
CkxPublisherLock::~CkxPublisherLock() = default;

bool CkxPublisherLock::Acquire(CkxTextView name) {
  if (!KxSharedMemory_IsName(name)) {
    KxLastError_Set(ERROR_INVALID_NAME);
    return false;
  }
  CkxObjectAccess access(L"");
  if (!access) return false;
  CkxHandle section(
      CreateFileMappingW(INVALID_HANDLE_VALUE, access.Attributes(), PAGE_READWRITE, 0, 1, name.ToString().c_str()));
  if (!section) return false;
  if (GetLastError() == ERROR_ALREADY_EXISTS) {
    KxLastError_Set(ERROR_BUSY);
    return false;
  }
  _held = std::make_unique<Held>(Held{std::move(section)});
  return true;
}

void CkxPublisherLock::Release() { _held.reset(); }
