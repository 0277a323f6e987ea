// System calls that fail when a test says so: a child runs under this process as its tracer, which counts those of its
// calls that have to do with files and channels, and lets one of them fail, be interrupted or come short.
//
//   const SkxTracedRun whole = KxTest_RunTraced(body);                               // whole.calls: so many there are
//   const SkxTracedRun third = KxTest_RunTraced(body, {EkxCallFault::Fails, 2});     // the third one fails
//
// Nothing of the child knows of it, so the C and C++ libraries fail with it as they would.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

enum class EkxCallFault {
  Fails,        ///< as it would on a full disk, a broken one, or out of descriptors
  Interrupted,  ///< a read or a write: by a signal, before anything was moved
  Short,        ///< a read or a write: one byte is moved
};

struct SkxCallFault {
  static constexpr size_t kNever = static_cast<size_t>(-1);
  EkxCallFault how = EkxCallFault::Fails;
  size_t at = kNever;  ///< which of the calls, from 0
};

struct SkxTracedRun {
  int code = 0;         ///< negative: the signal that ended it
  size_t calls = 0;     ///< that could have failed in this way
  std::string failed;   ///< which call did, by its name
  int descriptor = -1;  ///< of a write that failed
};

/// What `body` returns is the exit code of the child that it runs in.
SkxTracedRun KxTest_RunTraced(const std::function<int()>& body, SkxCallFault fault = {});
