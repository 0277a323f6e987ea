// Memory that runs out when a test says so: this program's `operator new` fails at one allocation of this thread, or
// from one on; or at one of all other threads.
//
//   CkxFailingMemory memory(3, false);                 // the fourth allocation fails, and no other
//   const bool answer = memory.During([&] { return KxUtil_MatchStr(...); });
//
//   const CkxFailingMemoryOfOthers memory(3);          // the fourth one that any other thread makes meanwhile
//   const bool isAnswered = AskTheServer();
#pragma once

#include <cstddef>

class CkxFailingMemory {
 public:
  static constexpr size_t kNever = static_cast<size_t>(-1);

  CkxFailingMemory(size_t failAt, bool forGood);

  /// Counts, and lets fail, what `call` allocates; whatever leaves it leaves this.
  template <class Call>
  auto During(Call call) {
    const Armed armed;
    return call();
  }

  /// Allocations during the calls so far.
  static size_t Count();

  /// Blocks of this thread that are not freed yet.
  static long Live();

 private:
  struct Armed {
    Armed();
    ~Armed();
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
  };
};

/// For its lifetime; one at a time, and not while memory of this thread fails.
class CkxFailingMemoryOfOthers {
 public:
  explicit CkxFailingMemoryOfOthers(size_t failAt);
  ~CkxFailingMemoryOfOthers();
  CkxFailingMemoryOfOthers(const CkxFailingMemoryOfOthers&) = delete;
  CkxFailingMemoryOfOthers& operator=(const CkxFailingMemoryOfOthers&) = delete;

  /// Whether the allocation that was to fail has come.
  bool HasFailed() const;
};
