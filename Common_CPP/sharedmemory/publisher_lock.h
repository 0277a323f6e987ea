// One publisher at a time: a name that one holder on this machine has, until it lets go or its process ends, however it
// ends.
//
// Windows: a section of that name that only publishers may open; in the global name space nobody but services and
// administrators can make one, which a mutex would not give us. Elsewhere: a locked file in the runtime folder, mode
// 0600, so that a reader cannot lock publishers out. It is taken away again with the lock.
#pragma once

#include <memory>

#include "Common_CPP/util/text_view.h"

class CkxPublisherLock {
 public:
  CkxPublisherLock();
  ~CkxPublisherLock();
  CkxPublisherLock(const CkxPublisherLock&) = delete;
  CkxPublisherLock& operator=(const CkxPublisherLock&) = delete;

  /// Does not wait. False with the thread's last error set: 170 (busy) when somebody else holds it, in this process or
  /// in another one.
  bool Acquire(CkxTextView name);
  void Release();
  bool IsHeld() const { return _held != nullptr; }

 private:
  struct Held;
  std::unique_ptr<Held> _held;
};
