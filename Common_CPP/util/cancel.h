// Work that somebody may end: it looks now and then whether it still is to go on.
#pragma once

#include <atomic>

#include "Common_CPP/util/deadline.h"

class CkxCancel {
 public:
  /// Over by itself after `milliseconds`.
  explicit CkxCancel(uint32_t milliseconds) : _deadline(CkxDeadline::After(milliseconds)) {}
  CkxCancel(const CkxCancel&) = delete;
  CkxCancel& operator=(const CkxCancel&) = delete;

  /// From any thread.
  void Cancel() { _isCanceled.store(true, std::memory_order_release); }
  bool IsOver() const { return _isCanceled.load(std::memory_order_acquire) || _deadline.IsOver(); }

 private:
  std::atomic<bool> _isCanceled = false;
  const CkxDeadline _deadline;
};
