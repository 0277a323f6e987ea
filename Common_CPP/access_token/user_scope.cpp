#include "Common_CPP/access_token/user_scope.h"

#include <algorithm>

#include "Common_CPP/access_token/native_user_scope.h"
#include "Common_CPP/security/access_check.h"
#include "Common_CPP/util/trace.h"

namespace {

struct SkxKnownSids {
  const CkxSid nobody = CkxSid::FromUtf8(kKxNobody).value_or(CkxSid());
  const CkxSid everyone = CkxSid::FromUtf8("S-1-1-0").value_or(CkxSid());
  const CkxSid anonymous = CkxSid::FromUtf8("S-1-5-7").value_or(CkxSid());
  const CkxSid authenticated = CkxSid::FromUtf8("S-1-5-11").value_or(CkxSid());
  const CkxSid administrators = CkxSid::FromUtf8("S-1-5-32-544").value_or(CkxSid());
  const CkxSid guests = CkxSid::FromUtf8("S-1-5-32-546").value_or(CkxSid());
  const CkxSid scopeOwner = CkxSid::FromUtf8(kKxScopeOwner).value_or(CkxSid());
};

const SkxKnownSids& Known() {
  static const SkxKnownSids sids;
  return sids;
}

class CkxFactsSids : public IkxSidSet {
 public:
  explicit CkxFactsSids(const CkxAccessToken& token) : _token(token) {}

  EkxSidUse UseOf(const CkxSid& sid) const override {
    if (IsAmong(_token.Groups(), sid) || sid.Equals(_token.User())) return EkxSidUse::Enabled;
    if (IsAmong(_token.DenyOnlyGroups(), sid)) return EkxSidUse::DenyOnly;
    return IsImplied(sid) ? EkxSidUse::Enabled : EkxSidUse::None;
  }

 private:
  static bool IsAmong(const std::vector<CkxSid>& groups, const CkxSid& sid) {
    return std::any_of(groups.begin(), groups.end(), [&](const CkxSid& other) { return sid.Equals(other); });
  }

  bool IsImplied(const CkxSid& sid) const {
    if (sid.Equals(Known().administrators)) return _token.IsAdministrator();
    const bool isAnonymous = _token.User().Equals(Known().anonymous);
    if (sid.Equals(Known().everyone)) return !isAnonymous;
    return sid.Equals(Known().authenticated) && !isAnonymous && !IsGuest();
  }

  bool IsGuest() const { return IsAmong(_token.Groups(), Known().guests) || Known().guests.Equals(_token.User()); }

  const CkxAccessToken& _token;
};

}  // namespace

bool KxUserScope_ContainsFacts(CkxTextView sddl, const CkxAccessToken& token) {
  if (token.User().Equals(Known().nobody)) return false;
  SkxSecurityDescriptor descriptor;
  if (const SkxSddlStatus status = KxSddl_Parse(sddl, descriptor); !status.IsOk()) {
    KxTrace(EkxTraceLevel::Error, "KxUserScope", "ERROR: Malformed security descriptor [", sddl, "] at ", status.offset,
            ": ", KxSddl_FaultText(status.fault));
    return false;
  }
  descriptor.owner = descriptor.group = Known().scopeOwner;
  const SkxGenericMapping mapping = {kKxScopeAccess, 0, 0, kKxScopeAccess};
  return KxAccess_Check(descriptor, CkxFactsSids(token), kKxScopeAccess, mapping) == EkxAccess::Granted;
}

bool KxUserScope_ContainsImpersonated(CkxTextView sddl, void* token) {
  const CkxAccessToken* const facts = CkxAccessToken::FromHandle(token);
  return facts != nullptr ? KxUserScope_ContainsFacts(sddl, *facts)
                          : KxNativeUserScope_ContainsImpersonated(sddl, token);
}

bool KxUserScope_Contains(CkxTextView sddl, void* token) {
  const CkxAccessToken* const facts = CkxAccessToken::FromHandle(token);
  return facts != nullptr ? KxUserScope_ContainsFacts(sddl, *facts) : KxNativeUserScope_Contains(sddl, token);
}
