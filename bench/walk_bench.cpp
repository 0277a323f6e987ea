// What a walked policy costs: reading its header, making it in place with its one target, asking it, and letting it go.
// The measure is a plain sequential read of the same section's bytes in the same run.
#include <benchmark/benchmark.h>
#include <kx_util/shared_policies_data.h>

#include "bench/bench_policies.h"
#include "bench/plain_read.h"

namespace {

void WalkWithoutMatch(benchmark::State& state, SkxTargetModel (*target)(uint32_t)) {
  const auto policies = static_cast<uint32_t>(state.range(0));
  const BenchPolicies bench(policies, target);
  const CkxPolicySourceScope scope(bench.Source());
  SkxTriggerPolicyShortInfo info;
  double best = 1e300;
  for (auto _ : state) {
    const auto target_ = bench.UnmatchedTarget();
    best = std::min(best, KxBench_NanosecondsOf([&] {
                      if (CkxSharedPoliciesData::GetTargetPolicyAction(*target_, info)) state.SkipWithError("matched");
                    }));
  }
  const double plain = KxBench_PlainReadNanoseconds(bench.PolicySection());
  state.counters["ns/policy"] = best / policies;
  state.counters["plain ns/policy"] = plain / policies;
  state.counters["ratio"] = best / plain;
  state.counters["bytes/policy"] = static_cast<double>(bench.PolicySection().size()) / policies;
}

void EvaluationAt(benchmark::State& state, uint32_t position) {
  constexpr uint32_t kPolicies = 1000;
  const BenchPolicies bench(kPolicies, BenchPolicies::NameTarget);
  const CkxPolicySourceScope scope(bench.Source());
  SkxTriggerPolicyShortInfo info;
  for (auto _ : state) {
    const auto target = bench.TargetOfPolicy(position);
    if (!CkxSharedPoliciesData::GetTargetPolicyAction(*target, info)) state.SkipWithError("not matched");
  }
  if (info.PolicyId != position) state.SkipWithError("another policy matched");
}

}  // namespace

BENCHMARK_CAPTURE(WalkWithoutMatch, exe_by_name, BenchPolicies::NameTarget)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK_CAPTURE(WalkWithoutMatch, exe_by_conjunction, BenchPolicies::ConjunctionTarget)->Arg(10000);
BENCHMARK_CAPTURE(EvaluationAt, first_of_1000, 1);
BENCHMARK_CAPTURE(EvaluationAt, middle_of_1000, 500);
BENCHMARK_CAPTURE(EvaluationAt, last_of_1000, 1000);
