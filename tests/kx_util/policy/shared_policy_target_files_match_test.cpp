#include <gtest/gtest.h>
#include <kx_util/target_info_kinds.h>

#include <functional>

#include "tests/kx_util/policy/file_target_records.h"
#include "tests/support/read_target.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"
#include "tests/support/target_records.h"

namespace {

using namespace kx_file_targets;

/// What is there to be matched, as far as any of the targets asks. The facts are those of the thing that the targets
/// are about; the host is what carries it, if anything does.
struct Thing {
  enum class As { File, Process, FileOfHost, ProcessOfHost, ActiveX, UacCom };
  As as = As::Process;
  SkxFileFacts file;
  SkxProcessFacts process;
  SkxProcessFacts host;
  SkxServerFacts server = {KXW("{0000000C-0000-0000-C000-000000000046}"), KXW("https://vendor/control.cab")};
  const WCHAR* parent = KXW("C:\\Windows\\explorer.exe");

  explicit Thing(EkxPolicyTarget type) {
    file.path = KXW("C:\\Apps\\Sub\\Thing.dat");
    file.targetType = static_cast<uint32_t>(type);
    file.size = 1000;
    file.hashes = {{KXW("SHA1"), KXW("00ff")}};
    file.signers = {{KXW("Vendor"), EkxPublisherStatus::Valid}};
    file.owner = CkxSid::FromUtf8("S-1-5-18");
    file.fileVersion = KXW("1.5.0.0");
    file.versionInfo = {{KXW("CompanyName"), KXW("Vendor Inc.")}, {KXW("ProductVersion"), KXW("2.1")}};
    file.msiProperties = {{KXW("ProductVersion"), KXW("3.0")}, {KXW("ProductCode"), KXW("{1}")}};
    file.appPackage = {KXW("vendor.app"), KXW("1.2.3.4"), {KXW("InternetClient"), KXW("music")}};
    process.commandLine = KXW("thing.dat /quiet");
    host.commandLine = KXW("host.exe /loud");
    if (type == EkxPolicyTarget::ActiveX) as = As::ActiveX;
    if (type == EkxPolicyTarget::Com) as = As::UacCom;
  }

  CkxTargetInfoPtr Describe() const {
    switch (as) {
      case As::File:
        return CkxTargetInfoPtr(new CkxTargetInfoFile(file, nullptr));
      case As::ActiveX:
        return CkxTargetInfoPtr(new CkxTargetInfoActiveX(file, server, nullptr));
      case As::UacCom:
        return CkxTargetInfoPtr(new CkxTargetInfoUacCOM(file, server, nullptr));
      default:
        break;
    }
    SkxFileFacts program = file;
    if (as != As::Process) program = KxTest_FileAt(KXW("C:\\host.exe"));
    auto carrier = std::make_unique<CkxTargetInfoProcess>(program, as == As::Process ? process : host, nullptr);
    if (parent != nullptr) {
      carrier->SetParent(CkxTargetInfoPtr(new CkxTargetInfoProcess(KxTest_FileAt(parent), SkxProcessFacts(), nullptr)));
    }
    if (as == As::FileOfHost) carrier->AddLinked(CkxTargetInfoPtr(new CkxTargetInfoFile(file, nullptr)));
    if (as == As::ProcessOfHost) {
      carrier->AddLinked(CkxTargetInfoPtr(new CkxTargetInfoProcess(file, process, nullptr)));
    }
    return CkxTargetInfoPtr(carrier.release());
  }
};

/// Group 1 is explorer.exe.
class FileTargetsMatching : public testing::Test {
 protected:
  FileTargetsMatching() {
    namespace records = kx_test_records;
    const CkxRecordBytes explorer = records::Exe(5, {{records::kFileName, records::FileName(u"explorer.exe")}});
    _source.Publish(EkxPolicySection::AppGroups, {records::Group(1, {explorer}).Bytes()});
  }

  /// The check that ends the match, with what it told; empty for a match.
  std::string Ending(const CkxRecordBytes& record, const Thing& thing) const {
    const CkxReadTarget target(record);
    const CkxTargetInfoPtr description = thing.Describe();
    CkxRecordingObserver observer;
    const CkxEvaluationObserverScope watching(observer);
    const bool matched = target.As().MatchTarget(*description);
    EXPECT_EQ(observer.lines.size(), matched ? 0u : 1u);
    return matched ? "" : observer.lines.front();
  }

  /// The name of that check.
  std::string Failed(const CkxRecordBytes& record, const Thing& thing) const {
    const std::string line = Ending(record, thing);
    return line.empty() ? "" : line.substr(6, line.find(':') - 6);
  }

