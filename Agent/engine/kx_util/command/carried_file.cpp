#include "Agent/engine/kx_util/command/carried_file.h"

#include <algorithm>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Agent/engine/kx_util/command/command_unit.h"
#include "Agent/engine/kx_util/command/script_host.h"
#include "Agent/engine/kx_util/command/system_place.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/text.h"

namespace {

bool AreSame(CkxTextView a, CkxTextView b) { return KxText_Equals(a, b, false); }
bool IsSwitch(CkxTextView argument) { return !argument.IsEmpty() && KxUnit_IsOneOf(argument.Front(), KXW("/-")); }

bool HasExtension(CkxTextView path, CkxTextView extension) { return AreSame(KxPath_Extension(path), extension); }

template <size_t count>
bool IsAmong(CkxTextView text, const WCHAR* const (&known)[count]) {
  return std::any_of(std::begin(known), std::end(known), [&](const WCHAR* one) { return AreSame(text, one); });
}

bool IsFullPath(CkxTextView path) {
  if (path.Size() < 3) return false;
  if (KxPath_DriveLetter(path) != 0) return KxPath_IsSeparator(path[2]);
  return KxPath_IsSeparator(path[0]) && KxPath_IsSeparator(path[1]);
}

/// A file's name, as far as names go: no address, no product's id, nothing that a name cannot hold.
bool IsFileName(CkxTextView path) {
  if (path.IsEmpty() || path.Front() == KXW('{')) return false;
  for (size_t at = 0; at < path.Size(); ++at) {
    if (path[at] < KXW(' ') || KxUnit_IsOneOf(path[at], KXW("\"<>|*?"))) return false;
    if (path[at] == KXW(':') && at != 1) return false;
  }
  return true;
}

// --- msiexec.exe ---

enum class EkxInstallerOption { None, Plain, File, Log };

/// What an option of the installer is, without its slash. The file may stand right behind the letter of some.
EkxInstallerOption InstallerOption(CkxTextView name, CkxTextView& file) {
  constexpr const WCHAR* kPlain[] = {KXW("quiet"),        KXW("passive"), KXW("norestart"), KXW("promptrestart"),
                                     KXW("forcerestart"), KXW("q"),       KXW("qn"),        KXW("qb"),
                                     KXW("qr"),           KXW("qf"),      KXW("qn+"),       KXW("qb+"),
                                     KXW("qb-"),          KXW("qb!"),     KXW("qb+!"),      KXW("qb-!")};
  constexpr const WCHAR* kFile[] = {KXW("package"), KXW("uninstall"), KXW("update"), KXW("j"), KXW("ju"), KXW("jm")};
  if (IsAmong(name, kPlain)) return EkxInstallerOption::Plain;
  if (IsAmong(name, kFile)) return EkxInstallerOption::File;
  if (AreSame(name, KXW("log"))) return EkxInstallerOption::Log;
  if (name.IsEmpty()) return EkxInstallerOption::None;
  const auto isRest = [&](KxWStringView letters) {
    for (size_t at = 1; at < name.Size(); ++at) {
      if (!KxUnit_IsOneOf(name[at], letters)) return false;
    }
    return true;
  };
  switch (KxText_Fold(name.Front())) {
    case KXW('I'):
    case KXW('X'):
    case KXW('A'):
    case KXW('P'):
      file = name.Part(1);
      return EkxInstallerOption::File;
    case KXW('F'):
      return isRest(KXW("poedcaumsvPOEDCAUMSV")) ? EkxInstallerOption::File : EkxInstallerOption::None;
    case KXW('L'):
      return isRest(KXW("iwearucmopvx+!*IWEARUCMOPVX")) ? EkxInstallerOption::Log : EkxInstallerOption::None;
    default:
      return EkxInstallerOption::None;
  }
}

/// NAME=VALUE, but for those that bring other packages in.
bool IsHarmlessProperty(CkxTextView argument) {
  constexpr const WCHAR* kOthers[] = {KXW("TRANSFORMS"), KXW("PATCH"), KXW("MSIPATCHREMOVE")};
  const size_t sign = KxText_FindUnit(argument, KXW('='));
  return sign != CkxTextView::npos && sign != 0 && !IsAmong(argument.Part(0, sign), kOthers);
}

bool ReadInstaller(CkxTextView text, SkxCarriedFile& carried) {
  CkxArgumentReader arguments(text);
  bool isFound = false;
  for (KxWString argument; arguments.Next(argument);) {
    if (!IsSwitch(argument)) {
      if (!IsHarmlessProperty(argument)) return false;
      continue;
    }
    CkxTextView file;
    const EkxInstallerOption option = InstallerOption(CkxTextView(argument).Part(1), file);
    if (option == EkxInstallerOption::None) return false;
    if (option == EkxInstallerOption::Log) arguments.Next(argument);
    if (option != EkxInstallerOption::File) continue;
    if (isFound) return false;
    isFound = true;
    carried.path = file.ToString();
    if (file.IsEmpty()) arguments.Next(carried.path);
  }
  return carried.path.find(KXW(';')) == KxWString::npos;  // between patches
}

// --- rundll32.exe, control.exe ---

/// Takes a file off the front of `text`, as both programs read one: in quotes, or up to a blank or a comma.
KxWString TakeFile(CkxTextView& text) {
  while (!text.IsEmpty() && KxUnit_IsBlank(text.Front())) text = text.Part(1);
  const bool isQuoted = !text.IsEmpty() && text.Front() == KXW('"');
  if (isQuoted) text = text.Part(1);
  size_t end = 0;
  while (end < text.Size() && (isQuoted ? text[end] != KXW('"') : !KxUnit_IsBlank(text[end]) && text[end] != KXW(',')))
    ++end;
  KxWString file = text.Part(0, end).ToString();
  text = text.Part(std::min(end + (isQuoted ? 1 : 0), text.Size()));
  return file;
}

/// What is between the file and the next blank, without the comma.
CkxTextView TakeEntry(CkxTextView& text) {
  while (!text.IsEmpty() && (KxUnit_IsBlank(text.Front()) || text.Front() == KXW(','))) text = text.Part(1);
  size_t end = 0;
  while (end < text.Size() && !KxUnit_IsBlank(text[end])) ++end;
  const CkxTextView entry = text.Part(0, end);
  text = text.Part(end);
  return entry;
}

bool ReadPanelItem(CkxTextView arguments, SkxCarriedFile& carried) {
  carried.kind = EkxCarriedFile::PanelItem;
  carried.path = TakeFile(arguments);
  return !IsSwitch(carried.path) && !KxPath_Extension(carried.path).IsEmpty();  // else it is a word, or a name
}

bool ReadRunDll(CkxTextView arguments, SkxCarriedFile& carried) {
  constexpr const WCHAR* kOpenItem[] = {KXW("Control_RunDLL"), KXW("Control_RunDLLAsUser"), KXW("#44")};
  carried.path = TakeFile(arguments);
  const CkxTextView entry = TakeEntry(arguments);
  if (IsSwitch(carried.path) || carried.path.empty() || entry.IsEmpty()) return false;
  if (KxPath_Extension(carried.path).IsEmpty()) carried.path += KXW(".dll");
  const bool isShell = AreSame(KxPath_FileName(carried.path), KXW("shell32.dll"));
  return isShell && IsAmong(entry, kOpenItem) ? ReadPanelItem(arguments, carried) : true;
}

// --- regsvr32.exe, mmc.exe ---

/// The one argument that is no switch; each switch is one that `isHarmless` knows.
template <class IsHarmless>
bool ReadOnlyFile(CkxTextView text, SkxCarriedFile& carried, IsHarmless isHarmless) {
  CkxArgumentReader arguments(text);
  bool isFound = false;
  for (KxWString argument; arguments.Next(argument);) {
    if (IsSwitch(argument)) {
      if (!isHarmless(CkxTextView(argument).Part(1))) return false;
      continue;
    }
    if (isFound) return false;
    isFound = true;
    carried.path.swap(argument);
  }
  return isFound;
}

/// What is behind "/i:" goes to the library, which may take it for something to run.
bool ReadRegistration(CkxTextView arguments, SkxCarriedFile& carried) {
  constexpr const WCHAR* kPlain[] = {KXW("u"), KXW("s"), KXW("n"), KXW("e"), KXW("c"), KXW("i"), KXW("i:user")};
  return ReadOnlyFile(arguments, carried, [&](CkxTextView name) { return IsAmong(name, kPlain); });
}

bool ReadConsole(CkxTextView arguments, SkxCarriedFile& carried) {
  return ReadOnlyFile(arguments, carried, [](CkxTextView) { return true; }) && HasExtension(carried.path, KXW(".msc"));
}

// --- java.exe, javaw.exe ---

/// Options that bring no other code in and start nothing.
bool IsHarmlessForJava(CkxTextView option) {
  constexpr const WCHAR* kPlain[] = {KXW("-server"), KXW("-client"), KXW("-ea"),          KXW("-da"),
                                     KXW("-esa"),    KXW("-dsa"),    KXW("-showversion"), KXW("-Xrs")};
  constexpr const WCHAR* kStarts[] = {KXW("-D"), KXW("-Xms"), KXW("-Xmx"), KXW("-Xss"), KXW("-XX:+"), KXW("-XX:-")};
  return IsAmong(option, kPlain) || std::any_of(std::begin(kStarts), std::end(kStarts), [&](const WCHAR* start) {
           return KxText_StartsWith(option, start, true);
         });
}

bool ReadJava(CkxTextView text, SkxCarriedFile& carried) {
  CkxArgumentReader arguments(text);
  for (KxWString argument; arguments.Next(argument);) {
    if (KxText_Equals(argument, KXW("-jar"), true)) return arguments.Next(carried.path);
    if (!IsHarmlessForJava(argument)) return false;
  }
  return false;
}

// --- all of them ---

struct Carrier {
  const WCHAR* place;
  EkxCarriedFile kind;
  bool isSought;  ///< by the program, when no full path is given
  bool (*read)(CkxTextView arguments, SkxCarriedFile& carried);
};

constexpr Carrier kCarriers[] = {
    {KXW("?:\\Windows\\System32\\msiexec.exe"), EkxCarriedFile::Package, false, ReadInstaller},
    {KXW("?:\\Windows\\SysWOW64\\msiexec.exe"), EkxCarriedFile::Package, false, ReadInstaller},
    {KXW("?:\\Windows\\System32\\rundll32.exe"), EkxCarriedFile::Library, true, ReadRunDll},
    {KXW("?:\\Windows\\SysWOW64\\rundll32.exe"), EkxCarriedFile::Library, true, ReadRunDll},
    {KXW("?:\\Windows\\System32\\regsvr32.exe"), EkxCarriedFile::Library, true, ReadRegistration},
    {KXW("?:\\Windows\\SysWOW64\\regsvr32.exe"), EkxCarriedFile::Library, true, ReadRegistration},
    {KXW("?:\\Windows\\System32\\control.exe"), EkxCarriedFile::PanelItem, true, ReadPanelItem},
    {KXW("?:\\Windows\\SysWOW64\\control.exe"), EkxCarriedFile::PanelItem, true, ReadPanelItem},
    {KXW("?:\\Windows\\System32\\mmc.exe"), EkxCarriedFile::Console, true, ReadConsole},
    {KXW("?:\\Windows\\SysWOW64\\mmc.exe"), EkxCarriedFile::Console, true, ReadConsole},
    {KXW("*\\java.exe"), EkxCarriedFile::Archive, false, ReadJava},
    {KXW("*\\javaw.exe"), EkxCarriedFile::Archive, false, ReadJava},
    {KXW("*/java"), EkxCarriedFile::Archive, false, ReadJava},
};

}  // namespace

std::optional<SkxCarriedFile> KxCarriedFile_Of(CkxTextView programPath, CkxTextView commandLine) {
  if (std::optional<SkxHostedScript> script = KxScriptHost_ScriptOf(programPath, commandLine)) {
    return SkxCarriedFile{EkxCarriedFile::Script, std::move(script->path), std::move(script->commandLine), false};
  }
  const CkxSystemPlace program(programPath);
  const auto carrier = std::find_if(std::begin(kCarriers), std::end(kCarriers),
                                    [&](const Carrier& known) { return program.Is(known.place); });
  if (carrier == std::end(kCarriers)) return std::nullopt;
  SkxCarriedFile carried;
  carried.kind = carrier->kind;
  const CkxTextView arguments = KxCommandLine_TakeApart(commandLine, programPath).arguments;
  if (!carrier->read(arguments, carried) || !IsFileName(carried.path)) return std::nullopt;
  carried.isSought = carrier->isSought && !IsFullPath(carried.path);
  return carried;
}
