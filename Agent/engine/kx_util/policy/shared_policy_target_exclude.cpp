#include <kx_util/shared_policy_target_exclude.h>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/policy/target_checks.h"
#include "Agent/engine/kx_util/policy/target_debug_text.h"

bool CkxShBufTargetExclude::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTarget::FromBuffer(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  return in.Nested(_location) && in.Nested(_fileName) && in.Nested(_users);
}

bool CkxShBufTargetExclude::MatchTarget(const CkxTargetInfo& target) const {
  const IkxPathProvider* const file = target.QueryPathProvider();
  return KxCheck_Kind(file != nullptr, KXW("something with a path"), target) && MatchExcludedTarget(*file);
}

bool CkxShBufTargetExclude::MatchExcludedTarget(const IkxPathProvider& file) const {
  return KxCheck_FileName(_fileName, file) && KxCheck_Location(_location, file) &&
         KxCheck_Users(_users, file.GetAccessToken());
}

void CkxShBufTargetExclude::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    text.Append(KXW("\r\n  Target: EXCLUDE.\r\n"));
    KxTargetText_AppendLocation(text, _location);
    if (_fileName.Initialized()) KxText_AppendFormat(text, KXW("    Filename: %s\r\n"), _fileName.Pattern());
    KxTargetText_AppendUsers(text, Users());
  });
}
