#include "Agent/engine/kx_util/task/system_launch.h"

#include <algorithm>

#include "Agent/engine/kx_util/command/path_unit.h"
#include "Common_CPP/file/machine_facts.h"

namespace {

constexpr const WCHAR* kNoDetail = KXW("");  // known to be none

constexpr const WCHAR* kSystemFolders[] = {KXW("\\System32\\"), KXW("\\SysWOW64\\"), KXW("\\")};

/// Entry points of shell32.dll that open the control-panel file behind them; by number where one system calls another.
constexpr const WCHAR* kPanelEntries[] = {KXW("shell32.dll,Control_RunDLL"), KXW("shell32.dll,Control_RunDLLAsUser"),
                                          KXW("shell32.dll,#44")};

bool AreSameText(CkxTextView a, CkxTextView b) { return KxText_Equals(a, b, false); }

/// Takes `start` off the beginning of a path.
bool Skip(CkxTextView& path, CkxTextView start) {
  if (path.Size() < start.Size()) return false;
  for (size_t i = 0; i < start.Size(); ++i) {
    if (!KxPathUnit_AreSame(path[i], start[i])) return false;
  }
  path = path.Part(start.Size());
  return true;
}

bool IsBareName(CkxTextView path) { return KxPath_FileName(path).Size() == path.Size(); }

/// `path` without detours. `storage` is for one that has to be written anew, and may be what `path` looks into.
CkxTextView Normalized(CkxTextView path, KxWString& storage) {
  std::optional<KxWString> normalized = KxPath_Normalized(path);
  if (!normalized) return path;
  storage = std::move(*normalized);
  return storage;
}

/// The Windows folder that `path` leads into, by its own spelling; no value when it leads into none.
CkxTextView WindowsFolderOf(CkxTextView path) {
  const CkxTextView known = KxMachine_Facts().WindowsFolder();
  CkxTextView rest = path;
  if (!known.IsEmpty()) return Skip(rest, known) ? path.Part(0, known.Size()) : CkxTextView();
  if (KxPath_DriveLetter(path) == 0) return {};
  rest = path.Part(2);
  return Skip(rest, KXW("\\Windows")) ? path.Part(0, path.Size() - rest.Size()) : CkxTextView();
}

/// The name of a file in one of the system's folders below `windows`; no value for any other path.
CkxTextView SystemFileName(CkxTextView path, CkxTextView windows) {
  if (windows.IsEmpty() || !Skip(path, windows)) return {};
  for (const WCHAR* folder : kSystemFolders) {
    if (Skip(path, folder)) return IsBareName(path) ? path : CkxTextView();
  }
  return {};
}

/// The arguments that are left.
KxWString Join(CkxArgumentReader& arguments, WCHAR separator) {
  KxWString joined;
  if (!arguments.Next(joined)) return joined;
  for (KxWString argument; arguments.Next(argument);) {
    joined += separator;
    joined += argument;
  }
  return joined;
}

/// Takes what is before the first comma off `text`.
CkxTextView NextField(CkxTextView& text) {
  const size_t comma = KxText_FindUnit(text, KXW(','));
  const CkxTextView field = text.Part(0, comma);
  text = comma == CkxTextView::npos ? CkxTextView() : text.Part(comma + 1);
  return field;
}

bool HasExtension(CkxTextView file) { return !KxPath_Extension(file).IsEmpty(); }

bool IsSwitch(const KxWString& argument) {
  return !argument.empty() && (argument.front() == KXW('/') || argument.front() == KXW('-'));
}

}  // namespace

CkxSystemLaunch::CkxSystemLaunch(const CkxTargetInfoProcess& process) {
  struct Host {
    const WCHAR* program;
    void (CkxSystemLaunch::*read)(CkxArgumentReader& arguments);
  };
  constexpr Host kHosts[] = {{KXW("mmc.exe"), &CkxSystemLaunch::ReadConsole},
                             {KXW("control.exe"), &CkxSystemLaunch::ReadControl},
                             {KXW("rundll32.exe"), &CkxSystemLaunch::ReadRunDll},
                             {KXW("explorer.exe"), &CkxSystemLaunch::ReadExplorer}};

  const CkxTextView program = SetFile(process);
  if (program.IsEmpty()) return;
  // The system's folders have no blank in their names, so where the program ends needs no path to tell.
  const CkxTextView commandLine = KxText_Trim(process.CommandLine());
  const CkxTextView written = KxCommandLine_TakeApart(commandLine).arguments;
  for (const Host& host : kHosts) {
    if (!AreSameText(program, host.program)) continue;
    CkxArgumentReader arguments(written);
    (this->*host.read)(arguments);
    return;
  }
  _form = EkxLaunchForm::Program;
  _name = program;
  if (!commandLine.IsEmpty()) _detail = written.IsEmpty() ? kNoDetail : written;
}

CkxSystemLaunch::CkxSystemLaunch(const CkxTargetInfoFile& file)
    : _isFile(true), _name(SetFile(file)), _detail(kNoDetail) {}

CkxSystemLaunch::CkxSystemLaunch(const CkxTargetInfoElevator& request) {
  if (request.RequestKind() == CkxTargetInfoElevator::kUrlRequest) ReadAddress(request.Url());
}

