#include "tests/memory/failing_memory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

struct State {
  bool armed;
  bool forGood;
  size_t failAt;
  size_t count;
  long live;
};
constinit thread_local State state = {};

/// Counts down over the threads that do not watch it; below zero nothing fails.
constinit std::atomic<long> leftOfOthers = -1;
constinit thread_local bool watchesOthers = false;

bool FailsAsOther() {
  return leftOfOthers.load(std::memory_order_relaxed) >= 0 && !watchesOthers && leftOfOthers.fetch_sub(1) == 0;
}

bool Fails() {
  if (!state.armed) return FailsAsOther();
  const size_t index = state.count++;
  return index == state.failAt || (state.forGood && index > state.failAt && state.failAt != CkxFailingMemory::kNever);
}

void* Allocate(size_t bytes) noexcept {
  if (Fails()) return nullptr;
  void* const block = std::malloc(bytes == 0 ? 1 : bytes);
  if (block != nullptr) ++state.live;
  return block;
}

void* AllocateOrThrow(size_t bytes) {
  void* const block = Allocate(bytes);
  if (block != nullptr) return block;
  if (const std::new_handler handler = std::get_new_handler()) handler();
  throw std::bad_alloc();
}

void Free(void* block) noexcept {
  if (block != nullptr) --state.live;
  std::free(block);
}

}  // namespace

CkxFailingMemory::CkxFailingMemory(size_t failAt, bool forGood) {
  state.failAt = failAt;
  state.forGood = forGood;
  state.count = 0;
}

size_t CkxFailingMemory::Count() { return state.count; }
long CkxFailingMemory::Live() { return state.live; }
CkxFailingMemory::Armed::Armed() { state.armed = true; }
CkxFailingMemory::Armed::~Armed() { state.armed = false; }

CkxFailingMemoryOfOthers::CkxFailingMemoryOfOthers(size_t failAt) {
  watchesOthers = true;
  leftOfOthers = static_cast<long>(failAt);
}

CkxFailingMemoryOfOthers::~CkxFailingMemoryOfOthers() {
  leftOfOthers = -1;
  watchesOthers = false;
}

bool CkxFailingMemoryOfOthers::HasFailed() const { return leftOfOthers < 0; }

void* operator new(size_t bytes) { return AllocateOrThrow(bytes); }
void* operator new[](size_t bytes) { return AllocateOrThrow(bytes); }
void* operator new(size_t bytes, const std::nothrow_t&) noexcept { return Allocate(bytes); }
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept { return Allocate(bytes); }
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, size_t) noexcept { Free(block); }
void operator delete[](void* block, size_t) noexcept { Free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { Free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { Free(block); }
