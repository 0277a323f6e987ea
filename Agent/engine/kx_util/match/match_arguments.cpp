#include <kx_util/match_arguments.h>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Agent/engine/kx_util/match/arguments_of.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/text.h"

namespace {

/// One argument of each, to its end.
bool IsSameArgument(CkxArgumentReader& expected, CkxArgumentReader& actual, bool caseSensitive) {
  for (;;) {
    WCHAR a = 0;
    WCHAR b = 0;
    const bool more = expected.NextUnit(a);
    if (more != actual.NextUnit(b)) return false;
    if (!more) return true;
    if (a != b && (caseSensitive || KxText_Fold(a) != KxText_Fold(b))) return false;
  }
}

/// Compared as they are read: the pattern is not to be copied.
bool AreSameArguments(CkxTextView expected, CkxTextView actual, bool caseSensitive) {
  if (!KxWork_Spend(expected.Size() + actual.Size())) return false;
  CkxArgumentReader expectedReader(KxText_Trim(expected));
  CkxArgumentReader actualReader(KxText_Trim(actual));
  for (;;) {
    const bool more = expectedReader.Begin();
    if (more != actualReader.Begin()) return false;
    if (!more) return true;
    if (!IsSameArgument(expectedReader, actualReader, caseSensitive)) return false;
  }
}

}  // namespace

bool KxArguments_Match(CkxTextView pattern, CkxTextView arguments, bool caseSensitive, EkxStrCompareAs compareAs) {
  if (compareAs == EkxStrCompareAs::StrEquals) return AreSameArguments(pattern, arguments, caseSensitive);
  return KxUtil_MatchStr(pattern, arguments, caseSensitive, compareAs);
}

bool KxUtil_MatchCmdLineArguments(CkxTextView pattern, CkxTextView commandLine, CkxTextView programPath,
                                  bool caseSensitive, EkxStrCompareAs compareAs) {
  return KxEntry(false, [&] {
    if (commandLine.IsNull()) return pattern.IsNull();
    if (!KxWork_Spend(commandLine.Size())) return false;
    const CkxTextView arguments = KxCommandLine_TakeApart(commandLine, programPath).arguments;
    return KxArguments_Match(pattern, arguments, caseSensitive, compareAs);
  });
}
