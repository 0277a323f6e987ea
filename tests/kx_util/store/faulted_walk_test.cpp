// A walk that meets a fault ends there: what it was told before is no answer, and nothing behind it is asked or told.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_process.h>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "tests/kx_util/policy/held_policy.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"

namespace {

using namespace kx_test_records;

constexpr uint32_t kBlock = 2;

/// Whatever of groups is asked is refused.
class RefusedGroups : public CkxSectionSource {
 public:
  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    if (which == EkxPolicySection::AppGroups) return EkxSectionState::Refused;
    return CkxSectionSource::OpenSection(which, section);
  }
};

KxBytes Block(uint32_t id, const CkxRecordBytes& target) { return PolicyWith(kBlock, {target}, {}, id).Bytes(); }

CkxTargetInfoProcess App() {
  return CkxTargetInfoProcess(KxTest_FileAt(KXW("C:\\Tools\\app.exe")), SkxProcessFacts(), nullptr);
}

EkxEvaluationOutcome Evaluate(const CkxTargetInfo& target) {
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::PolicyApplies;
  CkxSharedPoliciesData::GetTargetPolicyAction(target, info, outcome);
  return outcome;
}

TEST(FaultedWalk, NothingIsToldBehindTheFault) {
  RefusedGroups source;
  source.Publish(EkxPolicySection::Policies, {Block(1, Url(1, u"*")), Block(2, Link(2, 9)), Block(3, Exe(3))});
  const CkxPolicySourceScope scope(source);
  CkxRecordingObserver observer;
  const CkxEvaluationObserverScope watching(observer);
  EXPECT_EQ(Evaluate(App()), EkxEvaluationOutcome::NotAnswered);
  EXPECT_NE(std::find(observer.lines.begin(), observer.lines.end(), "policy 1 no target matched"),
            observer.lines.end());
  for (const std::string& line : observer.lines) EXPECT_FALSE(line.starts_with("policy 3")) << line;
}

TEST(FaultedWalk, TheFirstFaultIsTheOneThatIsTold) {
  CkxRecordingObserver observer;
  const CkxEvaluationObserverScope watching(observer);
  KxEntry([] {
    KxFault_Note(EkxEvaluationFault::SectionRefused);
    KxFault_Note(EkxEvaluationFault::WorkLimit);
  });
  EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::SectionRefused);
  EXPECT_EQ(observer.lines, std::vector<std::string>{"fault ERROR: Failed to open shared memory"});
}

TEST(FaultedWalk, WorkThatNobodyWaitsForIsGivenUp) {
  CkxSectionSource source;
  source.Publish(EkxPolicySection::Policies, {Block(1, Exe(1))});
  const CkxPolicySourceScope scope(source);
  EXPECT_EQ(Evaluate(App()), EkxEvaluationOutcome::PolicyApplies);
  CkxCancel cancel(60000);
  cancel.Cancel();
  const CkxWorkCancelScope cancelled(cancel);
  EXPECT_EQ(Evaluate(App()), EkxEvaluationOutcome::NotAnswered);
  EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::WorkLimit);
}

TEST(FaultedWalk, WhatMayHappenToControlsIsNotToldInPart) {
  constexpr uint32_t kTrust = 4;
  CkxSectionSource source;
  const KxBytes everything = PolicyWith(kTrust, {}, PolicyTail(kTrust), 1).Bytes();
  KxBytes damaged = everything;
  damaged[0] ^= 1;
  const CkxPolicySourceScope scope(source);
  uint32_t mask = 0;
  source.Publish(EkxPolicySection::Policies, {everything});
  EXPECT_TRUE(CkxSharedPoliciesData::GetPossibleActiveXInstallPolicyActions(nullptr, mask));
  EXPECT_EQ(mask, 8u);
  source.Publish(EkxPolicySection::Policies, {everything, damaged});
  mask = 0x1234;
  EXPECT_FALSE(CkxSharedPoliciesData::GetPossibleActiveXInstallPolicyActions(nullptr, mask));
  EXPECT_EQ(mask, 0x1234u);
}

TEST(FaultedWalk, OfTwoGroupsOfAnIdTheFirstCounts) {
  CkxSectionSource source;
  source.Publish(EkxPolicySection::Policies, {Block(1, Link(1, 9))});
  source.Publish(EkxPolicySection::AppGroups, {Group(9, {Url(2, u"*")}).Bytes(), Group(9, {Exe(3)}).Bytes()});
  const CkxPolicySourceScope scope(source);
  EXPECT_EQ(Evaluate(App()), EkxEvaluationOutcome::NoPolicyApplies);
}

}  // namespace
