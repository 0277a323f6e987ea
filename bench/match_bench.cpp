// What a comparison costs, by mode and by the length of the subject; and what the worst texts cost that somebody could
// think of, in plain reads of pattern and subject.
#include <kx_util/kx_util.h>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "bench/plain_read.h"

namespace {

/// `units` units that make each mode look at all of them: the pattern's end is the subject's end.
KxWString Subject(size_t units) { return KxWString(units - 3, KXW('a')) + KXW("end"); }

void MatchStr(benchmark::State& state, EkxStrCompareAs mode, bool caseSensitive) {
  const KxWString subject = Subject(static_cast<size_t>(state.range(0)));
  KxWString pattern = subject;
  if (mode == EkxStrCompareAs::StrContains) pattern = KXW("end");
  if (mode == EkxStrCompareAs::StrWildcard) pattern = KXW("*a*end");
  if (mode == EkxStrCompareAs::StrRegExp) pattern = KXW("(a|b)+end");
  for (auto _ : state) {
    if (!KxUtil_MatchStr(pattern, subject, caseSensitive, mode)) state.SkipWithError("no match");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// Nested so deep that an engine that tries every way would never come back.
void NestedExpression(benchmark::State& state) {
  KxWString pattern = KXW("a|aa");
  for (int i = 0; i < 8; ++i) pattern = KXW("(") + pattern + KXW(")+");
  pattern += KXW("b");
  const KxWString subject(static_cast<size_t>(state.range(0)), KXW('a'));
  for (auto _ : state) {
    if (KxUtil_MatchStr(pattern, subject, true, EkxStrCompareAs::StrRegExp)) state.SkipWithError("match");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

struct Hostile {
  EkxStrCompareAs mode;
  bool caseSensitive;
  KxWString (*pattern)(size_t units);
  WCHAR unit = KXW('a');  ///< that the subject is made of
};

KxWString Repeated(KxWStringView text, size_t units) {
  KxWString all;
  while (all.size() < units) all += text;
  return all;
}

/// Agrees with the subject everywhere but at its end.
KxWString HalfWithAnotherEnd(size_t units) { return KxWString(units / 2, KXW('a')) + KXW('b'); }
KxWString HalfWithAnotherEndBeyondAscii(size_t units) { return KxWString(units / 2, KXW('\u00C4')) + KXW('b'); }
KxWString BehindAnAsterisk(size_t units) { return KXW("*") + HalfWithAnotherEnd(units) + KXW("*"); }
KxWString BetweenAsterisks(size_t units) { return Repeated(KXW("*a"), units) + KXW("*b*"); }
KxWString WithAnyUnits(size_t units) { return KXW("*") + Repeated(KXW("a?"), units / 2) + KXW("b*"); }

/// An evaluation of its own each time: what may be given up is, and the figure shows what that bounds.
void Worst(benchmark::State& state, Hostile hostile) {
  const size_t units = static_cast<size_t>(state.range(0));
  const KxWString subject(units, hostile.unit);
  const KxWString pattern = hostile.pattern(units);
  double best = 1e300;
  for (auto _ : state) {
    const CkxEntryScope evaluation;
    best = std::min(best, KxBench_NanosecondsOf([&] {
                      if (KxUtil_MatchStr(pattern, subject, hostile.caseSensitive, hostile.mode))
                        state.SkipWithError("match");
                    }));
    if (KxFault_Current() != EkxEvaluationFault::None) state.SetLabel("given up");
  }
  const KxWString all = pattern + subject;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(all.data());
  state.counters["ratio"] = best / KxBench_PlainReadNanoseconds({bytes, all.size() * sizeof(WCHAR)});
}

}  // namespace

BENCHMARK_CAPTURE(MatchStr, equals, EkxStrCompareAs::StrEquals, true)->Arg(16)->Arg(1024);
BENCHMARK_CAPTURE(MatchStr, equals_folded, EkxStrCompareAs::StrEquals, false)->Arg(16)->Arg(1024);
BENCHMARK_CAPTURE(MatchStr, starts_with_folded, EkxStrCompareAs::StrStartsWith, false)->Arg(16)->Arg(1024);
BENCHMARK_CAPTURE(MatchStr, contains_folded, EkxStrCompareAs::StrContains, false)->Arg(16)->Arg(1024);
BENCHMARK_CAPTURE(MatchStr, wildcard_folded, EkxStrCompareAs::StrWildcard, false)->Arg(16)->Arg(1024);
BENCHMARK_CAPTURE(MatchStr, regexp_folded, EkxStrCompareAs::StrRegExp, false)->Arg(16)->Arg(1024);
BENCHMARK(NestedExpression)->Arg(1000)->Arg(10000);

#define KX_WORST(name, ...) \
  BENCHMARK_CAPTURE(Worst, name, Hostile{__VA_ARGS__})->Arg(1 << 16)->Arg(1 << 20)->Unit(benchmark::kMillisecond)
KX_WORST(contains, EkxStrCompareAs::StrContains, true, HalfWithAnotherEnd);
KX_WORST(contains_folded, EkxStrCompareAs::StrContains, false, HalfWithAnotherEnd);
KX_WORST(contains_beyond_ascii, EkxStrCompareAs::StrContains, false, HalfWithAnotherEndBeyondAscii, KXW('\u00E4'));
KX_WORST(wildcard_long_piece, EkxStrCompareAs::StrWildcard, false, BehindAnAsterisk);
KX_WORST(wildcard_many_pieces, EkxStrCompareAs::StrWildcard, false, BetweenAsterisks);
KX_WORST(wildcard_any_units, EkxStrCompareAs::StrWildcard, false, WithAnyUnits);
