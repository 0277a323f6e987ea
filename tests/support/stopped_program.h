// A program that was started and has not begun: it is there to be looked at, and does nothing. Ends with the scope.
//
//   const CkxStoppedProgram host(path, {"msiexec", "/i", "a.msi"}, folder);
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Common_CPP/util/base.h"

class CkxStoppedProgram {
 public:
  /// Its name for itself, and its arguments; where a system knows command lines alone, with blanks between them. Throws
  /// when the system does not start it.
  CkxStoppedProgram(const KxWString& path, const std::vector<std::string>& arguments, const KxWString& folder);
  ~CkxStoppedProgram();
  CkxStoppedProgram(const CkxStoppedProgram&) = delete;
  CkxStoppedProgram& operator=(const CkxStoppedProgram&) = delete;

  uint32_t Pid() const { return _pid; }

  /// What remains of it stays until the scope ends.
  void End() const;

 private:
  uint32_t _pid = 0;
  [[maybe_unused]] void* _process = nullptr;
};
