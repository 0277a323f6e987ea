// A message for the person in front of the machine, shown until it is dismissed. A system without message boxes writes
// it to standard error, as a line.
#pragma once

#include "Common_CPP/util/text_view.h"

/// `owner` is the window that waits for it, null for none.
void KxMessageBox_Show(void* owner, const WCHAR* title, const WCHAR* text);

/// Takes messages in place of the screen, for a process that has nobody in front of it.
using KxMessageBoxHook = void (*)(CkxTextView title, CkxTextView text);

/// Returns the hook that was set before; null is the screen. Holds for the whole process.
KxMessageBoxHook KxMessageBox_SetHook(KxMessageBoxHook hook);

/// What `KxMessageBox_Show` does when no hook is set; one file a platform.
void KxMessageBox_ShowOnScreen(void* owner, const WCHAR* title, const WCHAR* text);
