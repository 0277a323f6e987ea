// Collects trace lines for the length of a scope, in place of the sink that was installed.
//
//   CkxTraceCapture trace;
//   ...
//   EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR KxUtil_MatchStr: ERROR: ..."));
#pragma once

#include <mutex>
#include <vector>

#include "Common_CPP/util/trace.h"

class CkxTraceCapture : public IkxTraceSink {
 public:
  struct Line {
    EkxTraceLevel level;
    EkxTraceVariant variant;
    std::string scope;
    std::string message;
  };

  CkxTraceCapture() : _previous(KxTrace_SetSink(this)) {}
  ~CkxTraceCapture() override { KxTrace_SetSink(_previous); }
  CkxTraceCapture(const CkxTraceCapture&) = delete;
  CkxTraceCapture& operator=(const CkxTraceCapture&) = delete;

  void Write(const SkxTraceLine& line) noexcept override {
    const std::lock_guard lock(_mutex);
    _lines.push_back({line.level, line.variant, std::string(line.scope), std::string(line.message)});
  }

  std::vector<Line> Lines() const {
    const std::lock_guard lock(_mutex);
    return _lines;
  }

  /// Each line as "KXT_LEVEL scope: message".
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const Line& line : Lines()) {
      texts.push_back(KxTrace_LevelName(line.level, line.variant) + " " + line.scope + ": " + line.message);
    }
    return texts;
  }

  void Clear() {
    const std::lock_guard lock(_mutex);
    _lines.clear();
  }

 private:
  IkxTraceSink* const _previous;
  mutable std::mutex _mutex;
  std::vector<Line> _lines;
};
