#include <kx_util/file_origin.h>
#include <kx_util/file_src_installer.h>
#include <kx_util/src_email_data.h>

#include <algorithm>

#include "Agent/engine/kx_util/command/system_place.h"
#include "Agent/engine/kx_util/origin/source_xml.h"
#include "Agent/engine/kx_util/origin/well_known_process.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr const WCHAR* kDistributionAgent = KXW("?:\\Windows\\CCM\\CcmExec.exe");
constexpr const WCHAR* kDistributionAgentName = KXW("ccmexec");

const CkxTargetInfoProcess* ParentOf(const CkxTargetInfoProcess& process) {
  const CkxTargetInfo* const parent = process.Parent();
  return parent != nullptr && parent->IsTargetInfoProcess() ? static_cast<const CkxTargetInfoProcess*>(parent)
                                                            : nullptr;
}

/// An installer that a program of the chain came by.
struct SkxInherited {
  const CkxFileSrcInstaller* installer;
  int32_t order;  ///< of the program's process
  bool isGrandParent;
};

std::vector<SkxInherited> InheritedBy(const std::vector<CkxFileSrcProcess>& chain) {
  std::vector<SkxInherited> all;
  for (const CkxFileSrcProcess& process : chain) {
    const CkxFileOrigin* const origin = process.ImageOrigin().get();
    if (origin == nullptr) continue;
    if (!origin->Installer().IsEmpty()) all.push_back({&origin->Installer(), process.Facts().order, false});
    if (!origin->ParentInstaller().IsEmpty()) all.push_back({&origin->ParentInstaller(), process.Facts().order, true});
  }
  return all;
}

bool HasSource(const SkxInherited& inherited) {
  constexpr auto kReserved = static_cast<CkxFileSrcType::EkxType>(9);
  const CkxFileSrcType::EkxType type = inherited.installer->GetMainSourceType();
  return type != CkxFileSrcType::None && type != kReserved;
}

}  // namespace

bool CkxFileSrcInstaller::FillFromProcess(CkxTextView filePath, const CkxTargetInfoProcess& writer,
                                          uint64_t installTime) {
  return KxEntry(false, [&] {
    CkxFileSrcInstaller filled;
    filled._installTime = installTime;
    filled._FillChain(writer, false);
    if (!writer.IsRecorded()) filled._ReadAndSetSrcEmail(filePath);
    if (KxFault_Current() != EkxEvaluationFault::None) return false;
    if (filled._processes.empty()) {
      KxTrace(EkxTraceLevel::Error, "CkxFileSrcInstaller", "ERROR: Nothing is known of the writing process");
      return false;
    }
    *this = std::move(filled);
    return true;
  });
}

bool CkxFileSrcInstaller::FillFromMsi(CkxTextView /*filePath*/, CkxFileSrcPackage package,
                                      const CkxTargetInfoProcess* writer, uint64_t installTime) {
  return KxEntry(false, [&] {
    CkxFileSrcInstaller filled;
    filled._installTime = installTime;
    filled._package = std::move(package);
    if (writer != nullptr) filled._FillChain(*writer, true);
    const bool isFilled = KxFault_Current() == EkxEvaluationFault::None;
    if (isFilled) *this = std::move(filled);
    return isFilled;
  });
}

void CkxFileSrcInstaller::_FillChain(const CkxTargetInfoProcess& writer, bool ofPackage) {
  const CkxTargetInfoProcess* below = nullptr;
  for (const CkxTargetInfoProcess* process = &writer; process != nullptr && _processes.size() < kMaxFilledProcesses;
       below = process, process = ParentOf(*process)) {
    CkxFileSrcProcess record;
    if (!record.FillForOrigin(*process, static_cast<int32_t>(_processes.size()), below)) return;
    const bool isUnnamed = record.Facts().softwareDistributor.empty();
    if (isUnnamed && CheckForSccm(*process)) {
      record.Facts().softwareDistributor = CkxFileSrcProcess::HumanReadableNameFromWellKnown(kDistributionAgentName);
    }
    _processes.push_back(std::move(record));
    if (_processes.back()._IsProcessStackTerminator(ofPackage)) return;
  }
}

std::optional<CkxFileSrcPackage> CkxFileSrcInstaller::_ReadSrcEmail(CkxTextView filePath) {
  CkxSrcEmailData email;
  if (!email.FromFile(filePath.ToString().c_str())) return std::nullopt;
  CkxFileSrcPackageEmail package;
  SkxFileSrcPackageFacts& facts = package.Facts();
  facts.senderAddress = email.senderAddress.View().ToString();
  facts.subject = email.subject.View().ToString();
  facts.receivedTime = email.receivedTime;
  facts.entryId = email.entryId.View().ToString();
  facts.storeId = email.storeId.View().ToString();
  return package;
}

