#include <kx_util/shared_policy_target_files.h>
#include <kx_util/target_info_kinds.h>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/policy/target_checks.h"
#include "Agent/engine/kx_util/policy/target_debug_text.h"

namespace {

/// The file that a target of some type is about, and the process that carries it or is it.
struct Subject {
  const CkxTargetInfoFile* file = nullptr;
  const CkxTargetInfoProcess* carrier = nullptr;  ///< null for a mere file
  const CkxTargetInfoProcess* process = nullptr;  ///< whose command line counts: the file's own when it has one

  bool Find(const CkxTargetInfo& target, EkxPolicyTarget type) {
    CkxTargetInfoFile* found = nullptr;
    CkxTargetInfoProcess* ofFound = nullptr;
    if (!KxUtil_GetFileProcTargetsOfType(target, type, found, ofFound)) return false;
    if (target.IsTargetInfoProcess()) carrier = static_cast<const CkxTargetInfoProcess*>(&target);
    file = found;
    process = ofFound != nullptr ? ofFound : carrier;
    return true;
  }
};

/// The package itself, a program that runs from one, or the package that a process was started for; null when there is
/// none, or nothing is known of it.
const CkxTargetInfoFile* FileOfPackage(const CkxTargetInfo& target) {
  if (!target.IsTargetInfoFile()) return nullptr;
  const auto& itself = static_cast<const CkxTargetInfoFile&>(target);
  if (itself.AppPackage() != nullptr) return &itself;
  Subject subject;
  const bool found = subject.Find(target, EkxPolicyTarget::AppPackage) && subject.file->AppPackage() != nullptr;
  return found ? subject.file : nullptr;
}

void AppendTitle(CkxUtilStr& text, const WCHAR* title) {
  KxText_AppendFormat(text, KXW("\r\n  Target: %s.\r\n"), title);
}

}  // namespace

bool CkxShBufTargetScript::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTarget::FromBuffer(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  // clang-format off
  return in.Flag(_inheritable) &&
         in.Flag(_embedded) &&
         in.Nested(_location) &&
         in.Nested(_fileName) &&
         in.Nested(_arguments) &&
         in.Nested(_owners) &&
         in.Nested(_publishers) &&
         in.Nested(_parentProcess) &&
         in.Nested(_origin);
  // clang-format on
}

void CkxShBufTargetScript::FillTargetInfo(SkxTriggerPolicyShortInfo& info) const {
  CkxShBufTarget::FillTargetInfo(info);
  info.Inheritable = _inheritable;
}

bool CkxShBufTargetScript::MatchTarget(const CkxTargetInfo& target) const {
  Subject script;
  if (!KxCheck_Kind(script.Find(target, EkxPolicyTarget::Script), KXW("Script"), target)) return false;
  const bool asksForProcess = _arguments.Initialized() || _parentProcess.Initialized();
  // clang-format off
  return KxCheck_Kind(script.carrier != nullptr || !asksForProcess, KXW("Script that a process runs"), target) &&
         (script.process == nullptr || KxCheck_Arguments(_arguments, *script.process)) &&
         KxCheck_FileNameAndHash(_fileName, *script.file) &&
         KxCheck_Location(_location, *script.file) &&
         KxCheck_Origin(_origin, *script.file) &&
         KxCheck_Owners(_owners, *script.file) &&
         KxCheck_Publishers(_publishers, *script.file) &&
         (script.carrier == nullptr || KxCheck_ParentProcess(_parentProcess, *script.carrier));
  // clang-format on
}

void CkxShBufTargetScript::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    KxText_AppendFormat(text, KXW("\r\n  Target: SCRIPT. Inheritable=%s Embedded=%s\r\n"), KxText_YesNo(_inheritable),
                        KxText_YesNo(_embedded));
    KxTargetText_AppendLocation(text, _location);
    KxTargetText_AppendProp(text, KXW("Filename"), _fileName);
    KxTargetText_AppendProp(text, KXW("Arguments"), _arguments);
    KxTargetText_AppendProp(text, KXW("Owners"), _owners);
    KxTargetText_AppendProp(text, KXW("Publishers"), _publishers);
    KxTargetText_AppendProp(text, KXW("ParentProcess"), _parentProcess);
    KxTargetText_AppendProp(text, KXW("Origin"), _origin);
  });
}

bool CkxShBufTargetMsi::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTarget::FromBuffer(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  // clang-format off
  return in.Nested(_productVersions) &&
         in.Nested(_location) &&
         in.Nested(_fileName) &&
         in.Nested(_arguments) &&
         in.Nested(_owners) &&
         in.Nested(_publishers) &&
         in.Nested(_installerProperties) &&
         in.Nested(_parentProcess) &&
         in.Nested(_origin);
  // clang-format on
}

