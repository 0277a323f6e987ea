// Where a thread is: the calls under way, innermost first, as places in modules. For a line of the trace, not for a
// program's decisions: a compiler may leave calls out.
//
//   const CkxStackTrace stack;
//   for (const void* frame : stack.Frames()) Print(KxStack_FrameText(frame));
#pragma once

#include <cstddef>
#include <span>
#include <string>

class CkxStackTrace {
 public:
  /// The calling thread's, without the innermost `skipped` of those that called.
  explicit CkxStackTrace(size_t skipped = 0) noexcept;
  std::span<void* const> Frames() const& { return {_frames + _first, _count - _first}; }
  std::span<void* const> Frames() const&& = delete;  // they would outlive it

 private:
  static constexpr size_t kMaxFrames = 48;
  void* _frames[kMaxFrames] = {};
  size_t _first = 0;
  size_t _count = 0;
};

/// "module+0x1A2B", and what the place is called where the module tells. The offsets are those of the file, so that
/// they are the same wherever the module was loaded. "0x7F..." for a place in no module.
std::string KxStack_FrameText(const void* address);
