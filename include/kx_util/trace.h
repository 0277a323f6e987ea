// The library's trace, for the process that it is loaded in: a sink that is handed every line.
//
//   class Log : public IkxTraceSink {
//     void Write(const SkxTraceLine& line) noexcept override { ... }
//   };
//   KxTrace_SetSink(&log);
//
// `CkxTraceStderr` prints, `CkxTraceFile` writes to a file, `CkxTraceFlashback` stands before another sink and shows
// what that one leaves out when something goes wrong.
#pragma once

#include "Common_CPP/file/trace_file.h"
#include "Common_CPP/util/trace.h"
#include "Common_CPP/util/trace_flashback.h"
