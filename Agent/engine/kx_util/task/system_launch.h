// What the system's own programs are asked to show: a process, a file, a request or a component in the terms in which
// the catalogue of administrative tasks names launches.
//
//   C:\Windows\System32\control.exe    control "sysdm.cpl",,3                                Panel    sysdm.cpl      3
//   C:\Windows\System32\rundll32.exe   rundll32 shell32,Control_RunDLL sysdm.cpl @0,3        the same
//   C:\Windows\SysWOW64\mmc.exe        mmc.exe C:\Windows\System32\services.msc /s           Console  services.msc
//   C:\Windows\explorer.exe            explorer shell:::{8E908FC9-...}                       ShellItem  {8E908FC9-...}
//   C:\Windows\System32\msconfig.exe   msconfig -4                                           Program  msconfig.exe  -4
//   D:\Tools\mmc.exe                   mmc services.msc                                      nothing
//
// Each program is read as it reads its own command line. Where several readings are possible the launch is nothing:
// a policy that elevates a task must not elevate what somebody else put beside it.
#pragma once

#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include "Agent/engine/kx_util/command/command_line.h"

enum class EkxLaunchForm : uint8_t {
  None,
  Program,  ///< a program; detail: its arguments
  Console,  ///< mmc.exe with a console file
  Panel,    ///< control.exe, or rundll32.exe with shell32.dll, with a control-panel file; detail: the number of the tab
  PanelName,  ///< control.exe /name with a canonical name
  PanelWord,  ///< control.exe with one of its words
  ShellItem,  ///< the class of a folder or item of the shell: explorer.exe, control.exe /name, a request
  Library,    ///< rundll32.exe with "library,entry point"; detail: the arguments behind
  Address,    ///< explorer.exe or a request with an address, without its query
  ComClass,   ///< a class, elevated
};

/// One way of launching, as the catalogue names it. Texts are compared without regard to case.
struct SkxLaunch {
  EkxLaunchForm form = EkxLaunchForm::None;
  const WCHAR* name = nullptr;
  const WCHAR* detail = nullptr;  ///< null: whatever it is. Arguments stand with one blank between them.
};

class CkxSystemLaunch {
 public:
  explicit CkxSystemLaunch(const CkxTargetInfoProcess& process);

  /// The file as such: started without arguments, by whatever starts files of its type.
  explicit CkxSystemLaunch(const CkxTargetInfoFile& file);
  explicit CkxSystemLaunch(const CkxTargetInfoElevator& request);
  explicit CkxSystemLaunch(const CkxTargetInfoUacCOM& component);
  CkxSystemLaunch(const CkxSystemLaunch&) = delete;
  CkxSystemLaunch& operator=(const CkxSystemLaunch&) = delete;

  bool Is(const SkxLaunch& launch) const;

 private:
  CkxTextView SetFile(const IkxPathProvider& file);
  CkxTextView RequestedName(CkxTextView argument);

  void ReadConsole(CkxArgumentReader& arguments);
  void ReadControl(CkxArgumentReader& arguments);
  void ReadRunDll(CkxArgumentReader& arguments);
  void ReadExplorer(CkxArgumentReader& arguments);
  void ReadPanel(CkxArgumentReader& arguments);
  void ReadAddress(CkxTextView address);

  bool IsForm(EkxLaunchForm form) const;
  bool HasDetail(CkxTextView detail) const;

  EkxLaunchForm _form = EkxLaunchForm::None;
  bool _isFile = false;  // then the form is whichever starts such a file
  KxWString _path;       // the file's, where it was spelled in a roundabout way
  KxWString _text;       // what arguments say, quotes resolved
  KxWString _requested;  // a path in them, where that was spelled in a roundabout way
  CkxTextView _windows;  // where the system lives: of what is asked for, every path leads there or is not the system's
  CkxTextView _name;     // of the description, or of one of the texts above
  CkxTextView _detail;   // null: unknown. Arguments of a program as they were written
};
