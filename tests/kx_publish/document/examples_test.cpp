// The examples that people start from: they read, and decide what they say they do.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>

#include <set>

#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "tests/support/workstation_image.h"

namespace {

/// An example target's id begins with the number of the policy that is to decide, or with "-".
std::string Expected(const CkxTargetDocument& target) {
  return target.IdJson().substr(1, target.IdJson().find(' ') - 1);
}

TEST(Examples, TheWorkstationHasSomethingOfEveryKind) {
  const SkxPublication publication = KxTest_Workstation();
  std::set<EkxPolicyAction> actions;
  std::set<size_t> targets;
  std::set<size_t> alerts;
  for (const SkxPolicyModel& policy : publication.policies) {
    actions.insert(policy.action);
    for (const SkxTargetModel& target : policy.targets) targets.insert(target.body.index());
  }
  for (const SkxAlertModel& alert : publication.alerts) alerts.insert(alert.body.index());
  EXPECT_EQ(actions.size(), std::size(kKxPolicyKinds));
  EXPECT_EQ(targets.size(), std::size(kKxTargetKinds));
  EXPECT_EQ(alerts.size(), std::size(kKxAlertKinds));
}

TEST(Examples, TheWorkstationDecidesAsItsTargetsSay) {
  const CkxImageSource source(KxEncode_Image(KxTest_Workstation()));
  const CkxPolicySourceScope scope(source);
  std::ifstream targets(kKxTestWorkstationTargets, std::ios::binary);
  int decided = 0;
  for (std::string line; std::getline(targets, line);) {
    const CkxTargetDocument target = CkxTargetDocument::Parse(line);
    const CkxMachineFactsScope machine(target.Machine());
    SkxTriggerPolicyShortInfo info;
    const bool matched = CkxSharedPoliciesData::GetTargetPolicyAction(target.Target(), info);
    EXPECT_EQ(matched ? std::to_string(info.PolicyId) : "-", Expected(target)) << line;
    ++decided;
  }
  EXPECT_GE(decided, 25);
}

}  // namespace
