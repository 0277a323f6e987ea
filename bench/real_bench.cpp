// What a walk costs over policies as administrators write them, about processes that were recorded: in plain sequential
// reads of the same bytes. Left out where KX_SHARED_DATA has none.
#include <benchmark/benchmark.h>
#include <kx_util/shared_policies_data.h>

#include "bench/bench_policies.h"
#include "bench/plain_read.h"
#include "bench/real_policies.h"
#include "bench/recorded_starts.h"

namespace {

/// Those to which no policy applies: of them the whole section is walked.
KxBenchStarts Unmatched(KxBenchStarts starts) {
  SkxTriggerPolicyShortInfo info;
  std::erase_if(starts, [&](const auto& start) {
    EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
    CkxSharedPoliciesData::GetTargetPolicyAction(*start, info, outcome);
    return outcome != EkxEvaluationOutcome::NoPolicyApplies;
  });
  return starts;
}

void RealPolicies(benchmark::State& state, const char* folder) {
  const std::string data = KxBench_DataFolder();
  const SkxPublication publication = data.empty() ? SkxPublication() : KxBench_RealPolicies(data + folder);
  if (publication.policies.empty()) return state.SkipWithError("left out: KX_SHARED_DATA has no such policies");
  const BenchPolicies bench(publication);
  const CkxPolicySourceScope scope(bench.Source());
  KxBenchStarts all = KxBench_Starts(1);
  const size_t count = all.size();
  const KxBenchStarts starts = Unmatched(std::move(all));
  if (starts.empty()) return state.SkipWithError("a policy applies to each process");
  size_t next = 0;
  SkxTriggerPolicyShortInfo info;
  CkxBenchTurns turns;
  for (auto _ : state) {
    turns.Take([&] { CkxSharedPoliciesData::GetTargetPolicyAction(*starts[next++ % starts.size()], info); },
               [&] { benchmark::DoNotOptimize(KxBench_PlainRead(bench.PolicySection())); });
  }
  const auto policies = static_cast<double>(publication.policies.size());
  state.counters["ratio"] = turns.Ratio();
  state.counters["ns/policy"] = turns.Work() / policies;
  state.counters["policies"] = policies;
  state.counters["bytes"] = static_cast<double>(bench.PolicySection().size()) / policies;
  state.counters["matched"] = 1 - static_cast<double>(starts.size()) / static_cast<double>(count);
}

}  // namespace

BENCHMARK_CAPTURE(RealPolicies, appcontrol, "appcontrol")->Iterations(300)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(RealPolicies, applocker, "applocker")->Iterations(300)->Unit(benchmark::kMicrosecond);
