#include <cstdio>

#include "Common_CPP/util/message_box.h"
#include "Common_CPP/util/text.h"

void KxMessageBox_ShowOnScreen(void* /*owner*/, const WCHAR* title, const WCHAR* text) {
  std::fprintf(stderr, "%s: %s\n", KxText_ToUtf8(title).c_str(), KxText_ToUtf8(text).c_str());
}
