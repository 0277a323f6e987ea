#include "Common_CPP/util/trace.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <optional>

#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/own_ids.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/stack_trace.h"

namespace {

constexpr std::string_view kLevelNames[] = {"ERROR", "WARNING", "INFO", "DEBUG", "TRACE", "VERBOSE"};
constexpr std::string_view kVariantNames[] = {"", "_REDIRECTED", "_FLASHBACK"};

constexpr std::string_view kStackScope = "Stack";

/// Leaves both of the thread's errors as they were found.
class CkxErrorsGuard {
 public:
  CkxErrorsGuard() = default;
  ~CkxErrorsGuard() { errno = _error; }
  CkxErrorsGuard(const CkxErrorsGuard&) = delete;
  CkxErrorsGuard& operator=(const CkxErrorsGuard&) = delete;

 private:
  const CkxLastErrorGuard _lastError;
  const int _error = errno;
};

/// Holds a sink that is never destroyed: static destructors and threads that outlive `main` still trace.
union LastingSink {
  explicit LastingSink(EkxTraceLevel level) : sink(level) {}
  ~LastingSink() {}
  CkxTraceStderr sink;
};

bool InstallSinkOfEnvironment() {
  const char* name = std::getenv("KX_TRACE");
  const auto level = KxTrace_LevelOf(name == nullptr ? "" : name);
  if (!level) return false;
  static LastingSink lasting(*level);
  KxTrace_SetSink(&lasting.sink);
  return true;
}

}  // namespace

// Filled before any code runs, so that other static initialisers can trace already.
constinit std::atomic<IkxTraceSink*> kx_trace_detail::sink{nullptr};

namespace {
[[maybe_unused]] const bool isInstalled = InstallSinkOfEnvironment();
}  // namespace

std::string KxTrace_LevelName(EkxTraceLevel level, EkxTraceVariant variant) {
  std::string name = "KXT_";
  name.append(kLevelNames[static_cast<size_t>(level)]).append(kVariantNames[static_cast<size_t>(variant)]);
  return name;
}

std::optional<EkxTraceLevel> KxTrace_LevelOf(std::string_view name) {
  const auto sameLetter = [](char a, char b) {
    return KxText_Fold(static_cast<unsigned char>(a)) == KxText_Fold(static_cast<unsigned char>(b));
  };
  for (size_t level = 0; level < std::size(kLevelNames); ++level) {
    if (std::ranges::equal(name, kLevelNames[level], sameLetter)) return static_cast<EkxTraceLevel>(level);
  }
  return std::nullopt;
}

std::string KxTrace_LineText(const SkxTraceLine& line) {
  std::string text = KxTrace_LevelName(line.level, line.variant);
  return text.append(" ").append(line.scope).append(": ").append(KxText_Printable(line.message)).append("\n");
}

void CkxTraceStderr::Write(const SkxTraceLine& line) noexcept {
  if (!KxTrace_IsFor(*this, line)) return;
  try {
    const std::string text = KxTrace_LineText(line);
    std::fwrite(text.data(), 1, text.size(), stderr);
  } catch (...) {
    constexpr std::string_view kLost = "KXT_ERROR: Out of memory for a line of the trace\n";
    std::fwrite(kLost.data(), 1, kLost.size(), stderr);
  }
}

void CkxTraceStderr::OnFault(std::string_view) noexcept { KxTrace_WriteStack(*this); }

IkxTraceSink* KxTrace_SetSink(IkxTraceSink* sink) {
  return kx_trace_detail::sink.exchange(sink, std::memory_order_acq_rel);
}

void KxTrace_WriteStack(IkxTraceSink& sink) noexcept {
  if (sink.Deepest() < EkxTraceLevel::Debug) return;
  try {
    const CkxStackTrace stack(2);  // without this function, and whoever was told
    for (const void* const frame : stack.Frames()) {
      const std::string text = KxStack_FrameText(frame);
      sink.Write({EkxTraceLevel::Debug, EkxTraceVariant::Plain, kStackScope, text, KxFileTime_Now(), KxOwn_ThreadId()});
    }
  } catch (const std::bad_alloc&) {  // as much as there was memory for
  }
}

void KxTrace_TellFault(std::string_view line) noexcept {
  const CkxErrorsGuard guard;
  if (IkxTraceSink* const listener = kx_trace_detail::sink.load(std::memory_order_acquire); listener != nullptr) {
    listener->OnFault(line);
  }
}

void kx_trace_detail::Append(Message& message, CkxTextView piece) {
  char part[64];
  size_t size = 0;
  for (size_t at = 0; at < piece.Size(); ++at) {
    if (piece[at] >= 0x80) {  // the rest may need memory; where it begins, no surrogate pair is taken apart
      message.Append({part, size});
      return message.Append(KxText_ToUtf8(piece.Part(at)));
    }
    part[size++] = static_cast<char>(piece[at]);
    if (size < sizeof(part)) continue;
    message.Append({part, size});
    size = 0;
  }
  message.Append({part, size});
}

void kx_trace_detail::Write(EkxTraceLevel level, EkxTraceVariant variant, std::string_view scope,
                            std::string_view message) noexcept {
  const CkxErrorsGuard guard;
  if (IkxTraceSink* const listener = sink.load(std::memory_order_acquire); listener != nullptr) {
    listener->Write({level, variant, scope, message, KxFileTime_Now(), KxOwn_ThreadId()});
  }
}
