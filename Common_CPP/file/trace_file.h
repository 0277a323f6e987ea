// A trace that is redirected to a file, a line each:
//
//   2026-11-22T09:35:50.123Z 4711 4712 KXT_ERROR_REDIRECTED KxUtil_MatchStr: ERROR: Unexpected compareAs value 9
//
// the time in UTC, the process, the thread, then the line as it is printed anywhere else. Only a program that hosts the
// library can ask for one: an environment variable that did so would let whoever starts a process with more rights
// choose a file for it to write to.
#pragma once

#include <memory>
#include <mutex>

#include "Common_CPP/util/trace.h"

class CkxOwnLog;

class KX_UTIL_API CkxTraceFile : public IkxTraceSink {
 public:
  static constexpr uint64_t kDefaultMaxBytes = uint64_t{8} << 20;

  /// Begins the file, or goes on with it. A new one is its maker's alone to read and write. One that is there must be a
  /// regular file of the process's own user, with no other name, that nobody else may write to. Null with the thread's
  /// last error set.
  static std::unique_ptr<CkxTraceFile> Open(CkxTextView path, EkxTraceLevel deepest,
                                            uint64_t maxBytes = kDefaultMaxBytes);
  ~CkxTraceFile() override;
  CkxTraceFile(const CkxTraceFile&) = delete;
  CkxTraceFile& operator=(const CkxTraceFile&) = delete;

  /// Lines of several threads stay whole. A file that would be longer than the bound is put aside as "name.1", in place
  /// of the one before, and a new one begins. A line that cannot be written, or is longer than the bound, is lost.
  void Write(const SkxTraceLine& line) noexcept override;
  EkxTraceLevel Deepest() const noexcept override { return _deepest; }
  void OnFault(std::string_view line) noexcept override;

 private:
  CkxTraceFile(std::unique_ptr<CkxOwnLog> log, EkxTraceLevel deepest, uint64_t maxBytes);

  const EkxTraceLevel _deepest;
  const uint64_t _maxBytes;
  std::mutex _mutex;
  const std::unique_ptr<CkxOwnLog> _log;
};
