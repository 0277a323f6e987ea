// For a program that runs until it is told to stop: an interrupt or a request to terminate becomes an answer to a wait,
// instead of ending the process. Nor does it end when it writes to a pipe that nobody reads any more: the write fails.
#pragma once

#include "Common_CPP/util/base.h"

/// One a process, made before its threads are: they inherit that the signals wait for the one who asks.
class CkxStopSignal {
 public:
  CkxStopSignal();
  ~CkxStopSignal();
  CkxStopSignal(const CkxStopSignal&) = delete;
  CkxStopSignal& operator=(const CkxStopSignal&) = delete;

  /// True as soon as the process is told to stop, and from then on; false after `milliseconds`.
  bool Wait(uint32_t milliseconds);

 private:
  bool _stopped = false;
};
