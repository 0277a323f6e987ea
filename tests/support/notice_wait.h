// A wait that a test need not hang in: it is stopped when nobody is told for far too long.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "Common_CPP/notice/named_notice.h"

constexpr std::chrono::seconds kKxTestFarTooLong{20};

inline EkxNoticeWait KxTest_Wait(IkxNoticeWaiter& waiter) {
  std::mutex mutex;
  std::condition_variable ended;
  bool over = false;
  std::thread guard([&] {
    std::unique_lock lock(mutex);
    if (!ended.wait_for(lock, kKxTestFarTooLong, [&] { return over; })) waiter.Stop();
  });
  const EkxNoticeWait result = waiter.Wait();
  {
    const std::lock_guard lock(mutex);
    over = true;
  }
  ended.notify_one();
  guard.join();
  return result;
}

/// Spins until `done()`; false when that takes far too long.
template <class Done>
bool KxTest_Eventually(Done done) {
  const auto end = std::chrono::steady_clock::now() + kKxTestFarTooLong;
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}
