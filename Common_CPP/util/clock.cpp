#include "Common_CPP/util/clock.h"

#include <chrono>
#include <utility>

namespace {

int64_t SteadyMicroseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

thread_local KxMicrosecondClock current = SteadyMicroseconds;

}  // namespace

int64_t KxClock_Microseconds() { return current(); }

CkxClockScope::CkxClockScope(KxMicrosecondClock clock) : _previous(std::exchange(current, clock)) {}
CkxClockScope::~CkxClockScope() { current = _previous; }
