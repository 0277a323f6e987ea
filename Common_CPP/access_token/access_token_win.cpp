#include "Common_CPP/access_token/integrity_win.h"
#include "Common_CPP/access_token/native_token.h"
#include "Common_CPP/access_token/open_token_win.h"
#include "Common_CPP/access_token/owner_win.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

namespace {

/// A record of the token whose length varies. Empty on failure.
std::vector<unsigned char> Information(HANDLE token, TOKEN_INFORMATION_CLASS kind) {
  DWORD size = 0;
  GetTokenInformation(token, kind, nullptr, 0, &size);
  std::vector<unsigned char> bytes(size);
  if (size == 0 || !GetTokenInformation(token, kind, bytes.data(), size, &size)) return {};
  return bytes;
}

CkxSid ToSid(PSID sid) {
  return sid != nullptr && IsValidSid(sid) ? CkxSid::FromBytes(sid, GetLengthSid(sid)) : CkxSid();
}

/// The user, or nothing; `denyOnly` tells that the user counts only where access is denied.
std::optional<CkxSid> User(HANDLE token, bool& denyOnly) {
  const std::vector<unsigned char> bytes = Information(token, TokenUser);
  if (bytes.size() < sizeof(TOKEN_USER)) return std::nullopt;
  const auto* user = reinterpret_cast<const TOKEN_USER*>(bytes.data());
  denyOnly = (user->User.Attributes & SE_GROUP_USE_FOR_DENY_ONLY) != 0;
  const CkxSid sid = ToSid(user->User.Sid);
  if (!sid.IsValid()) return std::nullopt;
  return sid;
}

/// An enabled group with all of `attributes`.
bool HasEnabledGroup(HANDLE token, const CkxSid& sid, DWORD attributes = 0) {
  const std::vector<unsigned char> bytes = Information(token, TokenGroups);
  if (bytes.size() < sizeof(TOKEN_GROUPS)) return false;
  const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(bytes.data());
  const DWORD wanted = SE_GROUP_ENABLED | attributes;
  for (DWORD i = 0; i < groups->GroupCount; ++i) {
    const SID_AND_ATTRIBUTES& group = groups->Groups[i];
    const DWORD state = group.Attributes & (wanted | SE_GROUP_USE_FOR_DENY_ONLY);
    if (state == wanted && sid.Equals(ToSid(group.Sid))) return true;
  }
  return false;
}

/// The groups that are enabled, or those that count only where access is denied.
std::optional<std::vector<CkxSid>> GroupsInState(void* token, DWORD wanted) {
  const CkxOpenToken open(token);
  const std::vector<unsigned char> bytes = open ? Information(open.Get(), TokenGroups) : std::vector<unsigned char>();
  if (bytes.size() < offsetof(TOKEN_GROUPS, Groups)) return std::nullopt;
  std::vector<CkxSid> found;
  const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(bytes.data());
  for (DWORD i = 0; i < groups->GroupCount; ++i) {
    const DWORD state = groups->Groups[i].Attributes & (SE_GROUP_ENABLED | SE_GROUP_USE_FOR_DENY_ONLY);
    const CkxSid sid = ToSid(groups->Groups[i].Sid);
    const bool isWanted = wanted == SE_GROUP_ENABLED ? state == wanted : (state & wanted) != 0;
    if (isWanted && sid.IsValid()) found.push_back(sid);
  }
  return found;
}

/// The full token behind a limited one; none for any other token.
CkxHandle LinkedToken(HANDLE token) {
  TOKEN_ELEVATION_TYPE type{};
  TOKEN_LINKED_TOKEN linked{};
  DWORD size = 0;
  if (!GetTokenInformation(token, TokenElevationType, &type, sizeof(type), &size) ||
      type != TokenElevationTypeLimited ||
      !GetTokenInformation(token, TokenLinkedToken, &linked, sizeof(linked), &size)) {
    return CkxHandle();
  }
  return CkxHandle(linked.LinkedToken);
}

}  // namespace

std::optional<CkxSid> KxNativeToken_User(void* token) {
  const CkxOpenToken open(token);
  bool denyOnly = false;
  return open ? User(open.Get(), denyOnly) : std::nullopt;
}

std::optional<std::vector<CkxSid>> KxNativeToken_Groups(void* token) { return GroupsInState(token, SE_GROUP_ENABLED); }

