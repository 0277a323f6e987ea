#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <objbase.h>

#include "Common_CPP/util/com.h"

int32_t KxCom_Initialize() { return CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
void KxCom_Uninitialize() { CoUninitialize(); }
