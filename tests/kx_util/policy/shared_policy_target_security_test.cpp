#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/shared_policy_target_admin_task.h>
#include <kx_util/shared_policy_target_security.h>

#include "tests/support/read_target.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/target_records.h"

namespace {

using testing::ElementsAre;

constexpr uint32_t kFSEntry = 13, kRegKey = 14, kService = 17, kUsbDev = 18, kOpticalDisc = 19, kAdminTask = 8;

CkxRecordBytes Header(uint32_t type) { return kx_test_records::Target(type, 9); }

CkxRecordBytes FSEntry(bool isFolder) {
  return Header(kFSEntry).U32(0x001F01FF).Set().Obfuscated(u"C:\\Data").U8(isFolder ? 1 : 0);
}
CkxRecordBytes RegKey(uint32_t root) { return Header(kRegKey).U32(0x20019).U32(root).Obfuscated(u"Software\\Vendor"); }
CkxRecordBytes Service() { return Header(kService).U32(0xF01FF).Set().Obfuscated(u"Spooler"); }
CkxRecordBytes AdminTask(uint32_t id) { return Header(kAdminTask).U32(id); }

/// Two descriptions: one with each of its fields, one that is not set.
CkxRecordBytes Media(uint32_t type) {
  CkxRecordBytes media = Header(type).U32(0x00120089);
  media.Set().U32(2);
  media.Set();                                     // the first
  media.Set().Obfuscated(u"USB").U8(0).U16(1);     // type
  media.Set().Obfuscated(u"Vendor").U8(1).U16(2);  // vendor
  media.Unset();                                   // product
  media.Set().Obfuscated(u"00*").U8(0).U16(4);     // serial number
  return media.Unset();                            // the second
}

TEST(SecurityTargets, AShorterRecordIsNone) {
  for (const CkxRecordBytes& record : {FSEntry(true), Media(kUsbDev), Media(kOpticalDisc), AdminTask(46)}) {
    KxTest_ExpectNoneShorter(record);
  }
  KxTest_ExpectNoneShorter(RegKey(0x80000002), 4);
  KxTest_ExpectNoneShorter(Service(), 4);
}

TEST(SecurityTargets, DebugTexts) {
  EXPECT_EQ(KxTest_DebugText(FSEntry(true)), "\r\n  Target: DIR: AccessMask=0x001F01FF [C:\\Data]\r\n");
  EXPECT_EQ(KxTest_DebugText(FSEntry(false)), "\r\n  Target: FILE: AccessMask=0x001F01FF [C:\\Data]\r\n");
  EXPECT_EQ(KxTest_DebugText(Header(kFSEntry).U32(1).Unset()), "\r\n  Target: FILE: AccessMask=0x00000001 []\r\n");
  EXPECT_EQ(KxTest_DebugText(Service()), "\r\n  Target: SERVICE: AccessMask=0x000F01FF Name=[Spooler]\r\n");
  EXPECT_EQ(KxTest_DebugText(Media(kUsbDev)),
            "\r\n  Target: UsbDev: AccessMask=0x00120089\r\n"
            "    Type equals USB, Vendor starts with Vendor, case-sensitive, SerialNumber is like 00*\r\n"
            "    anything\r\n");
  EXPECT_EQ(KxTest_DebugText(Header(kOpticalDisc).U32(0x80000000).Set().U32(0)),
            "\r\n  Target: OpticalDisc: AccessMask=0x80000000\r\n");
  EXPECT_EQ(KxTest_DebugText(AdminTask(46)), "\r\n  Target: AdminTask 46 (Services).\r\n");

  const struct {
    uint32_t root;
    const char* name;
  } roots[] = {{0x80000000, "HKCR"}, {0x80000001, "HKCU"},       {0x80000002, "HKLM"}, {0x80000003, "HKU"},
               {0x80000005, "HKCC"}, {0x80000004, "0x80000004"}, {0x2, "0x00000002"}};
  for (const auto& [root, name] : roots) {
    EXPECT_EQ(KxTest_DebugText(RegKey(root)),
              "\r\n  Target: REGKEY: AccessMask=0x00020019 [" + std::string(name) + "\\Software\\Vendor]\r\n");
  }
}

TEST(SecurityTargets, TheyMatchNoLaunch) {
  const CkxTargetInfoFile file(KxTest_FileAt(KXW("C:\\Data\\x.exe")), nullptr);
  SkxProcessFacts hosted;
  hosted.services = KXW("Spooler");
  const CkxTargetInfoProcess process(KxTest_FileAt(KXW("C:\\Data\\x.exe")), hosted, nullptr);
  const CkxTargetInfoActiveX control(KxTest_FileAt(KXW("C:\\Data\\x.ocx")), SkxServerFacts(), nullptr);
  const CkxTargetInfoElevator request(CkxTargetInfoElevator::kUrlRequest, KXW("C:\\Data"), nullptr);
  const CkxTargetInfoUacCOM component(KxTest_FileAt(KXW("C:\\Data\\x.dll")), SkxServerFacts(), nullptr);
  const CkxTargetInfo* const launches[] = {&file, &process, &control, &request, &component};

  for (const CkxRecordBytes& record :
       {FSEntry(true), RegKey(0x80000002), Service(), Media(kUsbDev), Media(kOpticalDisc)}) {
    const CkxReadTarget target(record);
    for (const CkxTargetInfo* launch : launches) {
      EXPECT_FALSE(target.As().MatchTarget(*launch)) << static_cast<uint32_t>(target.As().TargetType());
    }
  }
}

TEST(AdminTaskTarget, WhatOnlyTheShellShowsNeedsItsFolder) {
  EXPECT_FALSE(CkxReadTarget(AdminTask(46)).As().RequiresKxToolsFolder());
  const CkxReadTarget fonts(AdminTask(33));
  EXPECT_TRUE(fonts.As().RequiresKxToolsFolder());
  EXPECT_THAT(fonts.As<CkxShBufTargetAdminTask>().GetKxToolsFolderItemIds(), ElementsAre(SkxToolsFolderItem::Fonts));
}

TEST(AdminTaskTarget, ATaskThatIsNotInTheCatalogueIsMalformed) {
  for (const uint32_t id : {0u, 59u, 0xFFFFFFFFu}) {
    EXPECT_EQ(CkxReadTarget(AdminTask(id)).node, nullptr) << id;
  }
  CkxExactBytes bytes(AdminTask(0xFFFFFFFF).Bytes());
  CkxShBufTargetAdminTask target;
  EXPECT_FALSE(target.FromBuffer(bytes.cursor, bytes.remaining));
  CkxUtilStr text;
  target.AppendDebugMsg(text);
  EXPECT_EQ(KxText_ToUtf8(text.View()), "\r\n  Target: AdminTask -1 (Unknown).\r\n");
  EXPECT_FALSE(target.RequiresKxToolsFolder());
  EXPECT_FALSE(target.MatchTarget(CkxTargetInfoFile(KxTest_FileAt(KXW("C:\\Windows\\regedit.exe")), nullptr)));
}

/// A description that says which questions it was asked, and answers yes to those in `kinds`.
template <class Description>
class Asked : public Description {
 public:
  template <class... Args>
  explicit Asked(std::string kinds, Args&&... args)
      : Description(std::forward<Args>(args)...), _kinds(std::move(kinds)) {}

