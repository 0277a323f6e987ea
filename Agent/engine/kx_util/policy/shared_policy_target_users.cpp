#include <kx_util/shared_policy_target_users.h>

#include "Common_CPP/access_token/user_scope.h"
#include "Common_CPP/util/text.h"

const WCHAR* const CkxShBufTargetUsers::kNoUsers = KXW("KxNoUsers");

bool CkxShBufTargetUsers::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _text.FromBuffer(cursor, remaining);
}

// The terminator belongs to the marker: a longer text is none. Where the counted bytes end, the text does.
bool CkxShBufTargetUsers::IsEmpty() const { return KxText_Equals(View(), kNoUsers, true); }

bool CkxShBufTargetUsers::IsApplicableToUserByImpToken(void* token) const {
  return !IsEmpty() && !View().IsEmpty() && KxUserScope_ContainsImpersonated(View(), token);
}

bool CkxShBufTargetUsers::IsApplicableToUserOC(void* token) const {
  return IsEmpty() || (!View().IsEmpty() && KxUserScope_Contains(View(), token));
}
