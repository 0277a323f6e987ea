// The trace: lines with a level and the name of the traced function or class, handed to one sink.
//
//   KxTrace(EkxTraceLevel::Error, "KxUtil_MatchStr", "ERROR: Unexpected compareAs value ", mode);
//
// Without a sink a call costs one load and a branch: pieces are put together only when someone listens. Writing a line
// leaves the thread's last error unchanged. Messages are UTF-8; a piece is a narrow or wide text, or a number.
#pragma once

#include <atomic>
#include <concepts>

#include "Common_CPP/util/text.h"

enum class EkxTraceLevel : unsigned char { Error, Warning, Info, Debug, Trace, Verbose };

/// How a line travels: as it is, to a redirected log, or to the memory that is kept for a look back after a fault.
enum class EkxTraceVariant : unsigned char { Plain, Redirected, Flashback };

struct SkxTraceLine {
  EkxTraceLevel level;
  EkxTraceVariant variant;
  std::string_view scope;    ///< the traced class or function
  std::string_view message;  ///< UTF-8, without a line end; lives for the call only
};

/// "KXT_ERROR", "KXT_WARNING", ... ; redirected and flashback lines carry "_REDIRECTED" or "_FLASHBACK" after it.
KX_UTIL_API std::string KxTrace_LevelName(EkxTraceLevel level, EkxTraceVariant variant = EkxTraceVariant::Plain);

class IkxTraceSink {
 public:
  virtual ~IkxTraceSink() = default;
  /// Called on the tracing thread; several threads may call at once. Must not throw.
  virtual void Write(const SkxTraceLine& line) noexcept = 0;
};

/// Installs `sink` (null: nobody listens; not owned) and returns the one before. At load time `KX_TRACE=level` in the
/// environment ("error" to "verbose") installs one that prints to standard error.
KX_UTIL_API IkxTraceSink* KxTrace_SetSink(IkxTraceSink* sink);

namespace kx_trace_detail {
KX_UTIL_API extern std::atomic<IkxTraceSink*> sink;

inline void Append(std::string& line, std::string_view piece) { line += piece; }
inline void Append(std::string& line, CkxTextView piece) { line += KxText_ToUtf8(piece); }
template <std::integral Number>
void Append(std::string& line, Number piece) {
  line += std::to_string(piece);
}

KX_UTIL_API void Write(EkxTraceLevel level, EkxTraceVariant variant, std::string_view scope,
                       std::string_view message) noexcept;
}  // namespace kx_trace_detail

/// Where there is no memory for the line, the sink is told that there was one.
template <class... Pieces>
void KxTraceAs(EkxTraceLevel level, EkxTraceVariant variant, std::string_view scope, const Pieces&... pieces) noexcept {
  if (kx_trace_detail::sink.load(std::memory_order_acquire) == nullptr) [[likely]]
    return;
  try {
    std::string message;
    (kx_trace_detail::Append(message, pieces), ...);
    kx_trace_detail::Write(level, variant, scope, message);
  } catch (...) {
    kx_trace_detail::Write(level, variant, scope, "ERROR: Out of memory for a line of the trace");
  }
}

template <class... Pieces>
void KxTrace(EkxTraceLevel level, std::string_view scope, const Pieces&... pieces) noexcept {
  KxTraceAs(level, EkxTraceVariant::Plain, scope, pieces...);
}
