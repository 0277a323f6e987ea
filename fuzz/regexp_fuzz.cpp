// Expressions and subjects from arbitrary bytes: flags (1: mind case, 2: two bytes a unit), the pattern's length in
// units, the pattern, the subject. Beyond faults that the sanitizers see, the machines must agree with each other.
#include <cstdlib>

#include "Agent/engine/kx_util/regexp/regexp_program.h"
#include "Common_CPP/util/trace.h"

namespace {

class CkxSeesErrors : public IkxTraceSink {
 public:
  void Write(const SkxTraceLine&) noexcept override { seen = true; }
  bool seen = false;
};

void Require(bool holds) {
  if (!holds) std::abort();
}

KxWString TakeUnits(const uint8_t*& data, size_t& size, size_t count, bool wide) {
  KxWString text;
  for (const size_t bytes = wide ? 2 : 1; count != 0 && size >= bytes; --count, data += bytes, size -= bytes) {
    text += static_cast<WCHAR>(wide ? data[0] | data[1] << 8 : data[0]);
  }
  return text;
}

/// Where both machines may run, one takes what the other takes, in the same groups.
void CompareMachines(const KxWString& pattern, bool caseSensitive, const KxWString& subject) {
  SkxRegExpTree tree;
  SkxRegExpProgram program;
  Require(KxRegExp_ParseTree(pattern, tree).IsOk());
  Require(KxRegExp_Compile(tree, caseSensitive, program).IsOk());
  if (program.hasBackReferences) return;
  for (const bool anchored : {false, true}) {
    CkxSeesErrors errors;
    SkxRegExpFound one;
    SkxRegExpFound other;
    one.slots.resize(SkxRegExpFound::SlotCount(program));
    other.slots.resize(SkxRegExpFound::SlotCount(program));
    IkxTraceSink* before = KxTrace_SetSink(&errors);
    const bool tried = KxRegExp_RunBacktracking(program, subject, anchored, other);
    KxTrace_SetSink(before);
    if (errors.seen) continue;  // too many steps: nothing to compare with
    Require(KxRegExp_RunLinear(program, subject, anchored, one) == tried);
    Require(!tried || (one.end == other.end && one.slots == other.slots));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const bool caseSensitive = (data[0] & 1) != 0;
  const bool wide = (data[0] & 2) != 0;
  const size_t units = data[1];
  data += 2;
  size -= 2;
  const KxWString pattern = TakeUnits(data, size, units, wide);
  const KxWString subject = TakeUnits(data, size, size, wide);

  CkxRegExp expression;
  const SkxRegExpError error = expression.Parse(pattern, caseSensitive);
  SkxRegExpMatch match;
  size_t length = 0;
  const bool found = expression.Match(subject, match);
  const bool atStart = expression.MatchPrefix(subject, length);
  const bool whole = expression.MatchWhole(subject);
  Require(error.IsOk() || (error.position <= pattern.size() && !found && !atStart && !whole));
  Require(!found || (match.start <= match.end && match.end <= subject.size()));
  for (const SkxRegExpSpan& group : match.groups) {
    Require((group.start == CkxTextView::npos && group.end == CkxTextView::npos) ||
            (group.start <= group.end && group.end <= subject.size()));
  }
  Require(!atStart || (found && match.start == 0 && match.end == length));
  Require(whole == (atStart && length == subject.size()));
  if (error.IsOk()) CompareMachines(pattern, caseSensitive, subject);
  return 0;
}
