#include "Agent/engine/kx_util/origin/well_known_process.h"

#include <kx_util/match_location.h>

#include <algorithm>
#include <span>

#include "Agent/engine/kx_util/command/system_place.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/text.h"

namespace {

using enum EkxWellKnownPlace;
using enum EkxWellKnownKind;

constexpr const WCHAR* kWindows = KXW("Microsoft Windows");
constexpr const WCHAR* kMicrosoft = KXW("Microsoft Corporation");

// clang-format off
constexpr SkxWellKnownProcess kWellKnown[] = {
    // short name             image                         for people                              publisher                     place          kind         ends
    {KXW("system"),           nullptr,                      KXW("System"),                          nullptr,                      Kernel,        System,      true},
    {KXW("explorer"),         KXW("explorer.exe"),          KXW("Windows Explorer"),                kWindows,                     WindowsFolder, System,      true},
    {KXW("services"),         KXW("services.exe"),          KXW("Services"),                        kWindows,                     SystemFolder,  System,      true},
    {KXW("svchost"),          KXW("svchost.exe"),           KXW("Host Process for Windows Services"), kWindows,                   SystemFolder,  System,      false},
    {KXW("msiexec"),          KXW("msiexec.exe"),           KXW("Windows Installer"),               kWindows,                     SystemFolder,  System,      false},
    {KXW("taskmgr"),          KXW("taskmgr.exe"),           KXW("Windows Task Manager"),            kWindows,                     SystemFolder,  System,      true},
    {KXW("cmd"),              KXW("cmd.exe"),               KXW("Windows Command Processor"),       kWindows,                     SystemFolder,  System,      false},
    {KXW("wscript"),          KXW("wscript.exe"),           KXW("Windows Script Host"),             kWindows,                     SystemFolder,  System,      false},
    {KXW("ftp"),              KXW("ftp.exe"),               nullptr,                                kWindows,                     SystemFolder,  System,      false},
    {KXW("consent"),          KXW("consent.exe"),           nullptr,                                kWindows,                     SystemFolder,  System,      false},
    {KXW("dllhost"),          KXW("dllhost.exe"),           nullptr,                                kWindows,                     SystemFolder,  System,      false},
    {KXW("trustedinstaller"), KXW("TrustedInstaller.exe"),  KXW("Windows Modules Installer"),       kWindows,                     Servicing,     System,      false},

    {KXW("iexplore"),         KXW("iexplore.exe"),          KXW("Internet Explorer"),               kMicrosoft,                   Anywhere,      Browser,     false},
    {KXW("msedge"),           KXW("msedge.exe"),            KXW("Microsoft Edge"),                  kMicrosoft,                   Anywhere,      Browser,     true},
    {KXW("browser_broker"),   KXW("browser_broker.exe"),    KXW("Microsoft Edge Browser Broker"),   kMicrosoft,                   Anywhere,      Browser,     true},
    {KXW("chrome"),           KXW("chrome.exe"),            KXW("Google Chrome"),                   KXW("Google"),                Anywhere,      Browser,     true},
    {KXW("safari"),           KXW("Safari.exe"),            KXW("Apple Safari"),                    KXW("Apple Inc."),            Anywhere,      Browser,     false},
    {KXW("firefox"),          KXW("firefox.exe"),           KXW("Mozilla Firefox"),                 KXW("Mozilla Corporation"),   Anywhere,      Browser,     true},
    {KXW("opera"),            KXW("opera.exe"),             KXW("Opera Internet Browser"),          KXW("Opera Software"),        Anywhere,      Browser,     true},

    {KXW("skype"),            KXW("skype.exe"),             KXW("Skype"),                           KXW("Skype Technologies"),    Anywhere,      Messenger,   true},
    {KXW("icq"),              KXW("icq.exe"),               nullptr,                                KXW("I C Q  LTD"),            Anywhere,      Messenger,   false},
    {KXW("outlook"),          KXW("outlook.exe"),           KXW("Microsoft Outlook"),               kMicrosoft,                   Anywhere,      Mail,        true},

    {KXW("totalcmd"),         KXW("totalcmd.exe"),          KXW("Total Commander"),                 nullptr,                      Anywhere,      FileManager, true},
    {KXW("winrar"),           KXW("WinRAR.exe"),            KXW("WinRAR"),                          KXW("win.rar GmbH"),          Anywhere,      Archiver,    false},

    {KXW("ccmexec"),          KXW("CcmExec.exe"),           KXW("Configuration Manager"),           kMicrosoft,                   Ccm,           Distributor, false},
};
// clang-format on

/// What a signer's name may have behind the name in the table.
constexpr const WCHAR* kLegalForms[] = {KXW(""),    KXW(" LLC"),     KXW(" Inc."),       KXW(" Inc"),
                                        KXW(" AS"), KXW(" Limited"), KXW(" Corporation")};

using KxFolders = std::span<const WCHAR* const>;

KxFolders FoldersOf(EkxWellKnownPlace place) {
  static constexpr const WCHAR* kWindowsFolder[] = {KXW("?:\\Windows\\")};
  static constexpr const WCHAR* kSystemFolder[] = {KXW("?:\\Windows\\System32\\"), KXW("?:\\Windows\\SysWOW64\\")};
  static constexpr const WCHAR* kServicing[] = {KXW("?:\\Windows\\servicing\\")};
  static constexpr const WCHAR* kCcm[] = {KXW("?:\\Windows\\CCM\\")};
  switch (place) {
    case WindowsFolder:
      return kWindowsFolder;
    case SystemFolder:
      return kSystemFolder;
    case Servicing:
      return kServicing;
    case Ccm:
      return kCcm;
    case Kernel:
    case Anywhere:
      break;
  }
  return {};
}

/// Where administrators alone install programs.
constexpr const WCHAR* kPrograms[] = {KXW("?:\\Program Files\\*\\"), KXW("?:\\Program Files (x86)\\*\\")};

bool IsInOneOf(KxFolders folders, CkxTextView path, CkxTextView image) {
  const CkxSystemPlace program(path);
  return std::ranges::any_of(folders,
                             [&](CkxTextView folder) { return program.Is(folder.ToString() + image.ToString()); });
}

bool IsOnFixedDrive(const CkxTargetInfoProcess& process) {
  return KxUtil_IsEqualLocationType(KxUtil_GetFileLocationType(process), KxDriveType_Word(EkxDriveType::Fixed));
}

/// The name of a signature that holds; nothing else is proof of anything.
CkxTextView ValidSigner(const CkxTargetInfoProcess& process) {
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
  const CkxTextView signer = process.GetPublisher(false, status);
  const bool isValid = status == EkxPublisherStatus::Valid || status == EkxPublisherStatus::ValidByWeakDigest;
  return isValid ? signer : CkxTextView();
}

bool IsSignedBy(const CkxTargetInfoProcess& process, const KxWString& publisher) {
  const CkxTextView signer = ValidSigner(process);
  return std::ranges::any_of(kLegalForms,
                             [&](const WCHAR* form) { return KxText_Equals(signer, publisher + form, false); });
}

bool IsInPlace(const CkxTargetInfoProcess& process, const SkxWellKnownProcess& row) {
  if (row.place == Anywhere) return true;
  return IsInOneOf(FoldersOf(row.place), process.GetPath(), row.image) && IsOnFixedDrive(process);
}

bool Fits(const SkxWellKnownProcess& row, const CkxTargetInfoProcess& process) {
  if (row.place == Kernel) return process.IsSystemProcess();
  return row.publisher != nullptr && KxText_Equals(KxPath_FileName(process.GetPath()), row.image, false) &&
         IsInPlace(process, row) && IsSignedBy(process, row.publisher);
}

}  // namespace

const SkxWellKnownProcess* KxWellKnown_ByName(CkxTextView shortName) {
  const auto* const row = std::ranges::find_if(
      kWellKnown, [&](const SkxWellKnownProcess& known) { return KxText_Equals(known.shortName, shortName, false); });
  return row != std::end(kWellKnown) ? row : nullptr;
}

const SkxWellKnownProcess* KxWellKnown_Of(const CkxTargetInfoProcess& process) {
  const auto* const row =
      std::ranges::find_if(kWellKnown, [&](const SkxWellKnownProcess& known) { return Fits(known, process); });
  return row != std::end(kWellKnown) ? row : nullptr;
}

bool KxWellKnown_IsAgent(const CkxTargetInfoProcess& process, const SkxExpectedPeer& expected) {
  if (expected.image.empty()) return false;
  const CkxTextView path = process.GetPath();
  const CkxTextView name = KxPath_FileName(path);
  const bool isNamed =
      KxText_Equals(name, expected.image, false) || KxText_Equals(name, expected.image + KXW(".exe"), false);
  return isNamed && IsInOneOf(kPrograms, path, name) &&
         (expected.signer.empty() || KxText_Equals(ValidSigner(process), expected.signer, true));
}
