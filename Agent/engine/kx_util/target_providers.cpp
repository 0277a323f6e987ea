#include <kx_util/target_providers.h>

#include "Common_CPP/util/format.h"

bool IkxHashProvider::GetAlgorithmAndHashString(CkxUtilStr& out) const {
  CkxUtilStr algorithm;
  CkxUtilStr hash;
  if (!GetHash(algorithm, hash)) return false;
  out.Empty();
  KxText_AppendFormat(out, KXW("%s%s%s"), algorithm, KXW("##"), hash);
  return true;
}
