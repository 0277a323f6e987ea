#include "Common_CPP/access_token/native_user_scope.h"
#include "Common_CPP/access_token/own_token_posix.h"
#include "Common_CPP/util/last_error.h"

bool KxNativeUserScope_ContainsImpersonated(CkxTextView, void*) {
  KxLastError_Set(kKxErrorNoToken);
  return false;
}

bool KxNativeUserScope_Contains(CkxTextView sddl, void* token) {
  if (token == nullptr) return KxUserScope_ContainsFacts(sddl, KxToken_OfProcess());
  KxLastError_Set(kKxErrorNoToken);
  return false;
}