void CkxFileSrcInstaller::_ReadAndSetSrcEmail(CkxTextView filePath) {
  if (GetMainSourceType() == CkxFileSrcType::EMail) _package = _ReadSrcEmail(filePath);
}

bool CkxFileSrcInstaller::CheckForSccm(const CkxTargetInfoProcess& process) {
  return KxEntry(false, [&] {
    if (!CkxSystemPlace(process.GetPath()).Is(kDistributionAgent)) return false;
    const SkxWellKnownProcess* const known = KxWellKnown_Of(process);
    const bool isAgent = known != nullptr && KxText_Equals(known->shortName, kDistributionAgentName, true);
    if (!isAgent) KxTrace(EkxTraceLevel::Warning, "CkxFileSrcInstaller", "Signature for CCM is not valid");
    return isAgent;
  });
}

bool CkxFileSrcInstaller::SelectParentInstaller(CkxFileSrcParentInstaller& selected) const {
  return KxEntry(false, [&] {
    std::vector<SkxInherited> newestFirst = InheritedBy(_processes);
    if (newestFirst.empty()) return false;
    std::stable_sort(newestFirst.begin(), newestFirst.end(), [](const SkxInherited& a, const SkxInherited& b) {
      return a.installer->InstallTime() > b.installer->InstallTime();
    });
    const auto withSource = std::find_if(newestFirst.begin(), newestFirst.end(), HasSource);
    const SkxInherited& chosen = withSource != newestFirst.end() ? *withSource : newestFirst.front();
    selected = CkxFileSrcParentInstaller(*chosen.installer, chosen.order, chosen.isGrandParent);
    for (CkxFileSrcProcess& process : selected.Processes()) process.SetImageOrigin(nullptr);
    return true;
  });
}

bool CkxFileSrcInstaller::IsEmpty() const {
  return _installTime == 0 && _processes.empty() && _copySource.path.empty() && _copySource.locationType.empty() &&
         !_package;
}

CkxFileSrcType::EkxType CkxFileSrcInstaller::_GetProcessMainSourceType(const CkxFileSrcProcess*& process) const {
  CkxFileSrcType best;
  process = nullptr;
  for (const CkxFileSrcProcess& candidate : _processes) {
    const CkxFileSrcType type = candidate.GetMainSourceType();
    if (!type.IsValid() || (process != nullptr && best.ComparePriority(type) <= 0)) continue;
    best = type;
    process = &candidate;
  }
  return best;
}

const CkxFileSrcProcess* CkxFileSrcInstaller::MainProcess() const {
  const CkxFileSrcProcess* process = nullptr;
  _GetProcessMainSourceType(process);
  return process;
}

CkxFileSrcType::EkxType CkxFileSrcInstaller::GetMainSourceType() const {
  const CkxFileSrcProcess* process = nullptr;
  return _GetProcessMainSourceType(process);
}

CkxFileSrcType::EkxType CkxFileSrcInstaller::GetMainSourceType(const WCHAR*& name, const WCHAR*& detail,
                                                               int& order) const {
  name = detail = nullptr;
  order = CkxFileSrcParentInstaller::kUnknownOrder;
  const CkxFileSrcProcess* const process = MainProcess();
  if (process == nullptr) return CkxFileSrcType::None;
  order = process->Facts().order;
  return process->GetMainSourceType(name, detail);
}

bool CkxFileSrcInstaller::ToXml(tinyxml2::XMLElement& parent, bool withSourceTypes) const {
  return KxEntry(false, [&] { return KxSourceXml_Write(parent, "Installer", *this, {true, withSourceTypes}); });
}

bool CkxFileSrcInstaller::FromXml(const tinyxml2::XMLElement& installer) {
  return KxEntry(false, [&] { return KxSourceXml_Read(installer, *this); });
}

bool CkxFileSrcParentInstaller::ToXml(tinyxml2::XMLElement& parent, bool withSourceTypes) const {
  return KxEntry(false, [&] { return KxSourceXml_Write(parent, "ParentInstaller", *this, {true, withSourceTypes}); });
}

bool CkxFileSrcParentInstaller::FromXml(const tinyxml2::XMLElement& installer) {
  return KxEntry(false, [&] { return KxSourceXml_Read(installer, *this); });
}
