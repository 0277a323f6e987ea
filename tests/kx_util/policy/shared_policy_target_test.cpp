#include <kx_util/shared_policy_target.h>
#include <kx_util/target_info_kinds.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "Agent/engine/kx_util/policy/target_checks.h"
#include "tests/support/read_target.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"
#include "tests/support/target_records.h"
#include "tests/support/trace_capture.h"

namespace {

using namespace kx_test_records;
using testing::ElementsAre;
using testing::IsEmpty;

/// A program with every property given, but for the origin, which nothing matches yet. The parent must be in group 1
/// and no ancestor in group 2.
CkxRecordBytes FullExe() {
  const auto set = [] { return CkxRecordBytes().Set(); };
  return Exe(5,
             {{kFileVersions, set().U32(0x10000).U32(0).U32(0x1FFFF).U32(0xFFFFFFFE)},  // 1 to 2
              {kProductVersions, set().U32(0x20000).U32(0).U32(~0u).U32(~0u)},          // from 2
              {kLocation, set().Obfuscated(u"C:\\Apps").U8(1).Text(u"FIXED,CDROM")},
              {kFileName, set().Obfuscated(u"app.exe").U16(1).Text(u"SHA256").Text(u"SHA256##00FF").U64(1000)},
              {kArguments, set().Obfuscated(u"/quiet").U8(0).U16(3)},
              {kOwners, set().U32(2).Set().Sid(32, 544).Set().Sid(18)},
              {kPublishers, set().U32(1).Set().Obfuscated(u"Vendor").U8(1).U16(1).U8(0)},
              {kVersionFields, set().U32(1).Set().Obfuscated(u"Vend*").U8(0).U16(4).Obfuscated(u"CompanyName")},
              {kServiceName, set().Obfuscated(u"Spooler")},
              {kParentProcess, set().Id(1).U8(0).Id(2).U8(1)}},
             CkxRecordBytes().Obfuscated(u"Shop"));
}

CkxRecordBytes FullExclude() {
  return Target(16, 9)
      .Set()
      .Obfuscated(u"C:\\Apps")
      .U8(1)
      .Text(u"FIXED")
      .Append(FileName(u"app.exe"))
      .Text(u"D:(A;;GR;;;WD)");
}

CkxTargetInfoPtr Program(const WCHAR* path) {
  return CkxTargetInfoPtr(new CkxTargetInfoProcess(KxTest_FileAt(path), SkxProcessFacts(), nullptr));
}

/// Groups of one program each: 1 is explorer.exe, 2 browser.exe.
class TargetTest : public testing::Test {
 protected:
  TargetTest() { _source.Publish(EkxPolicySection::AppGroups, {Named(1, u"explorer.exe"), Named(2, u"browser.exe")}); }

 private:
  static KxBytes Named(unsigned char id, std::u16string_view program) {
    return Group(id, {Exe(6, {{kFileName, FileName(program)}})}).Bytes();
  }

