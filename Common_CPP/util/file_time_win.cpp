#include <windows.h>

#include "Common_CPP/util/file_time.h"

int64_t KxFileTime_Now() {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  return static_cast<int64_t>(uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime);
}
