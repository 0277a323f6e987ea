#include <windows.h>

#include "tests/Common_CPP/this_process.h"

uint32_t KxTest_ProcessId() { return GetCurrentProcessId(); }

size_t KxTest_OpenHandles() {
  DWORD count = 0;
  return GetProcessHandleCount(GetCurrentProcess(), &count) ? count : 0;
}
