#include "Agent/engine/kx_util/buffer/record_memory.h"

#include <atomic>
#include <new>

namespace {

/// The innermost scope's arena of this thread; null: the heap.
const CkxThreadPointer<CkxRecordArena>& CurrentArena() {
  static const CkxThreadPointer<CkxRecordArena> arena;
  return arena;
}

/// Blocks of arenas that have gone, for those to come: the first policy of a walk asks the system for no memory.
class SpareBlocks {
 public:
  ~SpareBlocks() {
    for (std::atomic<unsigned char*>& place : _places) delete[] place.load();
  }

  /// Null when there is none.
  unsigned char* Take() {
    for (std::atomic<unsigned char*>& place : _places) {
      if (place.load(std::memory_order_relaxed) == nullptr) continue;
      if (unsigned char* const block = place.exchange(nullptr)) return block;
    }
    return nullptr;
  }

  void Leave(unsigned char* block) {
    for (std::atomic<unsigned char*>& place : _places) {
      unsigned char* none = nullptr;
      if (place.compare_exchange_strong(none, block)) return;
    }
    delete[] block;
  }

 private:
  std::atomic<unsigned char*> _places[8] = {};
};
SpareBlocks spareBlocks;

/// Stands before every piece.
struct alignas(std::max_align_t) Prefix {
  CkxRecordArena* arena;  ///< null: the heap
};

constexpr size_t RoundedUp(size_t bytes) { return (bytes + alignof(Prefix) - 1) & ~(alignof(Prefix) - 1); }

}  // namespace

void* KxRecord_Allocate(size_t bytes) noexcept {
  if (bytes > SIZE_MAX / 2) return KxRecord_NotNull<void>(nullptr);
  const size_t whole = sizeof(Prefix) + RoundedUp(bytes);
  CkxRecordArena* arena = CurrentArena().Get();
  void* place = arena != nullptr ? arena->Take(whole) : nullptr;
  if (place == nullptr) {
    arena = nullptr;
    place = KxRecord_NotNull(::operator new(whole, std::nothrow));
    if (place == nullptr) return nullptr;
  }
  return new (place) Prefix{arena} + 1;
}

void KxRecord_Free(void* piece) noexcept {
  if (piece == nullptr) return;
  Prefix* const prefix = static_cast<Prefix*>(piece) - 1;
  if (prefix->arena != nullptr) return prefix->arena->GiveBack();
  ::operator delete(prefix);
}

void* CkxRecordArena::Take(size_t bytes) noexcept {
  if (_block == nullptr) _block = spareBlocks.Take();
  if (_block == nullptr) _block = new (std::nothrow) unsigned char[kBlockBytes];
  if (_block == nullptr || bytes > kBlockBytes - _used) return nullptr;
  unsigned char* const place = _block + _used;
  _used += bytes;
  ++_pieces;
  return place;
}

CkxRecordArena::~CkxRecordArena() {
  if (_block != nullptr) spareBlocks.Leave(_block);
}

CkxRecordArena::Scope::Scope(CkxRecordArena& arena) : _scope(CurrentArena(), &arena) {}
