// A lock for what is read all the time and changed now and then: readers share it and do not slow each other down.
//
// One shared lock would be right too, but each reader writes into it, so that readers on several cores wait for the
// same line of memory however little they do under it. This one is several shared locks, each on a line of its own. A
// reader takes the one of its thread, whoever changes something takes all of them in their order. So it is one lock:
// a reader and a writer have a lock in common that one of them has alone, and so have two writers; and since all are
// taken in the same order, by readers only one, nobody waits in a circle. The price is a dearer change.
//
//   { const CkxSpreadLock::Reading reading(lock); ... }
//   { const std::lock_guard changing(lock); ... }
#pragma once

#include <array>
#include <mutex>
#include <shared_mutex>

#include "Common_CPP/thread/shared_lock.h"

class CkxSpreadLock {
 public:
  class Reading;

  CkxSpreadLock() = default;
  CkxSpreadLock(const CkxSpreadLock&) = delete;
  CkxSpreadLock& operator=(const CkxSpreadLock&) = delete;

  /// Alone.
  void lock();
  void unlock();

 private:
  static constexpr size_t kParts = 16;
  static constexpr size_t kLine = 128;  // bytes: processors fetch lines of 64 in pairs

  struct alignas(kLine) Part {
    CkxSharedLock mutex;
  };

  CkxSharedLock& PartOfThread() const;

  mutable std::array<Part, kParts> _parts;
};

/// Shared with others until the scope ends, which it does on the same thread. Does not nest.
class CkxSpreadLock::Reading {
 public:
  explicit Reading(const CkxSpreadLock& lock) : _held(lock.PartOfThread()) {}

 private:
  const std::shared_lock<CkxSharedLock> _held;
};
