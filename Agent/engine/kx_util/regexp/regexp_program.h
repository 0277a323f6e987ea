// What the compiler hands to the matchers: a program of small instructions, and the two machines that run it.
//
// An instruction goes on to the one after it, unless it says otherwise; Split names the preferred way first. `(ab|c)*`
// is
//
//   0 Split 1, 7     2 Unit a     4 Jump 6     6 Jump 0
//   1 Split 2, 5     3 Unit b     5 Unit c     7 Match
//
// Every loop takes a unit each time round (the parser refuses others), so that no machine can turn without advancing.
#pragma once

#include "Agent/engine/kx_util/regexp/regexp_set.h"
#include "Common_CPP/util/text.h"

enum class EkxRegExpOp : uint8_t {
  Unit,           ///< takes the unit `arg` (folded when case does not matter)
  AnyUnit,        ///< takes a unit
  Set,            ///< takes a unit of `sets[arg]`
  InputStart,     ///< goes on at the subject's start only
  InputEnd,       ///< goes on at its end only
  Save,           ///< notes the position in slot `arg`
  BackReference,  ///< takes the text of group `arg`
  Jump,           ///< goes on at `arg`
  Split,          ///< goes on at `arg`, and if that leads nowhere at `other`
  NotAhead,       ///< goes on at `other` unless the program that begins right after this instruction matches here
  Match,          ///
};

struct SkxRegExpInst {
  EkxRegExpOp op;
  uint32_t arg = 0;
  uint32_t other = 0;
};

struct SkxRegExpProgram {
  KxWipedVector<SkxRegExpInst> code;
  KxWipedVector<CkxRegExpSet> sets;
  uint32_t groupCount = 0;
  bool caseSensitive = true;
  bool hasBackReferences = false;

  /// The NotAhead instructions; `arg` of each is its index here.
  std::vector<uint32_t> notAheads;
  /// The instructions of all programs behind NotAheads, each after those that it can go on to without taking a unit.
  std::vector<uint32_t> aheadOrder;

  WCHAR Folded(WCHAR unit) const { return caseSensitive ? unit : KxText_Fold(unit); }

  /// Whether an instruction that takes a unit takes this one.
  bool Takes(const SkxRegExpInst& inst, WCHAR unit, WCHAR folded) const {
    switch (inst.op) {
      case EkxRegExpOp::Unit:
        return folded == inst.arg;
      case EkxRegExpOp::AnyUnit:
        return true;
      case EkxRegExpOp::Set:
        return sets[inst.arg].Takes(unit, folded);
      default:
        return false;
    }
  }
};

/// Fails with OutOfMemory, at the pattern's start, when the program would exceed kxRegExpMaxProgram.
SkxRegExpError KxRegExp_Compile(const SkxRegExpTree& tree, bool caseSensitive, SkxRegExpProgram& program);

/// What a machine found, and how much of that it shall note: `slots` is empty when only the end is wanted, otherwise
/// slot 0 is the match's start, slots 1 + 2g and 2 + 2g are start and end of group g, `unset` when it took no part.
struct SkxRegExpFound {
  static constexpr uint32_t unset = 0xFFFFFFFF;

  uint32_t end = 0;
  std::vector<uint32_t> slots;

  static size_t SlotCount(const SkxRegExpProgram& program) { return 1 + 2 * size_t{program.groupCount}; }
};

/// Follows all ways at once, in order of preference; for programs without back-references. `anchored`: from the
/// subject's start only. The subject must be within the limits. False, with the fault noted, when what the evaluation
/// may cost is used up.
bool KxRegExp_RunLinear(const SkxRegExpProgram& program, CkxTextView subject, bool anchored, SkxRegExpFound& found);

/// Tries one way after the other, up to kxRegExpMaxSteps instructions and units compared; for all programs. Past that:
/// false, a fault noted, and an error in the trace.
bool KxRegExp_RunBacktracking(const SkxRegExpProgram& program, CkxTextView subject, bool anchored,
                              SkxRegExpFound& found);

/// For each NotAhead and each position 0 to the subject's size: whether the program behind it matches there.
class CkxRegExpAhead {
 public:
  CkxRegExpAhead(const SkxRegExpProgram& program, CkxTextView subject);

  /// What making one takes, to be spent before; 0 for a program without NotAheads.
  static uint64_t Work(const SkxRegExpProgram& program, CkxTextView subject) {
    return program.aheadOrder.size() * (uint64_t{subject.Size()} + 1);
  }

  bool Matches(uint32_t notAhead, uint32_t position) const {
    const size_t bit = notAhead * _positions + position;
    return (_bits[bit / 64] >> (bit % 64) & 1) != 0;
  }

 private:
  size_t _positions;
  std::vector<uint64_t> _bits;
};
