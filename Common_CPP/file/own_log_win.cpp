#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/object_access_win.h"
#include "Common_CPP/access_token/object_owner_win.h"
#include "Common_CPP/access_token/owner_win.h"
#include "Common_CPP/file/own_log.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

HANDLE LogHandle(intptr_t file) { return reinterpret_cast<HANDLE>(file); }

/// A second name, or one that leads elsewhere, would let it be another file that somebody wants written to.
bool IsPlainFile(HANDLE file) {
  constexpr DWORD kOthers = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  BY_HANDLE_FILE_INFORMATION facts{};
  return GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &facts) &&
         (facts.dwFileAttributes & kOthers) == 0 && facts.nNumberOfLinks == 1;
}

bool IsOurs(HANDLE file) {
  const std::optional<CkxSid> owner = KxObject_Owner(file);
  const std::optional<CkxSid> user = KxToken_User(GetCurrentProcess());
  const std::optional<CkxSid> maker = KxToken_OwnerOfNewObjects(GetCurrentProcess());
  return owner && ((user && user->Equals(*owner)) || (maker && maker->Equals(*owner)));
}

/// For its maker and the system alone, also one that was there before.
CkxHandle OpenOwn(const KxWString& name) {
  constexpr DWORD kAccess = FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | READ_CONTROL | WRITE_DAC | SYNCHRONIZE;
  constexpr DWORD kFlags = FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT | SECURITY_SQOS_PRESENT |
                           SECURITY_IDENTIFICATION;  // the name may be a pipe's: its server does not get to act for us
  CkxObjectAccess rights{KxWString()};
  if (!rights) return CkxHandle();
  CkxHandle file(CreateFileW(name.c_str(), kAccess, kKxShareAll, rights.Attributes(), OPEN_ALWAYS, kFlags, nullptr));
  if (!file) return file;
  const bool existed = GetLastError() == ERROR_ALREADY_EXISTS;
  const bool isOurs = IsPlainFile(file.Get()) && (!existed || IsOurs(file.Get()));
  if (!isOurs) SetLastError(ERROR_ACCESS_DENIED);
  if (!isOurs ||
      (existed && !SetKernelObjectSecurity(file.Get(), DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                                           rights.Attributes()->lpSecurityDescriptor))) {
    return CkxHandle();
  }
  return file;
}

bool IsSameFile(HANDLE a, HANDLE b) {
  BY_HANDLE_FILE_INFORMATION first{};
  BY_HANDLE_FILE_INFORMATION second{};
  return GetFileInformationByHandle(a, &first) && GetFileInformationByHandle(b, &second) &&
         first.dwVolumeSerialNumber == second.dwVolumeSerialNumber && first.nFileIndexHigh == second.nFileIndexHigh &&
         first.nFileIndexLow == second.nFileIndexLow;
}

bool NamesFile(const KxWString& name, HANDLE file) {
  const CkxHandle named(CreateFileW(name.c_str(), FILE_READ_ATTRIBUTES, kKxShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  return named && IsSameFile(named.Get(), file);
}

}  // namespace

CkxOwnLog::~CkxOwnLog() { Close(); }

bool CkxOwnLog::Open(CkxTextView path) {
  if (path.IsEmpty() || KxText_FindUnit(path, WCHAR{0}) != CkxTextView::npos) {
    KxLastError_Set(kKxErrorFileNotFound);
    return false;
  }
  _name = path.ToString();
  return Reopen();
}

std::optional<uint64_t> CkxOwnLog::Size() const {
  LARGE_INTEGER size{};
  if (_file == -1 || !GetFileSizeEx(LogHandle(_file), &size)) return std::nullopt;
  return static_cast<uint64_t>(size.QuadPart);
}

bool CkxOwnLog::Append(std::string_view bytes) {
  DWORD count = 0;
  if (_file == -1 && !Reopen()) return false;
  return bytes.size() <= MAXDWORD &&
         WriteFile(LogHandle(_file), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) &&
         count == bytes.size();
}

bool CkxOwnLog::Rotate() {
  const KxWString aside = _name + L".1";
  const bool isNamed = _file != -1 && NamesFile(_name, LogHandle(_file));
  Close();
  const bool isAside = !isNamed || MoveFileExW(_name.c_str(), aside.c_str(), MOVEFILE_REPLACE_EXISTING);
  return Reopen() && isAside;
}

bool CkxOwnLog::Reopen() {
  CkxHandle file = OpenOwn(_name);
  if (!file) return false;
  _file = reinterpret_cast<intptr_t>(file.Release());
  return true;
}

void CkxOwnLog::Close() {
  if (_file != -1) CkxHandle(LogHandle(_file)).Close();
  _file = -1;
}