bool CkxShBufTargetMsi::MatchTarget(const CkxTargetInfo& target) const {
  Subject package;
  if (!KxCheck_Kind(package.Find(target, EkxPolicyTarget::Msi), KXW("MSI"), target)) return false;
  const bool asksForProcess = _arguments.Initialized() || _parentProcess.Initialized();
  // clang-format off
  return KxCheck_Kind(package.carrier != nullptr || !asksForProcess, KXW("MSI that a process installs"), target) &&
         (package.process == nullptr || KxCheck_Arguments(_arguments, *package.process)) &&
         KxCheck_FileNameAndHash(_fileName, *package.file) &&
         KxCheck_Location(_location, *package.file) &&
         KxCheck_Origin(_origin, *package.file) &&
         KxCheck_Owners(_owners, *package.file) &&
         KxCheck_ProductVersion(_productVersions, *package.file) &&
         KxCheck_InstallerProperties(_installerProperties, *package.file) &&
         KxCheck_Publishers(_publishers, *package.file) &&
         (package.carrier == nullptr || KxCheck_ParentProcess(_parentProcess, *package.carrier));
  // clang-format on
}

void CkxShBufTargetMsi::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    AppendTitle(text, KXW("MSI"));
    KxTargetText_AppendProp(text, KXW("ProductVersion"), _productVersions);
    KxTargetText_AppendLocation(text, _location);
    KxTargetText_AppendProp(text, KXW("Filename"), _fileName);
    KxTargetText_AppendProp(text, KXW("Arguments"), _arguments);
    KxTargetText_AppendProp(text, KXW("Owners"), _owners);
    KxTargetText_AppendProp(text, KXW("Publishers"), _publishers);
    KxTargetText_AppendProp(text, KXW("InstallerProperties"), _installerProperties);
    KxTargetText_AppendProp(text, KXW("ParentProcess"), _parentProcess);
    KxTargetText_AppendProp(text, KXW("Origin"), _origin);
  });
}

bool CkxShBufTargetMsu::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTarget::FromBuffer(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  // clang-format off
  return in.Nested(_location) &&
         in.Nested(_fileName) &&
         in.Nested(_owners) &&
         in.Nested(_publishers) &&
         in.Nested(_parentProcess) &&
         in.Nested(_origin);
  // clang-format on
}

bool CkxShBufTargetMsu::MatchTarget(const CkxTargetInfo& target) const {
  Subject package;
  if (!KxCheck_Kind(package.Find(target, EkxPolicyTarget::Msu), KXW("MSU"), target)) return false;
  // clang-format off
  return KxCheck_Kind(package.carrier != nullptr || !_parentProcess.Initialized(), KXW("MSU that a process installs"), target) &&
         KxCheck_FileNameAndHash(_fileName, *package.file) &&
         KxCheck_Location(_location, *package.file) &&
         KxCheck_Origin(_origin, *package.file) &&
         KxCheck_Owners(_owners, *package.file) &&
         KxCheck_Publishers(_publishers, *package.file) &&
         (package.carrier == nullptr || KxCheck_ParentProcess(_parentProcess, *package.carrier));
  // clang-format on
}

void CkxShBufTargetMsu::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    AppendTitle(text, KXW("MSU"));
    KxTargetText_AppendLocation(text, _location);
    KxTargetText_AppendProp(text, KXW("Filename"), _fileName);
    KxTargetText_AppendProp(text, KXW("Owners"), _owners);
    KxTargetText_AppendProp(text, KXW("Publishers"), _publishers);
    KxTargetText_AppendProp(text, KXW("ParentProcess"), _parentProcess);
    KxTargetText_AppendProp(text, KXW("Origin"), _origin);
  });
}

bool CkxShBufTargetDll::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTarget::FromBuffer(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  // clang-format off
  return in.Nested(_fileVersions) &&
         in.Nested(_productVersions) &&
         in.Nested(_location) &&
         in.Nested(_fileName) &&
         in.Nested(_owners) &&
         in.Nested(_publishers) &&
         in.Nested(_versionFields) &&
         in.Nested(_origin);
  // clang-format on
}

bool CkxShBufTargetDll::MatchTarget(const CkxTargetInfo& target) const {
  Subject library;
  if (!KxCheck_Kind(library.Find(target, EkxPolicyTarget::Dll), KXW("Dll"), target)) return false;
  // clang-format off
  return KxCheck_FileNameAndHash(_fileName, *library.file) &&
         KxCheck_Location(_location, *library.file) &&
         KxCheck_Origin(_origin, *library.file) &&
         KxCheck_Owners(_owners, *library.file) &&
         KxCheck_FileVersion(_fileVersions, *library.file) &&
         KxCheck_ProductVersion(_productVersions, *library.file) &&
         KxCheck_VersionFields(_versionFields, *library.file) &&
         KxCheck_Publishers(_publishers, *library.file);
  // clang-format on
}

void CkxShBufTargetDll::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    AppendTitle(text, KXW("DLL"));
    KxTargetText_AppendProp(text, KXW("FileVersion"), _fileVersions);
    KxTargetText_AppendProp(text, KXW("ProductVersion"), _productVersions);
    KxTargetText_AppendLocation(text, _location);
    KxTargetText_AppendProp(text, KXW("Filename"), _fileName);
    KxTargetText_AppendProp(text, KXW("Owners"), _owners);
    KxTargetText_AppendProp(text, KXW("Publishers"), _publishers);
    KxTargetText_AppendProp(text, KXW("VersionInfo"), _versionFields);
    KxTargetText_AppendProp(text, KXW("Origin"), _origin);
  });
}

