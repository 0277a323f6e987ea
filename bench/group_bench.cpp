// Groups that many policies, other groups and conditions on parents ask about: what a hostile or a careless author can
// make of them. The measure is a plain sequential read of both sections in the same run.
#include <benchmark/benchmark.h>
#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "bench/bench_policies.h"
#include "bench/plain_read.h"

namespace {

GUID GroupId(size_t group) { return {static_cast<uint32_t>(group + 1), 0, 0, {}}; }

SkxTargetModel Link(size_t group) {
  SkxTargetModel target;
  target.body = SkxGroupLink{GroupId(group)};
  return target;
}

/// A program whose ancestors are asked whether one of them belongs to the group.
SkxTargetModel AskingAncestors(size_t group) {
  SkxTargetModel target = BenchPolicies::NameTarget(0);
  auto& program = std::get<SkxExeTarget>(target.body);
  program.fileName.reset();
  program.parentProcess.emplace();
  program.parentProcess->includedGroup = GroupId(group);
  program.parentProcess->includedAnyAncestor = true;
  return target;
}

SkxAppGroupModel Group(size_t group, std::vector<SkxTargetModel> targets) {
  SkxAppGroupModel model;
  model.id = GroupId(group);
  model.targets = std::move(targets);
  return model;
}

/// 1,000 policies that link one group of 5,000 programs.
SkxPublication OneGroupForAll() {
  SkxPublication publication;
  publication.groups.push_back(Group(0, {}));
  for (uint32_t i = 0; i < 5000; ++i) publication.groups[0].targets.push_back(BenchPolicies::NameTarget(i));
  for (uint32_t id = 1; id <= 1000; ++id) publication.policies.push_back(BenchPolicies::Policy(id, {Link(0)}));
  return publication;
}

/// 16,000 policies with a group each.
SkxPublication AGroupForEach() {
  SkxPublication publication;
  for (uint32_t id = 1; id <= 16000; ++id) {
    publication.groups.push_back(Group(id, {BenchPolicies::NameTarget(id)}));
    publication.policies.push_back(BenchPolicies::Policy(id, {Link(id)}));
  }
  return publication;
}

/// 8 layers of 200 groups, each linking to every group of the next.
SkxPublication Layers() {
  constexpr size_t kWidth = 200;
  constexpr size_t kLayers = 8;
  SkxPublication publication;
  for (size_t group = 0; group < kWidth * kLayers; ++group) {
    SkxAppGroupModel& made = publication.groups.emplace_back(Group(group, {}));
    const size_t next = (group / kWidth + 1) * kWidth;
    for (size_t i = 0; i < kWidth && next < kWidth * kLayers; ++i) made.targets.push_back(Link(next + i));
  }
  for (uint32_t id = 1; id <= kWidth; ++id) publication.policies.push_back(BenchPolicies::Policy(id, {Link(id - 1)}));
  return publication;
}

/// 12 groups that ask of each other whether any of 60 ancestors belongs to them.
SkxPublication Ancestors() {
  SkxPublication publication;
  for (size_t group = 0; group < 12; ++group) {
    SkxAppGroupModel& made = publication.groups.emplace_back(Group(group, {}));
    for (size_t other = 0; other < 12; ++other) made.targets.push_back(AskingAncestors(other));
  }
  publication.policies.push_back(BenchPolicies::Policy(1, {Link(0)}));
  return publication;
}

void WalkOverGroups(benchmark::State& state, SkxPublication (*make)()) {
  const SkxPolicyImage image = KxEncode_Image(make());
  const BenchPolicies bench(image);
  const CkxPolicySourceScope scope(bench.Source());
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  double best = 1e300;
  for (auto _ : state) {
    std::unique_ptr<CkxTargetInfoProcess> chain = bench.UnmatchedTarget();
    for (int ancestor = 0; ancestor < 60; ++ancestor) {
      auto child = bench.UnmatchedTarget();
      child->SetParent(CkxTargetInfoPtr(chain.release()));
      chain = std::move(child);
    }
    best = std::min(
        best, KxBench_NanosecondsOf([&] { CkxSharedPoliciesData::GetTargetPolicyAction(*chain, info, outcome); }));
    if (outcome != EkxEvaluationOutcome::NoPolicyApplies) state.SkipWithError("not answered, or matched");
  }
  const double plain = KxBench_PlainReadNanoseconds(*image.policies) + KxBench_PlainReadNanoseconds(*image.appGroups);
  state.counters["ms"] = best / 1e6;
  state.counters["ratio"] = best / plain;
}

}  // namespace

BENCHMARK_CAPTURE(WalkOverGroups, one_of_5000_for_1000_policies, OneGroupForAll)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WalkOverGroups, one_each_for_16000_policies, AGroupForEach)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WalkOverGroups, 8_layers_of_200, Layers)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WalkOverGroups, 12_ask_of_60_ancestors, Ancestors)->Unit(benchmark::kMillisecond);