  bool IsTargetInfoProcess() const override { return Answer('P'); }
  bool IsTargetInfoFile() const override { return Answer('F'); }
  bool IsTargetInfoElevator() const override { return Answer('E'); }
  bool IsTargetInfoUacCOM() const override { return Answer('U'); }
  bool IsTargetInfoActiveX() const override { return Answer('A'); }

  mutable std::string questions;

 private:
  bool Answer(char kind) const {
    questions += kind;
    return _kinds.find(kind) != std::string::npos;
  }

  const std::string _kinds;
};

TEST(AdminTaskTarget, TheFirstKindThatADescriptionIsOfDecides) {
  const CkxRecordedMachine machine;
  const CkxMachineFactsScope scope(machine);
  const CkxReadTarget read(AdminTask(1));
  ASSERT_NE(read.node, nullptr);
  const CkxShBufTarget& dateAndTime = read.As();

  // The file of the task, in a description that could be taken for a process.
  const SkxFileFacts panel = KxTest_FileAt(KXW("C:\\Windows\\System32\\timedate.cpl"));
  const Asked<CkxTargetInfoProcess> process("PFEUA", panel, SkxProcessFacts(), nullptr);
  EXPECT_FALSE(dateAndTime.MatchTarget(process)) << "no program of that name";
  EXPECT_EQ(process.questions, "P");
  const Asked<CkxTargetInfoProcess> file("FEUA", panel, SkxProcessFacts(), nullptr);
  EXPECT_TRUE(dateAndTime.MatchTarget(file));
  EXPECT_EQ(file.questions, "PF");

  const CkxUtilStr address = KXW("ms-settings:dateandtime");
  const Asked<CkxTargetInfoElevator> request("EUA", CkxTargetInfoElevator::kUrlRequest, address, nullptr);
  EXPECT_TRUE(dateAndTime.MatchTarget(request));
  EXPECT_EQ(request.questions, "PFE");

  const SkxServerFacts clock = {KXW("{9DF523B0-A6C0-4EA9-B5F1-F4565C3AC8B8}"), {}};
  const Asked<CkxTargetInfoUacCOM> component("UA", panel, clock, nullptr);
  EXPECT_TRUE(dateAndTime.MatchTarget(component));
  EXPECT_EQ(component.questions, "PFEU");
  const Asked<CkxTargetInfoUacCOM> noKind("A", panel, clock, nullptr);
  EXPECT_FALSE(dateAndTime.MatchTarget(noKind));
  EXPECT_EQ(noKind.questions, "PFEU");
}

TEST(AdminTaskTarget, WhoeverWatchesIsToldTheTask) {
  CkxRecordingObserver observer;
  const CkxEvaluationObserverScope watching(observer);
  const CkxReadTarget services(AdminTask(46));
  EXPECT_FALSE(services.As().Matches(CkxTargetInfoFile(KxTest_FileAt(KXW("C:\\x.exe")), nullptr)));
  EXPECT_THAT(observer.lines, ElementsAre("check kind: Services / Executable file", "target 8 9 did not match"));
}

}  // namespace
