#include <cstdlib>

#include "Common_CPP/util/bstr.h"

namespace {

constexpr size_t kCountBytes = sizeof(uint32_t);

}  // namespace

KxBstr KxBstr_Alloc(CkxTextView text) {
  const size_t bytes = text.Size() * sizeof(WCHAR);
  const auto count = static_cast<uint32_t>(bytes);
  if (count != bytes) return nullptr;
  auto* const block = static_cast<unsigned char*>(std::calloc(1, kCountBytes + bytes + sizeof(WCHAR)));
  if (block == nullptr) return nullptr;
  std::memcpy(block, &count, kCountBytes);
  if (bytes != 0) std::memcpy(block + kCountBytes, text.Bytes(), bytes);
  return reinterpret_cast<KxBstr>(block + kCountBytes);
}

void KxBstr_Free(KxBstr text) {
  if (text != nullptr) std::free(reinterpret_cast<unsigned char*>(text) - kCountBytes);
}
