#include <kx_util/shared_policy_target_exe.h>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/policy/target_checks.h"
#include "Agent/engine/kx_util/policy/target_debug_text.h"

bool CkxShBufTargetExe::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTarget::FromBuffer(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  // clang-format off
  return in.Flag(_inheritable) &&
         in.Nested(_fileVersions) &&
         in.Nested(_productVersions) &&
         in.Nested(_location) &&
         in.Nested(_fileName) &&
         in.Nested(_arguments) &&
         in.Nested(_owners) &&
         in.Nested(_publishers) &&
         in.Nested(_versionFields) &&
         in.Nested(_serviceName) &&
         in.Nested(_parentProcess) &&
         in.Nested(_users) &&
         in.Nested(_origin) &&
         in.ObfuscatedText(_softwareDistributorName);
  // clang-format on
}

void CkxShBufTargetExe::FillTargetInfo(SkxTriggerPolicyShortInfo& info) const {
  CkxShBufTarget::FillTargetInfo(info);
  info.Inheritable = _inheritable;
}

bool CkxShBufTargetExe::MatchTarget(const CkxTargetInfo& target) const {
  const bool isProgram = target.IsTargetInfoFile() && target.IsTargetType(EkxPolicyTarget::Executable);
  if (!KxCheck_Kind(isProgram, KXW("Executable file"), target)) return false;

  const auto& file = static_cast<const CkxTargetInfoFile&>(target);
  const CkxTargetInfoProcess* const process =
      target.IsTargetInfoProcess() ? static_cast<const CkxTargetInfoProcess*>(&file) : nullptr;
  const bool asksForProcess = _arguments.Initialized() || _serviceName.Initialized() || _parentProcess.Initialized();

  // clang-format off
  return KxCheck_Kind(process != nullptr || !asksForProcess, KXW("Executable process"), target) &&
         (process == nullptr || KxCheck_Arguments(_arguments, *process)) &&
         KxCheck_FileNameAndHash(_fileName, file) &&
         KxCheck_Location(_location, file) &&
         KxCheck_Origin(_origin, file) &&
         (process == nullptr || KxCheck_ServiceName(_serviceName, process->ServiceNames())) &&
         KxCheck_Owners(_owners, file) &&
         KxCheck_FileVersion(_fileVersions, file) &&
         KxCheck_ProductVersion(_productVersions, file) &&
         KxCheck_VersionFields(_versionFields, file) &&
         KxCheck_Publishers(_publishers, file) &&
         (process == nullptr || KxCheck_ParentProcess(_parentProcess, *process));
  // clang-format on
}

bool CkxShBufTargetExe::MatchProcess(const CkxFileSrcProcess& process) const {
  // clang-format off
  return KxCheck_Arguments(_arguments, process) &&
         KxCheck_FileNameAndHash(_fileName, process) &&
         KxCheck_Location(_location, process) &&
         KxCheck_NotRemembered("origin", _origin) &&
         KxCheck_ServiceName(_serviceName, process.Facts().serviceNames) &&
         KxCheck_NotRemembered("owners", _owners) &&
         KxCheck_NotRemembered("fileVersion", _fileVersions) &&
         KxCheck_NotRemembered("productVersion", _productVersions) &&
         KxCheck_VersionFields(_versionFields, process) &&
         KxCheck_Publishers(_publishers, process) &&
         KxCheck_NotRemembered("parentProcess", _parentProcess);
  // clang-format on
}

void CkxShBufTargetExe::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    KxText_AppendFormat(text, KXW("\r\n  Target: EXE. Inheritable=%s\r\n"), KxText_YesNo(_inheritable));
    KxTargetText_AppendProp(text, KXW("FileVersion"), _fileVersions);
    KxTargetText_AppendProp(text, KXW("ProductVersion"), _productVersions);
    KxTargetText_AppendLocation(text, _location);
    KxTargetText_AppendProp(text, KXW("Filename"), _fileName);
    KxTargetText_AppendProp(text, KXW("Arguments"), _arguments);
    KxTargetText_AppendProp(text, KXW("Owners"), _owners);
    KxTargetText_AppendProp(text, KXW("Publishers"), _publishers);
    KxTargetText_AppendProp(text, KXW("VersionInfo"), _versionFields);
    KxTargetText_AppendProp(text, KXW("Service"), _serviceName);
    KxTargetText_AppendProp(text, KXW("ParentProcess"), _parentProcess);
    KxTargetText_AppendUsers(text, Users());
    KxTargetText_AppendProp(text, KXW("Origin"), _origin);
    if (!SoftwareDistributorName().IsEmpty()) {
      KxText_AppendFormat(text, KXW("    SoftwareDistributor: %s\r\n"), SoftwareDistributorName());
    }
  });
}
