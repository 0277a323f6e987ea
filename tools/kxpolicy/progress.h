// How far long work has come, for a person who waits at a terminal: one line on standard error that is written over in
// place, and gone before anything else is written there and at the end.
//
//   CkxProgress progress(streams, "evaluated", &input);
//   for (std::string line; lines.Next(line);) {
//     progress.At(lines.Number(), input.Taken());
//
//   kxpolicy: evaluated 42%        where the size is known, else
//   kxpolicy: evaluated 1200, 3 s
//
// Work that is done soon shows nothing, and neither does one whose standard error is no terminal: telling is two
// stores. A thread of its own writes the line, so that it goes on while one item takes long. One at a time.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

class CkxInput;
struct SkxStreams;

class CkxProgress {
 public:
  /// `done`: what becomes of the items of the work, or what is done; a text that lives as long. `input`, where the
  /// items are from: nobody who types them is told.
  CkxProgress(SkxStreams& streams, const char* done, const CkxInput* input = nullptr);
  ~CkxProgress();
  CkxProgress(const CkxProgress&) = delete;
  CkxProgress& operator=(const CkxProgress&) = delete;

  void At(uint64_t items, uint64_t bytes = 0) {
    _items.store(items, std::memory_order_relaxed);
    _bytes.store(bytes, std::memory_order_relaxed);
  }

  /// The work goes on to a part whose items nobody counts.
  void Begin(const char* part) {
    At(0);
    _done.store(part, std::memory_order_relaxed);
  }

 private:
  class Line;

  std::atomic<const char*> _done;
  std::atomic<uint64_t> _items = 0, _bytes = 0;
  const uint64_t _allBytes;
  std::unique_ptr<Line> _line;  // null where nobody looks
};
