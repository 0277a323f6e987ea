// The machine for programs without back-references: all ways through the program advance over the subject together.
//
// At each position there is a list of threads, each an instruction that wants a unit (or Match), the most preferred
// first. An instruction stands in a list once only: a second, less preferred way to it could not do better from there
// on. So a step costs at most the program's size, and the first thread to match outdoes the ones behind it.
#include <algorithm>
#include <array>
#include <utility>

#include "Agent/engine/kx_util/regexp/regexp_program.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

/// All working memory of one run: on the stack for the short programs that nearly all are, else one allocation.
class CkxWords {
 public:
  explicit CkxWords(size_t count) {
    if (count > _local.size()) _heap.resize(count);
    _next = _heap.empty() ? _local.data() : _heap.data();
  }
  CkxWords(const CkxWords&) = delete;
  CkxWords& operator=(const CkxWords&) = delete;

  uint32_t* Take(size_t count) { return std::exchange(_next, _next + count); }

 private:
  std::array<uint32_t, 1024> _local;
  std::vector<uint32_t> _heap;
  uint32_t* _next;
};

class CkxSimulation {
 public:
  CkxSimulation(const SkxRegExpProgram& program, CkxTextView subject, SkxRegExpFound& found)
      : _program(program),
        _subject(subject),
        _found(found),
        _slotCount(found.slots.size()),
        _ahead(program, subject),
        _words(WordCount()) {
    const size_t size = program.code.size();
    _listedAt = _words.Take(size);
    std::fill_n(_listedAt, size, SkxRegExpFound::unset);
    _stack = _words.Take(2 * (size + 1));
    for (SkxThreads* threads : {&_now, &_then}) {
      threads->instructions = _words.Take(size);
      threads->slots = _words.Take(size * _slotCount);
    }
    _fresh = _words.Take(_slotCount);
  }

  bool Run(bool anchored) {
    bool matched = false;
    const uint32_t size = static_cast<uint32_t>(_subject.Size());
    for (uint32_t position = 0;; ++position) {
      if (!matched && (position == 0 || !anchored)) Start(position);
      if (_now.count == 0 && (matched || anchored)) return matched;
      matched = Step(position) || matched;
      if (!Spend()) return false;
      if (position == size) return matched;
      std::swap(_now, _then);
    }
  }

 private:
  static constexpr uint64_t kSpendAtOnce = 4096;

  /// What the steps since the last time took is spent when it is worth a call.
  bool Spend() { return _work < kSpendAtOnce || KxWork_Spend(std::exchange(_work, 0)); }

  struct SkxThreads {
    uint32_t count = 0;
    uint32_t* instructions = nullptr;
    uint32_t* slots = nullptr;  ///< `_slotCount` for each thread
  };

  static constexpr uint32_t restoresSlot = 0x80000000;

  size_t WordCount() const {
    const size_t size = _program.code.size();
    return size + 2 * (size + 1) + 2 * size * (1 + _slotCount) + _slotCount;
  }

  /// Adds the thread of a match that begins here; less preferred than all that began before.
  void Start(uint32_t position) {
    std::fill_n(_fresh, _slotCount, SkxRegExpFound::unset);
    if (_slotCount != 0) _fresh[0] = position;
    Follow(_now, 0, position, _fresh);
  }

  /// Moves every thread over the unit at `position`, up to the first that matches here; whether one did.
  bool Step(uint32_t position) {
    const bool atEnd = position == _subject.Size();
    const WCHAR unit = atEnd ? WCHAR{} : _subject[position];
    const WCHAR folded = _program.Folded(unit);
    _then.count = 0;
    _work += _now.count + 1;
    for (uint32_t thread = 0; thread < _now.count; ++thread) {
      const uint32_t pc = _now.instructions[thread];
      uint32_t* slots = _now.slots + thread * _slotCount;
      const SkxRegExpInst& inst = _program.code[pc];
      if (inst.op == EkxRegExpOp::Match) {
        _found.end = position;
        std::copy_n(slots, _slotCount, _found.slots.begin());
        return true;
      }
      if (!atEnd && _program.Takes(inst, unit, folded)) Follow(_then, pc + 1, position + 1, slots);
    }
    return false;
  }

  /// Lists what `pc` leads to without taking a unit. `slots` changes on the way and is as before in the end, so that
  /// what is listed later sees the slots of its own way only.
  void Follow(SkxThreads& threads, uint32_t pc, uint32_t position, uint32_t* slots) {
    _stackSize = 0;
    Push(pc, 0);
    while (_stackSize != 0) {
      --_stackSize;
      const uint32_t what = _stack[2 * _stackSize];
      if ((what & restoresSlot) != 0) {
        slots[what & ~restoresSlot] = _stack[2 * _stackSize + 1];
      } else {
        FollowOne(threads, what, position, slots);
      }
    }
  }

  /// One way as far as it goes; the second ways and the slots to restore are left on the stack. An instruction is
  /// passed once a position and leaves at most one entry, which bounds the stack by the program's size.
  void FollowOne(SkxThreads& threads, uint32_t pc, uint32_t position, uint32_t* slots) {
    while (_listedAt[pc] != position) {
      _listedAt[pc] = position;
      ++_work;
      const SkxRegExpInst& inst = _program.code[pc];
      switch (inst.op) {
        case EkxRegExpOp::Jump:
          pc = inst.arg;
          break;
        case EkxRegExpOp::Split:
          Push(inst.other, 0);
          pc = inst.arg;
          break;
        case EkxRegExpOp::Save:
          if (_slotCount != 0) {
            Push(inst.arg | restoresSlot, slots[inst.arg]);
            slots[inst.arg] = position;
          }
          ++pc;
          break;
        case EkxRegExpOp::InputStart:
          if (position != 0) return;
          ++pc;
          break;
        case EkxRegExpOp::InputEnd:
          if (position != _subject.Size()) return;
          ++pc;
          break;
        case EkxRegExpOp::NotAhead:
          if (_ahead.Matches(inst.arg, position)) return;
          pc = inst.other;
          break;
        default:
          threads.instructions[threads.count] = pc;
          std::copy_n(slots, _slotCount, threads.slots + threads.count * _slotCount);
          ++threads.count;
          return;
      }
    }
  }

  void Push(uint32_t what, uint32_t value) {
    _stack[2 * _stackSize] = what;
    _stack[2 * _stackSize + 1] = value;
    ++_stackSize;
  }

  const SkxRegExpProgram& _program;
  CkxTextView _subject;
  SkxRegExpFound& _found;
  size_t _slotCount;
  CkxRegExpAhead _ahead;
  CkxWords _words;
  uint32_t* _listedAt;  ///< for each instruction the last position that it was passed at
  uint32_t* _stack;     ///< pairs: an instruction, or a slot and the value to give back to it
  size_t _stackSize = 0;
  SkxThreads _now;
  SkxThreads _then;
  uint32_t* _fresh;
  uint64_t _work = 0;  ///< instructions passed and threads moved since work was spent
};

}  // namespace

bool KxRegExp_RunLinear(const SkxRegExpProgram& program, CkxTextView subject, bool anchored, SkxRegExpFound& found) {
  return KxWork_Spend(CkxRegExpAhead::Work(program, subject)) && CkxSimulation(program, subject, found).Run(anchored);
}
