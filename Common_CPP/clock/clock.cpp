#include "Common_CPP/clock/clock.h"

#include <chrono>

#include "Common_CPP/thread/thread_slot.h"

namespace {

int64_t SteadyMicroseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

/// The thread's clock of a scope; null: the steady one.
CkxThreadSlot& Slot() {
  static CkxThreadSlot slot;
  return slot;
}

KxMicrosecondClock Current() { return reinterpret_cast<KxMicrosecondClock>(Slot().Get()); }
void SetCurrent(KxMicrosecondClock clock) { Slot().Set(reinterpret_cast<void*>(clock)); }

}  // namespace

int64_t KxClock_Microseconds() {
  const KxMicrosecondClock clock = Current();
  return clock != nullptr ? clock() : SteadyMicroseconds();
}

CkxClockScope::CkxClockScope(KxMicrosecondClock clock) : _previous(Current()) { SetCurrent(clock); }
CkxClockScope::~CkxClockScope() { SetCurrent(_previous); }
