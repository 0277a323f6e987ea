#include "Agent/engine/kx_util/regexp/regexp.h"

#include <utility>

#include "Agent/engine/kx_util/regexp/regexp_program.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/trace.h"

namespace {

bool WithinLimits(const SkxRegExpProgram& program, CkxTextView subject) {
  if (subject.Size() <= kxRegExpMaxSubject && subject.Size() * uint64_t{program.code.size()} <= kxRegExpMaxWork) {
    return true;
  }
  KxFault_Note(EkxEvaluationFault::WorkLimit);
  KxTrace(EkxTraceLevel::Error, "CkxRegExp", "ERROR: Subject of ", subject.Size(),
          " units is too long for a regular expression of ", program.code.size(), " instructions");
  return false;
}

bool Run(const SkxRegExpProgram* program, CkxTextView subject, bool anchored, SkxRegExpFound& found) {
  if (program == nullptr || !WithinLimits(*program, subject)) return false;
  return program->hasBackReferences ? KxRegExp_RunBacktracking(*program, subject, anchored, found)
                                    : KxRegExp_RunLinear(*program, subject, anchored, found);
}

size_t Position(uint32_t slot) { return slot == SkxRegExpFound::unset ? CkxTextView::npos : slot; }

}  // namespace

CkxRegExp::CkxRegExp() = default;
CkxRegExp::~CkxRegExp() = default;
CkxRegExp::CkxRegExp(CkxRegExp&&) noexcept = default;
CkxRegExp& CkxRegExp::operator=(CkxRegExp&&) noexcept = default;

SkxRegExpError CkxRegExp::Parse(CkxTextView pattern, bool caseSensitive) {
  _program.reset();
  SkxRegExpTree tree;
  SkxRegExpError error = KxRegExp_ParseTree(pattern, tree);
  if (!error.IsOk()) return error;
  auto program = std::make_unique<SkxRegExpProgram>();
  error = KxRegExp_Compile(tree, caseSensitive, *program);
  if (error.IsOk()) _program = std::move(program);
  return error;
}

bool CkxRegExp::Match(CkxTextView subject, SkxRegExpMatch& match) const {
  SkxRegExpFound found;
  if (_program) found.slots.resize(SkxRegExpFound::SlotCount(*_program));
  if (!Run(_program.get(), subject, false, found)) return false;
  match.start = found.slots[0];
  match.end = found.end;
  match.groups.resize(_program->groupCount);
  for (size_t group = 0; group < match.groups.size(); ++group) {
    match.groups[group] = {Position(found.slots[1 + 2 * group]), Position(found.slots[2 + 2 * group])};
  }
  return true;
}

bool CkxRegExp::MatchPrefix(CkxTextView subject, size_t& length) const {
  SkxRegExpFound found;
  if (!Run(_program.get(), subject, true, found)) return false;
  length = found.end;
  return true;
}

bool CkxRegExp::MatchWhole(CkxTextView subject) const {
  size_t length = 0;
  return MatchPrefix(subject, length) && length == subject.Size();
}