 private:
  CkxSectionSource _source;
  CkxPolicySourceScope _scope{_source};
  CkxRecordedMachine _drives{{{KXW('C'), EkxDriveType::Fixed}}, EkxDriveType::Removable};
  CkxMachineFactsScope _machine{_drives};
};

using Change = std::function<void(Thing&)>;
struct NamedChange {
  const char* check;  // that fails for it
  Change change;
};

// One for each property, and for each part of one that is put together.
const NamedChange kKind = {"kind", [](Thing& t) { t.file.targetType = 3; }};
const NamedChange kArguments = {"arguments", [](Thing& t) { t.process.commandLine = KXW("thing.dat /loud"); }};
const NamedChange kName = {"fileName", [](Thing& t) { t.file.path = KXW("C:\\Apps\\other.dat"); }};
const NamedChange kSize = {"fileName", [](Thing& t) { t.file.size = 1001; }};
const NamedChange kHash = {"fileName", [](Thing& t) { t.file.hashes[KXW("SHA1")] = KXW("01FF"); }};
const NamedChange kFolder = {"location", [](Thing& t) { t.file.path = KXW("C:\\Apps2\\thing.dat"); }};
const NamedChange kDrive = {"location", [](Thing& t) { t.file.path = KXW("D:\\Apps\\thing.dat"); }};
const NamedChange kOwner = {"owners", [](Thing& t) { t.file.owner = CkxSid::FromUtf8("S-1-5-19"); }};
const NamedChange kFileVersion = {"fileVersion", [](Thing& t) { t.file.fileVersion = KXW("2.0"); }};
const NamedChange kProductVersion = {"productVersion", [](Thing& t) {
                                       t.file.versionInfo[KXW("ProductVersion")] =
                                           t.file.msiProperties[KXW("ProductVersion")] = KXW("1.9");
                                     }};
const NamedChange kInstallerProperty = {"installerProperties",
                                        [](Thing& t) { t.file.msiProperties[KXW("ProductCode")] = KXW("{2}"); }};
const NamedChange kVersionField = {"versionFields",
                                   [](Thing& t) { t.file.versionInfo[KXW("CompanyName")] = KXW("Else"); }};
const NamedChange kPublisher = {"publishers", [](Thing& t) { t.file.signers[0].name = KXW("vendor"); }};
const NamedChange kParent = {"parentProcess", [](Thing& t) { t.parent = KXW("C:\\cmd.exe"); }};
const NamedChange kNoParent = {"parentProcess", [](Thing& t) { t.parent = nullptr; }};
const NamedChange kClassId = {"classId", [](Thing& t) { t.server.classId = KXW("{0000000D-}"); }};
const NamedChange kAddress = {"sourceAddress", [](Thing& t) { t.server.sourceAddress = KXW("http://vendor/"); }};
const NamedChange kPackageName = {"packageName", [](Thing& t) { t.file.appPackage->name = KXW("Vendor.App2"); }};
const NamedChange kPackageVersion = {"packageVersion", [](Thing& t) { t.file.appPackage->version = KXW("2.0"); }};
const NamedChange kLacking = {"capabilities", [](Thing& t) { t.file.appPackage->capabilities = {KXW("music")}; }};
const NamedChange kUnwanted = {"capabilities",
                               [](Thing& t) { t.file.appPackage->capabilities.push_back(KXW("WEBCAM")); }};

TEST_F(FileTargetsMatching, AllThatATargetAsksForMustBeThere) {
  const struct {
    EkxPolicyTarget type;
    CkxRecordBytes record;
    std::vector<NamedChange> changes;
  } kKinds[] = {
      {EkxPolicyTarget::Script,
       Script(),
       {kKind, kArguments, kName, kSize, kHash, kFolder, kDrive, kOwner, kPublisher, kParent, kNoParent}},
      {EkxPolicyTarget::Msi,
       Msi(),
       {kKind, kArguments, kName, kSize, kHash, kFolder, kDrive, kOwner, kProductVersion, kInstallerProperty,
        kPublisher, kParent, kNoParent}},
      {EkxPolicyTarget::Msu,
       Msu(),
       {kKind, kName, kSize, kHash, kFolder, kDrive, kOwner, kPublisher, kParent, kNoParent}},
      {EkxPolicyTarget::Dll,
       Dll(),
       {kKind, kName, kSize, kHash, kFolder, kDrive, kOwner, kFileVersion, kProductVersion, kVersionField, kPublisher}},
      {EkxPolicyTarget::ActiveX, ActiveX(), {kClassId, kAddress, kName, kSize, kHash, kFolder, kDrive, kPublisher}},
      {EkxPolicyTarget::Com,
       Com(),
       {kClassId, kName, kSize, kHash, kFolder, kDrive, kOwner, kVersionField, kPublisher}},
      {EkxPolicyTarget::AppPackage, AppPackage(), {kPackageName, kPackageVersion, kLacking, kUnwanted, kPublisher}},
  };
  for (const auto& kind : kKinds) {
    SCOPED_TRACE(KxText_ToUtf8(KxUtil_PolicyTargetTypeStr(kind.type)));
    EXPECT_EQ(Ending(kind.record, Thing(kind.type)), "");
    for (const NamedChange& change : kind.changes) {
      Thing thing(kind.type);
      change.change(thing);
      EXPECT_EQ(Failed(kind.record, thing), change.check);
    }
    for (size_t i = 0; i + 1 < kind.changes.size(); ++i) {  // cheap checks come first
      Thing thing(kind.type);
      for (size_t later = kind.changes.size(); later-- > i;) kind.changes[later].change(thing);
      EXPECT_EQ(Failed(kind.record, thing), kind.changes[i].check) << "of all from check " << i << " on";
    }
  }
  EXPECT_EQ(Failed(Script(Origin()), Thing(EkxPolicyTarget::Script)), "origin");
  EXPECT_EQ(Failed(Msi(Origin()), Thing(EkxPolicyTarget::Msi)), "origin");
  EXPECT_EQ(Failed(Msu(Origin()), Thing(EkxPolicyTarget::Msu)), "origin");
  EXPECT_EQ(Failed(Dll(Origin()), Thing(EkxPolicyTarget::Dll)), "origin");
}

TEST_F(FileTargetsMatching, ATargetAsksForNothingThatIsNotSet) {
  for (const uint32_t type : kTypes) {
    for (const uint32_t other : kTypes) {
      Thing thing(EkxPolicyTarget{other});
      SkxFileFacts bare;
      bare.targetType = other;
      bare.appPackage = thing.file.appPackage;
      if (other != 20) bare.appPackage.reset();
      thing.file = bare;
      thing.server = SkxServerFacts();
      thing.parent = nullptr;
      if (thing.as == Thing::As::Process) thing.as = Thing::As::File;
      EXPECT_EQ(Failed(Bare(type), thing), type == other ? "" : "kind") << type << " of " << other;
    }
  }
}

TEST_F(FileTargetsMatching, WhatIsCarriedCountsAsWhatItIs) {
  using As = Thing::As;
  const CkxRecordBytes withParent = Joined(Header(4).U8(0).U8(0).Unset(5), {Parent(), Unset()});
  const CkxRecordBytes withArguments = Joined(Header(4).U8(0).U8(0).Unset(2), {Arguments()}).Unset(4);
  const struct {
    const char* name;
    CkxRecordBytes record;
    EkxPolicyTarget type;
    As as;
    std::vector<Change> changes;
    const char* failed;
  } kCases[] = {
      {"the arguments are those of the linked process", Script(), EkxPolicyTarget::Script, As::ProcessOfHost, {}, ""},
      {"or of the host of a linked file", withArguments, EkxPolicyTarget::Script, As::FileOfHost, {}, "arguments"},
      {"which may have them",
       withArguments,
       EkxPolicyTarget::Script,
       As::FileOfHost,
       {[](Thing& t) { t.host.commandLine = KXW("host.exe /quiet"); }},
       ""},
      {"the parent is that of the host", withParent, EkxPolicyTarget::Script, As::FileOfHost, {}, ""},
      {"whatever it is", withParent, EkxPolicyTarget::Script, As::ProcessOfHost, {kParent.change}, "parentProcess"},
      {"a mere script has no arguments", withArguments, EkxPolicyTarget::Script, As::File, {}, "kind"},
      {"nor parents", withParent, EkxPolicyTarget::Script, As::File, {}, "kind"},
      {"a mere package neither", Msi(), EkxPolicyTarget::Msi, As::File, {}, "kind"},
      {"nor a mere update", Msu(), EkxPolicyTarget::Msu, As::File, {}, "kind"},
      {"a package that an installer installs", Msi(), EkxPolicyTarget::Msi, As::ProcessOfHost, {}, ""},
      {"an update that an installer installs", Msu(), EkxPolicyTarget::Msu, As::FileOfHost, {}, ""},
      {"a mere library", Dll(), EkxPolicyTarget::Dll, As::File, {}, ""},
      {"a library that a host loads", Dll(), EkxPolicyTarget::Dll, As::FileOfHost, {}, ""},
      {"a file is no control", ActiveX(), EkxPolicyTarget::ActiveX, As::File, {}, "kind"},
      {"nor a component", Com(), EkxPolicyTarget::Com, As::File, {}, "kind"},
      {"a component is no control", ActiveX(), EkxPolicyTarget::ActiveX, As::UacCom, {}, "kind"},
      {"a control is no component", Com(), EkxPolicyTarget::Com, As::ActiveX, {}, "kind"},
      {"a mere application package", AppPackage(), EkxPolicyTarget::AppPackage, As::File, {}, ""},
      {"a program that runs from one", AppPackage(), EkxPolicyTarget::Executable, As::Process, {}, ""},
      {"a package that a host is for", AppPackage(), EkxPolicyTarget::AppPackage, As::FileOfHost, {}, ""},
      {"a package of which nothing is known",
       Bare(20),
       EkxPolicyTarget::AppPackage,
       As::File,
       {[](Thing& t) { t.file.appPackage.reset(); }},
       "kind"},
      {"what is in no package", Bare(20), EkxPolicyTarget::AppPackage, As::ActiveX, {}, "kind"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    Thing thing(c.type);
    thing.as = c.as;
    for (const Change& change : c.changes) change(thing);
    EXPECT_EQ(Failed(c.record, thing), c.failed);
  }
}

TEST_F(FileTargetsMatching, WhatIsUnknownMatchesNothing) {
  const CkxRecordBytes anyText = CkxRecordBytes().Set().Obfuscated(u"*").U8(0).U16(4);
  const CkxRecordBytes emptyText = CkxRecordBytes().Set().Absent().U8(0).U16(1);
  for (const CkxRecordBytes& text : {anyText, emptyText}) {
    Thing control(EkxPolicyTarget::ActiveX);
    control.server = SkxServerFacts();
    EXPECT_EQ(Failed(Joined(Header(9), {text}).Unset(4), control), "classId");
    EXPECT_EQ(Failed(Joined(Header(9).Unset(), {text}).Unset(3), control), "sourceAddress");
    Thing package(EkxPolicyTarget::AppPackage);
    package.file.appPackage = SkxAppPackageFacts();
    EXPECT_EQ(Failed(Joined(Header(20).U8(0).Unset(), {text}).Unset(2), package), "packageName");
    EXPECT_EQ(Failed(Joined(Header(20).U8(0), {FileVersions()}).Unset(3), package), "packageVersion");
    EXPECT_EQ(Failed(Joined(Header(20).U8(0).Unset(3), {Capabilities()}), package), "capabilities");
  }
}

TEST_F(FileTargetsMatching, AFailedCheckTellsWhatWasThere) {
  const struct {
    CkxRecordBytes record;
    EkxPolicyTarget type;
    NamedChange change;
    std::string ending;
  } kCases[] = {
      {Script(), EkxPolicyTarget::Script, kKind, "check kind: Script / Executable process"},
      {Msi(), EkxPolicyTarget::Msi, kInstallerProperty,
       "check installerProperties: ProductCode equals {1} / ProductCode is {2}"},
      {Msi(),
       EkxPolicyTarget::Msi,
       {"", [](Thing& t) { t.file.msiProperties.erase(KXW("ProductCode")); }},
       "check installerProperties: ProductCode equals {1} / ProductCode is missing"},
      {ActiveX(), EkxPolicyTarget::ActiveX, kClassId, "check classId: is like {0000000C* / {0000000D-}"},
      {ActiveX(),
       EkxPolicyTarget::ActiveX,
       {"", [](Thing& t) { t.server.sourceAddress.clear(); }},
       "check sourceAddress: starts with https://vendor/ / unknown"},
      {AppPackage(), EkxPolicyTarget::AppPackage, kPackageName, "check packageName: equals Vendor.App / Vendor.App2"},
      {AppPackage(), EkxPolicyTarget::AppPackage, kPackageVersion,
       "check packageVersion: 1.0.0.0 to 1.65535.65535.65534 / 2.0"},
      {AppPackage(), EkxPolicyTarget::AppPackage, kUnwanted,
       "check capabilities: internetClient and not webcam / InternetClient, music, WEBCAM"},
      {Joined(Header(20).U8(0).Unset(3), {CkxRecordBytes().Set().U32(1).Set().Obfuscated(u"webcam").U8(0)}),
       EkxPolicyTarget::AppPackage,
       {"", [](Thing& t) { t.file.appPackage->capabilitiesKnown = false; }},
       "check capabilities: not webcam / unknown"},
      {AppPackage(),
       EkxPolicyTarget::AppPackage,
       {"", [](Thing& t) { t.file.appPackage->capabilities.clear(); }},
       "check capabilities: internetClient and not webcam / none"},
  };
  for (const auto& c : kCases) {
    Thing thing(c.type);
    c.change.change(thing);
    EXPECT_EQ(Ending(c.record, thing), c.ending);
  }
}

}  // namespace
