// The moment until which an operation may wait. One deadline covers the whole of it, however many waits it is made of,
// so that a peer that sends a byte now and then cannot draw it out.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

class CkxDeadline {
 public:
  static constexpr uint32_t kLongest = 0x7FFFFFFF;  ///< milliseconds, 24 days; more counts as this

  static CkxDeadline After(uint32_t milliseconds) {
    return CkxDeadline(Clock::now() + std::chrono::milliseconds(std::min(milliseconds, kLongest)));
  }

  bool IsOver() const { return Remaining() == 0; }

  /// Milliseconds, rounded up, so that a wait for them does not end early.
  uint32_t Remaining() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(_end - Clock::now()).count();
    return left <= 0 ? 0 : static_cast<uint32_t>(left);
  }

 private:
  using Clock = std::chrono::steady_clock;
  explicit CkxDeadline(Clock::time_point end) : _end(end) {}

  Clock::time_point _end;
};
