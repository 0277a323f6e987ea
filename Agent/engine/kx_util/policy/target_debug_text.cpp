#include "Agent/engine/kx_util/policy/target_debug_text.h"

#include <kx_util/shared_policy_target_users.h>

#include "Common_CPP/util/text.h"

void KxTargetText_AppendLocation(CkxUtilStr& text, const CkxShBufPropFileLocation& location) {
  if (!location.Initialized()) return;
  KxText_AppendFormat(text, KXW("    Location%s: %s\r\n"),
                      location.WithSubfolders() ? KXW(" (with subfolders)") : KXW(""), location.Pattern());
  if (location.LocationTypes().IsEmpty()) return;
  KxText_AppendFormat(text, KXW("    LocationTypes: %s\r\n"), location.LocationTypes());
}

void KxTargetText_AppendUsers(CkxUtilStr& text, CkxTextView users) {
  if (KxText_Equals(users, CkxShBufTargetUsers::kNoUsers, true)) return;
  KxText_AppendFormat(text, KXW("    Users: %s\r\n"), users);
}
