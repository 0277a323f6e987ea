// A pointer that each thread has for itself, null at first.
//
//   CkxThreadSlot& Current() { static CkxThreadSlot slot; return slot; }
//
// In place of the language's thread-local variables: on some platforms those take memory at a thread's first look at
// them, and end the process when there is none. A slot lives as long as the process; there are few of them.
#pragma once

#include <cstdint>

class CkxThreadSlot {
 public:
  CkxThreadSlot() noexcept;
  CkxThreadSlot(const CkxThreadSlot&) = delete;
  CkxThreadSlot& operator=(const CkxThreadSlot&) = delete;

  /// Leaves the thread's last error as it is.
  void* Get() const noexcept;

  /// False where the system has no memory for a thread's first value of a slot beyond the usual number.
  bool Set(void* value) const noexcept;

 private:
  const uint32_t _index;
};
