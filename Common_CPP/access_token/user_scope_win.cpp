#include <memory>

#include "Common_CPP/access_token/native_user_scope.h"
#include "Common_CPP/access_token/open_token_win.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

// After windows.h, which it does not include itself.
#include <sddl.h>

namespace {

bool Fail(const char* what) {
  KxTrace(EkxTraceLevel::Error, "KxUserScope", what, KxLastError_Get());
  return false;
}

struct LocalFreeDeleter {
  void operator()(void* memory) const {
    const CkxLastErrorGuard guard;
    LocalFree(memory);
  }
};
using LocalMemory = std::unique_ptr<void, LocalFreeDeleter>;

LocalMemory FromSddl(CkxTextView sddl) {
  const KxWString terminated = sddl.ToString();
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(terminated.c_str(), SDDL_REVISION_1, &descriptor,
                                                            nullptr)) {
    if (GetLastError() == ERROR_NOT_ENOUGH_MEMORY) throw std::bad_alloc();
    KxTrace(EkxTraceLevel::Error, "KxUserScope", "ERROR: Malformed security descriptor [", sddl,
            "] LastError=", KxLastError_Get());
    return nullptr;
  }
  return LocalMemory(descriptor);
}

/// The lists of a descriptor that outlives this one, with another owner and group.
class CkxScopeDescriptor {
 public:
  bool Set(PSECURITY_DESCRIPTOR lists, const CkxSid& owner) {
    _owner = owner;
    return InitializeSecurityDescriptor(&_descriptor, SECURITY_DESCRIPTOR_REVISION) &&
           SetSecurityDescriptorOwner(&_descriptor, Owner(), FALSE) &&
           SetSecurityDescriptorGroup(&_descriptor, Owner(), FALSE) &&
           Set(lists, GetSecurityDescriptorDacl, SetSecurityDescriptorDacl) &&
           Set(lists, GetSecurityDescriptorSacl, SetSecurityDescriptorSacl);
  }

  PSECURITY_DESCRIPTOR Get() { return &_descriptor; }

 private:
  PSID Owner() { return const_cast<unsigned char*>(_owner.Bytes()); }

  template <class Getter, class Setter>
  bool Set(PSECURITY_DESCRIPTOR lists, Getter getList, Setter setList) {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL list = nullptr;
    return getList(lists, &present, &list, &defaulted) && setList(&_descriptor, present, list, FALSE);
  }

  SECURITY_DESCRIPTOR _descriptor{};
  CkxSid _owner;
};

bool IsGranted(PSECURITY_DESCRIPTOR descriptor, HANDLE token) {
  GENERIC_MAPPING mapping{kKxScopeAccess, 0, 0, kKxScopeAccess};
  PRIVILEGE_SET privileges{};
  DWORD size = sizeof(privileges);
  DWORD access = 0;
  BOOL granted = FALSE;
  if (!AccessCheck(descriptor, token, kKxScopeAccess, &mapping, &privileges, &size, &access, &granted)) {
    return Fail("ERROR: The access check failed. LastError=");
  }
  return granted != FALSE;
}

bool IsImpersonation(HANDLE token) {
  TOKEN_TYPE type{};
  DWORD size = 0;
  return GetTokenInformation(token, TokenType, &type, sizeof(type), &size) && type == TokenImpersonation;
}

}  // namespace

bool KxNativeUserScope_ContainsImpersonated(CkxTextView sddl, void* token) {
  if (token == nullptr) return false;
  const std::optional<CkxSid> owner = CkxSid::FromUtf8(kKxScopeOwner);
  const LocalMemory lists = FromSddl(sddl);
  CkxScopeDescriptor descriptor;
  if (lists == nullptr || !owner) return false;
  if (!descriptor.Set(lists.get(), *owner)) return Fail("ERROR: The scope has no descriptor. LastError=");
  return IsGranted(descriptor.Get(), token);
}

bool KxNativeUserScope_Contains(CkxTextView sddl, void* token) {
  const CkxOpenToken open(token, TOKEN_QUERY | TOKEN_DUPLICATE);
  if (!open) return Fail("ERROR: The token cannot be opened. LastError=");
  if (IsImpersonation(open.Get())) return KxNativeUserScope_ContainsImpersonated(sddl, open.Get());
  CkxHandle copy;
  if (!DuplicateToken(open.Get(), SecurityImpersonation, copy.Receive())) {
    return Fail("ERROR: The token cannot be duplicated. LastError=");
  }
  return KxNativeUserScope_ContainsImpersonated(sddl, copy.Get());
}
