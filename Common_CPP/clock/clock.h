// A clock for measuring how long something took. A test puts its own in place for the length of a scope, so that a slow
// walk can be shown without waiting for one.
#pragma once

#include <cstdint>

using KxMicrosecondClock = int64_t (*)();

/// Microseconds from some fixed moment; never runs backwards.
int64_t KxClock_Microseconds();

/// This thread reads `clock` until the scope ends.
class CkxClockScope {
 public:
  explicit CkxClockScope(KxMicrosecondClock clock);
  ~CkxClockScope();
  CkxClockScope(const CkxClockScope&) = delete;
  CkxClockScope& operator=(const CkxClockScope&) = delete;

 private:
  const KxMicrosecondClock _previous;
};
