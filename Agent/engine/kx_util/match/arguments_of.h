// Comparing the arguments of a command line that has been taken apart already.
#pragma once

#include <kx_util/match_str.h>

/// As `KxUtil_MatchCmdLineArguments`, inside an entry.
bool KxArguments_Match(CkxTextView pattern, CkxTextView arguments, bool caseSensitive, EkxStrCompareAs compareAs);
