#include <kx_util/shared_policy_target.h>
#include <kx_util/target_info_kinds.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "Agent/engine/kx_util/target_checks.h"
#include "Common_CPP/file/machine_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr size_t kHeaderBytes = 28;

CkxRecordBytes Header(uint32_t type, unsigned char id) {
  return CkxRecordBytes().U32(0x22232427).SizeHere().Id(id).U32(type);
}

/// A target in a block of its own size, and how much of it was read.
struct ReadTarget {
  explicit ReadTarget(const KxBytes& record) : bytes(record), node(Read(bytes)) {}

  static std::unique_ptr<CkxShBufList::CkxNode> Read(CkxExactBytes& bytes) {
    return std::unique_ptr<CkxShBufList::CkxNode>(CkxShBufTarget::TargetFromBuffer(bytes.cursor, bytes.remaining));
  }
  template <class Target = CkxShBufTarget>
  const Target& As() const {
    return static_cast<const Target&>(*node);
  }

  CkxExactBytes bytes;
  std::unique_ptr<CkxShBufList::CkxNode> node;
};

CkxRecordBytes FileName(std::u16string_view name) {
  return CkxRecordBytes().Set().Obfuscated(name).U16(1).Absent().Absent().U64(~uint64_t{0});
}

/// A program with every property given, but for the origin, which nothing matches yet. The parent must be in group 1
/// and no ancestor in group 2.
CkxRecordBytes Exe() {
  CkxRecordBytes exe = Header(3, 5);
  exe.U8(1);                                                                                // inheritable
  exe.Set().U32(0x10000).U32(0).U32(0x1FFFF).U32(0xFFFFFFFE);                               // file version 1 to 2
  exe.Set().U32(0x20000).U32(0).U32(~0u).U32(~0u);                                          // product version from 2
  exe.Set().Obfuscated(u"C:\\Apps").U8(1).Text(u"FIXED,CDROM");                             // location
  exe.Set().Obfuscated(u"app.exe").U16(1).Text(u"SHA256").Text(u"SHA256##00FF").U64(1000);  // file name
  exe.Set().Obfuscated(u"/quiet").U8(0).U16(3);                                             // arguments
  exe.Set().U32(2).Set().Sid(32, 544).Set().Sid(18);                                        // owners
  exe.Set().U32(1).Set().Obfuscated(u"Vendor").U8(1).U16(1).U8(0);                          // publishers
  exe.Set().U32(1).Set().Obfuscated(u"Vend*").U8(0).U16(4).Obfuscated(u"CompanyName");      // version fields
  exe.Set().Obfuscated(u"Spooler");                                                         // service
  exe.Set().Id(1).U8(0).Id(2).U8(1);                                                        // parent process
  return exe.Text(u"KxNoUsers").Unset().Obfuscated(u"Shop");  // users, origin, distributor
}

/// A program of which nothing is asked but what `property` puts in the place of the `index`th property.
CkxRecordBytes ExeWith(int index, const CkxRecordBytes& property) {
  constexpr int kBeforeUsers = 10;
  constexpr int kOrigin = 10;
  CkxRecordBytes record = Header(3, 6).U8(0);
  for (int i = 0; i < kBeforeUsers; ++i) record.Append(i == index ? property : CkxRecordBytes().Unset());
  return record.Absent().Append(index == kOrigin ? property : CkxRecordBytes().Unset()).Absent();
}

CkxRecordBytes Exclude() {
  return Header(16, 9)
      .Set()
      .Obfuscated(u"C:\\Apps")
      .U8(1)
      .Text(u"FIXED")
      .Append(FileName(u"app.exe"))
      .Text(u"D:(A;;FR;;;WD)");
}
CkxRecordBytes Url(std::u16string_view pattern) { return Header(7, 7).Set().Obfuscated(pattern).U8(0).U16(4); }
CkxRecordBytes Link() { return Header(2, 8).Id(3); }

CkxTargetInfoPtr Program(const WCHAR* path) {
  SkxFileFacts facts;
  facts.path = path;
  return CkxTargetInfoPtr(new CkxTargetInfoProcess(facts, SkxProcessFacts(), nullptr));
}

