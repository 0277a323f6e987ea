// What a program is started with.
#pragma once

#include <kx_util/match_str.h>

/// The arguments of `commandLine`, its program taken off with the help of `programPath`. `StrEquals` compares argument
/// by argument, any other mode the text of the arguments.
KX_UTIL_API bool KxUtil_MatchCmdLineArguments(CkxTextView pattern, CkxTextView commandLine, CkxTextView programPath,
                                              bool caseSensitive, EkxStrCompareAs compareAs);
