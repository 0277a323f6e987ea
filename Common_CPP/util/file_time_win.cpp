#include <windows.h>

#include <ctime>

#include "Common_CPP/util/file_time.h"

int64_t KxFileTime_Now() {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  return static_cast<int64_t>(uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime);
}

// The runtime's clock knows `TZ`, and no time before 1970; those, which no process has, are shown in UTC.
SkxTimeOfDay KxFileTime_LocalTimeOfDay(int64_t time) {
  const __time64_t seconds = KxFileTime_UnixSeconds(time);
  tm local{};
  _tzset();
  if (_localtime64_s(&local, &seconds) == 0) return {local.tm_hour, local.tm_min, local.tm_sec};
  const int64_t ofDay = (seconds % 86400 + 86400) % 86400;
  return {static_cast<int>(ofDay / 3600), static_cast<int>(ofDay / 60 % 60), static_cast<int>(ofDay % 60)};
}
