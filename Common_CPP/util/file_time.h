// File times: counts of 100 ns since 1601-01-01 UTC, as records and descriptions hold them.
#pragma once

#include <cstdint>

/// From seconds and nanoseconds since 1970-01-01 UTC.
constexpr int64_t KxFileTime_FromUnix(int64_t seconds, int64_t nanoseconds) {
  constexpr int64_t kUnixEpoch = 11644473600;  // seconds from 1601 to 1970
  return (seconds + kUnixEpoch) * 10000000 + nanoseconds / 100;
}

/// Whole seconds since 1970-01-01 UTC, rounded down; negative before.
constexpr int64_t KxFileTime_UnixSeconds(int64_t time) {
  constexpr int64_t kPerSecond = 10000000;
  const int64_t seconds = time / kPerSecond - (time % kPerSecond < 0 ? 1 : 0);
  return seconds - 11644473600;
}

/// The current time.
int64_t KxFileTime_Now();

struct SkxTimeOfDay {
  int hour = 0;
  int minute = 0;
  int second = 0;
};

/// What a clock on the wall showed at that time, where this process is: the zone of `TZ`, else the system's.
SkxTimeOfDay KxFileTime_LocalTimeOfDay(int64_t time);
