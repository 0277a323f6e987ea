#include <kx_util/shared_policy_target_users.h>

const WCHAR* const CkxShBufTargetUsers::kNoUsers = KXW("KxNoUsers");

bool CkxShBufTargetUsers::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _text.FromBuffer(cursor, remaining);
}
