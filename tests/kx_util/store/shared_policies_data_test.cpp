#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_process.h>

#include "Common_CPP/clock/clock.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/section_source.h"
#include "tests/support/target_records.h"
#include "tests/support/trace_capture.h"

namespace {

using namespace kx_test_records;
using Targets = std::vector<CkxRecordBytes>;

/// A program by its name.
CkxRecordBytes App(unsigned char id, std::u16string_view name) { return Exe(id, {{kFileName, FileName(name)}}); }

KxBytes Record(uint32_t id, uint32_t action = 2, bool active = true, const Targets& targets = {},
               const CkxRecordBytes& tail = {}) {
  return NamedPolicy(action, id, active).U32(0).U8(1).Append(List(targets)).Append(tail).Bytes();
}

/// Ids in the order in which the walk delivered them.
bool CollectIds(const CkxShBufPolicy& policy, void* ids) {
  static_cast<std::vector<uint32_t>*>(ids)->push_back(policy.Id());
  return true;
}

class SharedPoliciesData : public testing::Test {
 protected:
  void Publish(const std::vector<KxBytes>& policies) { _source.Publish(EkxPolicySection::Policies, policies); }
  void PublishGroups(const std::vector<CkxRecordBytes>& groups) {
    std::vector<KxBytes> records;
    for (const CkxRecordBytes& group : groups) records.push_back(group.Bytes());
    _source.Publish(EkxPolicySection::AppGroups, records);
  }

  uint32_t Evaluate(const WCHAR* path = KXW("C:\\Tools\\app.exe")) {
    const CkxPolicySourceScope scope(_source);
    const CkxTargetInfoProcess target(KxTest_FileAt(path), SkxProcessFacts(), nullptr);
    _info = SkxTriggerPolicyShortInfo();
    return CkxSharedPoliciesData::GetTargetPolicyAction(target, _info) ? _info.PolicyId : 0;
  }

  CkxSectionSource _source;
  SkxTriggerPolicyShortInfo _info;
};

TEST_F(SharedPoliciesData, TheResultNamesPolicyAndTarget) {
  Publish({Record(7, 2, true, {App(3, u"x.exe"), App(4, u"APP.EXE")})});
  ASSERT_EQ(Evaluate(), 7U);
  const KxBytes expected = [] {
    CkxRecordBytes info;
    info.U32(7).U32(2).U32(0);
    info.U16('{').U16('g').U16('p').U16('}').Zeros(120).U16('{').U16('k').U16('x').U16('}').Zeros(120);
    info.U32(101).U32(5).U8(1).U32(3).Id(4).Zeros(16).U8(0).U8(1).U8(0).U8(0);
    return info.Bytes();
  }();
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&_info);
  EXPECT_EQ(KxBytes(bytes, bytes + sizeof(_info)), expected);
}

TEST_F(SharedPoliciesData, AFaultEndsTheWalkAtTheRecordAndSaysSo) {
  const KxBytes good = Record(1, 2, true, {App(1, u"other.exe")});
  struct Case {
    const char* name;
    KxBytes second;
    const char* line;
  };
  KxBytes badSignature = good;
  badSignature[0] ^= 1;
  KxBytes tooLong = good;
  tooLong[4] = static_cast<unsigned char>(good.size() + 1);
  KxBytes noSize = good;
  noSize[4] = noSize[5] = 0;
  const std::vector<Case> cases = {
      {"more counted than there are", {}, "ERROR: Policy header is out of buffer"},
      {"39 bytes of header", KxBytes(good.begin(), good.begin() + 39), "ERROR: Policy header is out of buffer"},
      {"wrong signature", badSignature, "ERROR: Error in policy header signature."},
      {"runs past the end", tooLong, "ERROR: Policy is out of buffer"},
      {"smaller than its header", noSize, "ERROR: Policy is out of buffer"},
  };
  for (const Case& row : cases) {
    Publish({good, row.second});
    CkxTraceCapture trace;
    const CkxPolicySourceScope scope(_source);
    std::vector<uint32_t> ids;
    EXPECT_FALSE(CkxSharedPoliciesData::EnumPolicies(CollectIds, &ids, false, nullptr)) << row.name;
    EXPECT_EQ(ids, std::vector<uint32_t>{1}) << row.name;
    ASSERT_EQ(trace.Lines().size(), 1U) << row.name;
    EXPECT_EQ(trace.Lines()[0].message, row.line) << row.name;
  }
}

TEST_F(SharedPoliciesData, TheFilterTakesActivityAndAction) {
  Publish({Record(1, 2, true), Record(2, 3, false), Record(3, 14, true), Record(4, 12, true, {}, PolicyTail(12))});
  struct Case {
    const char* name;
    SkxPolicyFilter filter;
    std::vector<uint32_t> expected;
    std::vector<std::string> lines;
  };
  const std::string noKind =
      "KXT_ERROR CkxSharedPoliciesData: ERROR: Policy cannot be read and is passed over. Id=3, Action=14, Record=2";
  const std::string noBit = "KXT_ERROR SkxPolicyFilter: ERROR: Unexpected Policy Action value 14";
  const std::vector<Case> cases = {
      {"everything; action 14 has no kind", {0xC0000000, 0}, {1, 2, 4}, {noKind}},
      {"active", {0x80000000, 0}, {1, 4}, {noKind}},
      {"inactive", {0x40000000, 0}, {2}, {}},
      {"neither", {0, 0}, {}, {}},
      {"by action; action 14 has no bit", {0xC0000001, 0x2 | 0x4}, {1, 2}, {noBit}},
      {"by no action", {0xC0000001, 0}, {}, {noBit}},
  };
  for (const Case& row : cases) {
    CkxTraceCapture trace;
    const CkxPolicySourceScope scope(_source);
    std::vector<uint32_t> ids;
    EXPECT_TRUE(CkxSharedPoliciesData::EnumPolicies(row.filter, CollectIds, &ids, false, nullptr)) << row.name;
    EXPECT_EQ(ids, row.expected) << row.name;
    EXPECT_EQ(trace.Texts(), row.lines) << row.name;
  }
}

