// The library's side of faults: noting them where they happen, and ending with them where the library was entered.
//
// An entry that callers use is made of one call:
//
//   bool KxUtil_MatchStr(CkxTextView pattern, ...) {
//     return KxEntry(false, [&] { return ...; });
//   }
//
// Whatever is inside may run out of memory (an exception) or of work (`KxWork_Spend` is false). Neither leaves the
// entry: it answers with the value for faults, also where a fault was noted on the way, and the fault stays noted on
// the thread until the outermost entry ends. So a walk that finds one noted knows that what it was just told is no
// answer.
//
// Readers of records have no entry and do not throw: what they allocate comes from `KxRecord_Allocate`, which notes the
// fault and gives null.
#pragma once

#include <kx_util/evaluation_fault.h>

#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "Common_CPP/thread/thread_slot.h"
#include "Common_CPP/util/cancel.h"

/// The first of an evaluation counts. `line` is a text that lives for ever, for whoever watches. Outside of any entry
/// it is told at once.
void KxFault_Note(EkxEvaluationFault fault, std::string_view line) noexcept;
void KxFault_Note(EkxEvaluationFault fault) noexcept;

/// What was noted since the outermost entry began.
EkxEvaluationFault KxFault_Current() noexcept;

/// What judging one target costs beside the texts that it compares.
inline constexpr uint64_t kWorkOfTarget = 32;

/// Takes `units` from what the evaluation may cost. False, with the fault noted, once it is used up: the caller gives
/// up.
bool KxWork_Spend(uint64_t units) noexcept;

/// While it lives, the evaluations of this thread are also given up, as if their budget were used up, once `cancel` is
/// over. For whoever evaluates on behalf of somebody who waits only so long.
class CkxWorkCancelScope {
 public:
  explicit CkxWorkCancelScope(const CkxCancel& cancel);

 private:
  const CkxThreadPointer<const CkxCancel>::Scope _scope;
};

/// One entry under way on this thread. The outermost begins without a fault and with the whole budget; when it ends,
/// whoever watches is told of the fault that was noted.
class CkxEntryScope {
 public:
  CkxEntryScope() noexcept;
  ~CkxEntryScope();
  CkxEntryScope(const CkxEntryScope&) = delete;
  CkxEntryScope& operator=(const CkxEntryScope&) = delete;

  /// False where the system has no memory to remember the entry by: nothing is asked then.
  bool IsOpen() const { return _isOpen; }

 private:
  friend void KxFault_Note(EkxEvaluationFault fault, std::string_view line) noexcept;
  friend EkxEvaluationFault KxFault_Current() noexcept;
  friend bool KxWork_Spend(uint64_t units) noexcept;

  // Of the outermost.
  bool _isOutermost;
  bool _isOpen = true;
  EkxEvaluationFault _fault = EkxEvaluationFault::None;
  std::string_view _line;
  uint64_t _workLeft = 0;
};

template <class Result, class Function>
Result KxEntry(Result onFault, Function&& function) noexcept {
  CkxEntryScope scope;
  if (!scope.IsOpen()) return onFault;
  try {
    Result result = std::forward<Function>(function)();
    if (KxFault_Current() == EkxEvaluationFault::None) return result;
  } catch (const std::bad_alloc&) {
    KxFault_Note(EkxEvaluationFault::OutOfMemory);
  } catch (const std::length_error&) {  // a text longer than any memory
    KxFault_Note(EkxEvaluationFault::OutOfMemory);
  } catch (const std::system_error&) {  // a lock that the system has no memory for
    KxFault_Note(EkxEvaluationFault::OutOfMemory);
  }
  return onFault;
}

/// Whatever it was to do may be half done when a fault is noted.
template <class Function>
void KxEntry(Function&& function) noexcept {
  KxEntry(false, [&] {
    std::forward<Function>(function)();
    return true;
  });
}