  CkxSectionSource _source;
  CkxPolicySourceScope _scope{_source};
};

TEST_F(TargetTest, OfEveryTypeEitherAKindOrNothing) {
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

TEST_F(TargetTest, AShorterRecordIsNone) {
  KxTest_ExpectNoneShorter(FullExe(), 4);
  KxTest_ExpectNoneShorter(FullExclude());
  KxTest_ExpectNoneShorter(Url(7, u"http*"));
  KxTest_ExpectNoneShorter(Link(8, 3));
}

TEST_F(TargetTest, AListGoesOnWhereTheBodyEndedAndNotWhereTheSizeSays) {
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

/// The check that ended the match, with what it told; empty for a match.
std::string Ending(const CkxShBufTarget& target, const CkxTargetInfo& description) {
  const CkxRecordedMachine drives({{KXW('C'), EkxDriveType::Fixed}}, EkxDriveType::Removable);
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
  const std::string parent =
      "check parentProcess: in {00000001-0000-0000-0000-000000000001}, "
      "not in {00000002-0000-0000-0000-000000000002} (any ancestor) / ";
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
      {"no parent known", [](Launch& l) { l.ancestors.clear(); }, parent + "unknown"},
      {"included group looks at the direct parent only",
       [](Launch& l) {
         l.ancestors = {KXW("C:\\cmd.exe"), KXW("C:\\Windows\\explorer.exe")};
       },
       parent + "C:\\cmd.exe"},
      {"excluded group looks at any ancestor",
       [](Launch& l) {
         l.ancestors = {KXW("C:\\explorer.exe"), KXW("C:\\cmd.exe"), KXW("C:\\browser.exe")};
       },
       parent + "C:\\explorer.exe"},
      {"excluded group looks all the way up",
       [](Launch& l) {
         l.ancestors.assign(200, KXW("C:\\explorer.exe"));
         l.ancestors.push_back(KXW("C:\\browser.exe"));
       },
       parent + "C:\\explorer.exe"},
  };
  const CkxReadTarget exe(FullExe());
  ASSERT_NE(exe.node, nullptr);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Launch launch;
    c.change(launch);
    EXPECT_EQ(Ending(exe.As(), *launch.Describe()), c.ending);
  }
}

TEST_F(TargetTest, AnExecutableAsksForNothingThatIsNotSet) {
  const SkxFileFacts bare = KxTest_FileAt(KXW("x.exe"));
  const CkxTargetInfoFile file(bare, nullptr);
  const CkxTargetInfoActiveX control(bare, SkxServerFacts(), nullptr);
  const auto parent = [](unsigned char included, unsigned char excluded) {
    return Exe(6, {{kParentProcess, CkxRecordBytes().Set().Id(included).U8(0).Id(excluded).U8(0)}});
  };
  const CkxRecordBytes origin = CkxRecordBytes().Set().U8(0).U32(3).Unset(6);

  EXPECT_EQ(Ending(CkxReadTarget(Exe(6)).As(), file), "");
  EXPECT_EQ(Ending(CkxReadTarget(Exe(6)).As(), control), "check kind: Executable file / ActiveX");
  EXPECT_EQ(Ending(CkxReadTarget(Exe(6, {{kOrigin, origin}})).As(), file),
            "check origin: of source type 3 / no origin record");

  const Launch launch;
  EXPECT_EQ(Ending(CkxReadTarget(parent(0, 2)).As(), *launch.Describe()), "") << "an excluding group alone";
  EXPECT_THAT(Ending(CkxReadTarget(parent(0, 0)).As(), *launch.Describe()), testing::StartsWith("check parentProcess"));
  EXPECT_THAT(Ending(CkxReadTarget(parent(1, 77)).As(), *launch.Describe()), testing::StartsWith("check parentProcess"))
      << "a group that is not there";
}

TEST_F(TargetTest, ArgumentsThatAreNotKnownMatchNoPattern) {
  const auto arguments = [](std::u16string_view pattern, uint16_t mode) {
    return Exe(6, {{kArguments, CkxRecordBytes().Set().Obfuscated(pattern).U8(0).U16(mode)}});
  };
  for (const CkxRecordBytes& any : {arguments(u"", 1), arguments(u"*", 4), arguments(u".*", 5)}) {
    Launch launch;
    launch.process.commandLine.clear();
    EXPECT_THAT(Ending(CkxReadTarget(any).As(), *launch.Describe()), testing::EndsWith(" / no command line"));
    launch.process.commandLine = KXW("app.exe");
    EXPECT_EQ(Ending(CkxReadTarget(any).As(), *launch.Describe()), "") << "known to have none";
  }
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
  const CkxReadTarget all(FullExclude());
  const CkxReadTarget nameOnly(Target(16, 9).Unset().Append(FileName(u"app.exe")).Absent());
  const CkxReadTarget anything(Target(16, 9).Unset(2).Absent());
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
  const CkxReadTarget vendor(Url(7, u"http://vendor/*"));
  const CkxReadTarget any(Url(7, u""));
  const CkxReadTarget unset(Target(7, 7).Unset());

  EXPECT_EQ(Ending(vendor.As(), request), "");
  EXPECT_EQ(Ending(CkxReadTarget(Url(7, u"ftp:*")).As(), request), "check url: is like ftp:* / HTTP://vendor/setup");
  const CkxTargetInfoElevator unknown(2, KXW(""), nullptr);
  EXPECT_EQ(Ending(CkxReadTarget(Url(7, u"*")).As(), unknown), "check url: is like * / no address");
  for (const CkxReadTarget* all : {&any, &unset}) {
    EXPECT_EQ(Ending(all->As(), request), "");
    EXPECT_EQ(Ending(all->As(), unknown), "");
    EXPECT_THAT(Ending(all->As(), otherKind), testing::StartsWith("check kind"));
    EXPECT_THAT(Ending(all->As(), *Program(KXW("C:\\http.exe"))), testing::StartsWith("check kind"));
  }
}

TEST_F(TargetTest, DebugTexts) {
  EXPECT_EQ(KxTest_DebugText(Link(8, 3)),
            "\r\n  Target: AppGroupLink. GUID={00000003-0000-0000-0000-000000000003}\r\n");
  EXPECT_EQ(KxTest_DebugText(Url(7, u"http*")), "\r\n  Target: URL: http*\r\n");
  EXPECT_EQ(KxTest_DebugText(FullExclude()),
            "\r\n  Target: EXCLUDE.\r\n    Location (with subfolders): C:\\Apps\r\n    LocationTypes: FIXED\r\n"
            "    Filename: app.exe\r\n    Users: D:(A;;GR;;;WD)\r\n");
  EXPECT_EQ(KxTest_DebugText(Target(16, 9).Set().Obfuscated(u"C:\\").U8(0).Absent().Unset().Text(u"KxNoUsers")),
            "\r\n  Target: EXCLUDE.\r\n    Location: C:\\\r\n");
  EXPECT_EQ(KxTest_DebugText(Target(16, 9).Unset(2).Text(u"KxNoUsersX")),
            "\r\n  Target: EXCLUDE.\r\n    Users: KxNoUsersX\r\n");
  EXPECT_EQ(KxTest_DebugText(FullExe()),
            "\r\n  Target: EXE. Inheritable=Yes\r\n    FileVersion: 1.0.0.0 to 1.65535.65535.65534\r\n"
            "    ProductVersion: from 2.0.0.0\r\n    Location (with subfolders): C:\\Apps\r\n"
            "    LocationTypes: FIXED,CDROM\r\n    Filename: equals app.exe, SHA256##00FF, 1000 bytes\r\n"
            "    Arguments: contains /quiet\r\n    Owners: S-1-5-32-544 or S-1-5-18\r\n"
            "    Publishers: equals Vendor, case-sensitive\r\n    VersionInfo: CompanyName is like Vend*\r\n"
            "    Service: Spooler\r\n    ParentProcess: in {00000001-0000-0000-0000-000000000001}, "
            "not in {00000002-0000-0000-0000-000000000002} (any ancestor)\r\n    SoftwareDistributor: Shop\r\n");
}

}  // namespace
