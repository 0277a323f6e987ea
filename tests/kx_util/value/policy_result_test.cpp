// Beside what tests/data/transcripts/records.txt says of the fields of each layout.
#include <kx_util/policy_result.h>

#include <gtest/gtest.h>

#include "Common_CPP/util/text.h"
#include "tests/support/record_bytes.h"

namespace {

template <class Record>
KxBytes BytesOf(const Record& record) {
  KxBytes bytes(sizeof(record));
  std::memcpy(bytes.data(), &record, sizeof(record));
  return bytes;
}

constexpr GUID kSomeTarget = KxTest_Id(9);

/// The whole of a record, every field of which differs.
CkxRecordBytes ShortInfo() {
  CkxRecordBytes info;
  info.U32(0x04030201).U32(3).U32(~1u).Plain(u"G").PadTo(140).Plain(u"Kx").PadTo(268).U32(200).U32(0x80000009).U8(1);
  return info.U32(21).Id(9).Id(7).U8(0x77).U8(1).U8(2).U8(3);
}

SkxTriggerPolicyShortInfo Info() {
  SkxTriggerPolicyShortInfo info;
  const KxBytes bytes = ShortInfo().Bytes();
  EXPECT_EQ(bytes.size(), sizeof(info));
  std::memcpy(static_cast<void*>(&info), bytes.data(), std::min(bytes.size(), sizeof(info)));
  return info;
}

TEST(PolicyResult, AProcessHasAShortInfoAndItsOwnState) {
  SkxProcessPolicyData process(Info());
  process.ExtraFlags = 0x0605;
  process.ExtraState = 0x0807;
  EXPECT_EQ(BytesOf(process), ShortInfo().U16(0x0605).U16(0x0807).Bytes());
  process.SetTriggerPolicyShortInfo(SkxTriggerPolicyShortInfo());
  EXPECT_EQ(BytesOf(process), CkxRecordBytes().Zeros(317).U16(0x0605).U16(0x0807).Bytes());
}

TEST(PolicyResult, AnOlderLayoutHasNoState) {
  SkxProcessPolicyData current;
  current.ExtraState = 0xFFFF;
  current = SkxProcessPolicyData_6_0_1_171();
  EXPECT_EQ(BytesOf(current), KxBytes(321));
  current.ExtraState = 0xFFFF;
  current = SkxProcessPolicyData_10_2();
  EXPECT_EQ(BytesOf(current), KxBytes(321));
  EXPECT_EQ(BytesOf(SkxProcessPolicyData_6_0_1_171()), KxBytes(318));
  EXPECT_EQ(BytesOf(SkxProcessPolicyData_10_2()), KxBytes(319));
}

TEST(PolicyResult, IdsAreCutToTheirField) {
  SkxTriggerPolicyShortInfo info;
  info.SetGpId(KxWString(80, KXW('a')));
  EXPECT_EQ(KxWString(info.GpId), KxWString(63, KXW('a')));
  EXPECT_EQ(info.KxGpoId[0], 0);  // the neighbour
  info.SetGpId(KxWString(63, KXW('b')));
  EXPECT_EQ(KxWString(info.GpId), KxWString(63, KXW('b')));
  info.SetGpId(KXW("c"));
  EXPECT_EQ(BytesOf(info),
            CkxRecordBytes().PadTo(12).Plain(u"c").PadTo(317).Bytes());  // nothing of the longer one stays
  info.SetGpId(CkxTextView());
  EXPECT_EQ(BytesOf(info), KxBytes(317));
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

TEST(TokenPolicyData, IsMadeOfADecision) {
  EXPECT_EQ(BytesOf(SkxTokenPolicyData()), KxBytes(30));
  EXPECT_TRUE(SkxTokenPolicyData().IsEmpty());

  SkxTriggerPolicyShortInfo info;
  info.PolicyId = 0x04030201;
  info.PolicyAction = EkxPolicyAction::Trust;
  info.OriginalPolicyAction = EkxPolicyAction::Block;
  info.TargetType = EkxPolicyTarget::Executable;
  info.PolicyTargetId = kSomeTarget;
  info.RestrictFileDlg = 1;
  const SkxTokenPolicyData token(false, 1234, info);
  EXPECT_EQ(BytesOf(token), CkxRecordBytes().U8(1).U8(4).U8(2).U8(3).U16(8).U32(1234).U32(0x04030201).Id(9).Bytes());
  EXPECT_FALSE(token.IsEmpty());
  EXPECT_EQ(token.GetPid(), 1234u);
  EXPECT_EQ(token.GetClientPid(), 0u);
  EXPECT_EQ(SkxTokenPolicyData(true, 1234, info).GetClientPid(), 1234u);

  CkxUtilStr line(KXW("what was there before"));
  token.GetDebugString(line);
  EXPECT_EQ(KxText_ToUtf8(line.View()),
            "v=1 uac=False, inheritable=False, restricFD=True, pid=1234, polAct=4 "
            "targId={00000009-0000-0000-0000-000000000009}");
}

TEST(TokenPolicyData, ThereAndBackKeepsTheDecision) {
  for (unsigned flags = 0; flags < 16; ++flags) {
    SkxTriggerPolicyShortInfo info = Info();
    info.OriginalPolicyAction = EkxPolicyAction::Block;
    info.Inheritable = flags & 2 ? 0xFF : 0;
    info.ProtectInstalledFiles = flags & 4 ? 0xFF : 0;
    info.RestrictFileDlg = flags & 8 ? 0xFF : 0;
    const SkxTokenPolicyData token((flags & 1) != 0, 7, info);
    EXPECT_EQ(token.GetFlags(), flags);
    CkxRecordBytes back;
    back.U32(0x04030201).U32(3).U32(2).PadTo(277).U32(21).Id(9).PadTo(314);
    back.U8(flags >> 1 & 1).U8(flags >> 2 & 1).U8(flags >> 3 & 1);
    EXPECT_EQ(BytesOf(SkxTriggerPolicyShortInfo(token)), back.Bytes());
  }
}

}  // namespace
