// A thread of the library's own, in a process that may unload the library.
//
// On Windows the thread holds a reference to the module that its code is in, and gives it back by the system's call
// that frees a module and ends the thread in one. So the code stays for as long as the thread may run any of it; a
// process that lets go of the library without stopping the thread keeps both. Nothing of this may be called from
// `DllMain`: a thread begins only after that.
#pragma once

#include <functional>
#include <memory>

class CkxLibraryThread {
 public:
  /// Runs `body`, which must not throw, and destroys it on that thread. Null with the thread's last error set.
  static std::shared_ptr<CkxLibraryThread> Start(std::function<void()> body);
  virtual ~CkxLibraryThread() = default;

  /// Returns when the body has ended and is destroyed. Any number of threads may wait, but for this thread itself. Also
  /// when the process is on its way out and the system has ended the thread wherever it was.
  virtual void Wait() const = 0;
  virtual bool HasEnded() const = 0;
};
