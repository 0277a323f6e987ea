#include <kx_util/kx_util.h>

#include "Agent/engine/kx_util/command_line.h"
#include "Common_CPP/util/text.h"

namespace {

bool AreSameArguments(CkxTextView expected, CkxTextView actual, bool caseSensitive) {
  CkxArgumentReader expectedReader(KxText_Trim(expected));
  CkxArgumentReader actualReader(KxText_Trim(actual));
  KxWString a;
  KxWString b;
  for (;;) {
    const bool more = expectedReader.Next(a);
    if (more != actualReader.Next(b)) return false;
    if (!more) return true;
    if (!KxText_Equals(a, b, caseSensitive)) return false;
  }
}

}  // namespace

bool KxUtil_MatchCmdLineArguments(CkxTextView pattern, CkxTextView commandLine, CkxTextView programPath,
                                  bool caseSensitive, EkxStrCompareAs compareAs) {
  if (commandLine.IsNull()) return pattern.IsNull();
  const CkxTextView arguments = KxCommandLine_TakeApart(commandLine, programPath).arguments;
  if (compareAs == EkxStrCompareAs::StrEquals) return AreSameArguments(pattern, arguments, caseSensitive);
  return KxUtil_MatchStr(pattern, arguments, caseSensitive, compareAs);
}
