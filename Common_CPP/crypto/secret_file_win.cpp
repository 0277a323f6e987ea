#include <algorithm>
#include <optional>
#include <vector>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/object_access_win.h"
#include "Common_CPP/access_token/object_owner_win.h"
#include "Common_CPP/crypto/secret_file.h"
#include "Common_CPP/security/agent_trust.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/system_library_win.h"
#include "Common_CPP/util/trace.h"

// After windows.h, which they do not include themselves.
#include <aclapi.h>
#include <dpapi.h>
#include <shlobj.h>

namespace {

constexpr size_t kMaxProtectedBytes = size_t{64} << 10;

struct ProtectFunctions {
  const CkxSystemLibrary crypt32{L"crypt32.dll"};
  decltype(CryptProtectData)* const protect = crypt32.Find<decltype(CryptProtectData)>("CryptProtectData");
  decltype(CryptUnprotectData)* const unprotect = crypt32.Find<decltype(CryptUnprotectData)>("CryptUnprotectData");

  static const ProtectFunctions& Get() {
    static const ProtectFunctions functions;
    return functions;
  }
};

/// What the system's function has put there, wiped and freed.
class ProtectedBlob {
 public:
  ProtectedBlob() = default;
  ProtectedBlob(const ProtectedBlob&) = delete;
  ProtectedBlob& operator=(const ProtectedBlob&) = delete;
  ~ProtectedBlob() {
    const CkxLastErrorGuard guard;
    if (_blob.pbData == nullptr) return;
    SecureZeroMemory(_blob.pbData, _blob.cbData);
    LocalFree(_blob.pbData);
  }
  DATA_BLOB* Receive() { return &_blob; }
  std::span<const unsigned char> Bytes() const { return {_blob.pbData, _blob.cbData}; }

