#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/shared_policy_target_admin_task.h>
#include <kx_util/shared_policy_target_security.h>

#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/util/text.h"
#include "tests/support/record_bytes.h"
#include "tests/support/recording_observer.h"

namespace {

using testing::ElementsAre;

constexpr uint32_t kFSEntry = 13, kRegKey = 14, kService = 17, kUsbDev = 18, kOpticalDisc = 19, kAdminTask = 8;
constexpr size_t kHeaderBytes = 28;

std::string Utf8(CkxTextView text) { return KxText_ToUtf8(text); }

CkxRecordBytes Header(uint32_t type) { return CkxRecordBytes().U32(0x22232427).SizeHere().Id(9).U32(type); }

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

struct ReadTarget {
  explicit ReadTarget(const CkxRecordBytes& record) : bytes(record.Bytes()), node(Read(bytes)) {}

  static std::unique_ptr<CkxShBufList::CkxNode> Read(CkxExactBytes& bytes) {
    return std::unique_ptr<CkxShBufList::CkxNode>(CkxShBufTarget::TargetFromBuffer(bytes.cursor, bytes.remaining));
  }
  template <class Target = CkxShBufTarget>
  const Target& As() const {
    return dynamic_cast<const Target&>(*node);
  }

  CkxExactBytes bytes;
  std::unique_ptr<CkxShBufList::CkxNode> node;
};

const struct {
  const char* name;
  CkxRecordBytes record;
  size_t slack;  // of an obfuscated text that ends a record, up to four bytes may not be there
} kKinds[] = {
    {"file system entry", FSEntry(true), 0}, {"registry key", RegKey(0x80000002), 4},  {"service", Service(), 4},
    {"USB device", Media(kUsbDev), 0},       {"optical disc", Media(kOpticalDisc), 0}, {"task", AdminTask(46), 0},
};

TEST(SecurityTargets, AShorterRecordIsNone) {
  for (const auto& [name, record, slack] : kKinds) {
    SCOPED_TRACE(name);
    const KxBytes bytes = record.Bytes();
    const ReadTarget whole(record);
    ASSERT_NE(whole.node, nullptr);
    EXPECT_EQ(whole.bytes.Consumed(), bytes.size());
    for (size_t count = 0; count < bytes.size(); ++count) {
      CkxExactBytes part(bytes, count);
      EXPECT_EQ(ReadTarget::Read(part), nullptr) << "with the size of the whole, of " << count << " bytes";
      if (count < kHeaderBytes) continue;
      CkxExactBytes framed(bytes, count);
      framed.Data()[4] = static_cast<unsigned char>(count);
      framed.Data()[5] = static_cast<unsigned char>(count >> 8);
      EXPECT_EQ(ReadTarget::Read(framed) != nullptr, count >= bytes.size() - slack)
          << "with a size of its own, of " << count << " bytes";
    }
  }
}

TEST(SecurityTargets, EveryFieldIsReadFromItsPlace) {
  const ReadTarget folder(FSEntry(true));
  const auto& entry = folder.As<CkxShBufTargetFSEntry>();
  EXPECT_EQ(entry.TargetType(), EkxPolicyTarget::FileSystemEntry);
  EXPECT_EQ(entry.TargetId().Data1, 9u);
  EXPECT_EQ(entry.AccessMask(), 0x001F01FFu);
  EXPECT_EQ(Utf8(entry.Path().Path()), "C:\\Data");
  EXPECT_TRUE(entry.IsFolder());
  EXPECT_FALSE(ReadTarget(FSEntry(false)).As<CkxShBufTargetFSEntry>().IsFolder());

  const ReadTarget machineKey(RegKey(0x80000002));
  const auto& key = machineKey.As<CkxShBufTargetRegKey>();
  EXPECT_EQ(key.AccessMask(), 0x20019u);
  EXPECT_EQ(key.Root(), 0x80000002u);
  EXPECT_EQ(Utf8(key.KeyPath()), "Software\\Vendor");

  const ReadTarget spooler(Service());
  const auto& service = spooler.As<CkxShBufTargetService>();
  EXPECT_EQ(service.AccessMask(), 0xF01FFu);
  EXPECT_EQ(Utf8(service.Service().Name()), "Spooler");

  const ReadTarget services(AdminTask(46));
  const auto& task = services.As<CkxShBufTargetAdminTask>();
  EXPECT_EQ(task.TaskId(), 46u);
  EXPECT_EQ(task.Task(), CkxAdminTask::CreateInstance(46));
  EXPECT_FALSE(task.RequiresKxToolsFolder());
  const ReadTarget fonts(AdminTask(33));
  EXPECT_TRUE(fonts.As().RequiresKxToolsFolder());
  EXPECT_THAT(fonts.As<CkxShBufTargetAdminTask>().GetKxToolsFolderItemIds(), ElementsAre(SkxToolsFolderItem::Fonts));
}

template <class Target>
void ExpectMedia(uint32_t type) {
  const ReadTarget read(Media(type));
  const auto& target = read.As<Target>();
  EXPECT_EQ(static_cast<uint32_t>(target.TargetType()), type);
  EXPECT_EQ(target.AccessMask(), 0x00120089u);
  ASSERT_EQ(target.Media().Count(), 2u);
  std::vector<std::string> fields;
  for (const CkxPropNode<CkxShBufPropMediaInfo>& node : target.Media().Elements()) {
    for (const CkxShBufPropStr* field :
         {&node.prop.Type(), &node.prop.Vendor(), &node.prop.Product(), &node.prop.SerialNumber()}) {
      fields.push_back(field->Initialized() ? Utf8(field->Pattern()) : "-");
    }
  }
  EXPECT_THAT(fields, ElementsAre("USB", "Vendor", "-", "00*", "-", "-", "-", "-"));
}

TEST(SecurityTargets, MediaAreListedForBothKinds) {
  ExpectMedia<CkxShBufTargetUsbDev>(kUsbDev);
  ExpectMedia<CkxShBufTargetOpticalDisc>(kOpticalDisc);

  const ReadTarget any(Header(kUsbDev).U32(1).Unset());
  EXPECT_FALSE(any.As<CkxShBufTargetUsbDev>().Media().Initialized());
  EXPECT_TRUE(any.As<CkxShBufTargetUsbDev>().Media().Match({})) << "a list that is not set is about every medium";
}

std::string DebugText(const CkxRecordBytes& record) {
  const ReadTarget target(record);
  CkxUtilStr text;
  target.As().AppendDebugMsg(text);
  return Utf8(text.View());
}

TEST(SecurityTargets, DebugTexts) {
  EXPECT_EQ(DebugText(FSEntry(true)), "\r\n  Target: DIR: AccessMask=0x001F01FF [C:\\Data]\r\n");
  EXPECT_EQ(DebugText(FSEntry(false)), "\r\n  Target: FILE: AccessMask=0x001F01FF [C:\\Data]\r\n");
  EXPECT_EQ(DebugText(Header(kFSEntry).U32(1).Unset()), "\r\n  Target: FILE: AccessMask=0x00000001 []\r\n");
  EXPECT_EQ(DebugText(Service()), "\r\n  Target: SERVICE: AccessMask=0x000F01FF Name=[Spooler]\r\n");
  EXPECT_EQ(DebugText(Media(kUsbDev)),
            "\r\n  Target: UsbDev: AccessMask=0x00120089\r\n"
            "    Type equals USB, Vendor starts with Vendor, case-sensitive, SerialNumber is like 00*\r\n"
            "    anything\r\n");
  EXPECT_EQ(DebugText(Header(kOpticalDisc).U32(0x80000000).Set().U32(0)),
            "\r\n  Target: OpticalDisc: AccessMask=0x80000000\r\n");
  EXPECT_EQ(DebugText(AdminTask(46)), "\r\n  Target: AdminTask 46 (Services).\r\n");

  const struct {
    uint32_t root;
    const char* name;
  } roots[] = {{0x80000000, "HKCR"}, {0x80000001, "HKCU"},       {0x80000002, "HKLM"}, {0x80000003, "HKU"},
               {0x80000005, "HKCC"}, {0x80000004, "0x80000004"}, {0x2, "0x00000002"}};
  for (const auto& [root, name] : roots) {
    EXPECT_EQ(DebugText(RegKey(root)),
              "\r\n  Target: REGKEY: AccessMask=0x00020019 [" + std::string(name) + "\\Software\\Vendor]\r\n");
  }
}

SkxFileFacts FileAt(const WCHAR* path) {
  SkxFileFacts facts;
  facts.path = path;
  return facts;
}

TEST(SecurityTargets, TheyMatchNoLaunch) {
  const CkxTargetInfoFile file(FileAt(KXW("C:\\Data\\x.exe")), nullptr);
  SkxProcessFacts hosted;
  hosted.services = KXW("Spooler");
  const CkxTargetInfoProcess process(FileAt(KXW("C:\\Data\\x.exe")), hosted, nullptr);
  const CkxTargetInfoActiveX control(FileAt(KXW("C:\\Data\\x.ocx")), SkxServerFacts(), nullptr);
  const CkxTargetInfoElevator request(CkxTargetInfoElevator::kUrlRequest, KXW("C:\\Data"), nullptr);
  const CkxTargetInfoUacCOM component(FileAt(KXW("C:\\Data\\x.dll")), SkxServerFacts(), nullptr);
  const CkxTargetInfo* const launches[] = {&file, &process, &control, &request, &component};

  for (const CkxRecordBytes& record :
       {FSEntry(true), RegKey(0x80000002), Service(), Media(kUsbDev), Media(kOpticalDisc)}) {
    const ReadTarget target(record);
    for (const CkxTargetInfo* launch : launches) {
      EXPECT_FALSE(target.As().MatchTarget(*launch)) << static_cast<uint32_t>(target.As().TargetType());
    }
  }
}

TEST(AdminTaskTarget, ATaskThatIsNotInTheCatalogueIsMalformed) {
  for (const uint32_t id : {0u, 59u, 0xFFFFFFFFu}) {
    EXPECT_EQ(ReadTarget(AdminTask(id)).node, nullptr) << id;
  }
  CkxExactBytes bytes(AdminTask(0xFFFFFFFF).Bytes());
  CkxShBufTargetAdminTask target;
  EXPECT_FALSE(target.FromBuffer(bytes.cursor, bytes.remaining));
  CkxUtilStr text;
  target.AppendDebugMsg(text);
  EXPECT_EQ(Utf8(text.View()), "\r\n  Target: AdminTask -1 (Unknown).\r\n");
  EXPECT_FALSE(target.RequiresKxToolsFolder());
  EXPECT_FALSE(target.MatchTarget(CkxTargetInfoFile(FileAt(KXW("C:\\Windows\\regedit.exe")), nullptr)));
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
  struct Machine : IkxMachineFacts {
    EkxDriveType DriveType(WCHAR) const override { return EkxDriveType::Unknown; }
    std::optional<KxWString> MappedShare(WCHAR) const override { return std::nullopt; }
  } const machine;
  const CkxMachineFactsScope scope(machine);
  const ReadTarget read(AdminTask(1));
  ASSERT_NE(read.node, nullptr);
  const CkxShBufTarget& dateAndTime = read.As();

  // The file of the task, in a description that could be taken for a process.
  const SkxFileFacts panel = FileAt(KXW("C:\\Windows\\System32\\timedate.cpl"));
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
  const ReadTarget services(AdminTask(46));
  EXPECT_FALSE(services.As().Matches(CkxTargetInfoFile(FileAt(KXW("C:\\x.exe")), nullptr)));
  EXPECT_THAT(observer.lines, ElementsAre("check kind: Services / Executable file", "target 8 9 did not match"));
}

}  // namespace
