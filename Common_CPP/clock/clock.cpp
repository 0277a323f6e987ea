#include "Common_CPP/clock/clock.h"

#include <chrono>

namespace {

int64_t SteadyMicroseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

/// The thread's clock of a scope; null: the steady one.
const CkxThreadPointer<const KxMicrosecondClock>& CurrentClock() {
  static const CkxThreadPointer<const KxMicrosecondClock> clock;
  return clock;
}

}  // namespace

int64_t KxClock_Microseconds() {
  const KxMicrosecondClock* const clock = CurrentClock().Get();
  return clock != nullptr ? (*clock)() : SteadyMicroseconds();
}

CkxClockScope::CkxClockScope(KxMicrosecondClock clock) : _clock(clock), _scope(CurrentClock(), &_clock) {}
