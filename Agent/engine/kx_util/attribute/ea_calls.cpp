#include "Agent/engine/kx_util/attribute/ea_calls.h"

#include <algorithm>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/util/last_error.h"

namespace {

using EaList = std::vector<unsigned char>;

constexpr int kEaGrowths = 8;  // of a list that grows while it is read

long InvalidParameters(intptr_t file, std::string_view name) {
  return KxEa_Fail(kKxStatusInvalidParameter, "ERROR: Invaild param(s). fileHandle=", file, ", EaName=[", name, "]");
}

/// A record that stands alone at an address of its own: the system is strict about both.
EaList RecordOf(const CkxFileFullEaInfo& info) {
  EaList record;
  KxEaList_Append(record, 0, {0, info.Flags(), info.Name(), {info.Value(), info.ValueLength()}});
  return record;
}

bool IsTooSmall(long status) { return status == kKxStatusBufferOverflow || status == kKxStatusBufferTooSmall; }

/// One attribute, empty where that fails: with room for what most are, and where that does not do for any.
long QueryOneEa(intptr_t file, std::string_view name, EaList& answer) {
  constexpr size_t kUsualRecordBytes = 4096;
  long status = kKxStatusBufferTooSmall;
  for (const size_t room : {kUsualRecordBytes, kKxEaMaxRecordBytes}) {
    if (!IsTooSmall(status)) break;
    answer.resize(room);
    size_t written = 0;
    status = KxNativeEa().query(file, KxEaQuery_Of(name), answer, written);
    answer.resize(status >= 0 ? written : 0);
  }
  return status;
}

/// Whether an attribute that was deleted is gone: some systems take the deletion of a kernel's and do nothing.
bool IsGone(intptr_t file, std::string_view name) {
  EaList answer;
  const long status = QueryOneEa(file, name, answer);
  if (status == kKxStatusNoEasOnFile) return true;
  const auto record = KxEaRecord_Read(answer);
  return status >= 0 && record && record->value.empty();
}

/// All attributes in one question. The file may get more of them between asking for the size and asking for them.
long QueryAllEas(intptr_t file, uint32_t size, EaList& list) {
  long status = kKxStatusBufferTooSmall;
  for (int growth = 0; growth < kEaGrowths && IsTooSmall(status); ++growth, size *= 2) {
    list.resize(size);
    size_t written = 0;
    status = KxNativeEa().query(file, {}, list, written);
    list.resize(status >= 0 ? written : 0);
  }
  return status;
}

EaList WithoutKernelEas(const EaList& list) {
  EaList kept;
  size_t last = 0;
  KxEaList_ForEach(list, [&](const SkxEaRecord& record, std::span<const unsigned char>) {
    if (!KxEaName_IsKernel(record.name)) last = KxEaList_Append(kept, last, record);
    return true;
  });
  return kept;
}

/// A helper may be of another module, with its own idea of how wide a status is.
long DriverStatus(intptr_t file, const EaList& record) {
  const auto helper = CkxExtFileAttributes::_GetDrvEaHelper();
  if (helper == nullptr) return kKxStatusNotSupported;  // taken away meanwhile
  void* const handle = reinterpret_cast<void*>(file);   // NOLINT(performance-no-int-to-ptr): as callers have it
  return KxStatus_Of(static_cast<uint32_t>(helper(handle, record.data(), static_cast<unsigned long>(record.size()))));
}

}  // namespace

bool KxEa_Ended(long status, long* out) {
  if (out != nullptr) *out = status;
  return status >= 0;
}

intptr_t KxEa_FileOf(void* file) { return file != nullptr ? reinterpret_cast<intptr_t>(file) : -1; }

std::string_view KxEa_NameText(const char* name) { return name != nullptr ? name : ""; }

