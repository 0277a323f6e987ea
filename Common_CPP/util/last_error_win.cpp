#include <windows.h>

#include "Common_CPP/util/last_error.h"

uint32_t KxLastError_Get() { return GetLastError(); }
void KxLastError_Set(uint32_t error) { SetLastError(error); }
void KxLastError_SetFromSystem() {}
