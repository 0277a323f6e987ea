#include "bench/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<uint64_t> allocations{0};

void* Allocate(size_t bytes) noexcept {
  allocations.fetch_add(1, std::memory_order_relaxed);
  return std::malloc(bytes != 0 ? bytes : 1);
}

}  // namespace

uint64_t KxBench_Allocations() { return allocations.load(std::memory_order_relaxed); }

[[gnu::noinline]] void* operator new(size_t bytes) {
  void* const piece = Allocate(bytes);
  if (piece == nullptr) throw std::bad_alloc();
  return piece;
}
[[gnu::noinline]] void* operator new(size_t bytes, const std::nothrow_t&) noexcept { return Allocate(bytes); }
[[gnu::noinline]] void* operator new[](size_t bytes) { return operator new(bytes); }
[[gnu::noinline]] void* operator new[](size_t bytes, const std::nothrow_t&) noexcept { return Allocate(bytes); }
[[gnu::noinline]] void operator delete(void* piece) noexcept { std::free(piece); }
[[gnu::noinline]] void operator delete[](void* piece) noexcept { std::free(piece); }
[[gnu::noinline]] void operator delete(void* piece, size_t) noexcept { std::free(piece); }
[[gnu::noinline]] void operator delete[](void* piece, size_t) noexcept { std::free(piece); }
