#include <kx_util/match_str.h>
#include <kx_util/regexp_test_entry.h>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Common_CPP/util/message_box.h"

void RegExpTestW(void* window, void* /*instance*/, WCHAR* commandLine, int /*show*/) {
  CkxArgumentReader reader{CkxTextView(commandLine)};
  KxWString pattern;
  KxWString subject;
  if (!reader.Next(pattern) || !reader.Next(subject)) return;
  const bool matches = KxUtil_MatchStr(pattern, subject, false, EkxStrCompareAs::StrRegExp);
  KxMessageBox_Show(window, KXW("RegExpTest"), matches ? KXW("Match") : KXW("NO Match"));
}