long KxEa_Get(intptr_t file, const char* name, CkxFileFullEaInfo& out) {
  const std::string_view text = KxEa_NameText(name);
  if (file == -1 || text.empty()) return InvalidParameters(file, text);
  if (!KxEaName_IsValid(text)) return KxEa_Fail(kKxStatusInvalidEaName, "ERROR: Invalid EA name [", text, "]");
  EaList answer;
  const long status = QueryOneEa(file, text, answer);
  if (status < 0 && status != kKxStatusNoEasOnFile) {
    return KxEa_Fail(status, "ERROR: NtQueryEaFile failed. EaName=[", text, "]");
  }
  const auto record = KxEaRecord_Read(answer);
  if (status >= 0 && (!record || !KxEaName_Equals(record->name, text))) {
    return KxEa_Fail(kKxStatusEaCorrupt, "ERROR: Failed to parse EA buffer. EaName=[", text, "]");
  }
  const bool isStale = KxEaName_IsKernel(text) && !KxNativeEa().areKernelEasCurrent(file);
  if (!record || record->value.empty() || isStale) {
    KxTrace(EkxTraceLevel::Debug, kKxEaScope, "EaName=[", text, "] doesn't exist");
    return kKxStatusNoEasOnFile;
  }
  return out.CopyFrom(answer.data(), static_cast<unsigned long>(answer.size())) ? kKxStatusSuccess : kKxStatusNoMemory;
}

long KxEa_Set(intptr_t file, const CkxFileFullEaInfo& info) {
  const std::string_view name = KxEa_NameText(info.Name());
  if (file == -1 || name.empty()) return InvalidParameters(file, name);
  if (!KxEaName_IsValid(name)) return KxEa_Fail(kKxStatusInvalidEaName, "ERROR: Invalid EA name [", name, "]");
  if (info.ValueLength() == 0) return KxEa_Delete(file, info.Name());
  if (KxEaName_IsKernel(name) && CkxExtFileAttributes::DrvSetEnabled()) return KxEa_SetThroughDriver(file, info);
  const long status = KxEaName_IsKernel(name) ? kKxStatusAccessDenied : KxNativeEa().set(file, RecordOf(info));
  return status < 0 ? KxEa_Fail(status, "ERROR: SetEaFile failed. EaName=[", name, "]") : status;
}

long KxEa_SetThroughDriver(intptr_t file, const CkxFileFullEaInfo& info) {
  const std::string_view name = KxEa_NameText(info.Name());
  if (file == -1 || name.empty()) return InvalidParameters(file, name);
  const bool isEnabled = CkxExtFileAttributes::DrvSetEnabled();
  const long status = isEnabled ? DriverStatus(file, RecordOf(info)) : kKxStatusNotSupported;
  return status < 0 ? KxEa_Fail(status, "ERROR: SetKernelEa failed. EaName=[", name, "]") : status;
}

long KxEa_Delete(intptr_t file, const char* name) {
  const std::string_view text = KxEa_NameText(name);
  if (file == -1 || text.empty()) return InvalidParameters(file, text);
  if (!KxEaName_IsValid(text)) return KxEa_Fail(kKxStatusInvalidEaName, "ERROR: Invalid EA name [", text, "]");
  EaList record;
  KxEaList_Append(record, 0, {0, 0, text, {}});
  const bool isKernel = KxEaName_IsKernel(text);
  const bool byDriver = isKernel && CkxExtFileAttributes::DrvSetEnabled();
  long status = byDriver ? DriverStatus(file, record) : KxNativeEa().set(file, record);
  if (status == kKxStatusNoEasOnFile) status = kKxStatusSuccess;
  if (status >= 0 && isKernel && !byDriver && !IsGone(file, text)) status = kKxStatusAccessDenied;
  return status < 0 ? KxEa_Fail(status, "ERROR: DeleteFromFile failed. EaName=[", text, "]") : status;
}

long KxEa_Size(intptr_t file, uint32_t& bytes) {
  if (file == -1) return InvalidParameters(file, "");
  const long status = KxNativeEa().querySize(file, bytes);
  if (status >= 0) return status;
  KxTrace(EkxTraceLevel::Error, kKxEaScope, "ERROR: Query FileEaInformation failed. Status=", KxStatus_Text(status));
  return status;
}

