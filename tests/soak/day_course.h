// What a process holds of the system in the course of a day.
#pragma once

#include <string>
#include <vector>

#include "Common_CPP/util/base.h"

struct SkxDayMoment {
  double seconds = 0;  ///< since it began
  uint64_t evaluations = 0;
  size_t residentBytes = 0;
  size_t descriptors = 0;
};

class CkxDayCourse {
 public:
  void Note(double seconds, uint64_t evaluations);

  /// What has grown from the second quarter of the moments to the last, by more than there may be between two of the
  /// same; "" for nothing. The first quarter is left out: a process is still growing into its work then.
  std::string Growth() const;

  /// So many lines, from the first moment to the last.
  std::string Table(size_t lines) const;

 private:
  std::vector<SkxDayMoment> _moments;
};
