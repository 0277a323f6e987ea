#include "Common_CPP/file/file.h"

#include <algorithm>
#include <limits>

#include "Common_CPP/file/path.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

// After windows.h, which it does not include itself.
#include <aclapi.h>

namespace {

constexpr size_t kMaxTransfer = 1u << 30;  // bytes a call; the system counts in 32 bits

/// The terminated name; a NUL in it, at which the system would end it, makes it name no file.
bool NativePath(CkxTextView path, KxWString& native) {
  if (path.IsEmpty() || KxText_FindUnit(path, WCHAR{0}) != CkxTextView::npos) {
    KxLastError_Set(kKxErrorFileNotFound);
    return false;
  }
  native = path.ToString();
  return true;
}

/// A file that exists. A folder is refused with error 5. The name may be a pipe's: its server does not get to act for
/// us.
CkxHandle OpenExisting(CkxTextView path, DWORD access) {
  KxWString native;
  if (!NativePath(path, native)) return CkxHandle();
  return CkxHandle(CreateFileW(native.c_str(), access, kKxShareAll, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr));
}

uint64_t Join(DWORD high, DWORD low) { return (uint64_t{high} << 32) | low; }

bool StatusOf(HANDLE file, SkxFileStatus& status) {
  BY_HANDLE_FILE_INFORMATION native{};
  FILE_BASIC_INFO times{};
  const DWORD type = GetFileType(file);
  if (type == FILE_TYPE_UNKNOWN && GetLastError() != ERROR_SUCCESS) return false;
  if (type != FILE_TYPE_DISK) {
    KxLastError_Set(kKxErrorAccessDenied);
    return false;
  }
  if (!GetFileInformationByHandle(file, &native)) return false;
  if (!GetFileInformationByHandleEx(file, FileBasicInfo, &times, sizeof(times))) return false;
  status.size = Join(native.nFileSizeHigh, native.nFileSizeLow);
  status.modificationTime =
      static_cast<int64_t>(Join(native.ftLastWriteTime.dwHighDateTime, native.ftLastWriteTime.dwLowDateTime));
  status.changeTime = times.ChangeTime.QuadPart;
  status.identity = {native.dwVolumeSerialNumber, Join(native.nFileIndexHigh, native.nFileIndexLow)};
  return true;
}

HANDLE ToHandle(intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

CkxHandle CreateBeside(CkxTextView path, KxWString& temporary) {
  const KxWString stem = KxPath_Folder(path).ToString() + L".kx-" + std::to_wstring(GetCurrentProcessId()) + L"-";
  CkxHandle file;
  for (int attempt = 0; attempt < 1000 && !file; ++attempt) {
    temporary = stem + std::to_wstring(attempt) + L".tmp";
    file = CkxHandle(
        CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file && GetLastError() != ERROR_FILE_EXISTS) break;
  }
  return file;
}

bool WriteAll(HANDLE file, std::span<const unsigned char> bytes, size_t& done) {
  while (!bytes.empty()) {
    DWORD written = 0;
    if (!WriteFile(file, bytes.data(), static_cast<DWORD>(std::min(bytes.size(), kMaxTransfer)), &written, nullptr)) {
      return false;
    }
    done += written;
    bytes = bytes.subspan(written);
  }
  return true;
}

}  // namespace

bool CkxFileReader::Open(CkxTextView path) {
  return Take(reinterpret_cast<intptr_t>(OpenExisting(path, GENERIC_READ).Release()));
}

bool CkxFileReader::OpenForFacts(CkxTextView path) {
  constexpr DWORD kLess[] = {FILE_READ_ATTRIBUTES | READ_CONTROL, FILE_READ_ATTRIBUTES};
  if (Open(path)) return true;
  for (const DWORD access : kLess) {
    if (GetLastError() != kKxErrorAccessDenied) return false;
    if (Take(reinterpret_cast<intptr_t>(OpenExisting(path, access).Release()))) return true;
  }
  return false;
}

bool CkxFileReader::Take(intptr_t handle) {
  Close();
  CkxHandle file(ToHandle(handle));
  SkxFileStatus status;
  if (!file || !StatusOf(file.Get(), status)) return false;
  _handle = reinterpret_cast<intptr_t>(file.Release());
  return true;
}

bool CkxFileReader::Status(SkxFileStatus& status) const { return StatusOf(ToHandle(_handle), status); }

std::optional<CkxSid> CkxFileReader::Owner() const {
  if (_handle == -1) {  // to the system that is a handle of this process
    KxLastError_Set(kKxErrorInvalidHandle);
    return std::nullopt;
  }
  PSID owner = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD error = GetSecurityInfo(ToHandle(_handle), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr,
                                      nullptr, nullptr, &descriptor);
  if (error != ERROR_SUCCESS) {
    KxLastError_Set(error);
    return std::nullopt;
  }
  const CkxSid sid = owner != nullptr ? CkxSid::FromBytes(owner, GetLengthSid(owner)) : CkxSid();
  LocalFree(descriptor);
  if (!sid.IsValid()) return std::nullopt;
  return sid;
}

std::optional<KxWString> CkxFileReader::FinalPath() const {
  const CkxLastErrorGuard guard;
  KxWString path(MAX_PATH, WCHAR{});
  for (const DWORD form : {DWORD{FILE_NAME_NORMALIZED}, DWORD{FILE_NAME_OPENED}}) {  // a server may not know the first
    DWORD units = GetFinalPathNameByHandleW(ToHandle(_handle), path.data(), static_cast<DWORD>(path.size()), form);
    if (units >= path.size()) {
      path.resize(units);
      units = GetFinalPathNameByHandleW(ToHandle(_handle), path.data(), static_cast<DWORD>(path.size()), form);
    }
    if (units != 0 && units < path.size()) return path.substr(0, units);
  }
  return std::nullopt;
}

std::optional<size_t> CkxFileReader::ReadAt(uint64_t offset, std::span<unsigned char> bytes) const {
  constexpr uint64_t kLargest = std::numeric_limits<int64_t>::max();  // no file is so long
  bytes = bytes.first(static_cast<size_t>(std::min<uint64_t>(bytes.size(), kLargest - std::min(offset, kLargest))));
  size_t done = 0;
  while (done < bytes.size()) {
    const uint64_t position = offset + done;
    OVERLAPPED where{};
    where.Offset = static_cast<DWORD>(position & 0xFFFFFFFF);
    where.OffsetHigh = static_cast<DWORD>(position >> 32);
    DWORD count = 0;
    const DWORD wanted = static_cast<DWORD>(std::min(bytes.size() - done, kMaxTransfer));
    if (!ReadFile(ToHandle(_handle), bytes.data() + done, wanted, &count, &where)) {
      if (GetLastError() == ERROR_HANDLE_EOF) break;
      _hasFailed = _hasFailed || GetLastError() != kKxErrorAccessDenied;  // the one of a file that may not be read
      return std::nullopt;
    }
    if (count == 0) break;
    done += count;
  }
  return done;
}

void CkxFileReader::Close() {
  CkxHandle(ToHandle(_handle)).Close();
  _handle = -1;
  _hasFailed = false;
}

std::optional<SkxFileStatus> KxFile_Status(CkxTextView path) {
  const CkxHandle file = OpenExisting(path, FILE_READ_ATTRIBUTES);
  SkxFileStatus status;
  if (!file || !StatusOf(file.Get(), status)) return std::nullopt;
  return status;
}

std::optional<KxWString> KxFile_FullPath(CkxTextView path) {
  KxWString native;
  if (!NativePath(path, native)) return std::nullopt;
  // The size that is asked for counts the terminator; the current folder may change between the calls.
  KxWString full;
  for (DWORD size = MAX_PATH; size > full.size();) {
    full.resize(size);
    size = GetFullPathNameW(native.c_str(), size, full.data(), nullptr);
    if (size == 0) return std::nullopt;
    if (size < full.size()) full.resize(size);
  }
  return full;
}

bool KxFile_ReplaceAll(CkxTextView path, std::span<const unsigned char> bytes, SkxReplaceProgress* progress) {
  KxWString native;
  KxWString temporary;
  if (!NativePath(path, native)) return false;
  CkxHandle file = CreateBeside(path, temporary);
  if (!file) return false;
  SkxReplaceProgress unasked;
  SkxReplaceProgress& reached = progress != nullptr ? *progress : unasked;
  reached.isCreated = true;
  const bool written = WriteAll(file.Get(), bytes, reached.written) && FlushFileBuffers(file.Get());
  file.Close();
  constexpr DWORD kForGood = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
  if (written && MoveFileExW(temporary.c_str(), native.c_str(), kForGood)) return true;
  const CkxLastErrorGuard guard;
  DeleteFileW(temporary.c_str());
  return false;
}

bool KxFile_WriteNew(CkxTextView path, std::span<const unsigned char> bytes) {
  KxWString native;
  if (!NativePath(path, native)) return false;
  const CkxHandle file(
      CreateFileW(native.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
  size_t unasked = 0;
  return file && WriteAll(file.Get(), bytes, unasked) && FlushFileBuffers(file.Get());
}

KxWString KxSid_AccountName(const CkxSid& sid) {
  if (!sid.IsValid()) return KxWString();
  const CkxLastErrorGuard guard;
  PSID native = const_cast<unsigned char*>(sid.Bytes());
  DWORD nameUnits = 0;
  DWORD domainUnits = 0;
  SID_NAME_USE use{};
  LookupAccountSidW(nullptr, native, nullptr, &nameUnits, nullptr, &domainUnits, &use);
  KxWString name(nameUnits, WCHAR{});
  KxWString domain(domainUnits, WCHAR{});
  if (nameUnits == 0 ||
      !LookupAccountSidW(nullptr, native, name.data(), &nameUnits, domain.data(), &domainUnits, &use)) {
    return sid.ToText();
  }
  name.resize(nameUnits);  // now without their terminators
  domain.resize(domainUnits);
  return domain.empty() ? name : domain + L"\\" + name;
}
