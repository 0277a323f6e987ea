// Input: UTF-16LE text of three lines, a command line, a program path and a pattern. The last may be missing.
#include <kx_util/kx_util.h>

#include <cstdlib>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Common_CPP/util/text.h"

namespace {

CkxTextView TakeLine(CkxTextView& text) {
  const size_t end = KxText_FindUnit(text, KXW('\n'));
  const CkxTextView line = text.Part(0, end);
  text = text.Part(end == CkxTextView::npos ? text.Size() : end + 1);
  return line;
}

void Require(bool condition) {
  if (!condition) std::abort();
}

const unsigned char* End(CkxTextView view) { return view.Bytes() + view.Size() * sizeof(WCHAR); }

/// An argument list that says the same, spelled with quotes and escapes throughout.
KxWString Quoted(CkxTextView arguments) {
  KxWString all;
  CkxArgumentReader reader(arguments);
  for (KxWString argument; reader.Next(argument);) {
    all += KXW(" \"");
    size_t backslashes = 0;
    for (const WCHAR unit : argument) {
      if (unit == KXW('"')) all.append(backslashes + 1, KXW('\\'));
      backslashes = unit == KXW('\\') ? backslashes + 1 : 0;
      all += unit;
    }
    all.append(backslashes, KXW('\\'));
    all += KXW('"');
  }
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  CkxTextView text = CkxTextView::FromBytes(data, size);
  const CkxTextView line = TakeLine(text);
  const CkxTextView programPath = TakeLine(text);
  const CkxTextView pattern = TakeLine(text);

  for (const CkxTextView path : {CkxTextView(), programPath}) {
    const SkxCommandLine parts = KxCommandLine_TakeApart(line, path);
    Require(parts.program.Bytes() >= line.Bytes() && End(parts.program) <= parts.arguments.Bytes());
    Require(End(parts.arguments) == End(line));

    const KxWString quoted = KXW("x") + Quoted(parts.arguments);
    Require(KxUtil_MatchCmdLineArguments(KxText_Trim(CkxTextView(quoted).Part(1)), quoted, {}, true,
                                         EkxStrCompareAs::StrEquals));
    CkxArgumentReader once(parts.arguments);
    CkxArgumentReader twice(CkxTextView(quoted).Part(1));
    for (KxWString a, b;;) {
      const bool more = once.Next(a);
      Require(more == twice.Next(b));
      if (!more) break;
      Require(a == b);
    }
  }

  Require(KxCommandLine_Split(line).size() <= line.Size() + 1);
  for (uint16_t mode = 0; mode <= 4; ++mode) {
    const auto matches = [&](bool caseSensitive) {
      return KxUtil_MatchCmdLineArguments(pattern, line, programPath, caseSensitive, EkxStrCompareAs{mode});
    };
    Require(matches(false) || !matches(true));
  }
  return 0;
}
