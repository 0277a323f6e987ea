#include <kx_util/shared_policy_target.h>
#include <kx_util/shared_policy_target_admin_task.h>
#include <kx_util/shared_policy_target_app_group_link.h>
#include <kx_util/shared_policy_target_exclude.h>
#include <kx_util/shared_policy_target_exe.h>
#include <kx_util/shared_policy_target_files.h>
#include <kx_util/shared_policy_target_security.h>
#include <kx_util/shared_policy_target_url.h>

#include <iterator>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/watch/observe.h"
#include "Common_CPP/util/trace.h"

namespace {

struct TargetKind {
  EkxPolicyTarget code;
  const WCHAR* displayName;
  CkxShBufTarget* (*make)();  // null: records of this type are not accepted
};

template <class Target>
CkxShBufTarget* Make() {
  return new Target;
}

/// Indexed by code. A kind that is accepted has a maker; nothing else needs to know of it.
constexpr TargetKind kTargetKinds[] = {
    {EkxPolicyTarget::Invalid, KXW("Invalid Target Type"), nullptr},
    {EkxPolicyTarget::ComputerOrUser, KXW("Computer or User"), nullptr},
    {EkxPolicyTarget::AppGroupLink, KXW("Group of Targets"), Make<CkxShBufTargetAppGroupLink>},
    {EkxPolicyTarget::Executable, KXW("Executable"), Make<CkxShBufTargetExe>},
    {EkxPolicyTarget::Script, KXW("Script"), Make<CkxShBufTargetScript>},
    {EkxPolicyTarget::Msi, KXW("MSI"), Make<CkxShBufTargetMsi>},
    {EkxPolicyTarget::Msu, KXW("MSU"), Make<CkxShBufTargetMsu>},
    {EkxPolicyTarget::Url, KXW("URL"), Make<CkxShBufTargetUrl>},
    {EkxPolicyTarget::AdminTask, KXW("Administrative Task"), Make<CkxShBufTargetAdminTask>},
    {EkxPolicyTarget::ActiveX, KXW("ActiveX"), Make<CkxShBufTargetActiveX>},
    {EkxPolicyTarget::InstallationSource, KXW("Installation Source"), nullptr},
    {EkxPolicyTarget::ManualRequest, KXW("Manual Request"), nullptr},
    {EkxPolicyTarget::SkippedEvents, KXW("Skipped Events"), nullptr},
    {EkxPolicyTarget::FileSystemEntry, KXW("File System Entry"), Make<CkxShBufTargetFSEntry>},
    {EkxPolicyTarget::RegistryKey, KXW("Registry Key"), Make<CkxShBufTargetRegKey>},
    {EkxPolicyTarget::Com, KXW("COM"), Make<CkxShBufTargetCom>},
    {EkxPolicyTarget::Exclude, KXW("Exclude"), Make<CkxShBufTargetExclude>},
    {EkxPolicyTarget::Service, KXW("Service"), Make<CkxShBufTargetService>},
    {EkxPolicyTarget::UsbDevice, KXW("UsbDev"), Make<CkxShBufTargetUsbDev>},
    {EkxPolicyTarget::OpticalDisc, KXW("OpticalDisc"), Make<CkxShBufTargetOpticalDisc>},
    {EkxPolicyTarget::AppPackage, KXW("AppPackage"), Make<CkxShBufTargetAppPackage>},
    {EkxPolicyTarget::Dll, KXW("Dll"), Make<CkxShBufTargetDll>},
    {EkxPolicyTarget::MacPackage, KXW("MacPkg"), nullptr},
    {EkxPolicyTarget::MacAdminTask, KXW("MacAdminTask"), nullptr},
    {EkxPolicyTarget::MacExecutable, KXW("MacExe"), nullptr},
};

constexpr bool IsIndexedByCode() {
  for (size_t i = 0; i < std::size(kTargetKinds); ++i) {
    if (static_cast<size_t>(kTargetKinds[i].code) != i) return false;
  }
  return true;
}
static_assert(IsIndexedByCode());

/// Null for a code outside the table.
const TargetKind* FindKind(EkxPolicyTarget type) {
  const auto code = static_cast<size_t>(type);
  return code < std::size(kTargetKinds) ? &kTargetKinds[code] : nullptr;
}

}  // namespace

const WCHAR* KxUtil_PolicyTargetTypeStr(EkxPolicyTarget type) {
  if (const TargetKind* const kind = FindKind(type)) return kind->displayName;
  KxTrace(EkxTraceLevel::Error, "KxUtil_PolicyTargetTypeStr", "ERROR: Unknown target type ",
          static_cast<uint32_t>(type));
  return KXW("Unknown Target Type");
}

CkxShBufList::CkxNode* CkxShBufTarget::TargetFromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  const unsigned char* at = cursor;
  unsigned long left = remaining;
  const SkxTargetBufHeader* header = nullptr;
  if (!CkxBufReader(at, left).Header(header)) return nullptr;

  const TargetKind* const kind = FindKind(header->type);
  if (kind == nullptr || kind->make == nullptr) return nullptr;
  std::unique_ptr<CkxShBufTarget> target(kind->make());
  return target != nullptr && target->FromBuffer(cursor, remaining) ? target.release() : nullptr;
}

bool CkxShBufTarget::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxBufReader(cursor, remaining).Header(_header);
}

void CkxShBufTarget::FillTargetInfo(SkxTriggerPolicyShortInfo& info) const {
  info.PolicyTargetId = TargetId();
  info.TargetType = TargetType();
}

bool CkxShBufTarget::MatchTarget(const CkxTargetInfo& /*target*/) const { return false; }

bool CkxShBufTarget::MatchProcess(const CkxFileSrcProcess& /*process*/) const { return false; }

bool CkxShBufTarget::Observed(bool matched) const {
  if (IkxEvaluationObserver* const observer = KxObserve_Steps()) [[unlikely]] {
    KxEntry([&] { observer->OnTarget({TargetId(), TargetType()}, matched); });
  }
  return matched;
}
