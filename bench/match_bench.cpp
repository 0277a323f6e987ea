// What a comparison costs, by mode and by the length of the subject.
#include <benchmark/benchmark.h>
#include <kx_util/kx_util.h>

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

}  // namespace

BENCHMARK_CAPTURE(MatchStr, equals, EkxStrCompareAs::StrEquals, true)->Arg(16)->Arg(1024);
BENCHMARK_CAPTURE(MatchStr, equals_folded, EkxStrCompareAs::StrEquals, false)->Arg(16)->Arg(1024);
BENCHMARK_CAPTURE(MatchStr, starts_with_folded, EkxStrCompareAs::StrStartsWith, false)->Arg(16)->Arg(1024);
BENCHMARK_CAPTURE(MatchStr, contains_folded, EkxStrCompareAs::StrContains, false)->Arg(16)->Arg(1024);
BENCHMARK_CAPTURE(MatchStr, wildcard_folded, EkxStrCompareAs::StrWildcard, false)->Arg(16)->Arg(1024);
BENCHMARK_CAPTURE(MatchStr, regexp_folded, EkxStrCompareAs::StrRegExp, false)->Arg(16)->Arg(1024);
BENCHMARK(NestedExpression)->Arg(1000)->Arg(10000);
