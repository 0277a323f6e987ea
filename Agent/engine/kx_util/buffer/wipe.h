// Copies of texts that records hold obfuscated: overwritten before their memory goes back to the heap, whoever made
// them.
//
// What a comparison makes of a pattern (a rewritten location, a compiled expression) is held in a `KxWipedVector`,
// which wipes each block that it gives back, when it grows as well. A text that is short enough to lie in a string
// object itself would escape an allocator, so that a copied text is a vector of units and no string.
#pragma once

#include <kx_util/shared_buffer.h>

#include <memory>
#include <vector>

/// Overwrites, in a way that no compiler leaves out, and tells the hook of `KxUtil_SetWipeHook`.
void KxWipe(void* bytes, size_t count) noexcept;

template <class T>
struct CkxWipingAllocator {
  using value_type = T;

  CkxWipingAllocator() = default;
  template <class Other>
  CkxWipingAllocator(const CkxWipingAllocator<Other>&) {}  // NOLINT(google-explicit-constructor): as allocators are

  T* allocate(size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T* block, size_t count) noexcept {
    KxWipe(block, count * sizeof(T));
    std::allocator<T>().deallocate(block, count);
  }
  bool operator==(const CkxWipingAllocator&) const = default;
};

template <class T>
using KxWipedVector = std::vector<T, CkxWipingAllocator<T>>;
