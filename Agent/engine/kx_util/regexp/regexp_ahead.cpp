// Whether what `!` forbids lies ahead, for all positions in one pass over the subject, from its end to its start.
//
// "The program from this instruction on matches at position p" depends on the same question for other instructions at
// p, which `aheadOrder` puts before it, and at p + 1, which is the row before. Programs inside programs take part in
// the same pass, so that a nested `!` costs no more than its size.
#include <utility>

#include "Agent/engine/kx_util/regexp/regexp_program.h"

CkxRegExpAhead::CkxRegExpAhead(const SkxRegExpProgram& program, CkxTextView subject)
    : _positions(subject.Size() + 1), _bits((program.notAheads.size() * _positions + 63) / 64) {
  if (program.notAheads.empty()) return;
  std::vector<char> here(program.code.size());
  std::vector<char> next(program.code.size());
  for (size_t position = _positions; position-- > 0;) {
    const bool atEnd = position == subject.Size();
    const WCHAR unit = atEnd ? WCHAR{} : subject[position];
    const WCHAR folded = program.Folded(unit);
    const auto matches = [&](uint32_t pc) -> bool {
      const SkxRegExpInst& inst = program.code[pc];
      switch (inst.op) {
        case EkxRegExpOp::Match:
          return true;
        case EkxRegExpOp::Jump:
          return here[inst.arg] != 0;
        case EkxRegExpOp::Split:
          return here[inst.arg] != 0 || here[inst.other] != 0;
        case EkxRegExpOp::NotAhead:
          return here[pc + 1] == 0 && here[inst.other] != 0;
        case EkxRegExpOp::Save:
          return here[pc + 1] != 0;
        case EkxRegExpOp::InputStart:
          return position == 0 && here[pc + 1] != 0;
        case EkxRegExpOp::InputEnd:
          return atEnd && here[pc + 1] != 0;
        default:
          return !atEnd && next[pc + 1] != 0 && program.Takes(inst, unit, folded);
      }
    };
    for (const uint32_t pc : program.aheadOrder) here[pc] = static_cast<char>(matches(pc));
    for (size_t index = 0; index < program.notAheads.size(); ++index) {
      const size_t bit = index * _positions + position;
      if (here[program.notAheads[index] + 1] != 0) _bits[bit / 64] |= uint64_t{1} << (bit % 64);
    }
    std::swap(here, next);
  }
}
