#include <kx_util/target_providers.h>

#include <utility>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/format.h"

bool IkxHashProvider::GetAlgorithmAndHashString(CkxUtilStr& out) const {
  return KxEntry(false, [&] {
    CkxUtilStr algorithm;
    CkxUtilStr hash;
    if (!GetHash(algorithm, hash)) return false;
    CkxUtilStr both;
    KxText_AppendFormat(both, KXW("%s%s%s"), algorithm, KXW("##"), hash);
    out = std::move(both);
    return true;
  });
}
