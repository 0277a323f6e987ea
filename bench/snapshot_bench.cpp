// What one decision costs by a snapshot of the policies, and what preparing it costs: by how many policies there are,
// and by what they ask for. Beside it, what the walk over the same policies costs.
//
// A decision does not include making the description, which it shares with every other way to judge.
#include <benchmark/benchmark.h>
#include <kx_util/kx_util.h>
#include <kx_util/policy_snapshot.h>
#include <kx_util/shared_policies_data.h>

#include "Common_CPP/util/text.h"
#include "bench/bench_policies.h"
#include "bench/plain_read.h"
#include "bench/recorded_starts.h"

namespace {

KxWString Counted(const std::string& before, uint32_t number, const char* behind = "") {
  return *KxText_FromUtf8(before + std::to_string(number) + behind);
}

SkxFileNameTest SnapshotName(KxWString pattern, EkxStrCompareAs compareAs) {
  SkxFileNameTest name;
  name.pattern = std::move(pattern);
  name.compareAs = static_cast<uint16_t>(compareAs);
  return name;
}

SkxPublisherTest SnapshotPublisher(KxWString name) {
  SkxPublisherTest publisher;
  publisher.pattern = std::move(name);
  return publisher;
}

SkxExeTarget NamedProgram(uint32_t id) {
  SkxExeTarget exe;
  exe.fileName = SnapshotName(Counted("program-", id, ".exe"), EkxStrCompareAs::StrEquals);
  return exe;
}

SkxExeTarget NamedByWildcard(uint32_t id) {
  SkxExeTarget exe;
  exe.fileName = SnapshotName(Counted("*setup-", id, "*.exe"), EkxStrCompareAs::StrWildcard);
  return exe;
}

SkxExeTarget InFolder(uint32_t id) {
  SkxExeTarget exe;
  exe.location = SkxLocationTest{Counted("C:\\Program Files\\Suite ", id, "\\bin"), true, {}};
  return exe;
}

SkxExeTarget Hashed(uint32_t id) {
  SkxExeTarget exe;
  exe.fileName = SnapshotName(KXW("*"), EkxStrCompareAs::StrWildcard);
  exe.fileName->hashAlgorithm = KXW("SHA256");
  exe.fileName->hash = Counted("SHA256##00", 100000 + id);
  return exe;
}

SkxExeTarget Signed(uint32_t id) {
  SkxExeTarget exe;
  exe.publishers = KxElements<SkxPublisherTest>{SnapshotPublisher(Counted("Vendor ", id, " Inc."))};
  return exe;
}

/// Of makers that have much, and that most programs are from.
SkxExeTarget ProductOfAMaker(uint32_t id) {
  constexpr const WCHAR* kMakers[] = {KXW("Microsoft Windows"), KXW("Microsoft Corporation"), KXW("Vendor 7 Inc.")};
  SkxVersionFieldTest product;
  product.name = KXW("ProductName");
  product.pattern = Counted("Product ", id);
  SkxExeTarget exe;
  exe.publishers = KxElements<SkxPublisherTest>{SnapshotPublisher(kMakers[id % std::size(kMakers)])};
  exe.versionFields = KxElements<SkxVersionFieldTest>{product};
  return exe;
}

SkxExeTarget WithArguments(uint32_t id) {
  SkxTextTest arguments;
  arguments.pattern = Counted("--profile-", id);
  arguments.compareAs = static_cast<uint16_t>(EkxStrCompareAs::StrContains);
  SkxExeTarget exe;
  exe.arguments = arguments;
  return exe;
}

/// As administrators write them, in percent: 45 names, 20 publishers with a product, 10 wildcards, 10 folders, 10
/// hashes, 4 publishers, 1 command line.
SkxExeTarget OfAMix(uint32_t id) {
  const uint32_t percent = id * 37 % 100;
  if (percent < 45) return NamedProgram(id);
  if (percent < 65) return ProductOfAMaker(id);
  if (percent < 75) return NamedByWildcard(id);
  if (percent < 85) return InFolder(id);
  if (percent < 95) return Hashed(id);
  return percent < 99 ? Signed(id) : WithArguments(id);
}

template <SkxExeTarget (*exe)(uint32_t)>
SkxTargetModel SnapshotTarget(uint32_t id) {
  SkxTargetModel target;
  target.id.Data1 = id;
  target.body = exe(id);
  return target;
}

double MicrosecondsOfAWalk(const KxBenchStarts& starts) {
  constexpr size_t kWalks = 20;
  SkxTriggerPolicyShortInfo info;
  std::vector<double> walks;
  for (size_t i = 0; i < kWalks; ++i) {
    const CkxTargetInfo& target = *starts[i * starts.size() / kWalks];
    walks.push_back(KxBench_NanosecondsOf([&] { CkxSharedPoliciesData::GetTargetPolicyAction(target, info); }) / 1e3);
  }
  return KxBench_Median(walks);
}

template <SkxExeTarget (*exe)(uint32_t)>
void SnapshotDecision(benchmark::State& state) {
  const BenchPolicies bench(static_cast<uint32_t>(state.range(0)), SnapshotTarget<exe>);
  const CkxPolicySourceScope scope(bench.Source());
  const KxBenchStarts starts = KxBench_Starts(1000);
  EkxEvaluationFault fault = EkxEvaluationFault::None;
  std::shared_ptr<const CkxPolicySnapshot> snapshot;
  const double prepared = KxBench_NanosecondsOf([&] { snapshot = CkxPolicySnapshot::Prepare(bench.Source(), fault); });
  if (snapshot == nullptr) return state.SkipWithError("not prepared");
  const CkxApplicablePolicies everybody = CkxApplicablePolicies::All();
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  std::vector<double> rounds;
  for (auto _ : state) {
    rounds.push_back(KxBench_NanosecondsOf([&] {
                       for (const auto& start : starts) {
                         snapshot->Evaluate(*start, everybody, info, outcome);
                         if (outcome == EkxEvaluationOutcome::NotAnswered) state.SkipWithError("not answered");
                       }
                     }) /
                     static_cast<double>(starts.size()));
  }
  state.counters["ns/decision"] = KxBench_Median(rounds);
  state.counters["walk_us"] = MicrosecondsOfAWalk(starts);
  state.counters["prepare_ms"] = prepared / 1e6;
}

}  // namespace

#define KX_SNAPSHOT(policies)                    \
  BENCHMARK_TEMPLATE(SnapshotDecision, policies) \
      ->RangeMultiplier(10)                      \
      ->Range(100, 100000)                       \
      ->Iterations(30)                           \
      ->Unit(benchmark::kMillisecond)
KX_SNAPSHOT(NamedProgram);
KX_SNAPSHOT(OfAMix);
