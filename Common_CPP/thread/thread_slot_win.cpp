#include "Common_CPP/thread/thread_slot.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/last_error.h"

CkxThreadSlot::CkxThreadSlot() noexcept : _index(TlsAlloc()) {}

void* CkxThreadSlot::Get() const noexcept {
  const DWORD error = GetLastError();  // a look that succeeds sets it to 0
  void* const value = TlsGetValue(_index);
  SetLastError(error);
  return value;
}

bool CkxThreadSlot::Set(void* value) const noexcept {
  const CkxLastErrorGuard error;
  return TlsSetValue(_index, value) != FALSE;
}
