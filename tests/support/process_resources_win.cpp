#include "tests/support/process_resources.h"

#include "Common_CPP/util/handle_win.h"

// After windows.h, which it does not include itself.
#include <tlhelp32.h>

uint32_t KxTest_ProcessId() { return GetCurrentProcessId(); }

size_t KxTest_OpenHandles() {
  DWORD count = 0;
  return GetProcessHandleCount(GetCurrentProcess(), &count) ? count : 0;
}

size_t KxTest_Threads() {
  const CkxHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  size_t count = 0;
  for (BOOL more = Thread32First(snapshot.Get(), &entry); more; more = Thread32Next(snapshot.Get(), &entry)) {
    if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++count;
  }
  return count;
}

bool KxTest_AppendsInOneStep() { return false; }
