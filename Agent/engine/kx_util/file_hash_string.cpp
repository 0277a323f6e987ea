#include <kx_util/kx_util.h>

#include "Common_CPP/crypto/hash.h"

bool KxUtil_GetHashString(const WCHAR* path, CkxUtilStr& algorithm, CkxUtilStr& hash) {
  constexpr EkxHashAlgorithm chosen = EkxHashAlgorithm::Sha256;
  const std::optional<KxWString> text = KxHash_OfFile(path, chosen);
  if (!text) return false;
  algorithm = KxHash_Name(chosen);
  hash = *text;
  return true;
}

bool KxUtil_GetHashString(const WCHAR* path, KxBstr& algorithm, KxBstr& hash) {
  CkxUtilStr algorithmText;
  CkxUtilStr hashText;
  if (!KxUtil_GetHashString(path, algorithmText, hashText)) return false;
  const KxBstr first = KxBstr_Alloc(algorithmText.View());
  const KxBstr second = KxBstr_Alloc(hashText.View());
  if (first == nullptr || second == nullptr) {
    KxBstr_Free(first);
    KxBstr_Free(second);
    return false;
  }
  algorithm = first;
  hash = second;
  return true;
}
