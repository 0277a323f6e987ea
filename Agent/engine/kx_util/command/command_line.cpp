#include "Agent/engine/kx_util/command/command_line.h"

#include <algorithm>
#include <utility>

#include "Agent/engine/kx_util/command/command_unit.h"
#include "Agent/engine/kx_util/command/path_unit.h"

namespace {

size_t FindBlank(CkxTextView text, size_t from) {
  while (from < text.Size() && !KxUnit_IsBlank(text[from])) ++from;
  return from;
}

CkxTextView SkipBlanks(CkxTextView text) {
  while (!text.IsEmpty() && KxUnit_IsBlank(text.Front())) text = text.Part(1);
  return text;
}

/// Where the program ends by its own spelling.
size_t ProgramEnd(CkxTextView line) {
  if (line.IsEmpty() || line.Front() != KXW('"')) return FindBlank(line, 0);
  const size_t closing = KxText_FindUnit(line.Part(1), KXW('"'));
  return closing == CkxTextView::npos ? line.Size() : closing + 2;
}

SkxCommandLine CutAt(CkxTextView line, size_t end) { return {line.Part(0, end), SkipBlanks(line.Part(end))}; }

KxWString WithoutQuotes(CkxTextView text) {
  KxWString plain = text.ToString();
  std::erase(plain, KXW('"'));
  return plain;
}

/// Takes "." and ".." off the front of a relative path.
CkxTextView SkipDotFolders(CkxTextView path) {
  for (;;) {
    size_t dots = 0;
    while (dots < path.Size() && path[dots] == KXW('.')) ++dots;
    if (dots == 0 || dots > 2 || dots == path.Size() || !KxPath_IsSeparator(path[dots])) return path;
    path = path.Part(dots + 1);
  }
}

/// Whether `path` is `tail`, or ends with it after a whole component.
bool EndsWithComponents(CkxTextView path, CkxTextView tail) {
  if (tail.IsEmpty() || tail.Size() > path.Size()) return false;
  const size_t before = path.Size() - tail.Size();
  for (size_t at = tail.Size(); at-- > 0;) {
    if (!KxPathUnit_AreSame(path[before + at], tail[at])) return false;
  }
  return before == 0 || KxPath_IsSeparator(path[before - 1]) || KxPath_IsSeparator(tail.Front());
}

bool NamesProgram(CkxTextView spelled, CkxTextView programPath) {
  const KxWString plain = WithoutQuotes(spelled);
  const CkxTextView name = SkipDotFolders(plain);
  const CkxTextView withoutExtension = programPath.Part(0, programPath.Size() - KxPath_Extension(programPath).Size());
  return EndsWithComponents(programPath, name) || EndsWithComponents(withoutExtension, name);
}

/// The end of the shortest beginning of `line` that names the program, npos when none does.
size_t FindProgramEnd(CkxTextView line, CkxTextView programPath) {
  for (size_t end = ProgramEnd(line);; end = FindBlank(line, end + 1)) {
    if (NamesProgram(line.Part(0, end), programPath)) return end;
    if (end >= line.Size() || end >= kxMaxUnquotedProgram) return CkxTextView::npos;
  }
}

}  // namespace

SkxCommandLine KxCommandLine_TakeApart(CkxTextView commandLine, CkxTextView programPath) {
  const CkxTextView line = SkipBlanks(commandLine);
  const size_t end = programPath.IsEmpty() ? CkxTextView::npos : FindProgramEnd(line, programPath);
  if (end != CkxTextView::npos) return CutAt(line, end);
  return CutAt(commandLine, ProgramEnd(commandLine));
}

bool CkxArgumentReader::Next(KxWString& argument) {
  argument.clear();
  if (!Begin()) return false;
  for (WCHAR unit = 0; NextUnit(unit);) argument += unit;
  return true;
}

bool CkxArgumentReader::Begin() {
  _isQuoted = false;
  while (_at < _text.Size() && KxUnit_IsBlank(_text[_at])) ++_at;
  return _at != _text.Size();
}

bool CkxArgumentReader::NextUnit(WCHAR& unit) {
  for (;;) {
    if (_backslashesPending != 0) {
      --_backslashesPending;
      unit = KXW('\\');
      return true;
    }
    if (std::exchange(_quotePending, false)) {
      unit = KXW('"');
      return true;
    }
    if (_at == _text.Size() || (!_isQuoted && KxUnit_IsBlank(_text[_at]))) return false;
    unit = _text[_at];
    if (unit == KXW('\\')) {
      ReadBackslashes();
      continue;
    }
    ++_at;
    if (unit != KXW('"')) return true;
    if (_isQuoted && _at < _text.Size() && _text[_at] == KXW('"')) {
      _quotePending = true;
      ++_at;
    }
    _isQuoted = !_isQuoted;
  }
}

/// A run of backslashes, and the quote behind it when they make that literal.
void CkxArgumentReader::ReadBackslashes() {
  size_t count = 0;
  for (; _at < _text.Size() && _text[_at] == KXW('\\'); ++_at) ++count;
  const bool isBeforeQuote = _at < _text.Size() && _text[_at] == KXW('"');
  _backslashesPending = isBeforeQuote ? count / 2 : count;
  _quotePending = isBeforeQuote && count % 2 != 0;
  if (_quotePending) ++_at;
}

std::vector<KxWString> KxCommandLine_Split(CkxTextView commandLine) {
  std::vector<KxWString> all;
  if (commandLine.IsEmpty()) return all;
  const SkxCommandLine parts = KxCommandLine_TakeApart(commandLine);
  const bool isQuoted = !parts.program.IsEmpty() && parts.program.Front() == KXW('"');
  all.push_back(isQuoted ? WithoutQuotes(parts.program) : parts.program.ToString());
  CkxArgumentReader reader(parts.arguments);
  for (KxWString argument; reader.Next(argument);) all.push_back(argument);
  return all;
}