std::optional<std::vector<CkxSid>> KxNativeToken_DenyOnlyGroups(void* token) {
  return GroupsInState(token, SE_GROUP_USE_FOR_DENY_ONLY);
}

bool KxNativeToken_IsMember(void* token, const CkxSid& sid) {
  const CkxOpenToken open(token);
  if (!open) return false;
  bool denyOnly = false;
  const std::optional<CkxSid> user = User(open.Get(), denyOnly);
  return (user && !denyOnly && user->Equals(sid)) || HasEnabledGroup(open.Get(), sid);
}

std::optional<uint32_t> KxNativeToken_Session(void* token) {
  const CkxLastErrorGuard guard;
  const CkxOpenToken open(token);
  DWORD session = 0;
  DWORD size = 0;
  if (!open || !GetTokenInformation(open.Get(), TokenSessionId, &session, sizeof(session), &size)) return std::nullopt;
  return session;
}

bool KxNativeToken_IsAdministrator(void* token, bool& opened) {
  const std::optional<CkxSid> administrators = CkxSid::FromUtf8("S-1-5-32-544");
  const CkxOpenToken open(token);
  opened = static_cast<bool>(open);
  if (!opened || !administrators) return false;
  if (HasEnabledGroup(open.Get(), *administrators)) return true;
  const CkxHandle linked = LinkedToken(open.Get());
  return linked && HasEnabledGroup(linked.Get(), *administrators);
}

std::optional<CkxSid> KxToken_OwnerOfNewObjects(void* token) {
  const std::optional<CkxSid> administrators = CkxSid::FromUtf8("S-1-5-32-544");
  const CkxOpenToken open(token);
  if (open && administrators && HasEnabledGroup(open.Get(), *administrators, SE_GROUP_OWNER)) return administrators;
  const std::vector<unsigned char> bytes = open ? Information(open.Get(), TokenOwner) : std::vector<unsigned char>();
  if (bytes.size() < sizeof(TOKEN_OWNER)) return std::nullopt;
  const CkxSid owner = ToSid(reinterpret_cast<const TOKEN_OWNER*>(bytes.data())->Owner);
  if (!owner.IsValid()) return std::nullopt;
  return owner;
}

std::optional<uint32_t> KxToken_Integrity(void* token) {
  const CkxOpenToken open(token);
  const std::vector<unsigned char> bytes =
      open ? Information(open.Get(), TokenIntegrityLevel) : std::vector<unsigned char>();
  if (bytes.size() < sizeof(TOKEN_MANDATORY_LABEL)) return std::nullopt;
  const PSID level = reinterpret_cast<const TOKEN_MANDATORY_LABEL*>(bytes.data())->Label.Sid;
  if (level == nullptr || !IsValidSid(level) || *GetSidSubAuthorityCount(level) == 0) return std::nullopt;
  return *GetSidSubAuthority(level, *GetSidSubAuthorityCount(level) - DWORD{1});
}

CkxImpersonationScope::CkxImpersonationScope(void* token) {
  if (token == nullptr || CkxAccessToken::FromHandle(token) != nullptr) return;
  const CkxLastErrorGuard guard;
  const CkxOpenToken open(token, TOKEN_QUERY | TOKEN_DUPLICATE);
  CkxHandle previous;
  CkxHandle copy;
  // A token of the thread that cannot be opened could not be put back: then nothing changes.
  const bool restorable = OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE, TRUE, previous.Receive()) ||
                          GetLastError() == ERROR_NO_TOKEN;
  _active = restorable && open &&
            DuplicateTokenEx(open.Get(), TOKEN_QUERY | TOKEN_IMPERSONATE, nullptr, SecurityImpersonation,
                             TokenImpersonation, copy.Receive()) &&
            SetThreadToken(nullptr, copy.Get());
  if (_active) {
    _previous = previous.Release();
  } else {
    KxTrace(EkxTraceLevel::Warning, "CkxImpersonationScope",
            "The token cannot be impersonated. LastError=", KxLastError_Get());
  }
}

CkxImpersonationScope::~CkxImpersonationScope() {
  if (!_active) return;
  const CkxLastErrorGuard guard;
  const CkxHandle previous(_previous);
  if (!SetThreadToken(nullptr, previous.Get())) {
    KxTrace(EkxTraceLevel::Error, "CkxImpersonationScope",
            "ERROR: The thread's token was not put back. LastError=", KxLastError_Get());
  }
}
