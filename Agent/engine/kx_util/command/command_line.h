// Command lines, taken apart as the system's shell does it (CommandLineToArgvW), on every platform alike. The C runtime
// of a program goes by other rules; a policy is written against these.
//
//   the program     begins with `"`: up to the next `"`, whatever follows, backslashes being ordinary units;
//                   otherwise: up to the first blank, quotes being ordinary units. A line that begins with a blank has
//                   an empty program.
//   an argument     ends at a blank that is not quoted. `"` begins and ends a quoted part; `""` within one is a literal
//                   `"` and ends it. Before a `"`, two backslashes are one and a last odd one makes the `"` literal;
//                   elsewhere backslashes are ordinary.
//   blanks          space and tab, nothing else. What is still quoted at the end of the line ends there.
//
//   CkxArgumentReader reader(KxCommandLine_TakeApart(line).arguments);
//   for (KxWString argument; reader.Next(argument);) ...
#pragma once

#include <vector>

#include "Common_CPP/util/text_view.h"

/// A command line in two; both parts are views of it.
struct SkxCommandLine {
  CkxTextView program;    ///< as written, with its quotes
  CkxTextView arguments;  ///< from the first argument to the end of the line
};

/// The longest program without quotes that is looked for beyond its first blank; the system itself seeks no longer one.
inline constexpr size_t kxMaxUnquotedProgram = 260;

/// Takes the program off `commandLine`. `programPath` is the full path of the program that really runs, when it is
/// known: a line such as `C:\Program Files\App\app /q` tells only with its help where the program ends.
///
/// Blanks at the beginning are skipped, then the shortest beginning of the line that names the program is the program:
/// the program by the rules above, or a longer beginning that ends before a blank or with the line. Quotes within it do
/// not count. It names `programPath` when it is that path, or the last components of it (a path relative to some
/// folder, after any "." and ".." that it begins with), with or without the extension; case and the kind of separator
/// do not matter. Only whole components count, so that in `other C:\App\app.exe` the program is `other`, whatever runs.
/// Where nothing names it, the rules above alone decide.
SkxCommandLine KxCommandLine_TakeApart(CkxTextView commandLine, CkxTextView programPath = {});

/// Reads arguments (no program) one by one. Looks into the text, which must outlive it.
class CkxArgumentReader {
 public:
  explicit CkxArgumentReader(CkxTextView arguments) : _text(arguments) {}

  /// The next argument, its quotes and escapes resolved; false at the end.
  bool Next(KxWString& argument);

  /// The same without a copy: goes to the beginning of the next argument, then to unit after unit of it; false at the
  /// end of the text, and of the argument.
  bool Begin();
  bool NextUnit(WCHAR& unit);

  /// What has not been read yet.
  CkxTextView Rest() const { return _text.Part(_at); }

 private:
  void ReadBackslashes();

  CkxTextView _text;
  size_t _at = 0;
  bool _isQuoted = false;
  bool _quotePending = false;  // a literal one, behind the backslashes
  size_t _backslashesPending = 0;
};

/// All arguments, the program first. A line without a unit has none (the system would name the running program).
std::vector<KxWString> KxCommandLine_Split(CkxTextView commandLine);
