#include "Common_CPP/access_token/user_groups.h"

#include <windows.h>
// after windows.h
#include <authz.h>

#include <array>
#include <memory>
#include <string>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/system_library_win.h"

namespace {

/// The agent's service alone asks; no other process with ours in it is to load the system's library of authorization.
struct SkxAuthorization {
  const CkxSystemLibrary authz{L"authz.dll"};
  decltype(AuthzInitializeResourceManager)* const initializeManager =
      authz.Find<decltype(AuthzInitializeResourceManager)>("AuthzInitializeResourceManager");
  decltype(AuthzFreeResourceManager)* const freeManager =
      authz.Find<decltype(AuthzFreeResourceManager)>("AuthzFreeResourceManager");
  decltype(AuthzInitializeContextFromSid)* const initializeContext =
      authz.Find<decltype(AuthzInitializeContextFromSid)>("AuthzInitializeContextFromSid");
  decltype(AuthzFreeContext)* const freeContext = authz.Find<decltype(AuthzFreeContext)>("AuthzFreeContext");
  decltype(AuthzGetInformationFromContext)* const getInformation =
      authz.Find<decltype(AuthzGetInformationFromContext)>("AuthzGetInformationFromContext");

  bool IsThere() const {
    return initializeManager != nullptr && freeManager != nullptr && initializeContext != nullptr &&
           freeContext != nullptr && getInformation != nullptr;
  }
};

const SkxAuthorization& Authorization() {
  static const SkxAuthorization& functions = *std::make_unique<SkxAuthorization>().release();
  return functions;
}

struct ManagerEnd {
  void operator()(AUTHZ_RESOURCE_MANAGER_HANDLE manager) const { Authorization().freeManager(manager); }
};
struct ContextEnd {
  void operator()(AUTHZ_CLIENT_CONTEXT_HANDLE context) const { Authorization().freeContext(context); }
};
using Manager = std::unique_ptr<std::remove_pointer_t<AUTHZ_RESOURCE_MANAGER_HANDLE>, ManagerEnd>;
using Context = std::unique_ptr<std::remove_pointer_t<AUTHZ_CLIENT_CONTEXT_HANDLE>, ContextEnd>;

/// Accounts of the system itself, which it looks up nowhere: what their tokens always have.
struct SkxServiceAccount {
  const char* sid;
  std::array<const char*, 4> groups;
};
constexpr SkxServiceAccount kServiceAccounts[] = {
    {"S-1-5-18", {"S-1-5-32-544", "S-1-1-0", "S-1-5-11", nullptr}},
    {"S-1-5-19", {"S-1-5-32-545", "S-1-1-0", "S-1-5-11", "S-1-5-6"}},
    {"S-1-5-20", {"S-1-5-32-545", "S-1-1-0", "S-1-5-11", "S-1-5-6"}},
};

std::optional<std::vector<CkxSid>> GroupsOfService(const CkxSid& user) {
  const std::string sid = user.ToUtf8();
  for (const SkxServiceAccount& account : kServiceAccounts) {
    if (sid != account.sid) continue;
    std::vector<CkxSid> groups;
    for (const char* const group : account.groups) {
      if (group != nullptr) groups.push_back(CkxSid::FromUtf8(group).value());
    }
    return groups;
  }
  return std::nullopt;
}

bool IsKnown(const CkxSid& user) {
  WCHAR name[256];
  WCHAR domain[256];
  DWORD nameUnits = std::size(name);
  DWORD domainUnits = std::size(domain);
  SID_NAME_USE use = SidTypeUnknown;
  PSID const sid = const_cast<unsigned char*>(user.Bytes());
  return LookupAccountSidW(nullptr, sid, name, &nameUnits, domain, &domainUnits, &use) != 0 ||
         GetLastError() != ERROR_NONE_MAPPED;
}

std::vector<CkxSid> EnabledOf(const TOKEN_GROUPS& groups) {
  std::vector<CkxSid> sids;
  for (DWORD i = 0; i < groups.GroupCount; ++i) {
    const SID_AND_ATTRIBUTES& group = groups.Groups[i];
    const bool isEnabled = (group.Attributes & SE_GROUP_ENABLED) != 0;
    if (isEnabled) sids.push_back(CkxSid::FromBytes(group.Sid, GetLengthSid(group.Sid)));
  }
  return sids;
}

}  // namespace

std::optional<std::vector<CkxSid>> KxUser_Groups(const CkxSid& user) {
  const std::optional<CkxSid> own = KxToken_User(nullptr);
  if (own && own->Equals(user)) return KxToken_Groups(nullptr);
  if (std::optional<std::vector<CkxSid>> groups = GroupsOfService(user)) return groups;
  if (!IsKnown(user)) return std::vector<CkxSid>();

  const SkxAuthorization& authorization = Authorization();
  if (!authorization.IsThere()) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return std::nullopt;
  }
  AUTHZ_RESOURCE_MANAGER_HANDLE managerHandle = nullptr;
  if (!authorization.initializeManager(AUTHZ_RM_FLAG_NO_AUDIT, nullptr, nullptr, nullptr, nullptr, &managerHandle)) {
    return std::nullopt;
  }
  const Manager manager(managerHandle);
  AUTHZ_CLIENT_CONTEXT_HANDLE contextHandle = nullptr;
  PSID const sid = const_cast<unsigned char*>(user.Bytes());
  if (!authorization.initializeContext(0, sid, managerHandle, nullptr, LUID{}, nullptr, &contextHandle)) {
    return std::nullopt;
  }
  const Context context(contextHandle);
  DWORD bytes = 0;
  authorization.getInformation(contextHandle, AuthzContextInfoGroupsSids, 0, &bytes, nullptr);
  std::vector<uint64_t> buffer(bytes / sizeof(uint64_t) + 1);  // aligned for the structure
  const auto room = static_cast<DWORD>(buffer.size() * sizeof(uint64_t));
  if (bytes < sizeof(TOKEN_GROUPS) - sizeof(SID_AND_ATTRIBUTES) ||
      !authorization.getInformation(contextHandle, AuthzContextInfoGroupsSids, room, &bytes, buffer.data())) {
    return std::nullopt;
  }
  return EnabledOf(*reinterpret_cast<const TOKEN_GROUPS*>(buffer.data()));
}
