#include <kx_util/shared_policy_target_admin_task.h>
#include <kx_util/shared_policy_target_security.h>
#include <kx_util/target_info_kinds.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/read_target.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/section_source.h"
#include "tests/support/target_records.h"
#include "tests/support/trace_capture.h"

namespace {

using namespace kx_test_records;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Target, OfEveryTypeEitherAKindOrNothing) {
  CkxTraceCapture trace;
  std::string names;
  for (uint32_t code = 0; code < 25; ++code) {
    names += KxText_ToUtf8(KxUtil_PolicyTargetTypeStr(EkxPolicyTarget{code})) + "|";
  }
  EXPECT_EQ(names,
            "Invalid Target Type|Computer or User|Group of Targets|Executable|Script|MSI|MSU|URL|Administrative Task|"
            "ActiveX|Installation Source|Manual Request|Skipped Events|File System Entry|Registry Key|COM|Exclude|"
            "Service|UsbDev|OpticalDisc|AppPackage|Dll|MacPkg|MacAdminTask|MacExe|");
  EXPECT_THAT(trace.Texts(), IsEmpty());

  // Zeros are a body for every kind (properties that are not set, texts that are absent, numbers) but for an
  // administrative task, which needs a number of the catalogue.
  std::vector<uint32_t> accepted;
  for (const uint32_t base : {0u, 0x10000u, 0xFFFFFF00u}) {
    for (uint32_t code = base; code < base + 32; ++code) {
      if (code == 8) continue;
      const CkxReadTarget target(Target(code, 1).Zeros(64).Bytes());
      EXPECT_EQ(target.bytes.Consumed() != 0, target.node != nullptr) << code;
      if (target.node != nullptr) accepted.push_back(code);
    }
  }
  EXPECT_THAT(accepted, ElementsAre(2, 3, 4, 5, 6, 7, 9, 13, 14, 15, 16, 17, 18, 19, 20, 21));
  EXPECT_EQ(CkxTextView(KxUtil_PolicyTargetTypeStr(EkxPolicyTarget{25})).ToString(), KXW("Unknown Target Type"));
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR KxUtil_PolicyTargetTypeStr: ERROR: Unknown target type 25"));
}

TEST(Target, AListGoesOnWhereTheBodyEndedAndNotWhereTheSizeSays) {
  KxBytes bytes = Link(8, 3).Bytes();
  bytes[4] = 1;  // smaller than the record is, and than its header
  const CkxReadTarget small(bytes);
  ASSERT_NE(small.node, nullptr);
  EXPECT_EQ(small.bytes.Consumed(), bytes.size());

  bytes[4] = static_cast<unsigned char>(bytes.size() + 1);
  EXPECT_EQ(CkxReadTarget(bytes).node, nullptr);
  bytes.push_back(0);
  const CkxReadTarget large(bytes);
  ASSERT_NE(large.node, nullptr);
  EXPECT_EQ(large.bytes.Consumed(), bytes.size() - 1);
}

TEST(Target, AGroupThatIsNotThereExcludesEveryParent) {
  const CkxSectionSource source;
  const CkxPolicySourceScope scope(source);
  CkxTargetInfoProcess launched(KxTest_FileAt(KXW("C:\\a.exe")), SkxProcessFacts(), nullptr);
  launched.SetParent(
      CkxTargetInfoPtr(new CkxTargetInfoProcess(KxTest_FileAt(KXW("C:\\explorer.exe")), SkxProcessFacts(), nullptr)));
  for (const uint8_t excluded : {uint8_t{77}, uint8_t{0}}) {  // and naming no group at all is no match either
    const CkxReadTarget target(Exe(5, {{kParentProcess, CkxRecordBytes().Set().Id(0).U8(0).Id(excluded).U8(0)}}));
    EXPECT_FALSE(target.As().MatchTarget(launched));
  }
}

