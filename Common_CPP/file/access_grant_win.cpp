#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/access_grant.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

namespace {

using DescriptorBytes = std::vector<unsigned char>;

constexpr std::string_view kGrantScope = "CkxSupplementalFileData";
constexpr DWORD kGranted = FILE_READ_EA | FILE_WRITE_EA | FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES | SYNCHRONIZE;

HANDLE GrantHandle(intptr_t file) { return reinterpret_cast<HANDLE>(file); }

/// Who may do what, and nothing else of the descriptor; empty where it cannot be read.
DescriptorBytes AccessOf(HANDLE file) {
  DWORD size = 0;
  GetKernelObjectSecurity(file, DACL_SECURITY_INFORMATION, nullptr, 0, &size);
  DescriptorBytes bytes(size);
  if (size == 0 || !GetKernelObjectSecurity(file, DACL_SECURITY_INFORMATION, bytes.data(), size, &size)) return {};
  // Else the system would take it for rights that were set by hand, and pass on none of the folder's to it any more.
  auto* const header = reinterpret_cast<SECURITY_DESCRIPTOR_RELATIVE*>(bytes.data());
  if ((header->Control & SE_DACL_AUTO_INHERITED) != 0) header->Control |= SE_DACL_AUTO_INHERIT_REQ;
  return bytes;
}

/// The list of `former` with one entry more, before those that deny.
DescriptorBytes WithGrant(const DescriptorBytes& former, const CkxSid& user) {
  auto* const descriptor = const_cast<unsigned char*>(former.data());  // the system's calls take no other
  BOOL isPresent = FALSE;
  BOOL isDefaulted = FALSE;
  ACL* list = nullptr;
  if (!GetSecurityDescriptorDacl(descriptor, &isPresent, &list, &isDefaulted)) return {};
  if (!isPresent || list == nullptr) return {};  // everybody may do all: nothing was denied for want of a right
  ACL_SIZE_INFORMATION used{};
  void* first = nullptr;
  if (!GetAclInformation(list, &used, sizeof(used), AclSizeInformation)) return {};
  const DWORD entries = used.AclBytesInUse - DWORD{sizeof(ACL)};
  const size_t size = used.AclBytesInUse + sizeof(ACCESS_ALLOWED_ACE) + user.Size();
  if (size > 0xFFFC) return {};  // the length of a list has 16 bits
  DescriptorBytes longer((size + 3) & ~size_t{3});
  auto* const made = reinterpret_cast<ACL*>(longer.data());
  const bool isMade =
      InitializeAcl(made, static_cast<DWORD>(longer.size()), ACL_REVISION_DS) &&
      AddAccessAllowedAce(made, ACL_REVISION_DS, kGranted, const_cast<unsigned char*>(user.Bytes())) &&
      (entries == 0 || (GetAce(list, 0, &first) && AddAce(made, ACL_REVISION_DS, MAXDWORD, first, entries)));
  return isMade ? longer : DescriptorBytes();
}

bool SetAccessList(HANDLE file, DescriptorBytes& list) {
  SECURITY_DESCRIPTOR descriptor;
  return InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) &&
         SetSecurityDescriptorDacl(&descriptor, TRUE, reinterpret_cast<ACL*>(list.data()), FALSE) &&
         SetKernelObjectSecurity(file, DACL_SECURITY_INFORMATION, &descriptor);
}

CkxHandle OpenToGrant(const KxWString& path) {
  constexpr DWORD kFlags = FILE_FLAG_BACKUP_SEMANTICS | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
  return CkxHandle(
      CreateFileW(path.c_str(), READ_CONTROL | WRITE_DAC, kKxShareAll, nullptr, OPEN_EXISTING, kFlags, nullptr));
}

}  // namespace

CkxAccessGrant::~CkxAccessGrant() {
  if (_file == -1) return;
  const CkxLastErrorGuard guard;
  const CkxHandle file(GrantHandle(_file));
  if (!SetKernelObjectSecurity(file.Get(), DACL_SECURITY_INFORMATION, _former.data())) {
    KxTrace(EkxTraceLevel::Error, kGrantScope, "ERROR: SetFileSecurity(", CkxTextView(_path),
            ") access restore failed. LastError=", GetLastError());
  }
}

bool CkxAccessGrant::Ensure(CkxTextView path) {
  const CkxLastErrorGuard guard;  // the refusal that led here is what is told of
  if (_file != -1 || path.IsEmpty() || KxText_FindUnit(path, WCHAR{0}) != CkxTextView::npos) return false;
  const std::optional<CkxSid> user = KxToken_User(nullptr);
  KxWString name = path.ToString();
  CkxHandle file = OpenToGrant(name);
  if (!user || !file) return false;
  DescriptorBytes former = AccessOf(file.Get());
  if (former.empty()) {  // what could not be put back is not changed
    KxTrace(EkxTraceLevel::Error, kGrantScope, "ERROR: SetFileSecurity(", path,
            ") access restore failed. Original SecurityDescriptor is NULL.");
    return false;
  }
  DescriptorBytes list = WithGrant(former, *user);
  if (list.empty() || !SetAccessList(file.Get(), list)) return false;
  _former = std::move(former);
  _path = std::move(name);
  _file = reinterpret_cast<intptr_t>(file.Release());
  return true;
}
