// What a policy costs that is about something else, by what it asks for: in plain sequential reads of the same bytes,
// in nanoseconds, and in allocations. Then a policy that applies, at several places.
#include <benchmark/benchmark.h>
#include <kx_util/shared_policies_data.h>

#include <numeric>
#include <stdexcept>

#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Common_CPP/util/text.h"
#include "bench/allocations.h"
#include "bench/bench_policies.h"
#include "bench/plain_read.h"

namespace {

constexpr uint32_t kPolicies = 10000;

KxWString Numbered(const char* before, uint32_t number, const char* behind) {
  return *KxText_FromUtf8(before + std::to_string(number) + behind);
}

SkxTargetModel Exe(uint32_t id, SkxExeTarget exe) {
  SkxTargetModel target;
  target.id.Data1 = id;
  target.body = std::move(exe);
  return target;
}

SkxPublication OneTargetEach(SkxTargetModel (*target)(uint32_t id)) {
  SkxPublication publication;
  for (uint32_t id = 1; id <= kPolicies; ++id) {
    publication.policies.push_back(BenchPolicies::Policy(id, {target(id)}));
  }
  return publication;
}

SkxPublication Names() { return OneTargetEach(BenchPolicies::NameTarget); }
SkxPublication Conjunctions() { return OneTargetEach(BenchPolicies::ConjunctionTarget); }

SkxPublication FiveNames() {
  SkxPublication publication;
  for (uint32_t id = 1; id <= kPolicies; ++id) {
    std::vector<SkxTargetModel> targets;
    for (uint32_t i = 0; i < 5; ++i) targets.push_back(BenchPolicies::NameTarget(id * 5 + i));
    publication.policies.push_back(BenchPolicies::Policy(id, std::move(targets)));
  }
  return publication;
}

/// 10 groups of 100 programs, which the policies share.
SkxPublication SharedGroups() {
  constexpr uint32_t kGroups = 10;
  const auto groupId = [](uint32_t group) { return GUID{group + 1, 7, 7, {}}; };
  SkxPublication publication;
  for (uint32_t group = 0; group < kGroups; ++group) {
    publication.groups.push_back({{}, groupId(group), {}});
    for (uint32_t i = 0; i < 100; ++i) {
      publication.groups.back().targets.push_back(BenchPolicies::NameTarget(group * 100 + i));
    }
  }
  for (uint32_t id = 1; id <= kPolicies; ++id) {
    SkxTargetModel link;
    link.body = SkxGroupLink{groupId(id % kGroups)};
    publication.policies.push_back(BenchPolicies::Policy(id, {link}));
  }
  return publication;
}

SkxTargetModel Folder(uint32_t id) {
  SkxExeTarget exe;
  exe.location = SkxLocationTest{Numbered("C:\\Program Files\\Suite ", id, "\\bin"), true, {}};
  return Exe(id, std::move(exe));
}

SkxTargetModel FolderWildcard(uint32_t id) {
  SkxExeTarget exe;
  exe.location = SkxLocationTest{Numbered("C:\\Users\\*\\Downloads\\", id, "\\*"), false, {}};
  return Exe(id, std::move(exe));
}

SkxTargetModel Wildcard(uint32_t id) {
  SkxExeTarget exe;
  exe.fileName.emplace();
  exe.fileName->pattern = Numbered("*tool", id, "*.exe");
  exe.fileName->compareAs = static_cast<uint16_t>(EkxStrCompareAs::StrWildcard);
  return Exe(id, std::move(exe));
}

SkxTargetModel Expression(uint32_t id) {
  SkxExeTarget exe;
  exe.fileName.emplace();
  exe.fileName->pattern = Numbered("(setup|install)-", id % 100, "[0-9]+\\.exe");
  exe.fileName->compareAs = static_cast<uint16_t>(EkxStrCompareAs::StrRegExp);
  return Exe(id, std::move(exe));
}

/// Any name, and a hash that only the whole file can tell.
SkxTargetModel Hash(uint32_t id) {
  SkxExeTarget exe;
  exe.fileName.emplace();
  exe.fileName->pattern = KXW("*");
  exe.fileName->compareAs = static_cast<uint16_t>(EkxStrCompareAs::StrWildcard);
  exe.fileName->hashAlgorithm = KXW("SHA256");
  exe.fileName->hash = Numbered("SHA256##", 100000 + id, "");
  return Exe(id, std::move(exe));
}

SkxTargetModel Publisher(uint32_t id) {
  SkxPublisherTest publisher;
  publisher.pattern = Numbered("Vendor Number ", id, " Inc.");
  SkxExeTarget exe;
  exe.publishers = KxElements<SkxPublisherTest>{publisher};
  return Exe(id, std::move(exe));
}

/// A publisher that fits, and a product that does not.
SkxTargetModel SignedProduct(uint32_t id) {
  SkxPublisherTest publisher;
  publisher.pattern = KXW("Vendor Inc.");
  SkxVersionFieldTest product;
  product.name = KXW("ProductName");
  product.pattern = Numbered("Product ", id, "");
  SkxExeTarget exe;
  exe.publishers = KxElements<SkxPublisherTest>{publisher};
  exe.versionFields = KxElements<SkxVersionFieldTest>{product};
  return Exe(id, std::move(exe));
}

SkxTargetModel Arguments(uint32_t id) {
  SkxTextTest arguments;
  arguments.pattern = Numbered("-option", id, "");
  arguments.compareAs = static_cast<uint16_t>(EkxStrCompareAs::StrContains);
  SkxExeTarget exe;
  exe.arguments = arguments;
  return Exe(id, std::move(exe));
}

/// Applies to users by name: a list of 10,000 ids.
SkxPublication Applicable() {
  SkxPublication publication = Names();
  std::vector<uint32_t> ids(kPolicies);
  std::iota(ids.begin(), ids.end(), 1U);
  publication.applicable["*"] = std::move(ids);
  return publication;
}

template <SkxTargetModel (*target)(uint32_t)>
SkxPublication Each() {
  return OneTargetEach(target);
}

void WalkWithoutMatch(benchmark::State& state, SkxPublication (*make)()) {
  const BenchPolicies bench(make());
  const CkxPolicySourceScope scope(bench.Source());
  const auto target = bench.UnmatchedTarget();
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  const auto walk = [&] { CkxSharedPoliciesData::GetTargetPolicyAction(*target, info, outcome); };
  const auto read = [&] { benchmark::DoNotOptimize(KxBench_PlainRead(bench.PolicySection())); };
  walk();  // what the description remembers of itself
  const uint64_t before = KxBench_Allocations();
  walk();
  const uint64_t allocations = KxBench_Allocations() - before;
  CkxBenchTurns turns;
  for (auto _ : state) turns.Take(walk, read);
  if (outcome != EkxEvaluationOutcome::NoPolicyApplies) state.SkipWithError("not answered, or matched");
  state.counters["ratio"] = turns.Ratio();
  state.counters["ns/policy"] = turns.Work() / kPolicies;
  state.counters["plain"] = turns.Measure() / kPolicies;
  state.counters["bytes"] = static_cast<double>(bench.PolicySection().size()) / kPolicies;
  state.counters["allocations"] = static_cast<double>(allocations);
}

/// Apart from making the description.
void EvaluationAt(benchmark::State& state, uint32_t position) {
  constexpr uint32_t kFew = 1000;
  const BenchPolicies bench(kFew, BenchPolicies::NameTarget);
  const CkxPolicySourceScope scope(bench.Source());
  const auto target = bench.TargetOfPolicy(position);
  SkxTriggerPolicyShortInfo info;
  for (auto _ : state) {
    if (!CkxSharedPoliciesData::GetTargetPolicyAction(*target, info)) state.SkipWithError("not matched");
  }
  if (info.PolicyId != position) state.SkipWithError("another policy matched");
}

/// The first of very many targets matches; the whole policy is made all the same.
void ManyTargetsBehindAMatch(benchmark::State& state) {
  std::vector<SkxTargetModel> targets;
  for (uint32_t id = 1; id <= 1000; ++id) targets.push_back(BenchPolicies::NameTarget(id));
  SkxPublication publication;
  publication.policies.push_back(BenchPolicies::Policy(1, std::move(targets)));
  const BenchPolicies bench(publication);
  const CkxPolicySourceScope scope(bench.Source());
  const auto target = bench.TargetOfPolicy(1);
  SkxTriggerPolicyShortInfo info;
  for (auto _ : state) {
    if (!CkxSharedPoliciesData::GetTargetPolicyAction(*target, info)) state.SkipWithError("not matched");
  }
}

void Description(benchmark::State& state) {
  const BenchPolicies bench(1, BenchPolicies::NameTarget);
  for (auto _ : state) benchmark::DoNotOptimize(bench.UnmatchedTarget());
}

}  // namespace

