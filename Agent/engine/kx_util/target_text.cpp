#include "Agent/engine/kx_util/target_text.h"

#include "Common_CPP/util/text.h"

void KxTargetText_AppendLocation(CkxUtilStr& text, const CkxShBufPropFileLocation& location) {
  if (!location.Initialized()) return;
  KxText_AppendFormat(text, KXW("    Location%s: %s\r\n"),
                      location.WithSubfolders() ? KXW(" (with subfolders)") : KXW(""), location.Pattern());
  if (location.LocationTypes().IsEmpty()) return;
  KxText_AppendFormat(text, KXW("    LocationTypes: %s\r\n"), location.LocationTypes());
}

void KxTargetText_AppendUsers(CkxUtilStr& text, CkxTextView users) {
  if (KxText_Equals(users, KXW("KxNoUsers"), true)) return;
  KxText_AppendFormat(text, KXW("    Users: %s\r\n"), users);
}
