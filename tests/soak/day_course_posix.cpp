#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "tests/soak/day_course.h"
#include "tests/support/process_resources.h"

namespace {

size_t ResidentBytes() {
  std::ifstream file("/proc/self/statm");
  size_t all = 0;
  size_t resident = 0;
  file >> all >> resident;
  return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

template <class Member>
double MeanOf(const std::vector<SkxDayMoment>& moments, size_t quarter, Member member) {
  const size_t count = moments.size() / 4;
  double sum = 0;
  for (size_t i = quarter * count; i < (quarter + 1) * count; ++i) sum += static_cast<double>(moments[i].*member);
  return sum / static_cast<double>(count);
}

constexpr double kMegabyte = 1024 * 1024;

}  // namespace

void CkxDayCourse::Note(double seconds, uint64_t evaluations) {
  _moments.push_back({seconds, evaluations, ResidentBytes(), KxTest_OpenHandles()});
}

std::string CkxDayCourse::Growth() const {
  constexpr double kMemoryFactor = 1.05;  // the publications differ in size
  constexpr double kMemoryMargin = 2 * kMegabyte;
  constexpr double kDescriptorMargin = 4;  // those that are open for a moment
  if (_moments.size() < 8) return "too short to say whether anything grows";
  const auto grows = [&](const char* what, auto member, double factor, double margin) -> std::string {
    const double before = MeanOf(_moments, 1, member);
    const double after = MeanOf(_moments, 3, member);
    if (after <= before * factor + margin) return "";
    return std::string(what) + " grow: " + std::to_string(before) + " in the second quarter, " + std::to_string(after) +
           " in the last";
  };
  std::string growth = grows("resident bytes", &SkxDayMoment::residentBytes, kMemoryFactor, kMemoryMargin);
  return growth.empty() ? grows("descriptors", &SkxDayMoment::descriptors, 1, kDescriptorMargin) : growth;
}

std::string CkxDayCourse::Table(size_t lines) const {
  std::string text = "   seconds  evaluations  resident MiB  descriptors\n";
  for (size_t i = 0; i < lines && !_moments.empty(); ++i) {
    const SkxDayMoment& moment = _moments[i * (_moments.size() - 1) / (lines > 1 ? lines - 1 : 1)];
    char line[80];
    std::snprintf(line, sizeof(line), "%10.1f %12llu %13.1f %12zu\n", moment.seconds,
                  static_cast<unsigned long long>(moment.evaluations),
                  static_cast<double>(moment.residentBytes) / kMegabyte, moment.descriptors);
    text += line;
  }
  return text;
}
