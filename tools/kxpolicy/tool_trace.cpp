#include "tools/kxpolicy/tool_trace.h"

#include "Agent/engine/kx_publish/document/nearest.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/tool.h"

namespace {

EkxTraceLevel LevelOf(const SkxTraceOptions& options) {
  if (options.level.empty()) return EkxTraceLevel::Info;
  if (const auto level = KxTrace_LevelOf(options.level)) return *level;
  const std::vector<std::string> levels = {"error", "warning", "info", "debug", "trace", "verbose"};
  throw CkxToolFault(EkxExit::UnusableArguments, "--trace: \"" + options.level + "\" is no level of the trace" +
                                                     KxNearest_Question(options.level, levels));
}

std::unique_ptr<IkxTraceSink> SinkOf(const SkxTraceOptions& options) {
  const EkxTraceLevel level = LevelOf(options);
  if (options.file.empty()) return std::make_unique<CkxTraceStderr>(level);
  const std::optional<KxWString> path = KxText_FromUtf8(options.file);
  std::unique_ptr<IkxTraceSink> file = path ? CkxTraceFile::Open(*path, level) : nullptr;
  if (file != nullptr) return file;
  throw CkxToolFault(EkxExit::SystemRefused, options.file + ": cannot be written, or others could write it too");
}

}  // namespace

CkxToolTrace::~CkxToolTrace() {
  if (_flashback != nullptr) KxTrace_SetSink(_previous);
}

void CkxToolTrace::Begin(const SkxTraceOptions& options) {
  if (options.level.empty() && options.file.empty()) return;
  _shown = SinkOf(options);
  _flashback = std::make_unique<CkxTraceFlashback>(*_shown);
  _previous = KxTrace_SetSink(_flashback.get());
}

void CkxToolTrace::LookBack() {
  if (_flashback != nullptr) _flashback->Show();
}
