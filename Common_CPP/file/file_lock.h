// A file that says that somebody is at work, for as long as the process that made it lives and holds it.
#pragma once

#include "Common_CPP/util/text_view.h"

class CkxFileLock {
 public:
  CkxFileLock() = default;
  ~CkxFileLock() { Release(); }
  CkxFileLock(const CkxFileLock&) = delete;
  CkxFileLock& operator=(const CkxFileLock&) = delete;

  /// Makes the file where it is not there. Does not wait: false, with the thread's last error set, when somebody else
  /// holds it, in this process or in another one, or when its folder is gone.
  bool Acquire(CkxTextView path);

  /// The file stays; whoever holds it may remove it.
  void Release();

 private:
  intptr_t _handle = -1;
};