/// Groups of one program each: 1 is explorer.exe, 2 browser.exe.
class TargetTest : public testing::Test {
 protected:
  TargetTest() { _source.Publish(EkxPolicySection::AppGroups, {Group(1, u"explorer.exe"), Group(2, u"browser.exe")}); }

 private:
  static KxBytes Group(unsigned char id, std::u16string_view program) {
    return CkxRecordBytes().U32(0x22232426).SizeHere().Id(id).U32(1).Append(ExeWith(3, FileName(program))).Bytes();
  }

  CkxSectionSource _source;
  CkxPolicySourceScope _scope{_source};
};

TEST_F(TargetTest, OfEveryTypeEitherAKindOrNothing) {
  constexpr const WCHAR* kNames[] = {KXW("Invalid Target Type"),
                                     KXW("Computer or User"),
                                     KXW("Group of Targets"),
                                     KXW("Executable"),
                                     KXW("Script"),
                                     KXW("MSI"),
                                     KXW("MSU"),
                                     KXW("URL"),
                                     KXW("Administrative Task"),
                                     KXW("ActiveX"),
                                     KXW("Installation Source"),
                                     KXW("Manual Request"),
                                     KXW("Skipped Events"),
                                     KXW("File System Entry"),
                                     KXW("Registry Key"),
                                     KXW("COM"),
                                     KXW("Exclude"),
                                     KXW("Service"),
                                     KXW("UsbDev"),
                                     KXW("OpticalDisc"),
                                     KXW("AppPackage"),
                                     KXW("Dll"),
                                     KXW("MacPkg"),
                                     KXW("MacAdminTask"),
                                     KXW("MacExe")};
  CkxTraceCapture trace;
  for (uint32_t code = 0; code < std::size(kNames); ++code) {
    EXPECT_EQ(CkxTextView(KxUtil_PolicyTargetTypeStr(EkxPolicyTarget{code})).ToString(), kNames[code]);
  }
  EXPECT_THAT(trace.Texts(), IsEmpty());

  // Zeros are a body for every kind: properties that are not set, texts that are absent, numbers.
  for (const uint32_t code : {0u, 1u, 2u, 3u, 7u, 10u, 11u, 12u, 16u, 22u, 23u, 24u, 25u, 0x10003u, 0xFFFFFFFFu}) {
    const ReadTarget target(Header(code, 1).Zeros(64).Bytes());
    const bool accepted = code == 2 || code == 3 || code == 7 || code == 16;
    EXPECT_EQ(target.node != nullptr, accepted) << code;
    EXPECT_EQ(target.bytes.Consumed() != 0, accepted) << code;
  }
  EXPECT_EQ(CkxTextView(KxUtil_PolicyTargetTypeStr(EkxPolicyTarget{25})).ToString(), KXW("Unknown Target Type"));
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR KxUtil_PolicyTargetTypeStr: ERROR: Unknown target type 25"));
}

