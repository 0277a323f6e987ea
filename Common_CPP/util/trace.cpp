#include "Common_CPP/util/trace.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/printable.h"

namespace {

constexpr std::string_view kLevelNames[] = {"ERROR", "WARNING", "INFO", "DEBUG", "TRACE", "VERBOSE"};
constexpr std::string_view kVariantNames[] = {"", "_REDIRECTED", "_FLASHBACK"};

/// Prints lines up to a level to standard error, each with one write so that those of several threads stay whole.
class CkxStderrSink : public IkxTraceSink {
 public:
  explicit CkxStderrSink(EkxTraceLevel level) : _level(level) {}

  void Write(const SkxTraceLine& line) noexcept override {
    if (line.level > _level) return;
    try {
      std::string text = KxTrace_LevelName(line.level, line.variant);
      text.append(" ").append(line.scope).append(": ").append(KxText_Printable(line.message)).append("\n");
      std::fwrite(text.data(), 1, text.size(), stderr);
    } catch (...) {
      constexpr std::string_view kLost = "KXT_ERROR: Out of memory for a line of the trace\n";
      std::fwrite(kLost.data(), 1, kLost.size(), stderr);
    }
  }

 private:
  const EkxTraceLevel _level;
};

/// Holds a sink that is never destroyed: static destructors and threads that outlive `main` still trace.
union LastingSink {
  explicit LastingSink(EkxTraceLevel level) : sink(level) {}
  ~LastingSink() {}
  CkxStderrSink sink;
};

std::optional<EkxTraceLevel> LevelFromName(std::string_view name) {
  const auto sameLetter = [](char a, char b) {
    return KxText_Fold(static_cast<unsigned char>(a)) == KxText_Fold(static_cast<unsigned char>(b));
  };
  for (size_t level = 0; level < std::size(kLevelNames); ++level) {
    if (std::ranges::equal(name, kLevelNames[level], sameLetter)) return static_cast<EkxTraceLevel>(level);
  }
  return std::nullopt;
}

bool InstallSinkOfEnvironment() {
  const char* name = std::getenv("KX_TRACE");
  const auto level = LevelFromName(name == nullptr ? "" : name);
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

IkxTraceSink* KxTrace_SetSink(IkxTraceSink* sink) {
  return kx_trace_detail::sink.exchange(sink, std::memory_order_acq_rel);
}

void kx_trace_detail::Write(EkxTraceLevel level, EkxTraceVariant variant, std::string_view scope,
                            std::string_view message) noexcept {
  const CkxLastErrorGuard lastError;
  const int systemError = errno;
  if (IkxTraceSink* const listener = sink.load(std::memory_order_acquire); listener != nullptr) {
    listener->Write({level, variant, scope, message});
  }
  errno = systemError;
}
