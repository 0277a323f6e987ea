// The record of a URI on its way to a file and back: CkxSrcUrlData where attributes of files are asked for.
#include <kx_util/ext_file_attributes.h>
#include <kx_util/src_url_data.h>

#include "Agent/engine/kx_util/attribute/data_signature.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/nt_status.h"
#include "Common_CPP/util/trace.h"

namespace {

/// The system's error code for what the calls of attributes answer, as it is known from other lines of a log.
uint32_t ErrorOfStatus(long status) {
  constexpr struct {
    long status;
    uint32_t error;
  } kErrors[] = {
      {kKxStatusInvalidHandle, 6},        {kKxStatusInvalidParameter, 87},  {kKxStatusNoMemory, 8},
      {kKxStatusAccessDenied, 5},         {kKxStatusObjectNameNotFound, 2}, {kKxStatusObjectPathNotFound, 3},
      {kKxStatusSharingViolation, 32},    {kKxStatusEasNotSupported, 282},  {kKxStatusEaTooLarge, 255},
      {kKxStatusNoEasOnFile, 1392},       {kKxStatusEaCorrupt, 1392},       {kKxStatusDiskFull, 112},
      {kKxStatusMediaWriteProtected, 19}, {kKxStatusNotSupported, 50},
  };
  for (const auto& known : kErrors) {
    if (known.status == status) return known.error;
  }
  return 317;  // "no message for it", as the system says
}

bool FailUrlFile(EkxTraceLevel level, const char* reason, CkxTextView path, long status) {
  KxTrace(level, CkxSrcUrlData::ClassName(), reason, " File [", path, "]. status=", ErrorOfStatus(status));
  return false;
}

bool IsHandle(const void* file) { return file != nullptr && reinterpret_cast<intptr_t>(file) != -1; }

bool ToEa(const std::vector<unsigned char>& record, CkxFileFullEaInfo& info) {
  return info.Set(CkxSrcUrlData::kEaName, record.data(), static_cast<unsigned short>(record.size()), 0);
}

/// `file`: a path or a handle. One that has none is an everyday matter.
template <class File>
bool ReadUrl(CkxSrcUrlData& data, File file, CkxTextView path) {
  CkxFileFullEaInfo info;
  long status = 0;
  data.Empty();
  if (CkxExtFileAttributes::GetFromFile(file, CkxSrcUrlData::kEaName, info, &status)) {
    return data.FromBytes({info.Value(), info.ValueLength()});
  }
  const EkxTraceLevel level = status == kKxStatusNoEasOnFile ? EkxTraceLevel::Debug : EkxTraceLevel::Error;
  return FailUrlFile(level, "ERROR: Failed to get EA.", path, status);
}

}  // namespace

bool CkxSrcUrlData::ToFile(const WCHAR* path) noexcept {
  return KxEntry(false, [&] {
    std::vector<unsigned char> record;
    CkxFileFullEaInfo info;
    long status = 0;
    if (!ToBytes(record) || !ToEa(record, info)) return false;
    return CkxExtFileAttributes::SetToFile(path, info, true, &status) ||
           FailUrlFile(EkxTraceLevel::Error, "ERROR: Failed to set EA.", path, status);
  });
}

bool CkxSrcUrlData::ToFile(void* file) noexcept {
  return KxEntry(false, [&] {
    if (!IsHandle(file)) {
      KxTrace(EkxTraceLevel::Error, ClassName(), "ERROR: Invalid file handle.");
      return false;
    }
    std::vector<unsigned char> record;
    CkxFileFullEaInfo info;
    long status = 0;
    if (!ToBytes(record) || !ToEa(record, info)) return false;
    return CkxExtFileAttributes::SetToFile(file, info, &status) ||
           FailUrlFile(EkxTraceLevel::Error, "ERROR: Failed to set EA.", {}, status);
  });
}

bool CkxSrcUrlData::FromFile(const WCHAR* path) noexcept {
  return KxEntry(false, [&] { return ReadUrl(*this, path, path); });
}

bool CkxSrcUrlData::FromFile(void* file) noexcept {
  return KxEntry(false, [&] { return ReadUrl(*this, file, {}); });
}

bool CkxSrcUrlData::FromFileMigration(const WCHAR* path, bool& isOlder) noexcept {
  isOlder = FromFile(path) && _signature.size() == kOlderSignatureBytes;
  return !IsEmpty();
}

bool CkxSrcUrlData::OverwriteSignature(const WCHAR* path) noexcept {
  return KxEntry(false, [&] {
    CkxSrcUrlData data;
    bool isOlder = false;
    return data.FromFileMigration(path, isOlder) && (!isOlder || data.ToFile(path));
  });
}

bool CkxSrcUrlData::DeleteFromFile(const WCHAR* path) noexcept {
  return KxEntry(false, [&] {
    long status = 0;
    return CkxExtFileAttributes::DeleteFromFile(path, kEaName, true, &status) || status == kKxStatusNoEasOnFile ||
           FailUrlFile(EkxTraceLevel::Error, "ERROR: Failed to delete EA.", path, status);
  });
}
