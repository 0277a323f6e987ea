// The system's side of processes, one file a platform. Private to this folder.
#pragma once

#include "Common_CPP/process/process.h"

/// A process that keeps its number for as long as it is held.
class CkxHeldProcess {
 public:
  CkxHeldProcess() = default;
  CkxHeldProcess(CkxHeldProcess&& other) noexcept;
  CkxHeldProcess& operator=(CkxHeldProcess&& other) noexcept;
  ~CkxHeldProcess();

  EkxProcessLookup Open(uint32_t pid);

  /// Which one it is; of an open process, as are the others.
  EkxProcessLookup ReadId(SkxProcessId& id) const;

  /// All of it.
  EkxProcessLookup Read(SkxProcess& process) const;

  /// As it is now: a system may give a process another parent when the first one ends. 0 when there is none.
  uint32_t ParentPid() const;

 private:
  void Close();

  intptr_t _handle = -1;
  uint32_t _pid = 0;
};
