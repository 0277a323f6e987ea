#include <time.h>

#include "Common_CPP/util/file_time.h"

int64_t KxFileTime_Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return KxFileTime_FromUnix(now.tv_sec, now.tv_nsec);
}

SkxTimeOfDay KxFileTime_LocalTimeOfDay(int64_t time) {
  const time_t seconds = static_cast<time_t>(KxFileTime_UnixSeconds(time));
  tm local{};
  tzset();  // the next call need not look at the variable again
  if (localtime_r(&seconds, &local) == nullptr) return {};
  return {local.tm_hour, local.tm_min, local.tm_sec};
}