bool CkxShBufTargetActiveX::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTarget::FromBuffer(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  // clang-format off
  return in.Nested(_classId) &&
         in.Nested(_sourceAddress) &&
         in.Nested(_location) &&
         in.Nested(_fileName) &&
         in.Nested(_publishers);
  // clang-format on
}

bool CkxShBufTargetActiveX::MatchTarget(const CkxTargetInfo& target) const {
  if (!KxCheck_Kind(target.IsTargetInfoActiveX(), KXW("ActiveX"), target)) return false;
  const auto& control = static_cast<const CkxTargetInfoActiveX&>(target);
  // clang-format off
  return KxCheck_Text("classId", _classId, control.ClassId()) &&
         KxCheck_Text("sourceAddress", _sourceAddress, control.SourceAddress()) &&
         KxCheck_FileNameAndHash(_fileName, *control.QueryHashProvider()) &&
         KxCheck_Location(_location, *control.QueryPathProvider()) &&
         KxCheck_Publishers(_publishers, *control.QueryPublisherProvider());
  // clang-format on
}

void CkxShBufTargetActiveX::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    AppendTitle(text, KXW("ACTIVEX"));
    KxTargetText_AppendProp(text, KXW("ClassId"), _classId);
    KxTargetText_AppendProp(text, KXW("SourceAddress"), _sourceAddress);
    KxTargetText_AppendLocation(text, _location);
    KxTargetText_AppendProp(text, KXW("Filename"), _fileName);
    KxTargetText_AppendProp(text, KXW("Publishers"), _publishers);
  });
}

bool CkxShBufTargetCom::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTarget::FromBuffer(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  // clang-format off
  return in.Nested(_classId) &&
         in.Nested(_location) &&
         in.Nested(_fileName) &&
         in.Nested(_owners) &&
         in.Nested(_publishers) &&
         in.Nested(_versionFields);
  // clang-format on
}

bool CkxShBufTargetCom::MatchTarget(const CkxTargetInfo& target) const {
  if (!KxCheck_Kind(target.IsTargetInfoUacCOM(), KXW("COM"), target)) return false;
  const auto& component = static_cast<const CkxTargetInfoUacCOM&>(target);
  // clang-format off
  return KxCheck_Text("classId", _classId, component.ClassId()) &&
         KxCheck_FileNameAndHash(_fileName, *component.QueryHashProvider()) &&
         KxCheck_Location(_location, *component.QueryPathProvider()) &&
         KxCheck_Owners(_owners, *component.QueryOwnerProvider()) &&
         KxCheck_VersionFields(_versionFields, *component.QueryVersionInfoProvider()) &&
         KxCheck_Publishers(_publishers, *component.QueryPublisherProvider());
  // clang-format on
}

void CkxShBufTargetCom::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    AppendTitle(text, KXW("COM"));
    KxTargetText_AppendProp(text, KXW("ClassId"), _classId);
    KxTargetText_AppendLocation(text, _location);
    KxTargetText_AppendProp(text, KXW("Filename"), _fileName);
    KxTargetText_AppendProp(text, KXW("Owners"), _owners);
    KxTargetText_AppendProp(text, KXW("Publishers"), _publishers);
    KxTargetText_AppendProp(text, KXW("VersionInfo"), _versionFields);
  });
}

bool CkxShBufTargetAppPackage::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTarget::FromBuffer(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  // clang-format off
  return in.Flag(_inheritable) &&
         in.Nested(_versions) &&
         in.Nested(_packageName) &&
         in.Nested(_publishers) &&
         in.Nested(_capabilities);
  // clang-format on
}

void CkxShBufTargetAppPackage::FillTargetInfo(SkxTriggerPolicyShortInfo& info) const {
  CkxShBufTarget::FillTargetInfo(info);
  info.Inheritable = _inheritable;
}

bool CkxShBufTargetAppPackage::MatchTarget(const CkxTargetInfo& target) const {
  const CkxTargetInfoFile* const file = FileOfPackage(target);
  if (!KxCheck_Kind(file != nullptr, KXW("AppPackage"), target)) return false;
  const SkxAppPackageFacts& package = *file->AppPackage();
  // clang-format off
  return KxCheck_Text("packageName", _packageName, package.name) &&
         KxCheck_PackageVersion(_versions, package) &&
         KxCheck_Capabilities(_capabilities, package) &&
         KxCheck_Publishers(_publishers, *file);
  // clang-format on
}

void CkxShBufTargetAppPackage::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    KxText_AppendFormat(text, KXW("\r\n  Target: APPPACKAGE. Inheritable=%s\r\n"), KxText_YesNo(_inheritable));
    KxTargetText_AppendProp(text, KXW("Version"), _versions);
    KxTargetText_AppendProp(text, KXW("Name"), _packageName);
    KxTargetText_AppendProp(text, KXW("Publishers"), _publishers);
    KxTargetText_AppendProp(text, KXW("Capabilities"), _capabilities);
  });
}
