// Input: a byte that selects an interpreter, then its command line in UTF-16LE.
#include <cstdlib>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Agent/engine/kx_util/command/script_host.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr const WCHAR* kHosts[] = {
    KXW("C:\\Windows\\System32\\cmd.exe"),
    KXW("C:\\Windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe"),
    KXW("C:\\Program Files\\PowerShell\\7\\pwsh.exe"),
    KXW("C:\\Windows\\System32\\cscript.exe"),
    KXW("C:\\Windows\\System32\\mshta.exe"),
};
constexpr size_t kCmd = 0;

void Require(bool condition) {
  if (!condition) std::abort();
}

/// Without what interpreters take away or put in between: quotes, backslashes before them, blanks.
KxWString Bones(CkxTextView text) {
  KxWString bones = text.ToString();
  std::erase_if(bones, [](WCHAR unit) { return KxWStringView(KXW("\"'\\ \t")).find(unit) != KxWStringView::npos; });
  return bones;
}

/// Outside of quotes there is nothing at which cmd would begin another command.
bool IsOneCommand(CkxTextView arguments) {
  bool isQuoted = false;
  for (size_t at = 0; at < arguments.Size(); ++at) {
    if (arguments[at] == KXW('"')) isQuoted = !isQuoted;
    const bool isEscaped = at != 0 && arguments[at - 1] == KXW('^');
    if (!isQuoted && !isEscaped && KxWStringView(KXW("&|<>")).find(arguments[at]) != KxWStringView::npos) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  const size_t which = data[0] % std::size(kHosts);
  const CkxTextView line = CkxTextView::FromBytes(data + 1, size - 1);
  const std::optional<SkxHostedScript> script = KxScriptHost_ScriptOf(kHosts[which], line);
  if (!script) return 0;

  // The script's own command line is made of its path, in quotes, and of what ends the line.
  Require(!script->path.empty() && KxText_FindUnit(script->path, KXW('"')) == CkxTextView::npos);
  const SkxCommandLine parts = KxCommandLine_TakeApart(script->commandLine, script->path);
  Require(parts.program.ToString() == KXW("\"") + script->path + KXW("\""));
  const KxWString whole = Bones(line);
  const KxWString path = Bones(script->path);
  const KxWString arguments = Bones(parts.arguments);
  Require(whole.ends_with(arguments));
  Require(KxWStringView(whole).substr(0, whole.size() - arguments.size()).find(path) != KxWStringView::npos);
  if (which == kCmd) Require(IsOneCommand(parts.arguments));

  // A script is no interpreter, and its own command line leads nowhere else.
  Require(!KxScriptHost_ScriptOf(script->path, script->commandLine));
  return 0;
}
