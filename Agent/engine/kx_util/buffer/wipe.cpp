#include "Agent/engine/kx_util/buffer/wipe.h"

#include <atomic>
#include <cstring>

namespace {

std::atomic<KxWipeHook> wipeHook{nullptr};

// Called through a pointer that could have changed meanwhile, so that a compiler which sees that the memory is freed
// next cannot leave the stores out.
void* (*const volatile overwrite)(void*, int, size_t) = std::memset;

}  // namespace

KxWipeHook KxUtil_SetWipeHook(KxWipeHook hook) { return wipeHook.exchange(hook); }

void KxWipe(void* bytes, size_t count) noexcept {
  overwrite(bytes, 0, count);
  if (const KxWipeHook hook = wipeHook.load(std::memory_order_acquire)) {
    hook(static_cast<const unsigned char*>(bytes), count);
  }
}
