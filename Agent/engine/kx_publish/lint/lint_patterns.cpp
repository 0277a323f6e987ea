#include "Agent/engine/kx_publish/lint/lint_patterns.h"

#include <kx_util/target_info_file.h>

#include <cstdio>

#include "Agent/engine/kx_util/command/wildcard.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

using Faults = std::vector<SkxPatternFault>;

bool IsLetter(WCHAR unit) { return (unit >= KXW('a') && unit <= KXW('z')) || (unit >= KXW('A') && unit <= KXW('Z')); }
bool IsDigit(WCHAR unit) { return unit >= KXW('0') && unit <= KXW('9'); }

std::string Quoted(CkxTextView text) { return KxText_PrintableQuoted(KxText_ToUtf8(text)); }

/// "C:\temp", written so in JSON, has a tab.
void AddControlCharacter(CkxTextView pattern, Faults& faults) {
  for (size_t at = 0; at < pattern.Size(); ++at) {
    if (pattern[at] >= KXW(' ') && pattern[at] != 0x7F) continue;
    char code[8];
    std::snprintf(code, sizeof(code), "U+%04X", static_cast<unsigned>(pattern[at]));
    faults.push_back({"control-character",
                      std::string("has the control character ") + code + ": a backslash in JSON is written twice"});
    return;
  }
}

/// The first "%NAME%"; empty for none.
CkxTextView VariableIn(CkxTextView pattern) {
  for (size_t begin = 0; begin < pattern.Size(); ++begin) {
    if (pattern[begin] != KXW('%')) continue;
    size_t end = begin + 1;
    const auto isOfName = [&](WCHAR unit) {
      return IsLetter(unit) ||
             (end > begin + 1 && (IsDigit(unit) || unit == KXW('_') || unit == KXW('(') || unit == KXW(')')));
    };
    while (end < pattern.Size() && isOfName(pattern[end])) ++end;
    if (end < pattern.Size() && end > begin + 1 && pattern[end] == KXW('%'))
      return pattern.Part(begin, end + 1 - begin);
  }
  return {};
}

void AddVariable(CkxTextView pattern, Faults& faults) {
  const CkxTextView variable = VariableIn(pattern);
  if (variable.IsEmpty()) return;
  faults.push_back({"variable", Quoted(variable) + " stands for itself: no variable is replaced in patterns"});
}

/// Letters that a backslash makes something of; before any other it does nothing, and nobody writes it for that.
bool IsAbbreviation(WCHAR letter) { return KxText_FindUnit(KXW("abcdhnqwz"), letter) != CkxTextView::npos; }

/// An expression taken apart far enough to see what is written as in other dialects.
class CkxDialectScan {
 public:
  CkxDialectScan(CkxTextView pattern, Faults& faults) : _pattern(pattern), _faults(faults) {}

  void Run() {
    for (; _at < _pattern.Size(); ++_at) {
      const WCHAR unit = _pattern[_at];
      if (unit == KXW('\\')) {
        Escape();
      } else if (_inClass) {
        _inClass = unit != KXW(']');
      } else if (unit == KXW('[')) {
        _inClass = true;
      } else if (unit == KXW('{')) {
        Braces();
      } else if (unit == KXW('(') && Next() == KXW('?')) {
        Tell(2, "means nothing here: ( only groups, and !x is \"not followed by x\"");
      }
    }
  }

 private:
  WCHAR Next() const { return _at + 1 < _pattern.Size() ? _pattern[_at + 1] : WCHAR{}; }

  void Escape() {
    const WCHAR letter = Next();
    if (IsLetter(letter) && _inClass) {
      Tell(2, "is the letter alone, as everything in brackets");
    } else if (IsLetter(letter) && !IsAbbreviation(letter)) {
      Tell(2, "is the letter alone; what a backslash makes something of is \\a \\b \\c \\d \\h \\n \\q \\w \\z");
    }
    ++_at;  // what it escapes begins nothing
  }

  void Braces() {
    size_t end = _at + 1;
    while (end < _pattern.Size() && (IsDigit(_pattern[end]) || _pattern[end] == KXW(','))) ++end;
    if (end == _at + 1 || end == _pattern.Size() || _pattern[end] != KXW('}')) return;
    Tell(end + 1 - _at, "is no count of repeats but a match group: these digits are what it matches");
  }

  /// Once for each piece that is the same.
  void Tell(size_t size, const char* meaning) {
    std::string message = Quoted(_pattern.Part(_at, size)) + " " + meaning;
    for (const SkxPatternFault& told : _faults) {
      if (told.message == message) return;
    }
    _faults.push_back({"regexp-dialect", std::move(message)});
  }

  const CkxTextView _pattern;
  Faults& _faults;
  size_t _at = 0;
  bool _inClass = false;
};

/// A folder may well be called "node.js", but hardly "tool.exe".
bool IsProgram(EkxPolicyTarget type) {
  return type == EkxPolicyTarget::Executable || type == EkxPolicyTarget::Dll || type == EkxPolicyTarget::Msi;
}

bool HasSeparator(CkxTextView pattern) {
  for (size_t at = 0; at < pattern.Size(); ++at) {
    if (KxPath_IsSeparator(pattern[at])) return true;
  }
  return false;
}

}  // namespace

Faults KxLint_TextPattern(CkxTextView pattern, EkxStrCompareAs compareAs) {
  Faults faults;
  AddControlCharacter(pattern, faults);
  if (compareAs == EkxStrCompareAs::StrRegExp) CkxDialectScan(pattern, faults).Run();
  return faults;
}

/// In an expression a backslash is no separator.
Faults KxLint_NamePattern(CkxTextView pattern, EkxStrCompareAs compareAs) {
  Faults faults = KxLint_TextPattern(pattern, compareAs);
  AddVariable(pattern, faults);
  if (compareAs != EkxStrCompareAs::StrRegExp && HasSeparator(pattern)) {
    faults.push_back(
        {"path-in-name", "a file's name has no folder before it, so nothing matches; the folder is for the location"});
  }
  return faults;
}

Faults KxLint_LocationPattern(CkxTextView pattern) {
  Faults faults;
  AddControlCharacter(pattern, faults);
  AddVariable(pattern, faults);
  if (pattern.IsEmpty()) return faults;
  const WCHAR last = pattern.Back();
  if (!KxWildcard_IsPattern(pattern)) {
    if (IsProgram(CkxTargetInfoFile::TypeOfPath(pattern))) {
      faults.push_back(
          {"file-in-location", "looks like a file: a location is the folder, and the name is for the file name"});
    }
  } else if (last != KXW('*') && last != KXW('?') && !KxPath_IsSeparator(last)) {
    faults.push_back({"file-in-location",
                      "can match nothing: with wildcards the folder is compared up to its last backslash, so the "
                      "pattern ends in one, or in *"});
  }
  return faults;
}
