#include "Common_CPP/file/native_ea.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/system_library_win.h"
#include "Common_CPP/util/text.h"

namespace {

/// As the native calls write it.
struct EaIoStatus {
  union {
    LONG status;
    void* pointer;
  };
  ULONG_PTR information;
};

constexpr int kFileEaInformation = 7;

/// Null where the system has none of that name.
struct EaFunctions {
  const CkxSystemLibrary ntdll{L"ntdll.dll"};

  using SetEaFile = LONG NTAPI(HANDLE, EaIoStatus*, void*, ULONG);
  using QueryEaFile = LONG NTAPI(HANDLE, EaIoStatus*, void*, ULONG, BOOLEAN, void*, ULONG, ULONG*, BOOLEAN);
  using QueryInformationFile = LONG NTAPI(HANDLE, EaIoStatus*, void*, ULONG, int);
  using StatusToError = ULONG NTAPI(LONG);
  using GetVersion = LONG NTAPI(OSVERSIONINFOW*);

  SetEaFile* const setEa = ntdll.Find<SetEaFile>("NtSetEaFile");
  QueryEaFile* const queryEa = ntdll.Find<QueryEaFile>("NtQueryEaFile");
  QueryInformationFile* const queryInformation = ntdll.Find<QueryInformationFile>("NtQueryInformationFile");
  StatusToError* const toError = ntdll.Find<StatusToError>("RtlNtStatusToDosError");
  GetVersion* const getVersion = ntdll.Find<GetVersion>("RtlGetVersion");
};

const EaFunctions& EaCalls() {
  static const EaFunctions functions;
  return functions;
}

HANDLE EaHandle(intptr_t file) { return reinterpret_cast<HANDLE>(file); }

struct StatusOfError {
  DWORD error;
  long status;
};

constexpr StatusOfError kStatusOfError[] = {
    {ERROR_FILE_NOT_FOUND, kKxStatusObjectNameNotFound},  {ERROR_PATH_NOT_FOUND, kKxStatusObjectPathNotFound},
    {ERROR_ACCESS_DENIED, kKxStatusAccessDenied},         {ERROR_INVALID_HANDLE, kKxStatusInvalidHandle},
    {ERROR_NOT_ENOUGH_MEMORY, kKxStatusNoMemory},         {ERROR_WRITE_PROTECT, kKxStatusMediaWriteProtected},
    {ERROR_SHARING_VIOLATION, kKxStatusSharingViolation}, {ERROR_INVALID_NAME, kKxStatusObjectNameInvalid},
    {ERROR_BAD_PATHNAME, kKxStatusObjectNameInvalid},
};

long EaStatusOfLastError() {
  const DWORD error = GetLastError();
  for (const StatusOfError& row : kStatusOfError) {
    if (row.error == error) return row.status;
  }
  return kKxStatusUnsuccessful;
}

/// The native calls leave the thread's last error to the layer above them.
long EaEnded(LONG status) {
  if (status < 0 && EaCalls().toError != nullptr) SetLastError(EaCalls().toError(status));
  return status;
}

DWORD EaNativeAccess(unsigned access) {
  return ((access & KxEaRead) != 0 ? FILE_READ_EA : 0u) | ((access & KxEaWrite) != 0 ? FILE_WRITE_EA : 0u) |
         ((access & KxEaAttributes) != 0 ? FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES : 0u);
}

long OpenEaFile(CkxTextView path, unsigned access, intptr_t& file) {
  if (path.IsEmpty() || KxText_FindUnit(path, WCHAR{0}) != CkxTextView::npos) {
    KxLastError_Set(kKxErrorFileNotFound);
    return kKxStatusObjectNameNotFound;
  }
  // Backup semantics for folders. The name may be a pipe's: its server does not get to act for us.
  constexpr DWORD kFlags = FILE_FLAG_BACKUP_SEMANTICS | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
  CkxHandle opened(CreateFileW(path.ToString().c_str(), EaNativeAccess(access), kKxShareAll, nullptr, OPEN_EXISTING,
                               kFlags, nullptr));
  if (!opened) return EaStatusOfLastError();
  file = reinterpret_cast<intptr_t>(opened.Release());
  return kKxStatusSuccess;
}

void CloseEaFile(intptr_t file) { CkxHandle(EaHandle(file)).Close(); }

/// Of the index in the volume the low 64 bits, where a file system has more of them.
long FileIdOfEaFile(intptr_t file, uint64_t& id) {
  BY_HANDLE_FILE_INFORMATION info{};
  if (!GetFileInformationByHandle(EaHandle(file), &info)) return EaStatusOfLastError();
  id = uint64_t{info.nFileIndexHigh} << 32 | info.nFileIndexLow;
  return kKxStatusSuccess;
}

long SetEas(intptr_t file, SkxNativeEa::Bytes list) {
  if (EaCalls().setEa == nullptr) return kKxStatusNotSupported;
  EaIoStatus io{};
  return EaEnded(
      EaCalls().setEa(EaHandle(file), &io, const_cast<unsigned char*>(list.data()), static_cast<ULONG>(list.size())));
}

long QueryEas(intptr_t file, SkxNativeEa::Bytes question, std::span<unsigned char> answer, size_t& written) {
  written = 0;
  if (EaCalls().queryEa == nullptr) return kKxStatusNotSupported;
  EaIoStatus io{};
  const bool isOne = !question.empty();
  const LONG status =
      EaCalls().queryEa(EaHandle(file), &io, answer.data(), static_cast<ULONG>(answer.size()),
                        static_cast<BOOLEAN>(isOne), isOne ? const_cast<unsigned char*>(question.data()) : nullptr,
                        static_cast<ULONG>(question.size()), nullptr, TRUE);
  if (status >= 0 && io.information <= answer.size()) written = io.information;
  return EaEnded(status);
}

long QueryEaSize(intptr_t file, uint32_t& bytes) {
  if (EaCalls().queryInformation == nullptr) return kKxStatusNotSupported;
  EaIoStatus io{};
  ULONG size = 0;
  const LONG status = EaCalls().queryInformation(EaHandle(file), &io, &size, sizeof(size), kFileEaInformation);
  if (status >= 0) bytes = size;
  return EaEnded(status);
}

long EaBasicInfo(intptr_t file, FILE_BASIC_INFO& info) {
  return GetFileInformationByHandleEx(EaHandle(file), FileBasicInfo, &info, sizeof(info)) ? kKxStatusSuccess
                                                                                          : EaStatusOfLastError();
}

long IsEaFileReadOnly(intptr_t file, bool& readOnly) {
  FILE_BASIC_INFO info{};
  const long status = EaBasicInfo(file, info);
  readOnly = (info.FileAttributes & FILE_ATTRIBUTE_READONLY) != 0;
  return status;
}

long SetEaFileReadOnly(intptr_t file, bool readOnly) {
  FILE_BASIC_INFO info{};
  const long status = EaBasicInfo(file, info);
  if (status < 0) return status;
  const DWORD others = info.FileAttributes & ~DWORD{FILE_ATTRIBUTE_READONLY};
  FILE_BASIC_INFO change{};  // times of 0 stay as they are
  change.FileAttributes = readOnly ? others | FILE_ATTRIBUTE_READONLY : others;
  if (change.FileAttributes == 0) change.FileAttributes = FILE_ATTRIBUTE_NORMAL;  // of 0 the system would keep the old
  return SetFileInformationByHandle(EaHandle(file), FileBasicInfo, &change, sizeof(change)) ? kKxStatusSuccess
                                                                                            : EaStatusOfLastError();
}

bool AreKernelEasCurrent(intptr_t) { return true; }

/// Windows 8 and later, whatever the program's manifest makes the system say of itself.
bool HasKernelEas() {
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  if (EaCalls().getVersion == nullptr || EaCalls().getVersion(&version) < 0) return false;
  return version.dwMajorVersion > 6 || (version.dwMajorVersion == 6 && version.dwMinorVersion >= 2);
}

}  // namespace

const SkxNativeEa& KxNativeEa_OfSystem() {
  static constexpr SkxNativeEa kTable = {
      OpenEaFile,       CloseEaFile,       FileIdOfEaFile,      SetEas,       QueryEas, QueryEaSize,
      IsEaFileReadOnly, SetEaFileReadOnly, AreKernelEasCurrent, HasKernelEas, nullptr};
  return kTable;
}
