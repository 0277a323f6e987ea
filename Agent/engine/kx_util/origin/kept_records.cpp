#include "Agent/engine/kx_util/origin/kept_records.h"

#include <kx_util/match_location.h>
#include <kx_util/src_url_data.h>

#include <algorithm>

#include "Agent/engine/kx_util/origin/sup_file_data_util.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/last_error.h"

namespace {

constexpr auto kKeptScope = CkxSupplementalFileData::ClassName;

EkxKeptRecord RefuseKept(const char* reason, CkxTextView path) {
  KxTrace(EkxTraceLevel::Error, kKeptScope(), reason, path, "]");
  return EkxKeptRecord::Refused;
}

/// The driver sets whatever it is given; what stands in for one here keeps the kernel's attributes alone.
bool UsesDriver() {
  return CkxExtFileAttributes::DrvSetEnabled() &&
         CkxExtFileAttributes::_GetDrvEaHelper() != CkxExtFileAttributes::NativeDrvEaHelper();
}

/// The file has none of that name, or lies where there are none: each file system that has none says so in its own way.
bool IsAbsent(long status) {
  constexpr long kAbsent[] = {kKxStatusNoEasOnFile, kKxStatusEasNotSupported, kKxStatusNotSupported,
                              kKxStatusNotImplemented, kKxStatusInvalidDeviceRequest};
  return std::find(std::begin(kAbsent), std::end(kAbsent), status) != std::end(kAbsent);
}

bool IsRemote(CkxTextView path) {
  const CkxTextView type = KxUtil_GetFileLocationType(nullptr, path);
  return KxUtil_IsEqualLocationType(type, KXW("REMOTE")) || KxUtil_IsEqualLocationType(type, KXW("INTERNET"));
}

/// One that holds nothing is removed.
long SetOrRemove(intptr_t file, const char* name, const CkxFileFullEaInfo& info, bool useDriver) {
  if (info.Record() == nullptr) return KxEa_Delete(file, name);
  return useDriver ? KxEa_SetThroughDriver(file, info) : KxEa_Set(file, info);
}

}  // namespace

std::optional<uint64_t> KxKept_FileId(intptr_t file, CkxTextView path) {
  uint64_t id = 0;
  const long status = KxNativeEa().fileId(file, id);
  if (status >= 0) return id;
  KxTrace(EkxTraceLevel::Error, kKeptScope(), "ERROR: Missing data id parameters ([", path,
          "]), Status=", KxStatus_Text(status));
  return std::nullopt;
}

EkxKeptRecord KxKept_Bytes(intptr_t file, CkxTextView path, const char* name, CkxFileFullEaInfo& info) {
  const long status = KxEa_Get(file, name, info);
  if (status >= 0) return EkxKeptRecord::Read;
  if (status == kKxStatusNoMemory) KxFault_Note(EkxEvaluationFault::OutOfMemory);
  const bool isAbsent = IsAbsent(status);
  KxTrace(isAbsent ? EkxTraceLevel::Debug : EkxTraceLevel::Error, kKeptScope(), "ERROR: Failed to get EA [", name,
          "] from file [", path, "], Status=", KxStatus_Text(status));
  return isAbsent ? EkxKeptRecord::Absent : EkxKeptRecord::NotTold;
}

EkxKeptRecord KxKept_Text(intptr_t file, CkxTextView path, const char* name, std::string& text) {
  CkxFileFullEaInfo info;
  const EkxKeptRecord read = KxKept_Bytes(file, path, name, info);
  if (read != EkxKeptRecord::Read) return read;
  const std::string_view value(reinterpret_cast<const char*>(info.Value()), info.ValueLength());
  text = value.substr(0, value.find('\0'));
  return EkxKeptRecord::Read;
}

EkxKeptRecord KxKept_AgentOrigin(intptr_t file, CkxTextView path, CkxFileOrigin& origin) {
  std::string text;
  const EkxKeptRecord read = KxKept_Text(file, path, CkxSupplementalFileData::kAgentEaName, text);
  if (read != EkxKeptRecord::Read) return read;
  const std::optional<uint64_t> id = KxKept_FileId(file, path);
  if (!id) return EkxKeptRecord::NotTold;
  const bool holds = CkxSupFileDataUtil::OriginFromStr(text, *id, EkxSignatureCheck::AsConfigured, origin);
  return holds ? EkxKeptRecord::Read : RefuseKept("ERROR: _FromXml failed for file [", path);
}

EkxKeptRecord KxKept_DriverData(intptr_t file, CkxTextView path, CkxDrvXmlData& data) {
  std::string text;
  const EkxKeptRecord read = KxKept_Text(file, path, CkxSupplementalFileData::kDriverEaName, text);
  if (read != EkxKeptRecord::Read) return read;
  const std::optional<uint64_t> id = KxKept_FileId(file, path);
  if (!id) return EkxKeptRecord::NotTold;
  return data.FromXml(text, *id) ? EkxKeptRecord::Read : RefuseKept("ERROR: _FromDrvXml failed for file [", path);
}

EkxKeptRecord KxKept_Url(intptr_t file, CkxTextView path, CkxSrcUrlData& data) {
  CkxFileFullEaInfo info;
  const EkxKeptRecord read = KxKept_Bytes(file, path, CkxSrcUrlData::kEaName, info);
  if (read != EkxKeptRecord::Read) return read;
  return data.FromBytes({info.Value(), info.ValueLength()}) ? EkxKeptRecord::Read
                                                            : RefuseKept("ERROR: _FromUri failed for file [", path);
}

long KxKept_Set(intptr_t file, CkxTextView path, std::span<const CkxFileFullEaInfo> records) {
  const bool useDriver = UsesDriver();
  std::vector<CkxFileFullEaInfo> former(records.size());
  for (size_t i = 0; i < records.size(); ++i) {
    const long status = KxEa_Get(file, records[i].Name(), former[i]);
    if (status < 0 && status != kKxStatusNoEasOnFile) return status;
  }
  for (size_t i = 0; i < records.size(); ++i) {
    const long status = SetOrRemove(file, records[i].Name(), records[i], useDriver);
    if (status >= 0) continue;
    KxTrace(EkxTraceLevel::Error, kKeptScope(), "ERROR: Failed to set EA [", records[i].Name(), "] on file [", path,
            "].useDrv =", useDriver ? 1 : 0, ", Status=", KxStatus_Text(status));
    while (i-- > 0) SetOrRemove(file, records[i].Name(), former[i], useDriver);
    return status;
  }
  return kKxStatusSuccess;
}

bool KxKept_Ended(long status, long* out) {
  if (out != nullptr) *out = status == kKxKeptRefused ? kKxStatusSuccess : status;
  return status >= 0;
}

bool KxKept_RequireLocal(CkxTextView path) {
  const std::optional<KxWString> full = KxFile_FullPath(path);
  const bool isRemote = IsRemote(path) || (full && IsRemote(*full));
  if (isRemote) {
    KxTrace(EkxTraceLevel::Error, kKeptScope(), "ERROR: Attempt to save supplemental data to remote file [", path,
            "] LastError=", KxLastError_Get());
  }
  return !isRemote;
}
