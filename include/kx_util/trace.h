// The library's trace, for the process that it is loaded in: a sink that is handed every line.
//
//   class Log : public IkxTraceSink {
//     void Write(const SkxTraceLine& line) noexcept override { ... }
//   };
//   KxTrace_SetSink(&log);
#pragma once

#include "Common_CPP/util/trace.h"
