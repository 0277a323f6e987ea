// Which targets and which users a policy takes.
#include <kx_util/shared_policy_kinds.h>
#include <kx_util/target_info_kinds.h>

#include <gtest/gtest.h>

#include "Common_CPP/access_token/access_token.h"
#include "tests/kx_util/policy/held_policy.h"
#include "tests/support/section_source.h"

namespace {

using namespace kx_test_records;

TEST(Policy, WithoutTargetsItTakesTheThingAsItIs) {
  const CkxTargetInfoPtr script = KxTest_Program(KXW("C:\\a.exe"), EkxPolicyTarget::Script);
  for (const uint32_t action : {4u, 6u}) {
    SkxTriggerPolicyShortInfo info;
    EXPECT_TRUE(CkxHeldPolicy<>(PolicyWith(action, {}, PolicyTail(action)))->IsApplicableToAnyTarget(*script, info));
    EXPECT_EQ(EkxPolicyTarget{info.TargetType}, EkxPolicyTarget::Script) << action;
  }
}

TEST(Policy, AWalkPutsTheTargetsOfAGroupInThePlaceOfItsLink) {
  CkxSectionSource source;
  source.Publish(EkxPolicySection::AppGroups,
                 {Group(1, {}).Bytes(), Group(2, {Url(21, u"*"), Exclude(22, u"a.exe")}).Bytes(),
                  Group(3, {Link(31, 2), Url(32, u"*")}).Bytes()});
  const CkxPolicySourceScope scope(source);

  const struct {
    const char* name;
    std::vector<CkxRecordBytes> targets;
    std::vector<uint32_t> visited;
    bool excludesA;
  } cases[] = {
      {"no targets", {}, {}, false},
      {"an empty group", {Link(1, 1)}, {}, false},
      {"a group that is not there", {Link(1, 9)}, {}, false},
      {"a group between targets", {Url(1, u"*"), Link(2, 2), Exclude(3, u"b.exe")}, {1, 21, 22, 3}, true},
      {"a group in a group", {Link(1, 3), Url(2, u"*")}, {21, 22, 32, 2}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const CkxHeldPolicy<CkxShBufPolicyExclude> policy(PolicyWith(12, c.targets, PolicyTail(12)));
    std::vector<uint32_t> visited;
    policy->EnumTargets(
        [](const CkxShBufTarget& target, void* ids) {
          static_cast<std::vector<uint32_t>*>(ids)->push_back(target.TargetId().Data1);
          return true;
        },
        &visited);
    EXPECT_EQ(visited, c.visited);
    EXPECT_EQ(policy->HasRealTargets(), !c.visited.empty());
    EXPECT_EQ(policy->HasTargetOfType(EkxPolicyTarget::Url), !c.visited.empty());
    EXPECT_EQ(policy->HasTargetOfType(EkxPolicyTarget::Exclude), c.excludesA);
    EXPECT_FALSE(policy->HasTargetOfType(EkxPolicyTarget::Executable));
    EXPECT_EQ(policy->IsExcludedTarget(CkxSimplePathProvider(KXW("C:\\A.exe"))), c.excludesA);
    EXPECT_FALSE(policy->IsExcludedTarget(CkxSimplePathProvider(KXW("C:\\c.exe"))));
  }

  const CkxHeldPolicy<> linked(PolicyWith(1, {Link(2, 2)}));
  int found = 0;
  const auto asksAgain = [&] {
    if (linked->HasTargetOfType(EkxPolicyTarget::Url)) ++found;
  };
  linked->EnumTargets(
      [](const CkxShBufTarget&, void* ask) {
        (*static_cast<decltype(&asksAgain)>(ask))();
        return true;
      },
      const_cast<void*>(static_cast<const void*>(&asksAgain)));
  EXPECT_EQ(found, 2) << "each of the group's two targets asks on its own account";
}

TEST(Policy, ActsByTheClassOfTheUser) {
  const CkxSid user = *CkxSid::FromUtf8("S-1-5-21-1-2-3-1001");
  CkxAccessToken administrator(user, {}, true);
  CkxAccessToken standardUser(user, {}, false);

  for (const bool admin : {false, true}) {
    SCOPED_TRACE(admin);
    void* const token = admin ? administrator.Handle() : standardUser.Handle();
    void* const otherToken = admin ? standardUser.Handle() : administrator.Handle();

    const CkxHeldPolicy<CkxShBufPolicyNormalRun> run(Policy(1, {AlertLink(admin ? 27 : 26, 1, 1)}).U8(0).U32(0));
    EXPECT_TRUE(run->ShouldReplaceUAC(admin) && run->ShouldReplaceUAC(token));
    EXPECT_FALSE(run->ShouldReplaceUAC(!admin) || run->ShouldReplaceUAC(otherToken));

    const CkxHeldPolicy<CkxShBufPolicyElevateOnDemand> trust(
        PolicyWith(4, {}, CkxRecordBytes().U8(0).U8(!admin).U8(admin)));
    EXPECT_TRUE(trust->ShouldReplaceUAC(admin) && trust->ShouldReplaceUAC(token));
    EXPECT_FALSE(trust->ShouldReplaceUAC(!admin) || trust->ShouldReplaceUAC(otherToken));
    EXPECT_FALSE(trust->ShellExtensionEnabled());

    const CkxHeldPolicy<CkxShBufPolicyZeroTouch> watch(
        PolicyWith(6, {}, CkxRecordBytes().U8(0).U8(admin).U8(!admin).Zeros(4)));
    EXPECT_TRUE(watch->IsApplicableToUser(token));
    EXPECT_FALSE(watch->IsApplicableToUser(otherToken));
    EXPECT_FALSE(watch->IsApplicableToUser(reinterpret_cast<void*>(0x7FFF0BAD0))) << "nobody can tell whose it is";
  }
  EXPECT_TRUE(CkxHeldPolicy<CkxShBufPolicyZeroTouch>(PolicyWith(6, {}, CkxRecordBytes().U8(0).U8(1).U8(1).Zeros(4)))
                  ->IsApplicableToUser(nullptr))
      << "the caller is the one or the other";
}

}  // namespace
