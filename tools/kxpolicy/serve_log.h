// What `serve` says while it runs: lines for a person, whole ones from several threads. That nobody reads them any more
// is no reason to stop.
#pragma once

#include <mutex>
#include <ostream>

#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/tool.h"

class CkxServeLog {
 public:
  CkxServeLog(SkxStreams& streams, bool verbose) : _streams(streams), _verbose(verbose) {}

  void Event(const std::string& line) {
    if (_verbose) Write(_streams.out, line);
  }
  /// What is so already: no line that memory is short for undoes it.
  void State(const std::string& line) noexcept {
    try {
      Write(_streams.out, line);
    } catch (const std::bad_alloc&) {
    }
  }
  void Fault(const std::string& line) { Write(_streams.err, "kxpolicy: " + line); }

 private:
  void Write(std::ostream& out, const std::string& line) {
    const std::string printable = KxText_Printable(line) + '\n';
    const std::lock_guard lock(_mutex);
    out.clear();
    out << printable << std::flush;
  }

  SkxStreams& _streams;
  const bool _verbose;
  std::mutex _mutex;
};
