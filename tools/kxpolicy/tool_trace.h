// The library's trace for the length of one command, where a person has asked for it.
#pragma once

#include <memory>

#include "Common_CPP/file/trace_file.h"
#include "Common_CPP/util/trace_flashback.h"
#include "tools/kxpolicy/options.h"

class CkxToolTrace {
 public:
  CkxToolTrace() = default;
  ~CkxToolTrace();
  CkxToolTrace(const CkxToolTrace&) = delete;
  CkxToolTrace& operator=(const CkxToolTrace&) = delete;

  /// Does nothing when nothing is asked for. Throws CkxToolFault for a word that is no level, and for a file that
  /// cannot be had.
  void Begin(const SkxTraceOptions& options);

  /// The command ends with a fault: shows what led there, of the levels that were not shown.
  void LookBack();

 private:
  std::unique_ptr<IkxTraceSink> _shown;
  std::unique_ptr<CkxTraceFlashback> _flashback;  ///< the sink that is installed, when one is
  IkxTraceSink* _previous = nullptr;
};
