// The trace: lines with a level and the name of the traced function or class, handed to one sink.
//
//   KxTrace(EkxTraceLevel::Error, "KxUtil_MatchStr", "ERROR: Unexpected compareAs value ", mode);
//
// Without a sink a call costs one load and a branch: pieces are put together only when someone listens, and those of a
// line of usual length without asking for memory. Writing a line leaves the thread's last error unchanged. Messages are
// UTF-8; a piece is a narrow or wide text, or a number.
#pragma once

#include <algorithm>
#include <atomic>
#include <charconv>
#include <concepts>
#include <iterator>
#include <type_traits>

#include "Common_CPP/util/text.h"

enum class EkxTraceLevel : unsigned char { Error, Warning, Info, Debug, Trace, Verbose };

/// How a line travels: as it is, to a redirected log, or to the memory that is kept for a look back after a fault.
enum class EkxTraceVariant : unsigned char { Plain, Redirected, Flashback };

struct SkxTraceLine {
  EkxTraceLevel level;
  EkxTraceVariant variant;
  std::string_view scope;    ///< the traced class or function
  std::string_view message;  ///< UTF-8, without a line end; lives for the call only
  int64_t time = 0;          ///< file time
  uint64_t thread = 0;       ///< the system's number of the thread that traced it
};

/// "KXT_ERROR", "KXT_WARNING", ... ; redirected and flashback lines carry "_REDIRECTED" or "_FLASHBACK" after it.
KX_UTIL_API std::string KxTrace_LevelName(EkxTraceLevel level, EkxTraceVariant variant = EkxTraceVariant::Plain);

/// The level of "error" to "verbose", in letters of any case; nothing for another word.
KX_UTIL_API std::optional<EkxTraceLevel> KxTrace_LevelOf(std::string_view name);

/// "KXT_ERROR Scope: message" and a line end, as it is printed for a person.
KX_UTIL_API std::string KxTrace_LineText(const SkxTraceLine& line);

class IkxTraceSink {
 public:
  virtual ~IkxTraceSink() = default;
  /// Called on the tracing thread; several threads may call at once. Must not throw. Lines deeper than `Deepest` may
  /// come too; a flashback line is shown whatever its level, because somebody has asked to look back.
  virtual void Write(const SkxTraceLine& line) noexcept = 0;

  /// Lines of deeper levels are not even put together.
  virtual EkxTraceLevel Deepest() const noexcept { return EkxTraceLevel::Verbose; }

  /// A question ends without an answer, for the reason `line`, noted on this thread now. There is a line of the trace
  /// of its own where that is an error; this is the moment to look at what led there.
  virtual void OnFault([[maybe_unused]] std::string_view line) noexcept {}
};

/// Whether `sink` is to show `line`.
inline bool KxTrace_IsFor(const IkxTraceSink& sink, const SkxTraceLine& line) {
  return line.level <= sink.Deepest() || line.variant == EkxTraceVariant::Flashback;
}

/// The calling thread's stack as lines of level Debug, for sinks that show those and are told of a fault.
KX_UTIL_API void KxTrace_WriteStack(IkxTraceSink& sink) noexcept;

/// Prints lines up to a level to standard error, each with one write so that those of several threads stay whole.
class KX_UTIL_API CkxTraceStderr : public IkxTraceSink {
 public:
  explicit CkxTraceStderr(EkxTraceLevel level) : _level(level) {}
  void Write(const SkxTraceLine& line) noexcept override;
  EkxTraceLevel Deepest() const noexcept override { return _level; }
  void OnFault(std::string_view line) noexcept override;

 private:
  const EkxTraceLevel _level;
};

/// Installs `sink` (null: nobody listens; not owned) and returns the one before. At load time `KX_TRACE=level` in the
/// environment ("error" to "verbose") installs one that prints to standard error.
KX_UTIL_API IkxTraceSink* KxTrace_SetSink(IkxTraceSink* sink);

/// Tells the sink of a fault (`IkxTraceSink::OnFault`). Leaves the thread's last error as it is.
KX_UTIL_API void KxTrace_TellFault(std::string_view line) noexcept;

namespace kx_trace_detail {
KX_UTIL_API extern std::atomic<IkxTraceSink*> sink;

/// A message that is put together: in place, and only a long one in memory of its own.
class Message {
 public:
  void Append(std::string_view piece) {
    if (_long.empty() && piece.size() <= sizeof(_short) - _size) {
      std::copy(piece.begin(), piece.end(), _short + _size);
      _size += piece.size();
      return;
    }
    if (_long.empty()) _long.assign(_short, _size);
    _long += piece;
  }
  std::string_view View() const { return _long.empty() ? std::string_view(_short, _size) : _long; }

 private:
  char _short[400];
  size_t _size = 0;
  std::string _long;
};

inline void Append(Message& message, std::string_view piece) { message.Append(piece); }
KX_UTIL_API void Append(Message& message, CkxTextView piece);
template <std::integral Number>
void Append(Message& message, Number piece) {
  using Widest = std::conditional_t<std::is_signed_v<Number>, int64_t, uint64_t>;
  char digits[24];
  const char* const end = std::to_chars(digits, std::end(digits), static_cast<Widest>(piece)).ptr;
  message.Append({digits, static_cast<size_t>(end - digits)});
}

inline bool IsOn(EkxTraceLevel level) {
  const IkxTraceSink* const listener = sink.load(std::memory_order_acquire);
  if (listener == nullptr) [[likely]]
    return false;
  return level <= listener->Deepest();
}

KX_UTIL_API void Write(EkxTraceLevel level, EkxTraceVariant variant, std::string_view scope,
                       std::string_view message) noexcept;
}  // namespace kx_trace_detail

/// Where there is no memory for the line, the sink is told that there was one.
template <class... Pieces>
void KxTraceAs(EkxTraceLevel level, EkxTraceVariant variant, std::string_view scope, const Pieces&... pieces) noexcept {
  if (!kx_trace_detail::IsOn(level)) return;
  try {
    kx_trace_detail::Message message;
    (kx_trace_detail::Append(message, pieces), ...);
    kx_trace_detail::Write(level, variant, scope, message.View());
  } catch (...) {
    kx_trace_detail::Write(level, variant, scope, "ERROR: Out of memory for a line of the trace");
  }
}

template <class... Pieces>
void KxTrace(EkxTraceLevel level, std::string_view scope, const Pieces&... pieces) noexcept {
  KxTraceAs(level, EkxTraceVariant::Plain, scope, pieces...);
}