#define KX_WALK(name, publication) \
  BENCHMARK_CAPTURE(WalkWithoutMatch, name, publication)->Iterations(60)->Unit(benchmark::kMicrosecond)
KX_WALK(names, Names);
KX_WALK(names_of_10000_applicable, Applicable);
KX_WALK(conjunctions_of_five, Conjunctions);
KX_WALK(five_targets, FiveNames);
KX_WALK(links_to_shared_groups, SharedGroups);
KX_WALK(folders, Each<Folder>);
KX_WALK(folder_wildcards, Each<FolderWildcard>);
KX_WALK(name_wildcards, Each<Wildcard>);
KX_WALK(publishers, Each<Publisher>);
KX_WALK(products, Each<SignedProduct>);
KX_WALK(arguments, Each<Arguments>);
KX_WALK(expressions, Each<Expression>);
KX_WALK(hashes, Each<Hash>);
BENCHMARK_CAPTURE(EvaluationAt, first_of_1000, 1);
BENCHMARK_CAPTURE(EvaluationAt, middle_of_1000, 500);
BENCHMARK_CAPTURE(EvaluationAt, last_of_1000, 1000);
BENCHMARK(ManyTargetsBehindAMatch)->Unit(benchmark::kMicrosecond);
BENCHMARK(Description);
