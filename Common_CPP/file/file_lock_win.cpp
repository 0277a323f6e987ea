#include "Common_CPP/file/file_lock.h"
#include "Common_CPP/util/handle_win.h"

// Who holds the file shares nothing but its removal; who asks for more is refused.
bool CkxFileLock::Acquire(CkxTextView path) {
  Release();
  CkxHandle lock(CreateFileW(path.ToString().c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_DELETE, nullptr,
                             OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!lock) return false;
  _handle = reinterpret_cast<intptr_t>(lock.Release());
  return true;
}

void CkxFileLock::Release() {
  CkxHandle(reinterpret_cast<HANDLE>(_handle)).Close();
  _handle = -1;
}
