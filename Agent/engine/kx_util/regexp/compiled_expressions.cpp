#include "Agent/engine/kx_util/regexp/compiled_expressions.h"

#include <array>
#include <mutex>
#include <shared_mutex>

#include "Agent/engine/kx_util/buffer/wipe.h"
#include "Common_CPP/thread/shared_lock.h"
#include "Common_CPP/util/text.h"

namespace {

struct SkxCompiled {
  KxWipedVector<WCHAR> pattern;
  bool caseSensitive = false;
  CkxRegExp expression;
};

class CkxCompiledExpressions {
 public:
  static constexpr size_t kMaxPattern = 128;  // units

  /// Never destroyed: at the end of a process its other threads may still ask.
  static CkxCompiledExpressions& Instance() {
    static auto* const instance = std::make_unique<CkxCompiledExpressions>().release();
    return *instance;
  }

  std::shared_ptr<const SkxCompiled> Find(CkxTextView pattern, bool caseSensitive) {
    const std::shared_lock lock(_lock);
    for (const std::shared_ptr<const SkxCompiled>& kept : ShelfOf(pattern).places) {
      if (kept != nullptr && IsOf(*kept, pattern, caseSensitive)) return kept;
    }
    return nullptr;
  }

  void Keep(CkxTextView pattern, std::shared_ptr<const SkxCompiled> compiled) {
    const std::unique_lock lock(_lock);
    SkxShelf& shelf = ShelfOf(pattern);
    shelf.places[shelf.next++ % kPlaces].swap(compiled);  // the one before ends once the lock is open
  }

  void ForgetAll() {
    const std::unique_lock lock(_lock);
    _shelves.fill({});
  }

 private:
  static constexpr size_t kShelves = 256;
  static constexpr size_t kPlaces = 4;

  struct SkxShelf {
    std::array<std::shared_ptr<const SkxCompiled>, kPlaces> places;
    size_t next = 0;  ///< to be taken, in turn
  };

  static bool IsOf(const SkxCompiled& compiled, CkxTextView pattern, bool caseSensitive) {
    return compiled.caseSensitive == caseSensitive &&
           KxText_Equals({compiled.pattern.data(), compiled.pattern.size()}, pattern, true);
  }

  SkxShelf& ShelfOf(CkxTextView pattern) {
    uint64_t hash = pattern.Size();
    for (size_t i = 0; i < pattern.Size(); ++i) hash = (hash ^ pattern[i]) * 0x100000001B3;
    return _shelves[(hash ^ hash >> 32) % kShelves];
  }

  CkxSharedLock _lock;
  std::array<SkxShelf, kShelves> _shelves;
};

}  // namespace

std::shared_ptr<const CkxRegExp> KxExpression_Compiled(CkxTextView pattern, bool caseSensitive, SkxRegExpError& error) {
  CkxCompiledExpressions& all = CkxCompiledExpressions::Instance();
  const bool isShort = !pattern.IsNull() && pattern.Size() <= CkxCompiledExpressions::kMaxPattern;
  if (isShort) {
    if (const auto kept = all.Find(pattern, caseSensitive)) return {kept, &kept->expression};
  }
  const auto compiled = std::make_shared<SkxCompiled>();
  error = compiled->expression.Parse(pattern, caseSensitive);
  if (!error.IsOk()) return nullptr;
  if (isShort) {
    compiled->caseSensitive = caseSensitive;
    compiled->pattern.resize(pattern.Size());
    for (size_t i = 0; i < pattern.Size(); ++i) compiled->pattern[i] = pattern[i];
    all.Keep(pattern, compiled);
  }
  return {compiled, &compiled->expression};
}

void KxExpression_ForgetAll() { CkxCompiledExpressions::Instance().ForgetAll(); }
