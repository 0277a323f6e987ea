#include <atomic>
#include <cstdlib>

#include "Common_CPP/thread/thread_slot.h"

namespace {

constexpr uint32_t kSlots = 24;
constinit std::atomic<uint32_t> used{0};
constinit thread_local void* values[kSlots] = {};  // part of each thread's own block: never allocated later

}  // namespace

CkxThreadSlot::CkxThreadSlot() noexcept : _index(used.fetch_add(1, std::memory_order_relaxed)) {
  if (_index >= kSlots) std::abort();  // a mistake of ours, met at the first start
}

void* CkxThreadSlot::Get() const noexcept { return values[_index]; }

bool CkxThreadSlot::Set(void* value) const noexcept {
  values[_index] = value;
  return true;
}
