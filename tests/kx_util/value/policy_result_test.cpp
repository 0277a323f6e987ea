#include <kx_util/policy_result.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "Common_CPP/util/text.h"

namespace {

using Bytes = std::vector<unsigned char>;

/// What lies at an offset; every other byte of a record is 0.
struct At {
  size_t offset;
  Bytes bytes;
};

using Fields = std::vector<At>;

Bytes Golden(size_t size, const Fields& fields) {
  Bytes bytes(size);
  for (const At& field : fields) {
    std::copy(field.bytes.begin(), field.bytes.end(), bytes.begin() + static_cast<std::ptrdiff_t>(field.offset));
  }
  return bytes;
}

template <class Record>
Bytes BytesOf(const Record& record) {
  Bytes bytes(sizeof(record));
  std::memcpy(bytes.data(), &record, sizeof(record));
  return bytes;
}

template <class Record>
Record FromBytes(const Bytes& bytes) {
  Record record;
  EXPECT_EQ(bytes.size(), sizeof(record));
  std::memcpy(static_cast<void*>(&record), bytes.data(), std::min(bytes.size(), sizeof(record)));
  return record;
}

constexpr GUID kTarget = {0x03020100, 0x0504, 0x0706, {8, 9, 10, 11, 12, 13, 14, 15}};
const Bytes kTargetBytes = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

/// The first 315 bytes of a record, every field of which differs.
const Fields kCommon = {
    {0, {1, 2, 3, 4}},                               // PolicyId
    {4, {3, 0, 0, 0}},                               // PolicyAction
    {8, {0xFE, 0xFF, 0xFF, 0xFF}},                   // OriginalPolicyAction
    {12, {'G', 0}},                                  // GpId
    {140, {'K', 0, 'x', 0}},                         // KxGpoId
    {268, {200, 0, 0, 0}},                           // GuiType
    {272, {9, 0, 0, 0x80}},                          // ReportUsageState
    {276, {1}},                                      // PolicyAutomation
    {277, {21, 0, 0, 0}},                            // TargetType
    {281, kTargetBytes},                             // PolicyTargetId
    {297, {0xAA, 0, 0, 0, 0xBB, 0, 0xCC, 0, 0xDD}},  // SecondaryId
    {314, {1}},                                      // Inheritable
};

Bytes CommonAnd(size_t size, const Fields& rest) {
  Fields all = kCommon;
  all.insert(all.end(), rest.begin(), rest.end());
  return Golden(size, all);
}

TEST(PolicyResult, FieldsLieWhereTheFormatHasThem) {
  SkxTriggerPolicyShortInfo info;
  EXPECT_EQ(BytesOf(info), Bytes(317));
  info.PolicyId = 0x04030201;
  info.PolicyAction = EkxPolicyAction::Elevate;
  info.OriginalPolicyAction = static_cast<EkxPolicyAction>(-2);
  info.SetGpId(KXW("G"));
  info.SetKxGpoId(KXW("Kx"));
  info.GuiType = 200;
  info.ReportUsageState = 0x80000009;
  info.PolicyAutomation = 1;
  info.TargetType = EkxPolicyTarget::Dll;
  info.PolicyTargetId = kTarget;
  info.SecondaryId = {0xAA, 0xBB, 0xCC, {0xDD, 0, 0, 0, 0, 0, 0, 0}};
  info.Inheritable = 1;
  info.ProtectInstalledFiles = 2;
  info.RestrictFileDlg = 3;
  EXPECT_EQ(BytesOf(info), CommonAnd(317, {{315, {2, 3}}}));

  SkxProcessPolicyData process(info);
  process.ExtraFlags = 0x0605;
  process.ExtraState = 0x0807;
  EXPECT_EQ(BytesOf(process), CommonAnd(321, {{315, {2, 3, 5, 6, 7, 8}}}));
  process.SetTriggerPolicyShortInfo(SkxTriggerPolicyShortInfo());
  EXPECT_EQ(BytesOf(process), Golden(321, {{317, {5, 6, 7, 8}}}));
}

TEST(PolicyResult, OlderProcessLayoutsConvert) {
  const Bytes oldest = CommonAnd(318, {{313, {0x77}}, {315, {1, 5, 6}}});  // 315 RestrictFileDlg, 316 ExtraFlags
  const Bytes older = CommonAnd(319, {{313, {0x77}}, {315, {2, 3, 5, 6}}});

  SkxProcessPolicyData current;
  current.ExtraState = 0xFFFF;
  current = FromBytes<SkxProcessPolicyData_6_0_1_171>(oldest);
  EXPECT_EQ(BytesOf(current), CommonAnd(321, {{315, {0, 1, 5, 6, 0, 0}}}));

  current.ExtraState = 0xFFFF;
  current = FromBytes<SkxProcessPolicyData_10_2>(older);
  EXPECT_EQ(BytesOf(current), CommonAnd(321, {{313, {0x77}}, {315, {2, 3, 5, 6, 0, 0}}}));  // its short info as it is

  EXPECT_EQ(BytesOf(SkxProcessPolicyData_6_0_1_171()), Bytes(318));
  EXPECT_EQ(BytesOf(SkxProcessPolicyData_10_2()), Bytes(319));
}

TEST(PolicyResult, IdsAreCutToTheirField) {
  SkxTriggerPolicyShortInfo info;
  info.SetGpId(KxWString(80, KXW('a')));
  EXPECT_EQ(KxWString(info.GpId), KxWString(63, KXW('a')));
  EXPECT_EQ(info.KxGpoId[0], 0);  // the neighbour
  info.SetGpId(KxWString(63, KXW('b')));
  EXPECT_EQ(KxWString(info.GpId), KxWString(63, KXW('b')));
  info.SetGpId(KXW("c"));
  EXPECT_EQ(BytesOf(info), Golden(317, {{12, {'c', 0}}}));  // nothing of the longer one stays
  info.SetGpId(CkxTextView());
  EXPECT_EQ(BytesOf(info), Bytes(317));
}

TEST(PolicyResult, KnowsWhatIsEmptyAndWhatIsADefaultPolicy) {
  SkxProcessPolicyData data;
  data.ExtraFlags = 1;
  data.ShortInfo.OriginalPolicyAction = EkxPolicyAction::Block;
  EXPECT_TRUE(data.IsEmpty());
  data.ExtraState = 1;
  EXPECT_FALSE(data.IsEmpty());
  EXPECT_TRUE(data.ShortInfo.IsEmpty());
  data.ShortInfo.PolicyAction = EkxPolicyAction::Elevate;
  EXPECT_FALSE(data.ShortInfo.IsEmpty());

  std::vector<uint32_t> defaults;
  for (const uint32_t type : {0u, 1u, 100u, 101u, 102u, 103u, 104u, 105u, 199u, 200u, 203u, 205u, 206u, 0xFFFFFFFFu}) {
    data.ShortInfo.GuiType = type;
    if (data.ShortInfo.IsDefaultPolicy()) defaults.push_back(type);
  }
  EXPECT_EQ(defaults, (std::vector<uint32_t>{101, 104, 200, 203, 205}));
}

TEST(TokenPolicyData, FieldsLieWhereTheFormatHasThem) {
  EXPECT_EQ(BytesOf(SkxTokenPolicyData()), Bytes(30));
  EXPECT_TRUE(SkxTokenPolicyData().IsEmpty());

  SkxTriggerPolicyShortInfo info;
  info.PolicyId = 0x04030201;
  info.PolicyAction = EkxPolicyAction::Trust;
  info.OriginalPolicyAction = EkxPolicyAction::Block;
  info.TargetType = EkxPolicyTarget::Executable;
  info.PolicyTargetId = kTarget;
  info.RestrictFileDlg = 1;
  const SkxTokenPolicyData token(false, 1234, info);
  EXPECT_EQ(BytesOf(token), Golden(30, {{0, {1, 4, 2, 3, 8, 0, 0xD2, 4, 0, 0, 1, 2, 3, 4}}, {14, kTargetBytes}}));
  EXPECT_FALSE(token.IsEmpty());
  EXPECT_EQ(token.GetPid(), 1234u);
  EXPECT_EQ(token.GetClientPid(), 0u);
  EXPECT_EQ(SkxTokenPolicyData(true, 1234, info).GetClientPid(), 1234u);

  CkxUtilStr line(KXW("what was there before"));
  token.GetDebugString(line);
  EXPECT_EQ(KxText_ToUtf8(line.View()),
            "v=1 uac=False, inheritable=False, restricFD=True, pid=1234, polAct=4 "
            "targId={03020100-0504-0706-0809-0A0B0C0D0E0F}");
}

TEST(TokenPolicyData, ThereAndBackKeepsTheDecision) {
  for (unsigned flags = 0; flags < 16; ++flags) {
    SkxTriggerPolicyShortInfo info = FromBytes<SkxTriggerPolicyShortInfo>(CommonAnd(317, {{313, {0x77}}}));
    info.OriginalPolicyAction = EkxPolicyAction::Block;
    info.Inheritable = flags & 2 ? 0xFF : 0;
    info.ProtectInstalledFiles = flags & 4 ? 0xFF : 0;
    info.RestrictFileDlg = flags & 8 ? 0xFF : 0;
    const SkxTokenPolicyData token((flags & 1) != 0, 7, info);
    EXPECT_EQ(token.GetFlags(), flags);

    const Bytes yes = {1};
    const Bytes no = {0};
    EXPECT_EQ(BytesOf(SkxTriggerPolicyShortInfo(token)), Golden(317, {{0, {1, 2, 3, 4, 3, 0, 0, 0, 2, 0, 0, 0}},
                                                                      {277, {21, 0, 0, 0}},
                                                                      {281, kTargetBytes},
                                                                      {314, flags & 2 ? yes : no},
                                                                      {315, flags & 4 ? yes : no},
                                                                      {316, flags & 8 ? yes : no}}));
  }
}

}  // namespace
