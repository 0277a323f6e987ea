// A program that has the headers and the DLL and nothing else of ours: it lends the store its own sections, and is
// answered.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy_kinds.h>
#include <kx_util/shared_policy_origin_props.h>
#include <kx_util/shared_policy_resource_props.h>
#include <kx_util/trace.h>

#include "tests/support/target_records.h"

namespace {

using namespace kx_test_records;

CkxRecordBytes ToolTarget() { return Exe(9, {{kFileName, FileName(u"tool.exe")}}); }

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
  const KxBytes _policies = List({PolicyWith(2, {ToolTarget()}, {}, 41)}).Bytes();
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
  EXPECT_STREQ(policy->Name(), KXW("Name"));
  EXPECT_EQ(policy->NameView().ToString(), KXW("Name"));
  EXPECT_NE(dynamic_cast<CkxShBufPolicyBlock*>(policy), nullptr) << "the type crosses the boundary too";
  CkxShBufPolicy::Release(policy);
}

/// Two elements in the list, and one by itself.
template <class List>
void ExpectRead(const CkxRecordBytes& element, CkxShBufList::Factory elementFromBuffer) {
  CkxExactBytes both(CkxRecordBytes().Set().U32(2).Append(element).Append(element).Bytes());
  List list;
  ASSERT_TRUE(list.FromBuffer(both.cursor, both.remaining));
  EXPECT_EQ(both.remaining, 0u);
  uint32_t set = 0;
  for (const auto& node : list.Elements()) set += node.prop.Initialized() ? 1u : 0u;
  EXPECT_EQ(set, list.Count());
  EXPECT_EQ(set, 2u);
  CkxExactBytes one(element.Bytes());
  const std::unique_ptr<CkxShBufList::CkxNode> node(elementFromBuffer(one.cursor, one.remaining));
  EXPECT_NE(node, nullptr);
}

TEST(DllLink, ListPropertiesAreReadOutside) {
  const CkxRecordBytes named = CkxRecordBytes().Set().Obfuscated(u"a").U8(0).U16(1).Obfuscated(u"b");
  const CkxRecordBytes sid = CkxRecordBytes().Set().Sid(18);
  ExpectRead<CkxShBufPropPublishers>(CkxRecordBytes().Set().Obfuscated(u"a").U8(0).U16(1).U8(0),
                                     CkxShBufPropPublishers::PublisherNodeFromBuffer);
  ExpectRead<CkxShBufPropFileOwners>(sid, CkxShBufPropFileOwners::FileOwnerNodeFromBuffer);
  ExpectRead<CkxShBufPropFileVerInfos>(named, CkxShBufPropFileVerInfos::FileVerInfoNodeFromBuffer);
  ExpectRead<CkxShBufPropFileMsiInfos>(named, CkxShBufPropFileMsiInfos::FileMsiInfoNodeFromBuffer);
  ExpectRead<CkxShBufPropCapabilities>(CkxRecordBytes().Set().Obfuscated(u"a").U8(0),
                                       CkxShBufPropCapabilities::CapabilityNodeFromBuffer);
  ExpectRead<CkxShBufPropMediaInfos>(CkxRecordBytes().Set().Unset(4), CkxShBufPropMediaInfos::MediaInfoNodeFromBuffer);
  ExpectRead<CkxShBufPropUserList>(sid, CkxShBufPropUserList::UserOrGroupNodeFromBuffer);
}

TEST(DllLink, AGroupIsReadInPlaceOutside) {
  const CkxExactBytes bytes(Group(5, {ToolTarget()}).Bytes());
  const unsigned char* cursor = bytes.cursor;
  unsigned long remaining = bytes.remaining;
  CkxShBufAppGroup group;
  ASSERT_TRUE(group.FromBuffer(cursor, remaining));
  EXPECT_EQ(remaining, 0u);
  const CkxShBufList copy = group.Targets();
  EXPECT_EQ(copy.Count(), 1u);
  SkxFileFacts facts;
  facts.path = KXW("C:\\Tools\\tool.exe");
  SkxTriggerPolicyShortInfo info;
  EXPECT_TRUE(group.MatchTarget(CkxTargetInfoFile(facts, nullptr), info));
  EXPECT_EQ(info.TargetType, EkxPolicyTarget::Executable);
}

TEST(DllLink, TheTraceOfTheDllReachesASinkOutside) {
  struct Log : IkxTraceSink {
    void Write(const SkxTraceLine& line) noexcept override { last = line.message; }
    std::string last;
  } log;
  IkxTraceSink* const before = KxTrace_SetSink(&log);
  KxUtil_PolicyActionStr(static_cast<EkxPolicyAction>(99));
  EXPECT_EQ(log.last, "ERROR: Unknown policy action 99");
  KxTrace(EkxTraceLevel::Info, "DllLink", CkxTextView(KXW("a line of its own")));
  EXPECT_EQ(log.last, "a line of its own");
  EXPECT_EQ(KxTrace_SetSink(before), &log);
}

}  // namespace
