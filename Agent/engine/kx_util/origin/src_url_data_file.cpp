// The record of a URI on its way to a file and back: CkxSrcUrlData where attributes of files are asked for.
#include <kx_util/ext_file_attributes.h>
#include <kx_util/src_url_data.h>

#include "Agent/engine/kx_util/origin/data_signature.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/trace.h"

namespace {

/// The system's error code for what the calls of attributes answer, as it is known from other lines of a log.
uint32_t ErrorOfStatus(long status) {
  constexpr struct {
    uint32_t status;
    uint32_t error;
  } kErrors[] = {
      {0xC0000008, 6},     // an invalid handle
      {0xC000000D, 87},    // an invalid parameter
      {0xC000000F, 2},     // no such file
      {0xC0000022, 5},     // access denied
      {0xC0000034, 2},     // no such name
      {0xC000003A, 3},     // no such folder
      {0xC0000043, 32},    // shared with somebody
      {0xC000004F, 282},   // a file system without attributes
      {0xC0000050, 255},   // too large
      {0xC0000052, 1392},  // none on the file
      {0xC000007F, 112},   // a full disk
      {0xC000009A, 1450},  // no resources
      {0xC00000BB, 50},    // not supported
  };
  for (const auto& known : kErrors) {
    if (KxStatus_Of(known.status) == status) return known.error;
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