TEST_F(TargetTest, AShorterRecordIsNone) {
  const struct {
    const char* name;
    KxBytes bytes;
    size_t slack;  // of an obfuscated text that ends a record, up to four bytes may not be there
  } records[] = {
      {"exe", Exe().Bytes(), 4},
      {"exclude", Exclude().Bytes(), 0},
      {"url", Url(u"http*").Bytes(), 0},
      {"link", Link().Bytes(), 0},
  };
  for (const auto& [name, bytes, slack] : records) {
    SCOPED_TRACE(name);
    const ReadTarget whole(bytes);
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

TEST_F(TargetTest, AListGoesOnWhereTheBodyEndedAndNotWhereTheSizeSays) {
  KxBytes bytes = Link().Bytes();
  bytes[4] = 1;  // smaller than the record is, and than its header
  const ReadTarget small(bytes);
  ASSERT_NE(small.node, nullptr);
  EXPECT_EQ(small.bytes.Consumed(), bytes.size());

  bytes[4] = static_cast<unsigned char>(bytes.size() + 1);
  EXPECT_EQ(ReadTarget(bytes).node, nullptr);
  bytes.push_back(0);
  const ReadTarget large(bytes);
  ASSERT_NE(large.node, nullptr);
  EXPECT_EQ(large.bytes.Consumed(), bytes.size() - 1);
}

TEST_F(TargetTest, AnExecutableHasItsFieldsInOrder) {
  const ReadTarget read(Exe().Bytes());
  ASSERT_NE(read.node, nullptr);
  const auto& exe = read.As<CkxShBufTargetExe>();
  EXPECT_EQ(exe.TargetType(), EkxPolicyTarget::Executable);
  EXPECT_EQ(exe.TargetId().Data1, 5u);
  EXPECT_TRUE(exe.Inheritable());
  EXPECT_TRUE(exe.FileVersions().Range().MinVersion().IsEqual(1, 0, 0, 0));
  EXPECT_TRUE(exe.ProductVersions().Range().MinVersion().IsEqual(2, 0, 0, 0));
  EXPECT_EQ(exe.Location().Pattern().ToString(), KXW("C:\\Apps"));
  EXPECT_EQ(exe.FileName().FileSize(), 1000);
  EXPECT_EQ(exe.Arguments().CompareAs(), EkxStrCompareAs::StrContains);
  EXPECT_EQ(exe.Owners().Count(), 2u);
  EXPECT_TRUE((*exe.Publishers().Elements().begin()).prop.CaseSensitive());
  EXPECT_EQ((*exe.VersionFields().Elements().begin()).prop.Field().ToString(), KXW("CompanyName"));
  EXPECT_EQ(exe.ServiceName().Name().ToString(), KXW("Spooler"));
  EXPECT_EQ(exe.ParentProcess().ExcludedGroup().Data1, 2u);
  EXPECT_EQ(exe.Users().ToString(), KXW("KxNoUsers"));
  EXPECT_FALSE(exe.Origin().Initialized());
  EXPECT_EQ(exe.SoftwareDistributorName().ToString(), KXW("Shop"));

  SkxTriggerPolicyShortInfo info;
  exe.FillTargetInfo(info);
  EXPECT_EQ(EkxPolicyTarget{info.TargetType}, EkxPolicyTarget::Executable);
  EXPECT_EQ(uint32_t{info.PolicyTargetId.Data1}, 5u);
  EXPECT_EQ(info.Inheritable, 1);
}

/// What is launched, as far as `Exe` asks.
struct Launch {
  SkxFileFacts file;
  SkxProcessFacts process;
  std::vector<const WCHAR*> ancestors = {KXW("C:\\Windows\\explorer.exe")};  // the parent first
  bool plainFile = false;

  Launch() {
    file.path = KXW("C:\\Apps\\Sub\\App.exe");
    file.size = 1000;
    file.hashes = {{KXW("SHA256"), KXW("00ff")}};
    file.signers = {{KXW("Vendor"), EkxPublisherStatus::Valid}};
    file.owner = CkxSid::FromUtf8("S-1-5-18");
    file.fileVersion = KXW("1.5.0.0");
    file.versionInfo = {{KXW("CompanyName"), KXW("Vendor Inc.")}, {KXW("ProductVersion"), KXW("2.1")}};
    process.commandLine = KXW("app.exe /quiet /log");
    process.services = KXW("Netlogon/Spooler");
  }

  CkxTargetInfoPtr Describe() const {
    if (plainFile) return CkxTargetInfoPtr(new CkxTargetInfoFile(file, nullptr));
    CkxTargetInfoPtr parent;
    for (auto path = ancestors.rbegin(); path != ancestors.rend(); ++path) {
      CkxTargetInfoPtr child = Program(*path);
      static_cast<CkxTargetInfoProcess&>(*child).SetParent(std::move(parent));
      parent = std::move(child);
    }
    auto launched = std::make_unique<CkxTargetInfoProcess>(file, process, nullptr);
    launched->SetParent(std::move(parent));
    return CkxTargetInfoPtr(launched.release());
  }
};

struct DriveFacts : IkxMachineFacts {
  EkxDriveType DriveType(WCHAR letter) const override {
    return letter == KXW('C') ? EkxDriveType::Fixed : EkxDriveType::Removable;
  }
  std::optional<KxWString> MappedShare(WCHAR) const override { return std::nullopt; }
};

/// The check that ended the match, with what it told; empty for a match.
std::string Ending(const CkxShBufTarget& target, const CkxTargetInfo& description) {
  const DriveFacts drives;
  const CkxMachineFactsScope machine(drives);
  CkxRecordingObserver observer;
  const CkxEvaluationObserverScope watching(observer);
  const bool matched = target.Matches(description);
  const std::string verdict = "target " + std::to_string(static_cast<uint32_t>(target.TargetType())) + " " +
                              std::to_string(target.TargetId().Data1) + (matched ? " matched" : " did not match");
  EXPECT_EQ(observer.lines.back(), verdict);
  EXPECT_EQ(observer.lines.size(), matched ? 1u : 2u) << "one check ends a match, and is told before the target";
  return matched ? "" : observer.lines.front();
}

TEST_F(TargetTest, AnExecutableMatchesWhenAllThatItAsksForIsThere) {
  const struct {
    const char* name;
    std::function<void(Launch&)> change;
    std::string ending;
  } cases[] = {
      {"all", [](Launch&) {}, ""},
      {"no file of programs", [](Launch& l) { l.file.targetType = 5; }, "check kind: Executable file / MSI process"},
      {"a file that does not run", [](Launch& l) { l.plainFile = true; },
       "check kind: Executable process / Executable file"},
      {"arguments", [](Launch& l) { l.process.commandLine = KXW("/quiet"); },
       "check arguments: contains /quiet / /quiet"},
      {"name", [](Launch& l) { l.file.path = KXW("C:\\Apps\\b.exe"); },
       "check fileName: equals app.exe, SHA256##00FF, 1000 bytes / b.exe"},
      {"size", [](Launch& l) { l.file.size = 1001; },
       "check fileName: equals app.exe, SHA256##00FF, 1000 bytes / 1001 bytes"},
      {"hash", [](Launch& l) { l.file.hashes[KXW("SHA256")] = KXW("00FE"); },
       "check fileName: equals app.exe, SHA256##00FF, 1000 bytes / SHA256##00FE"},
      {"no hash", [](Launch& l) { l.file.hashes.clear(); },
       "check fileName: equals app.exe, SHA256##00FF, 1000 bytes / no such hash"},
      {"folder", [](Launch& l) { l.file.path = KXW("C:\\Apps2\\app.exe"); },
       "check location: C:\\Apps with subfolders, on FIXED,CDROM / C:\\Apps2\\app.exe, on FIXED"},
      {"kind of drive", [](Launch& l) { l.file.path = KXW("D:\\Apps\\app.exe"); },
       "check location: C:\\Apps with subfolders, on FIXED,CDROM / D:\\Apps\\app.exe, on REMOVABLE"},
      {"service", [](Launch& l) { l.process.services.clear(); }, "check serviceName: Spooler / no services"},
      {"owner", [](Launch& l) { l.file.owner = CkxSid::FromUtf8("S-1-5-19"); },
       "check owners: S-1-5-32-544 or S-1-5-18 / S-1-5-19"},
      {"no owner", [](Launch& l) { l.file.owner.reset(); }, "check owners: S-1-5-32-544 or S-1-5-18 / no owner"},
      {"file version", [](Launch& l) { l.file.fileVersion = KXW("2.0"); },
       "check fileVersion: 1.0.0.0 to 1.65535.65535.65534 / 2.0.0.0"},
      {"no file version", [](Launch& l) { l.file.fileVersion.reset(); },
       "check fileVersion: 1.0.0.0 to 1.65535.65535.65534 / no version"},
      {"product version", [](Launch& l) { l.file.versionInfo[KXW("ProductVersion")] = KXW("1.9"); },
       "check productVersion: from 2.0.0.0 / 1.9"},
      {"no product version", [](Launch& l) { l.file.versionInfo.erase(KXW("ProductVersion")); },
       "check productVersion: from 2.0.0.0 / no version"},
      {"version field", [](Launch& l) { l.file.versionInfo[KXW("CompanyName")] = KXW("Else"); },
       "check versionFields: CompanyName is like Vend* / CompanyName is Else"},
      {"publisher", [](Launch& l) { l.file.signers[0].name = KXW("vendor"); },
       "check publishers: equals Vendor, case-sensitive / vendor (valid)"},
      {"signature", [](Launch& l) { l.file.signers[0].status = EkxPublisherStatus::Expired; },
       "check publishers: equals Vendor, case-sensitive / Vendor (expired)"},
      {"no parent known", [](Launch& l) { l.ancestors.clear(); },
       "check parentProcess: in {00000001-0000-0000-0000-000000000001}, "
       "not in {00000002-0000-0000-0000-000000000002} (any ancestor) / unknown"},
      {"included group looks at the direct parent only",
       [](Launch& l) {
         l.ancestors = {KXW("C:\\cmd.exe"), KXW("C:\\Windows\\explorer.exe")};
       },
       "check parentProcess: in {00000001-0000-0000-0000-000000000001}, "
       "not in {00000002-0000-0000-0000-000000000002} (any ancestor) / C:\\cmd.exe"},
      {"excluded group looks at any ancestor",
       [](Launch& l) {
         l.ancestors = {KXW("C:\\explorer.exe"), KXW("C:\\cmd.exe"), KXW("C:\\browser.exe")};
       },
       "check parentProcess: in {00000001-0000-0000-0000-000000000001}, "
       "not in {00000002-0000-0000-0000-000000000002} (any ancestor) / C:\\explorer.exe"},
      {"an ancestor beyond the 64th does not count",
       [](Launch& l) {
         l.ancestors.assign(64, KXW("C:\\explorer.exe"));
         l.ancestors.push_back(KXW("C:\\browser.exe"));
       },
       ""},
  };
  const ReadTarget exe(Exe().Bytes());
  ASSERT_NE(exe.node, nullptr);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Launch launch;
    c.change(launch);
    EXPECT_EQ(Ending(exe.As(), *launch.Describe()), c.ending);
  }
}

TEST_F(TargetTest, AnExecutableAsksForNothingThatIsNotSet) {
  SkxFileFacts bare;
  bare.path = KXW("x.exe");
  const CkxTargetInfoFile file(bare, nullptr);
  const CkxTargetInfoActiveX control(bare, nullptr);
  const auto parent = [](unsigned char included, unsigned char excluded) {
    return ExeWith(9, CkxRecordBytes().Set().Id(included).U8(0).Id(excluded).U8(0));
  };
  const CkxRecordBytes origin = CkxRecordBytes().Set().U8(0).U32(3).Unset(6);

  EXPECT_EQ(Ending(ReadTarget(ExeWith(-1, {}).Bytes()).As(), file), "");
  EXPECT_EQ(Ending(ReadTarget(ExeWith(-1, {}).Bytes()).As(), control), "check kind: Executable file / ActiveX");
  EXPECT_EQ(Ending(ReadTarget(ExeWith(10, origin).Bytes()).As(), file),
            "check origin: of source type 3 / no origin record");

  const Launch launch;
  EXPECT_EQ(Ending(ReadTarget(parent(0, 2).Bytes()).As(), *launch.Describe()), "") << "an excluding group alone";
  EXPECT_THAT(Ending(ReadTarget(parent(0, 0).Bytes()).As(), *launch.Describe()),
              testing::StartsWith("check parentProcess"));
  EXPECT_THAT(Ending(ReadTarget(parent(1, 77).Bytes()).As(), *launch.Describe()),
              testing::StartsWith("check parentProcess"))
      << "a group that is not there";
}

TEST_F(TargetTest, ThePackageKnowsTheProductVersionOfAnInstallation) {
  CkxExactBytes bytes(CkxRecordBytes().Set().U32(0x30000).U32(0).U32(~0u).U32(~0u).Bytes());
  CkxShBufPropVersionRange fromThree;
  ASSERT_TRUE(fromThree.FromBuffer(bytes.cursor, bytes.remaining));
  SkxFileFacts facts;
  facts.path = KXW("C:\\setup.msi");
  facts.versionInfo = {{KXW("ProductVersion"), KXW("9.0")}};
  EXPECT_FALSE(KxCheck_ProductVersion(fromThree, CkxTargetInfoFile(facts, nullptr)));
  facts.msiProperties = {{KXW("ProductVersion"), KXW("3.0.1")}};
  EXPECT_TRUE(KxCheck_ProductVersion(fromThree, CkxTargetInfoFile(facts, nullptr)));
}

TEST_F(TargetTest, AnExclusionLooksAtNameAndFolder) {
  const ReadTarget all(Exclude().Bytes());
  const ReadTarget nameOnly(Header(16, 9).Unset().Append(FileName(u"app.exe")).Absent().Bytes());
  const ReadTarget anything(Header(16, 9).Unset(2).Absent().Bytes());
  const CkxTargetInfoPtr inside = Program(KXW("C:\\Apps\\Sub\\APP.EXE"));
  const CkxTargetInfoPtr outside = Program(KXW("C:\\Other\\app.exe"));
  const CkxTargetInfoElevator noFile(2, KXW("http://x"), nullptr);

  EXPECT_EQ(Ending(all.As(), *inside), "");
  EXPECT_THAT(Ending(all.As(), *outside), testing::StartsWith("check location"));
  EXPECT_EQ(Ending(nameOnly.As(), *outside), "");
  EXPECT_EQ(Ending(nameOnly.As(), *Program(KXW("C:\\Apps\\b.exe"))), "check fileName: equals app.exe / b.exe");
  EXPECT_EQ(Ending(anything.As(), *outside), "");
  EXPECT_EQ(Ending(anything.As(), noFile), "check kind: something with a path / URL");
}

TEST_F(TargetTest, AnAddressMatchesRequestsForAddressesOnly) {
  const CkxTargetInfoElevator request(2, KXW("HTTP://vendor/setup"), nullptr);
  const CkxTargetInfoElevator otherKind(1, KXW("http://vendor/setup"), nullptr);
  const ReadTarget vendor(Url(u"http://vendor/*").Bytes());
  const ReadTarget any(Url(u"").Bytes());
  const ReadTarget unset(Header(7, 7).Unset().Bytes());

  EXPECT_EQ(Ending(vendor.As(), request), "");
  EXPECT_EQ(Ending(ReadTarget(Url(u"ftp:*").Bytes()).As(), request), "check url: is like ftp:* / HTTP://vendor/setup");
  for (const ReadTarget* all : {&any, &unset}) {
    EXPECT_EQ(Ending(all->As(), request), "");
    EXPECT_THAT(Ending(all->As(), otherKind), testing::StartsWith("check kind"));
    EXPECT_THAT(Ending(all->As(), *Program(KXW("C:\\http.exe"))), testing::StartsWith("check kind"));
  }
}

std::string DebugText(const CkxRecordBytes& record) {
  const ReadTarget target(record.Bytes());
  CkxUtilStr text;
  target.As().AppendDebugMsg(text);
  return KxText_ToUtf8(text.View());
}

TEST_F(TargetTest, DebugTexts) {
  EXPECT_EQ(DebugText(Link()), "\r\n  Target: AppGroupLink. GUID={00000003-0000-0000-0000-000000000003}\r\n");
  EXPECT_EQ(DebugText(Url(u"http*")), "\r\n  Target: URL: http*\r\n");
  EXPECT_EQ(DebugText(Exclude()),
            "\r\n  Target: EXCLUDE.\r\n    Location (with subfolders): C:\\Apps\r\n    LocationTypes: FIXED\r\n"
            "    Filename: app.exe\r\n    Users: D:(A;;FR;;;WD)\r\n");
  EXPECT_EQ(DebugText(Header(16, 9).Set().Obfuscated(u"C:\\").U8(0).Absent().Unset().Text(u"KxNoUsers")),
            "\r\n  Target: EXCLUDE.\r\n    Location: C:\\\r\n");
  EXPECT_EQ(DebugText(Header(16, 9).Unset(2).Text(u"KxNoUsersX")),
            "\r\n  Target: EXCLUDE.\r\n    Users: KxNoUsersX\r\n");
  EXPECT_EQ(DebugText(Exe()),
            "\r\n  Target: EXE. Inheritable=Yes\r\n    FileVersion: 1.0.0.0 to 1.65535.65535.65534\r\n"
            "    ProductVersion: from 2.0.0.0\r\n    Location (with subfolders): C:\\Apps\r\n"
            "    LocationTypes: FIXED,CDROM\r\n    Filename: equals app.exe, SHA256##00FF, 1000 bytes\r\n"
            "    Arguments: contains /quiet\r\n    Owners: S-1-5-32-544 or S-1-5-18\r\n"
            "    Publishers: equals Vendor, case-sensitive\r\n    VersionInfo: CompanyName is like Vend*\r\n"
            "    Service: Spooler\r\n    ParentProcess: in {00000001-0000-0000-0000-000000000001}, "
            "not in {00000002-0000-0000-0000-000000000002} (any ancestor)\r\n    SoftwareDistributor: Shop\r\n");
}

}  // namespace
