// How a verb that runs until it is stopped learns of it.
#pragma once

#include <memory>

#include "Common_CPP/util/stop_signal.h"
#include "tools/kxpolicy/tool.h"

/// Made before the verb starts a thread.
class CkxStop {
 public:
  explicit CkxStop(const SkxStreams& streams)
      : _wait(streams.waitForStop), _signal(_wait ? nullptr : std::make_unique<CkxStopSignal>()) {}

  EkxWake Next(uint32_t milliseconds) {
    if (!_wait) return _signal->Next(milliseconds);
    return _wait(milliseconds) ? EkxWake::Stop : EkxWake::TimeUp;
  }

  /// True once the verb is to end, which is also when it is asked to read anew; false after `milliseconds`.
  bool Wait(uint32_t milliseconds) { return Next(milliseconds) != EkxWake::TimeUp; }

 private:
  const std::function<bool(uint32_t milliseconds)> _wait;
  const std::unique_ptr<CkxStopSignal> _signal;
};
