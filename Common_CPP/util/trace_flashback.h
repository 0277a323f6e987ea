// A look back: the last lines of the levels that nobody shows, kept in memory and shown when something goes wrong.
//
//   CkxTraceFlashback flashback(file);      // before the sink that shows errors
//   KxTrace_SetSink(&flashback);
//
// A line that `next` shows anyway is handed on at once. Any other is kept: in a place that was there before, so that
// keeping it asks for no memory, and costs a copy under a lock. Before a line of level Error, and when a fault is
// noted, what was kept is handed on as flashback lines, oldest first, each once, whoever else is told of an error
// meanwhile.
#pragma once

#include <mutex>
#include <vector>

#include "Common_CPP/util/trace.h"

class KX_UTIL_API CkxTraceFlashback : public IkxTraceSink {
 public:
  static constexpr size_t kDefaultLines = 512;

  /// `next` must outlive it. Throws std::bad_alloc.
  explicit CkxTraceFlashback(IkxTraceSink& next, size_t lines = kDefaultLines);
  CkxTraceFlashback(const CkxTraceFlashback&) = delete;
  CkxTraceFlashback& operator=(const CkxTraceFlashback&) = delete;

  void Write(const SkxTraceLine& line) noexcept override;
  EkxTraceLevel Deepest() const noexcept override { return EkxTraceLevel::Verbose; }
  void OnFault(std::string_view line) noexcept override;

  /// Hands on what is kept now.
  void Show() noexcept;

 private:
  /// One line; what has no room in it is cut off.
  struct Kept {
    int64_t time;
    uint64_t thread;
    EkxTraceLevel level;
    uint16_t scopeSize;
    uint16_t messageSize;
    char scope[48];
    char message[192];
  };
  void Keep(const SkxTraceLine& line) noexcept;
  bool TakeFirst(uint64_t before, Kept& line) noexcept;

  IkxTraceSink& _next;
  std::mutex _mutex;
  std::vector<Kept> _ring;  ///< the line of number n is at n modulo its size
  uint64_t _first = 0;      ///< number of the oldest line that is kept
  uint64_t _end = 0;        ///< and of the one to come
};
