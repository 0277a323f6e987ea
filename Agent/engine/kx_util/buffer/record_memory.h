// Where record objects live: policies, the nodes of their lists and their un-obfuscated texts.
//
// A walk makes a policy with all its parts, asks it one question and destroys it, thousands of times. While it makes
// one it opens a scope on an arena of its own, and the parts lie side by side in the arena's one block instead of each
// on the heap. Anything made outside a scope, and what does not fit any more, comes from the heap; every piece knows
// where it came from, so that freeing needs no scope.
//
//   CkxRecordArena arena;                       // for the whole walk
//   { CkxRecordArena::Scope scope(arena);  policy = PolicyFromBuffer(record, false); }
//   ... policy->Release();                      // the block is empty again
#pragma once

#include <cstddef>
#include <cstdint>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/thread/thread_slot.h"

/// Null, with the fault noted, when there is no memory. Aligned for any record object.
void* KxRecord_Allocate(size_t bytes) noexcept;

/// Hands on what was allocated elsewhere; notes the fault when it is null.
template <class Object>
Object* KxRecord_NotNull(Object* object) noexcept {
  if (object == nullptr) KxFault_Note(EkxEvaluationFault::OutOfMemory);
  return object;
}

/// Null is ignored. On the thread that allocated, when that was in a scope.
void KxRecord_Free(void* piece) noexcept;

class CkxRecordArena {
 public:
  CkxRecordArena() = default;
  ~CkxRecordArena();
  CkxRecordArena(const CkxRecordArena&) = delete;
  CkxRecordArena& operator=(const CkxRecordArena&) = delete;

  /// What this thread allocates meanwhile comes from `arena`. Scopes nest. All of it must be freed before the arena
  /// goes.
  class Scope {
   public:
    explicit Scope(CkxRecordArena& arena);

   private:
    const CkxThreadPointer<CkxRecordArena>::Scope _scope;
  };

 private:
  friend void* KxRecord_Allocate(size_t bytes) noexcept;
  friend void KxRecord_Free(void* piece) noexcept;

  static constexpr size_t kBlockBytes = size_t{16} << 10;  // a policy of a dozen targets

  void* Take(size_t bytes) noexcept;
  void GiveBack() noexcept {
    if (--_pieces == 0) _used = 0;
  }

  unsigned char* _block = nullptr;  // lent from those that walks before have left
  size_t _used = 0;
  size_t _pieces = 0;
};
