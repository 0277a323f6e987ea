// The first look at policies changes no answer: over publications, descriptions, damage and lists of applicable
// policies made at random, an evaluation that nobody watches, which takes that look, and one that somebody watches,
// which does not, end alike: the outcome, all bytes of the answer, the fault, and the lines of the trace.
#include <gtest/gtest.h>

#include "Agent/engine/kx_util/policy/policy_prefilter.h"
#include "tests/support/random_policies.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"

namespace {

TEST(FirstLook, ChangesNoAnswer) {
  CkxRecordedMachine machine({{KXW('C'), EkxDriveType::Fixed}, {KXW('D'), EkxDriveType::Cdrom}});
  machine.shares = {{KXW('Z'), KXW("\\\\srv\\share")}};
  const CkxMachineFactsScope drives(machine);
  size_t applied = 0;
  size_t faulted = 0;
  size_t evaluations = 0;
  for (uint32_t seed = 1; seed <= 5000; ++seed) {
    SCOPED_TRACE(seed);
    CkxRandomThings things(seed);
    SkxPolicyImage image = KxEncode_Image(things.Publication());
    if (seed % 2 == 0) things.Damage(*image.policies);
    if (seed % 4 == 0) things.Damage(*image.appGroups);
    CkxSectionSource source;
    source.PublishBytes(EkxPolicySection::Policies, *std::move(image.policies));
    source.PublishBytes(EkxPolicySection::AppGroups, *std::move(image.appGroups));
    source.applicable = things.Applicable();
    const CkxPolicySourceScope scope(source);
    const EkxTraceLevel deepest = seed % 3 == 0 ? EkxTraceLevel::Verbose : EkxTraceLevel::Warning;
    for (int i = 0; i < 4; ++i, ++evaluations) {
      const CkxTargetInfoPtr target = things.Description();
      const SkxTracedAnswer unwatched = KxTest_Walked(*target, deepest);
      CkxRecordingObserver observer;
      const CkxEvaluationObserverScope watching(observer);
      const SkxTracedAnswer watched = KxTest_Walked(*target, deepest);
      ASSERT_EQ(unwatched.outcome, watched.outcome);
      ASSERT_EQ(unwatched.errors, watched.errors);
      ASSERT_TRUE(unwatched == watched);
      applied += watched.outcome == EkxEvaluationOutcome::PolicyApplies;
      faulted += watched.fault != EkxEvaluationFault::None;
    }
  }
  EXPECT_GT(applied, evaluations / 20);  // else the things would be too random to mean much
  EXPECT_GT(faulted, evaluations / 100);
}

/// A kind that the first look does not get over would be made and asked each time, and nobody would notice.
TEST(FirstLook, GoesOverEveryFieldOfEveryKind) {
  const CkxTargetInfoElevator request(1, CkxUtilStr(), nullptr);  // for no address: no target is about it
  const CkxTargetInfoFile file(KxTest_FileAt(KXW("C:\\a.txt")), nullptr);
  for (uint32_t seed = 1; seed <= 50; ++seed) {
    for (size_t kind = 0; kind < CkxRandomThings::kBodies; ++kind) {
      CkxRandomThings things(seed, EkxRandomDemands::All);
      SkxTargetModel target;
      target.body = things.Body(kind);
      if (std::holds_alternative<SkxAdminTaskTarget>(target.body)) continue;
      if (std::holds_alternative<SkxGroupLink>(target.body)) continue;
      const bool isAddress = std::holds_alternative<SkxUrlTarget>(target.body);
      SkxPublication publication;
      SkxPolicyModel& policy = publication.policies.emplace_back();
      policy.action = EkxPolicyAction::Block;
      policy.name = KXW("A policy");
      policy.targets = {target};
      const SkxPolicyImage image = KxEncode_Image(publication);
      const auto* const record = reinterpret_cast<const SkxPolicyBufHeader*>(image.policies->data() + sizeof(uint32_t));
      CkxPolicyPrefilter firstLook(isAddress ? static_cast<const CkxTargetInfo&>(file) : request);
      EXPECT_FALSE(firstLook.MayApply(*record)) << "kind " << target.body.index() << ", seed " << seed;
    }
  }
}

}  // namespace