TEST(Target, TellsWhatTheShortInfoHoldsAndWhatItNeeds) {
  const CkxRecordBytes none;
  const struct {
    uint32_t type;
    CkxRecordBytes body;  // but for properties that are not set
    bool inheritable;
    bool needsTools;
  } cases[] = {{3, CkxRecordBytes().U8(1), true, false},
               {3, none, false, false},
               {4, CkxRecordBytes().U8(1).U8(1), true, true},
               {4, none, false, false},
               {5, none, false, false},
               {20, CkxRecordBytes().U8(1), true, false},
               {21, none, false, false},
               {8, CkxRecordBytes().U32(46), false, false},
               {8, CkxRecordBytes().U32(33), false, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    const CkxReadTarget target(Target(c.type, 5).Append(c.body).Zeros(64));
    ASSERT_NE(target.node, nullptr);
    SkxTriggerPolicyShortInfo info;
    target.As().FillTargetInfo(info);
    EXPECT_EQ(uint32_t{static_cast<uint32_t>(EkxPolicyTarget{info.TargetType})}, c.type);
    EXPECT_EQ(uint32_t{info.PolicyTargetId.Data1}, 5u);
    EXPECT_EQ(info.Inheritable != 0, c.inheritable);
    EXPECT_EQ(target.As().RequiresKxToolsFolder(), c.needsTools);
  }
  const CkxReadTarget fonts(Target(8, 5).U32(33));
  EXPECT_THAT(fonts.As<CkxShBufTargetAdminTask>().GetKxToolsFolderItemIds(), ElementsAre(SkxToolsFolderItem::Fonts));
}

TEST(Target, ATaskThatIsNotInTheCatalogueIsMalformed) {
  for (const uint32_t id : {0u, 59u, 0xFFFFFFFFu}) {
    EXPECT_EQ(CkxReadTarget(Target(8, 9).U32(id)).node, nullptr) << id;
  }
  CkxExactBytes bytes(Target(8, 9).U32(0xFFFFFFFF).Bytes());
  CkxShBufTargetAdminTask target;
  EXPECT_FALSE(target.FromBuffer(bytes.cursor, bytes.remaining));
  CkxUtilStr text;
  target.AppendDebugMsg(text);
  EXPECT_EQ(KxText_ToUtf8(text.View()), "\r\n  Target: AdminTask -1 (Unknown).\r\n");
  EXPECT_FALSE(target.RequiresKxToolsFolder());
  EXPECT_FALSE(target.MatchTarget(CkxTargetInfoFile(KxTest_FileAt(KXW("C:\\Windows\\regedit.exe")), nullptr)));
}

TEST(Target, AMediumIsOfTheTargetsKindAndOnItsList) {
  const SkxMediaFacts stick = {KXW("usb"), KXW("Vendor"), std::nullopt, std::nullopt};
  const SkxMediaFacts disc = {KXW("CDROM"), KXW("Vendor"), std::nullopt, std::nullopt};
  const SkxMediaFacts unknown = {std::nullopt, KXW("Vendor"), std::nullopt, std::nullopt};
  const SkxMediaFacts other = {KXW("SD"), KXW("Vendor"), std::nullopt, std::nullopt};
  const CkxRecordBytes everyMedium = CkxRecordBytes().Unset();
  const auto ofVendor = [](std::u16string_view vendor) {
    return CkxRecordBytes().Set().U32(1).Set().Unset().Set().Obfuscated(vendor).U8(0).U16(1).Unset(2);
  };
  for (const uint32_t type : {18u, 19u}) {
    const auto matches = [&](const CkxRecordBytes& list, const SkxMediaFacts& media) {
      const CkxReadTarget target(Target(type, 5).U32(1).Append(list));
      return target.node != nullptr && target.As<CkxShBufTargetRemovableMedia>().MatchMedia(media);
    };
    EXPECT_EQ(matches(everyMedium, stick), type == 18);
    EXPECT_EQ(matches(everyMedium, disc), type == 19);
    EXPECT_EQ(matches(ofVendor(u"vendor"), stick), type == 18);
    EXPECT_EQ(matches(ofVendor(u"vendor"), disc), type == 19);
    for (const SkxMediaFacts& media : {stick, disc}) EXPECT_FALSE(matches(ofVendor(u"another"), media));
    for (const SkxMediaFacts& media : {unknown, other}) EXPECT_FALSE(matches(everyMedium, media));
  }
}

}  // namespace
