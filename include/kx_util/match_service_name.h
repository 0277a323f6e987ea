// The services of a process.
#pragma once

#include "Common_CPP/util/text_view.h"

/// `serviceList` is the target's services, separated by "/": it comes first here.
KX_UTIL_API bool KxUtil_MatchServiceName(CkxTextView serviceList, CkxTextView serviceName);
