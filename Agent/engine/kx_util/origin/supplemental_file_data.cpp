#include <kx_util/supplemental_file_data.h>

#include "Agent/engine/kx_util/origin/kept_records.h"
#include "Agent/engine/kx_util/origin/sup_file_data_util.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/registry/registry.h"
#include "Common_CPP/xml/ti_xml_util.h"

namespace {

constexpr const WCHAR* kScanKey = KXW("SYSTEM\\CurrentControlSet\\Services\\kx_agent\\Parameters\\Quennart");
constexpr const WCHAR* kScanStatus = KXW("ScanStatus");
constexpr uint32_t kScanFinished = 1;

bool FailSupplemental(const char* reason, CkxTextView path) {
  KxTrace(EkxTraceLevel::Error, CkxSupplementalFileData::ClassName(), reason, path, "]");
  return false;
}

bool IsEmptyPath(const WCHAR* path) {
  const bool isEmpty = path == nullptr || *path == 0;
  if (isEmpty) KxTrace(EkxTraceLevel::Error, CkxSupplementalFileData::ClassName(), "ERROR: Empty path");
  return isEmpty;
}

long FailToXml(CkxTextView path) {
  FailSupplemental("ERROR: _ToXml failed for file [", path);
  return kKxKeptRefused;
}

/// One record of a file that is opened for it.
template <class Record>
EkxKeptRecord ReadKept(const WCHAR* path, Record& record, EkxKeptRecord (*read)(intptr_t, CkxTextView, Record&)) {
  return KxEntry(EkxKeptRecord::NotTold, [&] {
    CkxEaFile file;
    const bool isOpen = !IsEmptyPath(path) && file.Open(path, KxEaRead, false, "GetFromFile") >= 0;
    return isOpen ? read(file.Handle(), path, record) : EkxKeptRecord::NotTold;
  });
}

}  // namespace

bool CkxSupplementalFileData::ToXml(std::string& xml) const noexcept {
  return KxEntry(false, [&] {
    CkxTiXmlDocument document(CkxSupFileDataUtil::kAgentRoot);
    std::optional<std::string> printed = _origin.ToXml(document.Root(), false) ? document.Print() : std::nullopt;
    if (printed) xml = std::move(*printed);
    return printed.has_value();
  });
}

bool CkxSupplementalFileData::ToFile(const WCHAR* path, long* status) const noexcept {
  const auto write = [&]() -> long {
    if (IsEmptyPath(path) || !KxKept_RequireLocal(path)) return kKxKeptRefused;
    std::string text;
    CkxFileFullEaInfo info;
    if (!ToXml(text)) return FailToXml(path);
    CkxEaFile file;
    const long opened = file.OpenToKeep(path, "SetToFile");
    if (opened < 0) return opened;
    const std::optional<uint64_t> id = KxKept_FileId(file.Handle(), path);
    const bool isMade =
        id && CkxSupFileDataUtil::OriginToStr(_origin, *id, text) && info.Set(kAgentEaName, text.c_str(), 0);
    return isMade ? KxKept_Set(file.Handle(), path, {&info, 1}) : FailToXml(path);
  };
  return KxKept_Ended(KxEntry(kKxStatusNoMemory, write), status);
}

bool CkxSupplementalFileData::FromFile(const WCHAR* path) noexcept {
  *this = CkxSupplementalFileData();
  return KxEntry(false, [&] {
    CkxEaFile file;
    if (IsEmptyPath(path) || file.Open(path, KxEaRead, false, "GetFromFile") < 0) return false;
    CkxSupplementalFileData read;
    read._agentRecord = KxKept_AgentOrigin(file.Handle(), path, read._origin);
    read._driverRecord = KxKept_DriverData(file.Handle(), path, read._drvXmlData);
    if (KxFault_Current() != EkxEvaluationFault::None) return false;
    *this = std::move(read);
    return _agentRecord == EkxKeptRecord::Read || _driverRecord == EkxKeptRecord::Read;
  });
}

EkxKeptRecord CkxSupplementalFileData::ReadAgentData(const WCHAR* path, CkxFileOrigin& origin) noexcept {
  return ReadKept(path, origin, KxKept_AgentOrigin);
}

EkxKeptRecord CkxSupplementalFileData::ReadDrvXmlData(const WCHAR* path, CkxDrvXmlData& data) noexcept {
  return ReadKept(path, data, KxKept_DriverData);
}

bool CkxSupplementalFileData::DeleteFromFile(const WCHAR* path, long* status) noexcept {
  const auto remove = [&]() -> long {
    if (IsEmptyPath(path)) return kKxKeptRefused;
    CkxEaFile file;
    long worst = file.OpenToKeep(path, "DeleteFromFile");
    if (worst < 0) return worst;
    for (const char* const name : {kAgentEaName, kDriverEaName}) {
      const long deleted = KxEa_Delete(file.Handle(), name);
      if (worst >= 0) worst = deleted;
    }
    return worst;
  };
  return KxKept_Ended(KxEntry(kKxStatusNoMemory, remove), status);
}

bool CkxSupplementalFileData::ReadScanFinishedFlag() noexcept {
  return KxEntry(false, [] { return KxRegistry_Number(kScanKey, kScanStatus) == kScanFinished; });
}

bool CkxSupplementalFileData::_SetScanFinished(bool isFinished) noexcept {
  return KxEntry(false, [&] {
    return KxRegistry_SetNumber(kScanKey, kScanStatus, isFinished ? kScanFinished : 0) ||
           FailSupplemental("ERROR: Failed to set [", kScanStatus);
  });
}
