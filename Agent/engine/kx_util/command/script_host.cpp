#include "Agent/engine/kx_util/command/script_host.h"

#include <algorithm>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Agent/engine/kx_util/command/command_unit.h"
#include "Agent/engine/kx_util/command/system_place.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/text.h"

namespace {

// The extensions of what each interpreter runs by itself.
constexpr const WCHAR* kBatchFiles = KXW(".bat/.cmd");
constexpr const WCHAR* kPowerShellFiles = KXW(".ps1");
constexpr const WCHAR* kScriptHostFiles = KXW(".js/.jse/.vbe/.vbs/.wsf/.wsh");
constexpr const WCHAR* kHtmlApplications = KXW(".hta");

bool HasExtension(CkxTextView path, const WCHAR* extensions) {
  const CkxTextView extension = KxPath_Extension(path);
  return KxText_AnyField(extensions, KXW('/'),
                         [&](CkxTextView known) { return KxText_Equals(extension, known, false); });
}

bool IsControl(WCHAR unit) { return unit < KXW(' ') && unit != KXW('\t'); }

bool HasControls(KxWStringView text) { return std::any_of(text.begin(), text.end(), IsControl); }

/// What no file name can hold.
bool HasForbiddenUnits(KxWStringView path) {
  return std::any_of(path.begin(), path.end(),
                     [](WCHAR unit) { return unit < KXW(' ') || KxUnit_IsOneOf(unit, KXW("\"<>|*")); });
}

/// Puts the path, in quotes, in place of what is before the arguments in the command line.
bool Finish(SkxHostedScript& script, size_t arguments) {
  if (HasForbiddenUnits(script.path)) return false;
  KxWString& line = script.commandLine;
  while (arguments < line.size() && KxUnit_IsBlank(line[arguments])) ++arguments;
  const WCHAR* const closing = arguments < line.size() ? KXW("\" ") : KXW("\"");
  line.replace(0, arguments, KXW('"') + script.path + closing);
  return true;
}

bool FinishWith(SkxHostedScript& script, CkxTextView arguments) {
  script.commandLine = arguments.ToString();
  return Finish(script, 0);
}

// --- cmd.exe ---

bool EndsWordOfCmd(WCHAR unit) { return KxUnit_IsOneOf(unit, KXW(" \t,;=\v\f\u00A0")); }
bool EndsCommandOfCmd(WCHAR unit) { return KxUnit_IsOneOf(unit, KXW("&|<>")); }

struct CmdCommand {
  CkxTextView text;
  bool alwaysStripsQuotes = false;
  bool replacesLate = false;  ///< !NAME!, after the words have been told apart
};

/// Reads the switches up to the one that a command follows, which need not be set apart from it.
bool FindCommandOfCmd(CkxTextView arguments, CmdCommand& command) {
  for (size_t at = 0;;) {
    while (at < arguments.Size() && EndsWordOfCmd(arguments[at])) ++at;
    if (at + 1 >= arguments.Size() || arguments[at] != KXW('/')) return false;
    const WCHAR letter = KxText_Fold(arguments[at + 1]);
    at += 2;
    if (KxUnit_IsOneOf(letter, KXW("CKR"))) {
      command.text = arguments.Part(at);
      return true;
    }
    if (letter == KXW('S')) command.alwaysStripsQuotes = true;
    if (letter == KXW('V')) command.replacesLate = true;
    while (at < arguments.Size() && arguments[at] != KXW('/') && !EndsWordOfCmd(arguments[at])) ++at;
  }
}

size_t FirstWordOfCmd(CkxTextView text) {
  size_t end = 0;
  while (end < text.Size() && !EndsWordOfCmd(text[end])) ++end;
  return end;
}

/// Takes off the quotes that cmd takes off: the first and the last one of a command that begins with one, unless the
/// only two are around the name of a program that has blanks. False when files that are there or not decide which:
/// "a.bat b.bat", "a.bat x\..\b".
bool StripQuotesOfCmd(KxWString& text, bool always) {
  text.erase(0, static_cast<size_t>(std::find_if_not(text.begin(), text.end(), KxUnit_IsBlank) - text.begin()));
  if (text.empty() || text.front() != KXW('"')) return true;
  const size_t last = text.rfind(KXW('"'));
  const KxWStringView quoted = KxWStringView(text).substr(1, last == 0 ? 0 : last - 1);
  const bool mayBeName = !always && std::any_of(quoted.begin(), quoted.end(), KxUnit_IsBlank) &&
                         quoted.find_first_of(KXW("\"&<>()@^|")) == KxWStringView::npos;
  if (mayBeName) {
    const CkxTextView name = quoted;
    const bool isScript = HasExtension(name, kBatchFiles);
    const bool beginsWithScript = HasExtension(name.Part(0, FirstWordOfCmd(name)), kBatchFiles);
    if (beginsWithScript && (isScript || KxPath_Normalized(name))) return false;
    if (isScript) return true;
  }
  if (last != 0) text.erase(last, 1);
  text.erase(0, 1);
  return true;
}

/// The next word of a command: its end; what it is without quotes goes to `word`.
size_t ReadWordOfCmd(CkxTextView text, size_t at, KxWString& word) {
  word.clear();
  for (bool isQuoted = false; at < text.Size(); ++at) {
    const WCHAR unit = text[at];
    if (unit == KXW('"')) {
      isQuoted = !isQuoted;
      continue;
    }
    if (!isQuoted && (EndsWordOfCmd(unit) || EndsCommandOfCmd(unit) || KxUnit_IsOneOf(unit, KXW("/^")))) break;
    word += unit;
  }
  return at;
}

bool HasOneCommandOfCmd(CkxTextView text, size_t at) {
  for (bool isQuoted = false; at < text.Size(); ++at) {
    const WCHAR unit = text[at];
    if (unit == KXW('"')) isQuoted = !isQuoted;
    if (isQuoted) continue;
    if (EndsCommandOfCmd(unit)) return false;
    if (unit == KXW('^')) ++at;
  }
  return true;
}

bool ReadCmd(CkxTextView arguments, SkxHostedScript& script) {
  CmdCommand command;
  if (!FindCommandOfCmd(arguments, command)) return false;
  KxWString& text = script.commandLine;
  text = command.text.ToString();
  if (HasControls(text) || std::count(text.begin(), text.end(), KXW('%')) > 1) return false;
  if (!StripQuotesOfCmd(text, command.alwaysStripsQuotes)) return false;

  size_t begin = 0;
  size_t end = 0;
  do {
    begin = end;
    while (begin < text.size() && (EndsWordOfCmd(text[begin]) || text[begin] == KXW('@'))) ++begin;
    end = ReadWordOfCmd(text, begin, script.path);
  } while (KxText_Equals(CkxTextView(text).Part(begin, end - begin), KXW("call"), false));

  if (!HasExtension(script.path, kBatchFiles) || (end < text.size() && text[end] == KXW('^'))) return false;
  if (command.replacesLate && script.path.find(KXW('!')) != KxWString::npos) return false;
  return HasOneCommandOfCmd(text, end) && Finish(script, end);
}

// --- powershell.exe, pwsh.exe ---

enum EkxPowerShell : unsigned { kWindowsPowerShell = 1, kPwsh = 2, kBothPowerShells = 3 };

enum class EkxSwitch { None, Alone, WithValue, File, Command };

struct SwitchOfPowerShell {
  KxWStringView name;
  size_t least;  ///< units of its shortest abbreviation
  EkxSwitch meaning;
  unsigned known;  ///< to which of the two
};

/// Those that a script can follow. Any other is taken for what is no switch at all, and names no script.
constexpr SwitchOfPowerShell kSwitches[] = {
    {KXW("command"), 1, EkxSwitch::Command, kBothPowerShells},
    {KXW("configurationfile"), 17, EkxSwitch::WithValue, kPwsh},
    {KXW("configurationname"), 6, EkxSwitch::WithValue, kBothPowerShells},
    {KXW("custompipename"), 3, EkxSwitch::WithValue, kPwsh},
    {KXW("ea"), 2, EkxSwitch::WithValue, kBothPowerShells},
    {KXW("encodedarguments"), 8, EkxSwitch::WithValue, kBothPowerShells},
    {KXW("ep"), 2, EkxSwitch::WithValue, kBothPowerShells},
    {KXW("executionpolicy"), 2, EkxSwitch::WithValue, kBothPowerShells},
    {KXW("file"), 1, EkxSwitch::File, kBothPowerShells},
    {KXW("if"), 2, EkxSwitch::WithValue, kBothPowerShells},
    {KXW("importsystemmodules"), 3, EkxSwitch::Alone, kWindowsPowerShell},
    {KXW("inputformat"), 1, EkxSwitch::WithValue, kWindowsPowerShell},
    {KXW("inputformat"), 3, EkxSwitch::WithValue, kPwsh},
    {KXW("interactive"), 1, EkxSwitch::Alone, kPwsh},
    {KXW("login"), 1, EkxSwitch::Alone, kPwsh},
    {KXW("mta"), 3, EkxSwitch::Alone, kBothPowerShells},
    {KXW("noexit"), 3, EkxSwitch::Alone, kBothPowerShells},
    {KXW("nologo"), 3, EkxSwitch::Alone, kBothPowerShells},
    {KXW("noninteractive"), 4, EkxSwitch::Alone, kBothPowerShells},
    {KXW("noprofile"), 3, EkxSwitch::Alone, kBothPowerShells},
    {KXW("noprofileloadtime"), 17, EkxSwitch::Alone, kPwsh},
    {KXW("of"), 2, EkxSwitch::WithValue, kBothPowerShells},
    {KXW("outputformat"), 1, EkxSwitch::WithValue, kBothPowerShells},
    {KXW("psconsolefile"), 1, EkxSwitch::WithValue, kWindowsPowerShell},
    {KXW("settingsfile"), 8, EkxSwitch::WithValue, kPwsh},
    {KXW("sta"), 3, EkxSwitch::Alone, kBothPowerShells},
    {KXW("version"), 1, EkxSwitch::WithValue, kWindowsPowerShell},
    {KXW("wd"), 2, EkxSwitch::WithValue, kPwsh},
    {KXW("windowstyle"), 1, EkxSwitch::WithValue, kBothPowerShells},
    {KXW("workingdirectory"), 2, EkxSwitch::WithValue, kPwsh},
};

bool IsDash(WCHAR unit) { return unit == KXW('-') || (unit >= 0x2013 && unit <= 0x2015); }

EkxSwitch SwitchOf(CkxTextView argument, EkxPowerShell which) {
  if (argument.IsEmpty() || (!IsDash(argument.Front()) && argument.Front() != KXW('/'))) return EkxSwitch::None;
  CkxTextView name = argument.Part(1);
  if (!name.IsEmpty() && IsDash(name.Front()) && name.Front() == argument.Front()) name = name.Part(1);
  for (const SwitchOfPowerShell& known : kSwitches) {
    const bool fits = (known.known & which) != 0 && name.Size() >= known.least;
    if (fits && KxText_StartsWith(known.name, name, false)) return known.meaning;
  }
  return EkxSwitch::None;
}

/// All typographic quotes are quotes to PowerShell; a command with them is left alone.
bool IsTypographicQuote(WCHAR unit) { return (unit >= 0x2018 && unit <= 0x201B) || (unit >= 0x201C && unit <= 0x201E); }

/// A path in single quotes, a doubled one being one; in double quotes, with nothing in it that would be replaced; or
/// up to a blank, with nothing in it that has a meaning. Its end, npos when it is none of these.
size_t ReadPathOfPowerShell(CkxTextView text, size_t at, KxWString& path) {
  path.clear();
  const WCHAR quote = text[at];
  if (quote != KXW('\'') && quote != KXW('"')) {
    for (; at < text.Size() && !KxText_IsSpace(text[at]); ++at) {
      if (KxUnit_IsOneOf(text[at], KXW("'\"`$&|;,<>(){}[]@#*?"))) return CkxTextView::npos;
      path += text[at];
    }
    return at;
  }
  for (++at; at < text.Size(); ++at) {
    const bool isDoubled = text[at] == quote && at + 1 < text.Size() && text[at + 1] == quote;
    if (text[at] == quote && !isDoubled) return at + 1;
    if (KxUnit_IsOneOf(text[at], quote == KXW('"') ? KXW("`$[*?") : KXW("[*?"))) return CkxTextView::npos;
    path += text[at];
    if (isDoubled) ++at;
  }
  return CkxTextView::npos;
}

/// Whether the arguments end with the text, and none of them is an expression that does something by itself.
bool HasOneCommandOfPowerShell(CkxTextView text, size_t at) {
  WCHAR quote = 0;
  for (; at < text.Size(); ++at) {
    const WCHAR unit = text[at];
    if (quote == KXW('\'') && unit != quote) continue;
    if (unit == quote) {
      quote = 0;
    } else if (quote == 0 && (unit == KXW('\'') || unit == KXW('"'))) {
      quote = unit;
    } else if (KxUnit_IsOneOf(unit, quote == 0 ? KXW("`&|;<>(){}") : KXW("`("))) {
      return false;
    }
  }
  return quote == 0;
}

/// All arguments, joined by blanks, are one text; which is a command.
bool ReadCommandOfPowerShell(CkxTextView arguments, SkxHostedScript& script) {
  KxWString& text = script.commandLine;
  text.clear();
  for (CkxArgumentReader reader(arguments); reader.Next(script.path);) {
    if (!text.empty()) text += KXW(' ');
    text += script.path;
  }
  if (HasControls(text) || std::any_of(text.begin(), text.end(), IsTypographicQuote)) return false;

  size_t at = 0;
  const auto skipBlanks = [&] {
    while (at < text.size() && KxUnit_IsBlank(text[at])) ++at;
    return at < text.size();
  };
  if (!skipBlanks()) return false;
  const WCHAR next = at + 1 < text.size() ? text[at + 1] : WCHAR{};
  const bool isCalled = text[at] == KXW('&') || (text[at] == KXW('.') && KxUnit_IsOneOf(next, KXW(" \t'\"")));
  if (isCalled) {
    ++at;
    if (!skipBlanks()) return false;
  } else if (KxUnit_IsOneOf(text[at], KXW("'\"-+!"))) {
    return false;  // a text, or a calculation
  }
  const size_t end = ReadPathOfPowerShell(text, at, script.path);
  if (end == CkxTextView::npos || (end < text.size() && !KxUnit_IsBlank(text[end]))) return false;
  return HasExtension(script.path, kPowerShellFiles) && HasOneCommandOfPowerShell(text, end) && Finish(script, end);
}

bool ReadPowerShell(CkxTextView arguments, EkxPowerShell which, SkxHostedScript& script) {
  CkxArgumentReader reader(arguments);
  for (;;) {
    const CkxTextView rest = reader.Rest();
    if (!reader.Next(script.path)) return false;
    const EkxSwitch meaning = SwitchOf(script.path, which);
    if (meaning == EkxSwitch::Command) return ReadCommandOfPowerShell(reader.Rest(), script);
    if (meaning == EkxSwitch::None && which == kWindowsPowerShell) return ReadCommandOfPowerShell(rest, script);
    if (meaning == EkxSwitch::File || meaning == EkxSwitch::WithValue) reader.Next(script.path);
    if (meaning == EkxSwitch::File || meaning == EkxSwitch::None) break;
  }
  return HasExtension(script.path, kPowerShellFiles) && FinishWith(script, reader.Rest());
}

bool ReadWindowsPowerShell(CkxTextView arguments, SkxHostedScript& script) {
  return ReadPowerShell(arguments, kWindowsPowerShell, script);
}
bool ReadPwsh(CkxTextView arguments, SkxHostedScript& script) { return ReadPowerShell(arguments, kPwsh, script); }

// --- wscript.exe, cscript.exe ---

/// //E:engine. One slash, or a dash, is enough for a switch before the script; arguments of the script have one.
bool NamesEngine(CkxTextView argument) {
  const size_t marks = KxText_StartsWith(argument, KXW("//"), true) ? 2 : 1;
  return KxText_StartsWith(argument.Part(marks), KXW("E:"), false);
}

bool ReadScriptHost(CkxTextView arguments, SkxHostedScript& script) {
  CkxArgumentReader reader(arguments);
  bool namesEngine = false;
  for (;;) {
    if (!reader.Next(script.path)) return false;
    if (script.path.empty() || !KxUnit_IsOneOf(script.path.front(), KXW("/-"))) break;
    namesEngine = namesEngine || NamesEngine(script.path);
  }
  const CkxTextView rest = reader.Rest();
  while (reader.Next(script.commandLine)) {
    if (KxText_StartsWith(script.commandLine, KXW("//E:"), false)) namesEngine = true;
  }
  const bool isScript = namesEngine ? !script.path.empty() : HasExtension(script.path, kScriptHostFiles);
  return isScript && FinishWith(script, rest);
}

// --- mshta.exe ---

/// "http:", "javascript:": more than a drive letter before a colon.
bool HasScheme(CkxTextView address) {
  size_t at = 0;
  while (at < address.Size() && address[at] != KXW(':') && !KxPath_IsSeparator(address[at])) ++at;
  return at > 1 && at < address.Size() && address[at] == KXW(':');
}

bool ReadHtmlHost(CkxTextView arguments, SkxHostedScript& script) {
  CkxArgumentReader reader(arguments);
  if (!reader.Next(script.path) || HasScheme(script.path)) return false;
  return HasExtension(script.path, kHtmlApplications) && FinishWith(script, reader.Rest());
}

// --- all of them ---

struct Host {
  const WCHAR* place;  ///< "*" is for the versions
  bool (*read)(CkxTextView arguments, SkxHostedScript& script);
};

constexpr Host kHosts[] = {
    {KXW("?:\\Windows\\System32\\cmd.exe"), ReadCmd},
    {KXW("?:\\Windows\\SysWOW64\\cmd.exe"), ReadCmd},
    {KXW("?:\\Windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe"), ReadWindowsPowerShell},
    {KXW("?:\\Windows\\SysWOW64\\WindowsPowerShell\\v1.0\\powershell.exe"), ReadWindowsPowerShell},
    {KXW("?:\\Program Files\\PowerShell\\*\\pwsh.exe"), ReadPwsh},
    {KXW("?:\\Program Files (x86)\\PowerShell\\*\\pwsh.exe"), ReadPwsh},
    {KXW("?:\\Program Files\\WindowsApps\\Microsoft.PowerShell*\\pwsh.exe"), ReadPwsh},
    {KXW("?:\\Windows\\System32\\wscript.exe"), ReadScriptHost},
    {KXW("?:\\Windows\\SysWOW64\\wscript.exe"), ReadScriptHost},
    {KXW("?:\\Windows\\System32\\cscript.exe"), ReadScriptHost},
    {KXW("?:\\Windows\\SysWOW64\\cscript.exe"), ReadScriptHost},
    {KXW("?:\\Windows\\System32\\mshta.exe"), ReadHtmlHost},
    {KXW("?:\\Windows\\SysWOW64\\mshta.exe"), ReadHtmlHost},
};

const Host* FindHost(CkxTextView programPath) {
  const CkxSystemPlace program(programPath);
  const auto host =
      std::find_if(std::begin(kHosts), std::end(kHosts), [&](const Host& known) { return program.Is(known.place); });
  return host != std::end(kHosts) ? host : nullptr;
}

}  // namespace

std::optional<SkxHostedScript> KxScriptHost_ScriptOf(CkxTextView programPath, CkxTextView commandLine) {
  const Host* const host = FindHost(programPath);
  if (host == nullptr) return std::nullopt;
  SkxHostedScript script;
  if (!host->read(KxCommandLine_TakeApart(commandLine, programPath).arguments, script)) return std::nullopt;
  return script;
}
