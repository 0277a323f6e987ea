// What a process was started for. A program that installs, interprets or loads a file that its command line names is
// there for that file:
//
//   cmd, powershell, pwsh, wscript, cscript, mshta   a script (script_host.h)
//   msiexec                                          a package: /i, /package, /a, /x, /uninstall, /f..., /j... FILE; a
//                                                    patch: /p, /update FILE
//   rundll32                                         a library: FILE,ENTRY; with the entry points of shell32.dll that
//                                                    open one, a control-panel item
//   regsvr32                                         a library: FILE
//   control                                          a control-panel item: FILE.cpl[,...]
//   mmc                                              a console file: FILE.msc
//   java, javaw                                      an archive: -jar FILE
//
// The rules of script_host.h hold for all of them: the system's own programs count only where the system keeps them
// (java has no such place), and a line names a file only when it is that file that runs and no other that the line
// brings in, such as a transform, a second library or an agent.
#pragma once

#include <optional>

#include "Common_CPP/util/text_view.h"

enum class EkxCarriedFile : unsigned char { Script, Package, Library, PanelItem, Console, Archive };

struct SkxCarriedFile {
  EkxCarriedFile kind = EkxCarriedFile::Script;
  KxWString path;         ///< without quotes, otherwise as it was given: a relative one stays relative
  KxWString commandLine;  ///< of a script: its own
  bool isSought = false;  ///< not a full path, and the program looks into its own folder first, then elsewhere
};

/// What `commandLine` has the program at `programPath` (full) run. Takes linear time.
std::optional<SkxCarriedFile> KxCarriedFile_Of(CkxTextView programPath, CkxTextView commandLine);
