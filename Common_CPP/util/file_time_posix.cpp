#include <time.h>

#include "Common_CPP/util/file_time.h"

int64_t KxFileTime_Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return KxFileTime_FromUnix(now.tv_sec, now.tv_nsec);
}
