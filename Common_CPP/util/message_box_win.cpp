#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include "Common_CPP/util/message_box.h"

void KxMessageBox_ShowOnScreen(void* owner, const WCHAR* title, const WCHAR* text) {
  MessageBoxW(static_cast<HWND>(owner), text, title, MB_OK);
}
