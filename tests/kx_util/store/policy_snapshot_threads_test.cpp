// One snapshot serves any number of threads at once, each with its own descriptions, and without a lock.
#include <gtest/gtest.h>
#include <kx_util/policy_snapshot.h>

#include <algorithm>
#include <thread>

#include "tests/support/random_policies.h"
#include "tests/support/section_source.h"

namespace {

std::shared_ptr<const CkxPolicySnapshot> SnapshotOfAll(uint32_t seed) {
  CkxRandomThings things(seed);
  SkxPolicyImage image = KxEncode_Image(things.Publication());
  CkxSectionSource source;
  source.PublishBytes(EkxPolicySection::Policies, *std::move(image.policies));
  source.PublishBytes(EkxPolicySection::AppGroups, *std::move(image.appGroups));
  EkxEvaluationFault fault = EkxEvaluationFault::None;
  return CkxPolicySnapshot::Prepare(source, fault);
}

/// The policies that decide about the descriptions that come from `seed`, 0 for none.
std::vector<uint32_t> Decisions(const CkxPolicySnapshot& snapshot, uint32_t seed) {
  CkxRandomThings things(seed);
  std::vector<uint32_t> decisions(50);
  for (uint32_t& decision : decisions) {
    SkxTriggerPolicyShortInfo info;
    EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
    const CkxTargetInfoPtr target = things.Description();
    if (snapshot.Evaluate(*target, CkxApplicablePolicies::All(), info, outcome)) decision = info.PolicyId;
  }
  return decisions;
}

TEST(PolicySnapshotThreads, DecideAsOneDoes) {
  constexpr uint32_t kThreads = 4;
  size_t applied = 0;
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    const auto snapshot = SnapshotOfAll(seed);
    ASSERT_NE(snapshot, nullptr);
    std::vector<std::vector<uint32_t>> together(kThreads);
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < kThreads; ++i) {
      threads.emplace_back([&, i] { together[i] = Decisions(*snapshot, i); });
    }
    for (std::thread& thread : threads) thread.join();
    for (uint32_t i = 0; i < kThreads; ++i) {
      const std::vector<uint32_t> alone = Decisions(*snapshot, i);
      EXPECT_EQ(together[i], alone) << seed;
      applied += alone.size() - static_cast<size_t>(std::count(alone.begin(), alone.end(), 0u));
    }
  }
  EXPECT_GT(applied, 20u * kThreads);
}

}  // namespace
