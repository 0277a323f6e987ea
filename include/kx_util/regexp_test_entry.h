// An entry for rundll32.
#pragma once

#include "Common_CPP/util/base.h"

/// Tries out an expression, for whoever writes one: `rundll32 kx_util.dll,RegExpTest PATTERN SUBJECT` shows a message
/// box that says "Match" or "NO Match" (case does not count); with fewer arguments nothing. `window` and `instance` are
/// the system's handles.
extern "C" KX_UTIL_API void RegExpTestW(void* window, void* instance, WCHAR* commandLine, int show);
