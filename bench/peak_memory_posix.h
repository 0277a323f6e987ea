// The most memory that this process has had so far.
#pragma once

#include <sys/resource.h>

inline long KxBench_PeakKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}