long KxEa_RequireList(std::span<const unsigned char> bytes) {
  if (KxEaList_IsWellFormed(bytes)) return kKxStatusSuccess;
  return KxEa_Fail(kKxStatusEaCorrupt, "ERROR: Failed to parse EA buffer. EaName=[], size=", bytes.size());
}

long KxEa_Load(intptr_t file, bool withStale, std::vector<unsigned char>& list) {
  uint32_t size = 0;
  long status = KxEa_Size(file, size);
  if (status < 0 || size == 0) return status;
  EaList all;
  status = QueryAllEas(file, size, all);
  if (status == kKxStatusNoEasOnFile) return kKxStatusSuccess;
  if (status < 0) return KxEa_Fail(status, "ERROR: NtQueryEaFile failed. EaName=[]");
  status = KxEa_RequireList(all);
  if (status < 0) return status;
  const bool isStale = !withStale && !KxNativeEa().areKernelEasCurrent(file);
  list = isStale ? WithoutKernelEas(all) : std::move(all);
  return kKxStatusSuccess;
}

CkxEaFile::~CkxEaFile() {
  const SkxNativeEa& system = KxNativeEa();
  const CkxLastErrorGuard guard;
  if (_attributes != -1) {
    // Once more where it fails: what is left writable was somebody's to protect.
    long status = system.setReadOnly(_attributes, true);
    if (status < 0) status = system.setReadOnly(_attributes, true);
    if (status < 0) KxEa_Fail(status, "ERROR: Failed to make it read-only again. File [", CkxTextView(_path), "]");
    system.close(_attributes);
  }
  if (_file != -1) system.close(_file);
}

long CkxEaFile::Open(const WCHAR* path, unsigned access, bool mayChangeAttributes, std::string_view operation) {
  const SkxNativeEa& system = KxNativeEa();
  if (path == nullptr || *path == 0) {
    KxTrace(EkxTraceLevel::Error, kKxEaScope, "ERROR: File path is NULL or empty");
    return kKxStatusInvalidParameter;
  }
  long status = system.open(path, access, _file);
  const bool isWrite = (access & KxEaWrite) != 0;
  if (status == kKxStatusAccessDenied && isWrite && mayChangeAttributes && MakeWritable(path)) {
    _path = path;
    status = system.open(path, access, _file);
    if (status < 0) {
      KxTrace(EkxTraceLevel::Error, kKxEaScope, "__EA__: CkxExtFileAttributes::", operation,
              "(). ERROR: Failed to open file even after changing file attributes, err: ", KxLastError_Get());
    }
  }
  if (status >= 0) return status;
  _file = -1;
  return KxEa_Fail(status, "ERROR: Failed to open file [", CkxTextView(path), "], err: ", KxLastError_Get());
}

long CkxEaFile::OpenToKeep(const WCHAR* path, std::string_view operation) {
  constexpr unsigned kAccess = KxEaRead | KxEaWrite;
  const long status = Open(path, kAccess, true, operation);
  return status == kKxStatusAccessDenied && _grant.Ensure(path) ? Open(path, kAccess, true, operation) : status;
}

/// The last error stays that of the refused opening where there is nothing to change.
bool CkxEaFile::MakeWritable(const WCHAR* path) {
  const SkxNativeEa& system = KxNativeEa();
  const CkxLastErrorGuard guard;
  bool isReadOnly = false;
  if (_attributes != -1) return false;  // it is writable already
  if (system.open(path, KxEaAttributes, _attributes) < 0) return false;
  if (system.isReadOnly(_attributes, isReadOnly) >= 0 && isReadOnly && system.setReadOnly(_attributes, false) >= 0) {
    return true;
  }
  system.close(_attributes);
  _attributes = -1;
  return false;
}
