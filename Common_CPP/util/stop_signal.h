// For a program that runs until it is told to stop: an interrupt or a request to terminate becomes an answer to a wait,
// instead of ending the process. Nor does it end when it writes to a pipe that nobody reads any more: the write fails.
//
// A hang-up asks a program without a terminal to read anew what it works from (`kill -HUP`); of one that was started
// from a terminal it is the end where that terminal is gone. A manager of services asks for either as well.
#pragma once

#include "Common_CPP/util/base.h"

enum class EkxWake : unsigned char { TimeUp, Reload, Stop };

/// One a process, made before its threads are: they inherit that the signals wait for the one who asks.
class CkxStopSignal {
 public:
  CkxStopSignal();
  ~CkxStopSignal();
  CkxStopSignal(const CkxStopSignal&) = delete;
  CkxStopSignal& operator=(const CkxStopSignal&) = delete;

  /// `Stop` as soon as the process is told to stop, and from then on; `TimeUp` after `milliseconds`, or a little
  /// earlier.
  EkxWake Next(uint32_t milliseconds);

  /// For who has nothing to read anew: true once the process is to end; false after `milliseconds`.
  bool Wait(uint32_t milliseconds) { return Next(milliseconds) != EkxWake::TimeUp; }

 private:
  bool _stopped = false;
  [[maybe_unused]] bool _hadTerminal = false;
};

/// This process tells itself so, from any thread; not `TimeUp`. Lost while there is no `CkxStopSignal`.
void KxStopSignal_Raise(EkxWake wake);
