// The two questions of user_scope.h about tokens that `CkxAccessToken::FromHandle` does not know, one file a platform,
// and the answer for those that it knows. Private to this folder.
#pragma once

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/util/text_view.h"

bool KxNativeUserScope_ContainsImpersonated(CkxTextView sddl, void* token);
bool KxNativeUserScope_Contains(CkxTextView sddl, void* token);

bool KxUserScope_ContainsFacts(CkxTextView sddl, const CkxAccessToken& token);

inline constexpr const char* kKxScopeOwner = "S-1-5-18";  ///< and group
inline constexpr uint32_t kKxScopeAccess = 4;
