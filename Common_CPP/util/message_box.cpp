#include "Common_CPP/util/message_box.h"

#include <atomic>

namespace {

std::atomic<KxMessageBoxHook> currentHook{nullptr};

}  // namespace

KxMessageBoxHook KxMessageBox_SetHook(KxMessageBoxHook hook) { return currentHook.exchange(hook); }

void KxMessageBox_Show(void* owner, const WCHAR* title, const WCHAR* text) {
  if (const KxMessageBoxHook hook = currentHook.load()) return hook(title, text);
  KxMessageBox_ShowOnScreen(owner, title, text);
}