CkxSystemLaunch::CkxSystemLaunch(const CkxTargetInfoUacCOM& component)
    : _form(EkxLaunchForm::ComClass), _name(component.ClassId()) {}

/// Learns from the file's path where the system lives; its name when it is the system's own.
CkxTextView CkxSystemLaunch::SetFile(const IkxPathProvider& file) {
  const CkxTextView path = Normalized(file.GetPath(), _path);
  _windows = WindowsFolderOf(path);
  return SystemFileName(path, _windows);
}

/// The name of a file that an argument asks for. The system's programs lie where its files do, and a name alone is
/// looked for there first.
CkxTextView CkxSystemLaunch::RequestedName(CkxTextView argument) {
  return IsBareName(argument) ? argument : SystemFileName(Normalized(argument, _requested), _windows);
}

/// One console file among switches: a second one might be what is shown.
void CkxSystemLaunch::ReadConsole(CkxArgumentReader& arguments) {
  bool isFound = false;
  for (KxWString argument; arguments.Next(argument);) {
    if (IsSwitch(argument)) continue;
    if (isFound) return;
    isFound = true;
    _text.swap(argument);
  }
  _form = EkxLaunchForm::Console;
  _name = RequestedName(_text);
}

void CkxSystemLaunch::ReadControl(CkxArgumentReader& arguments) {
  CkxArgumentReader ahead = arguments;
  if (!ahead.Next(_text)) return;
  if (!AreSameText(_text, KXW("/name"))) return ReadPanel(arguments);

  if (!ahead.Next(_text)) return;
  _form = _text.starts_with(KXW('{')) ? EkxLaunchForm::ShellItem : EkxLaunchForm::PanelName;
  _name = _text;
}

/// "file,item,tab": a blank may stand for the first comma, and the first tab is the one that opens by itself.
void CkxSystemLaunch::ReadPanel(CkxArgumentReader& arguments) {
  _text = Join(arguments, KXW(','));
  CkxTextView rest = _text;
  const CkxTextView file = NextField(rest);
  NextField(rest);
  const CkxTextView tab = NextField(rest);
  _form = HasExtension(file) ? EkxLaunchForm::Panel : EkxLaunchForm::PanelWord;
  _name = _form == EkxLaunchForm::Panel ? RequestedName(file) : file;
  _detail = tab.IsEmpty() || AreSameText(tab, KXW("0")) ? kNoDetail : tab;
}

/// "library,entry arguments"; the comma may have a blank behind it, or be one.
void CkxSystemLaunch::ReadRunDll(CkxArgumentReader& arguments) {
  KxWString first;
  if (!arguments.Next(first)) return;
  CkxTextView entry = first;
  const CkxTextView file = NextField(entry);
  KxWString next;
  if (entry.IsEmpty() && arguments.Next(next)) entry = next;

  KxWString library = RequestedName(file).ToString();
  if (!library.empty() && !HasExtension(library)) library += KXW(".dll");
  library += KXW(',');
  library += entry.ToString();
  if (std::any_of(std::begin(kPanelEntries), std::end(kPanelEntries),
                  [&](const WCHAR* panel) { return AreSameText(library, panel); })) {
    ReadPanel(arguments);
    if (_form != EkxLaunchForm::Panel) _form = EkxLaunchForm::None;  // words are for control.exe alone
    return;
  }
  // Both texts stand in one, so that neither view can outlive its own.
  const size_t size = library.size();
  _text = std::move(library) + Join(arguments, KXW(' '));
  _form = EkxLaunchForm::Library;
  _name = CkxTextView(_text).Part(0, size);
  _detail = CkxTextView(_text).Part(size);
}

void CkxSystemLaunch::ReadExplorer(CkxArgumentReader& arguments) {
  if (arguments.Next(_text)) ReadAddress(_text);
}

/// What is behind a class is a page of it, and what is behind "?" tells how to show it.
void CkxSystemLaunch::ReadAddress(CkxTextView address) {
  for (const WCHAR* start : {KXW("shell:::{"), KXW("::{")}) {
    if (!KxText_StartsWith(address, start, false)) continue;
    const CkxTextView item = address.Part(CkxTextView(start).Size() - 1);
    _form = EkxLaunchForm::ShellItem;
    _name = item.Part(0, KxText_FindUnit(item, KXW('}')) + 1);
    return;
  }
  _form = EkxLaunchForm::Address;
  _name = address.Part(0, KxText_FindUnit(address, KXW('?')));
}

bool CkxSystemLaunch::Is(const SkxLaunch& launch) const {
  return IsForm(launch.form) && AreSameText(_name, launch.name) &&
         (launch.detail == nullptr || HasDetail(launch.detail));
}

bool CkxSystemLaunch::IsForm(EkxLaunchForm form) const {
  if (!_isFile) return form == _form;
  return form == EkxLaunchForm::Program || form == EkxLaunchForm::Console || form == EkxLaunchForm::Panel;
}

bool CkxSystemLaunch::HasDetail(CkxTextView detail) const {
  if (_detail.IsNull()) return false;
  if (_form != EkxLaunchForm::Program) return AreSameText(_detail, detail);
  CkxArgumentReader arguments(_detail);
  return AreSameText(Join(arguments, KXW(' ')), detail);
}
