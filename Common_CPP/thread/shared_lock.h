// A lock that readers share: the system's own, which takes no memory and cannot fail.
//
// Windows: a slim lock. The standard library that the product is cross-built with has one of its own making in its
// place, under which a reader was seen together with a writer.
#pragma once

#include <cstddef>

class CkxSharedLock {
 public:
  CkxSharedLock();
  ~CkxSharedLock();
  CkxSharedLock(const CkxSharedLock&) = delete;
  CkxSharedLock& operator=(const CkxSharedLock&) = delete;

  void lock();
  void unlock();
  void lock_shared();
  void unlock_shared();

 private:
  static constexpr size_t kRoom = 64;  // for the system's lock
  alignas(std::max_align_t) unsigned char _native[kRoom];
};
