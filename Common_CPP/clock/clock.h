// A clock for measuring how long something took. A test puts its own in place for the length of a scope, so that a slow
// walk can be shown without waiting for one.
#pragma once

#include "Common_CPP/thread/thread_slot.h"

using KxMicrosecondClock = int64_t (*)();

/// Microseconds from some fixed moment; never runs backwards.
int64_t KxClock_Microseconds();

/// Runs from when it is made.
class CkxStopWatch {
 public:
  int64_t Microseconds() const { return KxClock_Microseconds() - _start; }

 private:
  const int64_t _start = KxClock_Microseconds();
};

/// This thread reads `clock` until the scope ends.
class CkxClockScope {
 public:
  explicit CkxClockScope(KxMicrosecondClock clock);

 private:
  const KxMicrosecondClock _clock;
  const CkxThreadPointer<const KxMicrosecondClock>::Scope _scope;
};
