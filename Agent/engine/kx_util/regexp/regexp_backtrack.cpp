// The machine for programs with back-references: one way after the other, the most preferred first. What a group took
// decides what comes after it, so that ways cannot be followed together; the steps are limited instead.
#include "Agent/engine/kx_util/regexp/regexp_program.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/trace.h"

namespace {

class CkxBacktracker {
 public:
  CkxBacktracker(const SkxRegExpProgram& program, CkxTextView subject)
      : _program(program), _subject(subject), _size(static_cast<uint32_t>(subject.Size())) {}

  bool Run(bool anchored, SkxRegExpFound& found) {
    const bool matched = Search(anchored, found);
    return KxWork_Spend(kxRegExpMaxSteps - _stepsLeft) && matched;
  }

 private:
  bool Search(bool anchored, SkxRegExpFound& found) {
    for (uint32_t start = 0; start <= (anchored ? 0 : _size) && !_gaveUp; ++start) {
      _slots.assign(SkxRegExpFound::SlotCount(_program), SkxRegExpFound::unset);
      _slots[0] = start;
      if (!Try(0, start)) continue;
      found.end = _end;
      if (!found.slots.empty()) found.slots = _slots;
      return true;
    }
    if (_gaveUp) {
      KxFault_Note(EkxEvaluationFault::WorkLimit);
      KxTrace(EkxTraceLevel::Error, "CkxRegExp", "ERROR: Regular expression with back-references needs more than ",
              kxRegExpMaxSteps, " steps for a subject of ", _subject.Size(), " units");
    }
    return false;
  }

  /// A way left to try, or a slot and the value to give back to it.
  struct SkxEntry {
    uint32_t what;
    uint32_t value;
  };

  static constexpr uint32_t restoresSlot = 0x80000000;

  /// Whether the program from `pc` matches at `position`; then `_end` and the slots tell how. Leaves the ways that were
  /// not tried on the stack when it does, nothing when it does not. Calls itself for `!` inside `!` only.
  bool Try(uint32_t pc, uint32_t position) {
    const size_t base = _stack.size();
    _stack.push_back({pc, position});
    while (_stack.size() > base) {
      const SkxEntry entry = _stack.back();
      _stack.pop_back();
      if ((entry.what & restoresSlot) != 0) {
        _slots[entry.what & ~restoresSlot] = entry.value;
      } else if (!_gaveUp && Follow(entry.what, entry.value)) {
        return true;
      }
    }
    return false;
  }

  bool Ahead(uint32_t pc, uint32_t position) {
    const size_t base = _stack.size();
    const bool matches = Try(pc, position);
    for (; _stack.size() > base; _stack.pop_back()) {
      const SkxEntry entry = _stack.back();
      if ((entry.what & restoresSlot) != 0) _slots[entry.what & ~restoresSlot] = entry.value;
    }
    return matches;
  }

  /// One way until it matches or fails.
  bool Follow(uint32_t pc, uint32_t position) {
    while (Spend(1)) {
      const SkxRegExpInst& inst = _program.code[pc++];
      switch (inst.op) {
        case EkxRegExpOp::Match:
          _end = position;
          return true;
        case EkxRegExpOp::Jump:
          pc = inst.arg;
          break;
        case EkxRegExpOp::Split:
          _stack.push_back({inst.other, position});
          pc = inst.arg;
          break;
        case EkxRegExpOp::Save:
          _stack.push_back({inst.arg | restoresSlot, _slots[inst.arg]});
          _slots[inst.arg] = position;
          break;
        case EkxRegExpOp::InputStart:
          if (position != 0) return false;
          break;
        case EkxRegExpOp::InputEnd:
          if (position != _size) return false;
          break;
        case EkxRegExpOp::NotAhead:
          if (Ahead(pc, position)) return false;
          pc = inst.other;
          break;
        case EkxRegExpOp::BackReference:
          if (!TakeGroup(inst.arg, position)) return false;
          break;
        default:
          if (position == _size) return false;
          if (!_program.Takes(inst, _subject[position], _program.Folded(_subject[position]))) return false;
          ++position;
          break;
      }
    }
    return false;
  }

  /// Moves `position` over a copy of the group's text; fails when the group took no part so far. The parser lets no
  /// group refer to itself, so that both slots are of the same time round.
  bool TakeGroup(uint32_t group, uint32_t& position) {
    const uint32_t from = _slots[1 + 2 * group];
    const uint32_t to = _slots[2 + 2 * group];
    if (to == SkxRegExpFound::unset || to - from > _size - position || !Spend(to - from)) return false;
    for (uint32_t at = from; at < to; ++at, ++position) {
      if (_program.Folded(_subject[at]) != _program.Folded(_subject[position])) return false;
    }
    return true;
  }

  bool Spend(uint32_t steps) {
    _gaveUp = _gaveUp || steps > _stepsLeft;
    if (!_gaveUp) _stepsLeft -= steps;
    return !_gaveUp;
  }

  const SkxRegExpProgram& _program;
  CkxTextView _subject;
  uint32_t _size;
  std::vector<uint32_t> _slots;
  std::vector<SkxEntry> _stack;
  uint32_t _end = 0;
  uint32_t _stepsLeft = kxRegExpMaxSteps;
  bool _gaveUp = false;
};

}  // namespace

bool KxRegExp_RunBacktracking(const SkxRegExpProgram& program, CkxTextView subject, bool anchored,
                              SkxRegExpFound& found) {
  return CkxBacktracker(program, subject).Run(anchored, found);
}
