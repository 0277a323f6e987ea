#include "Common_CPP/util/native_handle.h"

#include "Common_CPP/util/handle_win.h"

void KxHandle_Close(void* handle) noexcept { CkxHandle(handle).Close(); }
