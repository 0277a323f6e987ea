// One publisher at a time: a name that one holder on this machine has, until it lets go or its process ends, however it
// ends.
//
// Windows: a pipe with room for one server, to which nobody connects, under the prefix that is the system's and the
// administrators' alone: nobody else can make it and so lock publishers out, which a mutex or a section would allow (in
// session 0, where tasks and remote shells of any user run, the global name space is open to all). In a developer's
// build a publisher without these rights has one outside the prefix. Elsewhere: a locked file in the runtime folder,
// mode 0600, which must be somebody's who may be the agent (Common_CPP/security/agent_trust.h). It is taken away again
// with the lock.
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
