// File times: counts of 100 ns since 1601-01-01 UTC, as records and descriptions hold them.
#pragma once

#include <cstdint>

/// From seconds and nanoseconds since 1970-01-01 UTC.
constexpr int64_t KxFileTime_FromUnix(int64_t seconds, int64_t nanoseconds) {
  constexpr int64_t kUnixEpoch = 11644473600;  // seconds from 1601 to 1970
  return (seconds + kUnixEpoch) * 10000000 + nanoseconds / 100;
}

/// The current time.
int64_t KxFileTime_Now();