TEST(PolicyFilter, EveryActionHasItsBitOrALine) {
  const std::vector<std::pair<int32_t, uint32_t>> cases = {
      {1, 0x1}, {13, 0x1000}, {18, 0x2000}, {20, 0x200000}, {24, 0x200000}, {0, 0}, {14, 0}, {21, 0}, {-1, 0}};
  for (const auto& [action, bit] : cases) {
    CkxTraceCapture trace;
    EXPECT_EQ(SkxPolicyFilter::GetActionMask(static_cast<EkxPolicyAction>(action)), bit) << action;
    ASSERT_EQ(trace.Lines().size(), bit == 0 ? 1U : 0U) << action;
    if (bit == 0) {
      EXPECT_EQ(trace.Lines()[0].message, "ERROR: Unexpected Policy Action value " + std::to_string(action));
    }
  }
}

TEST_F(SharedPoliciesData, LookUpsCopyTheFirstRecordWithTheId) {
  Publish({Record(1, 3, false), Record(2, 2, true, {App(1, u"a.exe")}), Record(2, 3, true)});
  PublishGroups({Group(50, {}), Group(51, {App(5, u"app.exe")})});
  CkxShBufPolicyPtr policy;
  CkxShBufAppGroupPtr group;
  {
    const CkxPolicySourceScope scope(_source);
    CkxShBufPolicy* found = nullptr;
    ASSERT_TRUE(CkxSharedPoliciesData::GetPolicyById(2, found));
    policy.reset(std::exchange(found, nullptr));
    EXPECT_FALSE(CkxSharedPoliciesData::GetPolicyById(3, found));
    EXPECT_FALSE(CkxSharedPoliciesData::GetPolicyByIdWithValidation(1, EkxPolicyAction::Elevate, true, found));
    EXPECT_FALSE(CkxSharedPoliciesData::GetPolicyByIdWithValidation(1, EkxPolicyAction::Block, false, found));
    EXPECT_EQ(found, nullptr);
    ASSERT_TRUE(CkxSharedPoliciesData::GetPolicyByIdWithValidation(1, EkxPolicyAction::Elevate, false, found));
    CkxShBufPolicyPtr(found)->Id();
    CkxShBufAppGroup* foundGroup = nullptr;
    ASSERT_TRUE(CkxSharedPoliciesData::GetAppGroupById(KxTest_Id(51), foundGroup));
    group.reset(foundGroup);
    EXPECT_FALSE(CkxSharedPoliciesData::GetAppGroupById(KxTest_Id(52), foundGroup));
  }
  _source.PublishBytes(EkxPolicySection::Policies, {});
  _source.PublishBytes(EkxPolicySection::AppGroups, {});
  EXPECT_EQ(policy->Action(), EkxPolicyAction::Block);
  EXPECT_EQ(KxText_ToUtf8(policy->NameView()), "Name");
  EXPECT_EQ(group->Targets().Count(), 1U);
}

TEST_F(SharedPoliciesData, EveryPrefixIsRefused) {
  const std::vector<KxBytes> policies = {Record(1, 2, true, {Link(1, 50), App(2, u"x.exe")}),
                                         Record(2, 4, true, {App(3, u"y.exe")}, CkxRecordBytes().U8(1).U16(0x101))};
  PublishGroups({Group(50, {App(4, u"z.exe")})});
  Publish(policies);
  SkxSectionBytes whole;
  ASSERT_EQ(_source.OpenSection(EkxPolicySection::Policies, whole), EkxSectionState::Open);
  const KxBytes section(whole.bytes.begin(), whole.bytes.end());
  size_t refused = 0;
  for (size_t length = 0; length < section.size(); ++length) {
    _source.PublishBytes(EkxPolicySection::Policies,
                         KxBytes(section.begin(), section.begin() + static_cast<long>(length)));
    const CkxPolicySourceScope scope(_source);
    std::vector<uint32_t> ids;
    if (!CkxSharedPoliciesData::EnumPolicies(CollectIds, &ids, false, nullptr)) ++refused;
  }
  EXPECT_EQ(refused, section.size() - 1);  // of no bytes nothing is published
}

int64_t fakeNow = 0;

TEST_F(SharedPoliciesData, AWalkOfMoreThanHalfASecondLeavesALine) {
  Publish({Record(1, 2, true), Record(2, 2, false), Record(3, 2, true)});
  const SkxPolicyFilter active = {SkxPolicyFilter::kActive, 0};
  const auto takeTime = [](const CkxShBufPolicy&, void* each) {
    fakeNow += *static_cast<const int64_t*>(each);
    return true;
  };
  for (const auto& [each, lines] : std::vector<std::pair<int64_t, size_t>>{{250000, 0}, {250001, 1}}) {
    const CkxClockScope clock([] { return fakeNow; });
    CkxTraceCapture trace;
    const CkxPolicySourceScope scope(_source);
    int64_t microseconds = each;
    EXPECT_TRUE(CkxSharedPoliciesData::EnumPolicies(active, takeTime, &microseconds, false, nullptr));
    ASSERT_EQ(trace.Lines().size(), lines) << each;
    if (lines == 1) {
      EXPECT_EQ(trace.Lines()[0].message, "ShPolData::EnumPol. 3 (2 filtered) out of 3 policies in 500002 microsec");
    }
  }
}

}  // namespace
