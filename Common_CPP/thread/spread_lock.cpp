#include "Common_CPP/thread/spread_lock.h"

#include <atomic>
#include <cstdint>

#include "Common_CPP/thread/thread_slot.h"

namespace {

/// The number of the thread among those that ever read, from 1; threads that read at the same time have numbers close
/// to each other, which are of different parts. Without memory to remember it by, it is another one each time.
uintptr_t NumberOfThread() {
  static const CkxThreadSlot slot;
  static std::atomic<uintptr_t> last{0};
  if (void* const known = slot.Get()) return reinterpret_cast<uintptr_t>(known);
  const uintptr_t number = last.fetch_add(1, std::memory_order_relaxed) + 1;
  slot.Set(reinterpret_cast<void*>(number));
  return number;
}

}  // namespace

std::shared_mutex& CkxSpreadLock::PartOfThread() const { return _parts[NumberOfThread() % kParts].mutex; }

void CkxSpreadLock::lock() {
  size_t taken = 0;
  try {
    for (; taken < kParts; ++taken) _parts[taken].mutex.lock();
  } catch (...) {
    while (taken-- > 0) _parts[taken].mutex.unlock();
    throw;
  }
}

void CkxSpreadLock::unlock() {
  for (size_t part = kParts; part-- > 0;) _parts[part].mutex.unlock();
}
