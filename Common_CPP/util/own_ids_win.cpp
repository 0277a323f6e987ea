#include "Common_CPP/util/own_ids.h"

#include "Common_CPP/util/handle_win.h"

uint32_t KxOwn_ProcessId() noexcept { return GetCurrentProcessId(); }
uint64_t KxOwn_ThreadId() noexcept { return GetCurrentThreadId(); }
