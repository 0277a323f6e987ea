#include <kx_util/file_hash_string.h>

#include "Agent/engine/kx_util/buffer/record_memory.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/crypto/file_digest.h"

namespace {

struct SkxBstrFree {
  void operator()(WCHAR* text) const { KxBstr_Free(text); }
};
using CkxBstrPtr = std::unique_ptr<WCHAR, SkxBstrFree>;

CkxBstrPtr NewBstr(const CkxUtilStr& text) { return CkxBstrPtr(KxRecord_NotNull(KxBstr_Alloc(text.View()))); }

}  // namespace

bool KxUtil_GetHashString(const WCHAR* path, CkxUtilStr& algorithm, CkxUtilStr& hash) {
  return KxEntry(false, [&] {
    std::optional<KxWString> text = KxFileDigest_OfPath(path, EkxHashAlgorithm::Sha256);
    if (!text) return false;
    CkxUtilStr name = KXW("SHA256");
    algorithm = std::move(name);
    hash = *std::move(text);
    return true;
  });
}

bool KxUtil_GetHashString(const WCHAR* path, KxBstr& algorithm, KxBstr& hash) {
  CkxUtilStr algorithmText;
  CkxUtilStr hashText;
  if (!KxUtil_GetHashString(path, algorithmText, hashText)) return false;
  CkxBstrPtr first = NewBstr(algorithmText);
  CkxBstrPtr second = NewBstr(hashText);
  if (first == nullptr || second == nullptr) return false;
  algorithm = first.release();
  hash = second.release();
  return true;
}
