// A program that has the headers and the DLL and nothing else of ours: it lends the store its own sections, and is
// answered.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy_kinds.h>

#include "tests/support/record_bytes.h"

namespace {

/// One policy: a name, no alerts, one target that is any program named tool.exe.
KxBytes BlockingSection() {
  CkxRecordBytes target;
  target.U32(0x22232427).SizeHere().Id(9).U32(3).U8(0).Unset(3);
  target.Set().Obfuscated(u"tool.exe").U16(1).Absent().Absent().U64(~uint64_t{0});
  target.Unset(6).Absent().Unset().Absent();
  CkxRecordBytes policy;
  policy.U32(0x22232425).SizeHere().U32(2).U32(41).U8(1).Zeros(7).U64(1).U8(0).Zeros(7);
  policy.Obfuscated(u"No tools").Absent().Absent().U32(0).U32(0).U32(0).U8(0).U32(1).Append(target);
  CkxRecordBytes section;
  section.U32(1).Append(policy);
  return section.Bytes();
}

class LentSections : public IkxPolicySource {
 public:
  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    if (which != EkxPolicySection::Policies) return EkxSectionState::NotPublished;
    section.bytes = _policies;
    return EkxSectionState::Open;
  }
  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void*) const override {
    return std::make_shared<const CkxApplicablePolicies>(CkxApplicablePolicies::All());
  }

 private:
  const KxBytes _policies = BlockingSection();
};

TEST(DllLink, ACallerOfTheDllIsAnswered) {
  const LentSections sections;
  const CkxPolicySourceScope scope(sections);
  SkxFileFacts facts;
  facts.path = KXW("C:\\Tools\\tool.exe");
  const CkxTargetInfoFile tool(facts, nullptr);
  facts.path = KXW("C:\\Tools\\other.exe");
  const CkxTargetInfoFile other(facts, nullptr);

  SkxTriggerPolicyShortInfo info;
  EXPECT_FALSE(CkxSharedPoliciesData::GetTargetPolicyAction(other, info));
  ASSERT_TRUE(CkxSharedPoliciesData::GetTargetPolicyAction(tool, info));
  EXPECT_EQ(info.PolicyId, 41u);
  EXPECT_EQ(info.PolicyAction, EkxPolicyAction::Block);

  CkxShBufPolicy* policy = nullptr;
  ASSERT_TRUE(CkxSharedPoliciesData::GetPolicyById(41, policy));
  EXPECT_STREQ(policy->Name(), KXW("No tools"));
  EXPECT_NE(dynamic_cast<CkxShBufPolicyBlock*>(policy), nullptr) << "the type crosses the boundary too";
  policy->Release();
}

}  // namespace
