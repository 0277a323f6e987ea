// What a walked policy costs: reading its header, making it in place with its one target, asking it, and letting it go.
// The measure is a plain sequential read of the same section's bytes in the same run, so that figures of different
// machines can be compared.
#include <benchmark/benchmark.h>
#include <kx_util/shared_policies_data.h>

#include <chrono>

#include "Common_CPP/util/byte_cursor.h"
#include "bench/bench_policies.h"

namespace {

/// Reads every byte once, eight at a time.
uint64_t PlainRead(std::span<const unsigned char> bytes) {
  uint64_t sum = 0;
  size_t at = 0;
  for (; at + sizeof(uint64_t) <= bytes.size(); at += sizeof(uint64_t))
    sum += KxBytes_Load<uint64_t>(bytes.data() + at);
  for (; at < bytes.size(); ++at) sum += bytes[at];
  return sum;
}

double NanosecondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

/// The fastest of many reads: the reference is to be the machine's best.
double PlainReadNanoseconds(std::span<const unsigned char> bytes) {
  double best = 1e300;
  for (int i = 0; i < 200; ++i) {
    best = std::min(best, NanosecondsOf([&] { benchmark::DoNotOptimize(PlainRead(bytes)); }));
  }
  return best;
}

void WalkWithoutMatch(benchmark::State& state, SkxTargetModel (*target)(uint32_t)) {
  const auto policies = static_cast<uint32_t>(state.range(0));
  const BenchPolicies bench(policies, target);
  const CkxPolicySourceScope scope(bench.Source());
  SkxTriggerPolicyShortInfo info;
  double best = 1e300;
  for (auto _ : state) {
    const auto target_ = bench.UnmatchedTarget();
    best = std::min(best, NanosecondsOf([&] {
                      if (CkxSharedPoliciesData::GetTargetPolicyAction(*target_, info)) state.SkipWithError("matched");
                    }));
  }
  const double plain = PlainReadNanoseconds(bench.PolicySection());
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
