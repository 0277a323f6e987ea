// Scripts behind interpreters. A process that runs one of the system's interpreters is there for a script, and its
// command line says which, in the interpreter's own way:
//
//   cmd.exe                     switches, then /c, /k or /r and a command: [call] SCRIPT arguments
//   powershell.exe, pwsh.exe    switches, then -File SCRIPT arguments, or -Command [&|.] SCRIPT arguments; what is no
//                               switch begins a command of powershell.exe, and is the file of pwsh.exe
//   wscript.exe, cscript.exe    switches SCRIPT arguments
//   mshta.exe                   SCRIPT arguments
//
// Policies give rights by what is found here, and whoever starts a process chooses its command line. Therefore a line
// names a script only when it starts that script and nothing else:
//
//   - The interpreter lies where the system keeps it, on the drive that the system lives on where that is known
//     (IkxMachineFacts::WindowsFolder), else on any drive. Elsewhere anything may bear its name.
//   - The script is of a kind that the interpreter runs by itself. Any other file becomes a process of its own.
//   - There is no second command, no redirection, no expression. Nor is there text that is replaced before it is read
//     (%NAME%), since it may bring such a thing in.
#pragma once

#include <optional>

#include "Common_CPP/util/text_view.h"

struct SkxHostedScript {
  KxWString path;         ///< without quotes, otherwise as it was given: a relative one stays relative
  KxWString commandLine;  ///< the script's own: its path in quotes, then the arguments as the interpreter reads them
};

/// The script that `commandLine` has the interpreter at `programPath` (full) run. Takes linear time.
std::optional<SkxHostedScript> KxScriptHost_ScriptOf(CkxTextView programPath, CkxTextView commandLine);
