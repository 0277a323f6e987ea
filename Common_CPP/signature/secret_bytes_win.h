// Bytes of a private key: overwritten before their memory goes back to the heap.
#pragma once

#include <memory>
#include <vector>

#include "Common_CPP/util/handle_win.h"

template <class T>
struct CkxSecretAllocator {
  using value_type = T;

  CkxSecretAllocator() = default;
  template <class Other>
  CkxSecretAllocator(const CkxSecretAllocator<Other>&) {}  // NOLINT(google-explicit-constructor): as allocators are

  T* allocate(size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T* block, size_t count) noexcept {
    SecureZeroMemory(block, count * sizeof(T));
    std::allocator<T>().deallocate(block, count);
  }
  bool operator==(const CkxSecretAllocator&) const = default;
};

using KxSecretBytes = std::vector<unsigned char, CkxSecretAllocator<unsigned char>>;