 private:
  DATA_BLOB _blob{};
};

DATA_BLOB BlobOf(std::span<const unsigned char> bytes) {
  return {static_cast<DWORD>(bytes.size()), const_cast<BYTE*>(bytes.data())};
}

/// Whether none but the privileged, and those whom `isAllowed` lets, may read what the list is of.
template <class IsAllowed>
bool IsForThemAlone(const ACL& list, IsAllowed isAllowed) {
  for (DWORD index = 0; index < list.AceCount; ++index) {
    void* entry = nullptr;
    if (!GetAce(const_cast<ACL*>(&list), index, &entry)) return false;
    const auto& head = *static_cast<const ACE_HEADER*>(entry);
    if (head.AceType == ACCESS_DENIED_ACE_TYPE) continue;
    if (head.AceType != ACCESS_ALLOWED_ACE_TYPE) return false;  // one that cannot be judged
    auto& allowed = *static_cast<ACCESS_ALLOWED_ACE*>(entry);
    if ((allowed.Mask & (FILE_READ_DATA | GENERIC_READ | GENERIC_ALL | WRITE_DAC | WRITE_OWNER)) == 0) continue;
    const CkxSid sid = CkxSid::FromBytes(&allowed.SidStart, GetLengthSid(&allowed.SidStart));
    if (!KxTrust_IsPrivileged(sid) && !isAllowed(sid)) return false;
  }
  return true;
}

EkxSecretRead RefusedSecret() {
  KxLastError_Set(kKxErrorAccessDenied);
  return EkxSecretRead::NotOwnersAlone;
}

/// `Read` where nobody else can read it.
template <class IsAllowed>
EkxSecretRead LookAtReaders(HANDLE file, CkxTextView path, IsAllowed isAllowed) {
  ACL* list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD error =
      GetSecurityInfo(file, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list, nullptr, &descriptor);
  if (error != ERROR_SUCCESS) {
    KxLastError_Set(error);
    return EkxSecretRead::Unreadable;
  }
  const bool isAlone = list != nullptr && IsForThemAlone(*list, isAllowed);
  LocalFree(descriptor);
  if (isAlone) return EkxSecretRead::Read;
  KxTrace(EkxTraceLevel::Error, "KxSecretFile_Read", "ERROR: [", path, "] can be read by others. Refused");
  return RefusedSecret();
}

EkxSecretRead LookAtSystems(HANDLE file, CkxTextView path) {
  return KxObject_IsAgents(file, path) ? LookAtReaders(file, path, KxObject_IsOwn) : RefusedSecret();
}

/// What an elevated administrator makes has the group of them for its owner, and the administrator's own rights.
EkxSecretRead LookAtOwners(HANDLE file, CkxTextView path) {
  const std::optional<CkxSid> owner = KxObject_Owner(file);
  const std::optional<CkxSid> reader = KxToken_User(GetCurrentProcess());
  if (!owner || !reader) return EkxSecretRead::Unreadable;
  return LookAtReaders(file, path, [&](const CkxSid& sid) { return owner->Equals(sid) || reader->Equals(sid); });
}

EkxSecretRead LookForWhomItIs(HANDLE file, CkxTextView path, EkxSecretFile kind) {
  switch (kind) {
    case EkxSecretFile::Named:
      return EkxSecretRead::Read;
    case EkxSecretFile::Owners:
      return LookAtOwners(file, path);
    case EkxSecretFile::Systems:
      return LookAtSystems(file, path);
  }
  return EkxSecretRead::Unreadable;
}

CkxHandle OpenSecret(CkxTextView path, EkxSecretFile kind) {
  const DWORD link = kind == EkxSecretFile::Systems ? FILE_FLAG_OPEN_REPARSE_POINT : 0;
  return CkxHandle(CreateFileW(path.ToString().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               link | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr));
}

bool ReadFromBegin(HANDLE file, std::span<unsigned char> bytes, size_t& size) {
  for (size = 0; size < bytes.size();) {
    DWORD count = 0;
    if (!ReadFile(file, bytes.data() + size, static_cast<DWORD>(bytes.size() - size), &count, nullptr)) return false;
    if (count == 0) break;
    size += count;
  }
  return true;
}

/// What is protected is no secret, so that it need not be wiped.
bool ReadProtected(HANDLE file, std::span<unsigned char> bytes, size_t& size) {
  std::vector<unsigned char> content(kMaxProtectedBytes);
  if (!ReadFromBegin(file, content, size)) return false;
  DATA_BLOB stored = BlobOf(std::span(content).first(size));
  ProtectedBlob secret;
  auto* const unprotect = ProtectFunctions::Get().unprotect;
  size = 0;
  if (unprotect == nullptr ||
      !unprotect(&stored, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, secret.Receive())) {
    return false;
  }
  size = std::min(secret.Bytes().size(), bytes.size());
  std::copy_n(secret.Bytes().begin(), size, bytes.begin());
  return true;
}

bool WriteNew(CkxTextView path, const KxWString& temporary, std::span<const unsigned char> bytes) {
  CkxObjectAccess access(L"(A;;GA;;;BA)");
  if (!access) return false;
  CkxHandle file(CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, access.Attributes(), CREATE_ALWAYS,
                             FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  const bool done = file && WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
                    written == bytes.size() && FlushFileBuffers(file.Get());
  file.Close();
  constexpr DWORD kForGood = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
  return done && MoveFileExW(temporary.c_str(), path.ToString().c_str(), kForGood);
}

}  // namespace

EkxSecretRead KxSecretFile_Read(CkxTextView path, EkxSecretFile kind, std::span<unsigned char> bytes, size_t& size) {
  size = 0;
  const CkxHandle file = OpenSecret(path, kind);
  if (!file || GetFileType(file.Get()) != FILE_TYPE_DISK) return EkxSecretRead::Unreadable;
  const EkxSecretRead seen = LookForWhomItIs(file.Get(), path, kind);
  if (seen != EkxSecretRead::Read) return seen;
  const bool isRead =
      kind == EkxSecretFile::Systems ? ReadProtected(file.Get(), bytes, size) : ReadFromBegin(file.Get(), bytes, size);
  return isRead ? EkxSecretRead::Read : EkxSecretRead::Unreadable;
}

bool KxSecretFile_Write(CkxTextView path, std::span<const unsigned char> bytes) {
  DATA_BLOB secret = BlobOf(bytes);
  ProtectedBlob stored;
  auto* const protect = ProtectFunctions::Get().protect;
  if (protect == nullptr || !protect(&secret, nullptr, nullptr, nullptr, nullptr,
                                     CRYPTPROTECT_LOCAL_MACHINE | CRYPTPROTECT_UI_FORBIDDEN, stored.Receive())) {
    return false;
  }
  const KxWString temporary = path.ToString() + L".kx-" + std::to_wstring(GetCurrentProcessId()) + L".tmp";
  if (WriteNew(path, temporary, stored.Bytes())) return true;
  const CkxLastErrorGuard guard;
  DeleteFileW(temporary.c_str());
  return false;
}

KxWString KxSecretFile_SystemFolder() {
  WCHAR folder[MAX_PATH];  // not the environment's, which is whoever's the process is
  if (SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder) != S_OK) return {};
  return KxWString(folder) + L"\\Quennart\\Agent\\Secrets\\";
}
