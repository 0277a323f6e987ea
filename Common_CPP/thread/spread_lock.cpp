#include "Common_CPP/thread/spread_lock.h"

#include <atomic>

#include "Common_CPP/thread/thread_slot.h"

/// Each thread has a mark, the one behind that of the thread which read for the first time before it: threads that
/// begin together read on different parts. Without memory to remember its mark by, a thread has another one each time.
CkxSharedLock& CkxSpreadLock::PartOfThread() const {
  static const std::array<char, kParts> marks{};
  static const CkxThreadPointer<const char> markOfThread;
  static std::atomic<size_t> last{0};
  const char* mark = markOfThread.Get();
  if (mark == nullptr) {
    mark = &marks[last.fetch_add(1, std::memory_order_relaxed) % kParts];
    markOfThread.Set(mark);
  }
  return _parts[static_cast<size_t>(mark - marks.data())].mutex;
}

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
