// Why the library refused: its own line of the trace, caught while an operation runs.
//
//   CkxRefusal refusal;
//   if (!record.FromBuffer(bytes)) answer["error"] = refusal.Text();
#pragma once

#include <string>

#include "Common_CPP/util/trace.h"

/// For its lifetime every line of the trace passes through it, on to the sink that was there. Scopes nest; to be
/// destroyed on the thread that made it, whose lines alone it keeps.
class CkxRefusal : public IkxTraceSink {
 public:
  /// Keeps the last error. With a deeper level, the last line up to that one where there was no error.
  explicit CkxRefusal(EkxTraceLevel deepest = EkxTraceLevel::Error);
  ~CkxRefusal() override;
  CkxRefusal(const CkxRefusal&) = delete;
  CkxRefusal& operator=(const CkxRefusal&) = delete;

  /// The message alone, without time, level and scope; empty when nothing was said.
  const std::string& Text() const { return _isError ? _error : _other; }
  void Clear();

  void Write(const SkxTraceLine& line) noexcept override;
  EkxTraceLevel Deepest() const noexcept override;
  void OnFault(std::string_view line) noexcept override;

 private:
  const EkxTraceLevel _deepest;
  const uint64_t _thread;
  IkxTraceSink* const _previous;
  std::string _error, _other;
  bool _isError = false;
};
