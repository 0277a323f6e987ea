#include <kx_util/file_src_process.h>

#include <gmock/gmock.h>

#include <functional>

#include "Common_CPP/access_token/access_token.h"
#include "tests/kx_util/policy/held_policy.h"
#include "tests/support/data_rows.h"
#include "tests/support/read_target.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"

namespace {

using namespace kx_test_records;
using testing::ElementsAre;

/// What `Program` asks for.
SkxFileSrcProcessFacts Remembered() {
  SkxFileSrcProcessFacts facts;
  facts.path = KXW("E:\\My Apps\\Get.exe");
  facts.locationType = KXW("REMOVABLE");
  facts.arguments = KXW("/quiet \"a b\"");
  facts.hash = KXW("SHA256##00FF");
  facts.serviceNames = KXW("Netlogon/Spooler");
  facts.fileDescription = KXW("Gets things");
  facts.productName = KXW("Getter");
  facts.publisher = KXW("Vendor");
  facts.publisherStatus = EkxPublisherStatus::Valid;
  return facts;
}

CkxRecordBytes Field(std::u16string_view field, std::u16string_view pattern) {
  return CkxRecordBytes().Set().Obfuscated(pattern).U8(0).U16(1).Obfuscated(field);
}
CkxRecordBytes HashedName(uint64_t fileSize) {
  return CkxRecordBytes().Set().Obfuscated(u"get.exe").U16(1).Text(u"SHA256").Text(u"SHA256##00FF").U64(fileSize);
}
CkxRecordBytes Range() { return CkxRecordBytes().Set().U32(0x10000).U32(0).U32(~0u).U32(~0u); }

/// All that a target can ask of a remembered process.
std::map<ExeProperty, CkxRecordBytes> Held() {
  const CkxRecordBytes description = Field(u"fileDescription", u"gets things");
  const CkxRecordBytes product = Field(u"ProductName", u"Getter");
  const CkxRecordBytes publisher = CkxRecordBytes().Set().Obfuscated(u"Vendor").U8(0).U16(1).U8(0);
  return {
      {kArguments, CkxRecordBytes().Set().Obfuscated(u"/quiet  \"a b\"").U8(0).U16(1)},
      {kFileName, HashedName(~uint64_t{0})},
      {kLocation, CkxRecordBytes().Set().Obfuscated(u"E:\\My Apps").U8(0).Text(u"CDROM,REMOVABLE")},
      {kServiceName, CkxRecordBytes().Set().Obfuscated(u"spooler")},
      {kVersionFields, CkxRecordBytes().Set().Append(List({description, product}))},
      {kPublishers, CkxRecordBytes().Set().Append(List({publisher}))},
  };
}

/// The check that ended the match; empty for a match.
std::string Ending(const CkxShBufTarget& target, const SkxFileSrcProcessFacts& facts) {
  const CkxRecordedMachine drives({}, EkxDriveType::Fixed);
  const CkxMachineFactsScope machine(drives);
  CkxRecordingObserver observer;
  const CkxEvaluationObserverScope watching(observer);
  const bool matched = target.MatchProcess(CkxFileSrcProcess(facts));
  EXPECT_EQ(observer.lines.size(), matched ? 0u : 1u);
  return matched ? "" : observer.lines.front();
}

TEST(FileSrcProcess, MatchesWhenAllThatATargetAsksForIsRemembered) {
  const struct {
    const char* name;
    std::function<void(SkxFileSrcProcessFacts&)> change;
    std::string ending;
  } cases[] = {
      {"all", [](auto&) {}, ""},
      {"arguments", [](auto& f) { f.arguments = KXW("/quiet a b"); },
       "check arguments: equals /quiet  \"a b\" / \"E:\\My Apps\\Get.exe\" /quiet a b"},
      {"no arguments", [](auto& f) { f.arguments.clear(); },
       "check arguments: equals /quiet  \"a b\" / \"E:\\My Apps\\Get.exe\""},
      {"name", [](auto& f) { f.path = KXW("E:\\My Apps\\Got.exe"); },
       "check fileName: equals get.exe, SHA256##00FF / Got.exe"},
      {"no path", [](auto& f) { f.path.clear(); }, "check fileName: equals get.exe, SHA256##00FF / no path"},
      {"hash", [](auto& f) { f.hash = KXW("SHA256##00FE"); },
       "check fileName: equals get.exe, SHA256##00FF / SHA256##00FE"},
      {"another algorithm", [](auto& f) { f.hash = KXW("MD5##00FF"); },
       "check fileName: equals get.exe, SHA256##00FF / no such hash"},
      {"the other kind of drive that is asked for", [](auto& f) { f.locationType = KXW("cdrom"); }, ""},
      {"kind of drive", [](auto& f) { f.locationType = KXW("REMOTE"); },
       "check location: E:\\My Apps, on CDROM,REMOVABLE / E:\\My Apps\\Get.exe, on REMOTE"},
      {"a kind that is no drive's: the machine is asked", [](auto& f) { f.locationType = KXW("INTERNET"); },
       "check location: E:\\My Apps, on CDROM,REMOVABLE / E:\\My Apps\\Get.exe, on FIXED"},
      {"service", [](auto& f) { f.serviceNames = KXW("Netlogon"); }, "check serviceName: spooler / Netlogon"},
      {"description", [](auto& f) { f.fileDescription.clear(); },
       "check versionFields: fileDescription equals gets things and ProductName equals Getter / "
       "fileDescription is missing"},
      {"product", [](auto& f) { f.productName = KXW("Gutter"); },
       "check versionFields: fileDescription equals gets things and ProductName equals Getter / "
       "ProductName is Gutter"},
      {"signature", [](auto& f) { f.publisherStatus = EkxPublisherStatus::Invalid; },
       "check publishers: equals Vendor / Vendor (invalid)"},
      {"a digest that a second signer must confirm",
       [](auto& f) { f.publisherStatus = EkxPublisherStatus::ValidByWeakDigest; },
       "check publishers: equals Vendor / Vendor (valid by a weak digest)"},
  };
  const CkxReadTarget target(Exe(1, Held()));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    SkxFileSrcProcessFacts facts = Remembered();
    c.change(facts);
    EXPECT_EQ(Ending(target.As(), facts), c.ending);
  }
}

TEST(FileSrcProcess, NothingMatchesThatTheRecordDoesNotHold) {
  const struct {
    const char* name;
    ExeProperty property;
    CkxRecordBytes record;
    const char* ending;
  } cases[] = {
      {"file version", kFileVersions, Range(), "check fileVersion: from 1.0.0.0 / not remembered"},
      {"product version", kProductVersions, Range(), "check productVersion: from 1.0.0.0 / not remembered"},
      {"size", kFileName, HashedName(10), "check fileName: equals get.exe, SHA256##00FF, 10 bytes / -1 bytes"},
      {"owner", kOwners, CkxRecordBytes().Set().U32(1).Set().Sid(18), "check owners: S-1-5-18 / not remembered"},
      {"any owner", kOwners, CkxRecordBytes().Set().U32(1).Unset(), "check owners: anything / not remembered"},
      {"version field", kVersionFields, CkxRecordBytes().Set().Append(List({Field(u"CompanyName", u"Vendor")})),
       "check versionFields: CompanyName equals Vendor / CompanyName is missing"},
      {"parent", kParentProcess, CkxRecordBytes().Set().Id(0).U8(0).Id(1).U8(0),
       "check parentProcess: not in {00000001-0000-0000-0000-000000000001} / not remembered"},
      {"origin", kOrigin, CkxRecordBytes().Set().U8(0).U32(3).Unset(6),
       "check origin: of source type 3 / not remembered"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Ending(CkxReadTarget(Exe(1, {{c.property, c.record}})).As(), Remembered()), c.ending);
  }
  EXPECT_EQ(Ending(CkxReadTarget(Exe(1)).As(), SkxFileSrcProcessFacts()), "") << "a target that asks for nothing";
  SkxFileSrcProcessFacts withoutArguments = Remembered();
  withoutArguments.arguments.clear();
  EXPECT_EQ(Ending(CkxReadTarget(Exe(1, {{kArguments, CkxRecordBytes().Set().Obfuscated(u"*").U8(0).U16(4)}})).As(),
                   withoutArguments),
            "check arguments: is like * / \"E:\\My Apps\\Get.exe\"");
  EXPECT_FALSE(CkxReadTarget(Exclude(1, u"get.exe")).As().MatchProcess(CkxFileSrcProcess(Remembered())));
}

/// A process that `Remembered` may have been filled from, on the token of `user`.
struct Live {
  SkxFileFacts file;
  SkxProcessFacts process;
  CkxAccessToken user = CkxAccessToken(*CkxSid::FromUtf8("S-1-5-21-1-2-3-1001"), {}, false);

  Live() {
    file.path = KXW("E:\\My Apps\\Get.exe");
    file.hashes = {{KXW("SHA256"), KXW("00ff")}};
    file.signers = {{KXW("Vendor"), EkxPublisherStatus::Valid}};
    file.versionInfo = {{KXW("FileDescription"), KXW("Gets things")}, {KXW("ProductName"), KXW("Getter")}};
    process.commandLine = KXW("\"E:\\My Apps\\get\" /quiet \"a b\"");
    process.services = KXW("Netlogon/Spooler");
  }
  std::unique_ptr<CkxTargetInfoProcess> Describe() {
    return std::make_unique<CkxTargetInfoProcess>(file, process, user.Handle());
  }
};

TEST(FileSrcProcess, RemembersWhatADescriptionTells) {
  const CkxRecordedMachine drives({}, EkxDriveType::Fixed);
  const CkxMachineFactsScope machine(drives);
  SkxFileSrcProcessFacts before;
  before.order = 2;
  before.softwareDistributor = KXW("Shop");
  before.copySource.path = KXW("\\\\server\\share\\get.exe");
  CkxFileSrcProcess process(before);
  Live live;
  ASSERT_TRUE(process.Fill(*live.Describe()));

  const SkxFileSrcProcessFacts& facts = process.Facts();
  const SkxFileSrcProcessFacts expected = Remembered();
  EXPECT_EQ(facts.arguments, expected.arguments);
  EXPECT_EQ(facts.hash, expected.hash);
  EXPECT_FALSE(facts.isSetup);
  ASSERT_TRUE(facts.user.has_value());
  EXPECT_EQ(facts.user->ToUtf8(), "S-1-5-21-1-2-3-1001");
  EXPECT_EQ(facts.order, 2u) << "what only its surroundings tell stays";
  EXPECT_EQ(facts.softwareDistributor, KXW("Shop"));
  EXPECT_EQ(facts.copySource.path, before.copySource.path);
  EXPECT_EQ(facts.urlZone, SkxFileSrcProcessFacts::kUnknownUrlZone);

  const CkxTargetInfoProcess bare(SkxFileFacts(), SkxProcessFacts(), nullptr);
  EXPECT_FALSE(process.Fill(bare));
  EXPECT_EQ(process.Facts().path, expected.path) << "a process without a path leaves the record alone";

  live.file = SkxFileFacts();
  live.file.path = KXW("C:\\b.exe");
  live.process = SkxProcessFacts();
  ASSERT_TRUE(process.Fill(*live.Describe()));
  EXPECT_EQ(process.Facts().hash + process.Facts().publisher + process.Facts().productName + process.Facts().arguments,
            KXW(""))
      << "nothing stays of the process before";
  EXPECT_EQ(process.Facts().publisherStatus, EkxPublisherStatus::Unknown);
}

TEST(FileSrcProcess, AnswersAsTheProcessDidThatItRemembers) {
  const CkxRecordedMachine drives({}, EkxDriveType::Fixed);
  const CkxMachineFactsScope machine(drives);
  std::map<ExeProperty, CkxRecordBytes> properties = Held();
  properties[kLocation] = CkxRecordBytes().Set().Obfuscated(u"E:\\My Apps").U8(1).Text(u"FIXED");
  const std::vector<std::function<void(Live&)>> changes = {
      [](Live&) {},
      [](Live& l) { l.process.commandLine = KXW("get /quiet"); },
      [](Live& l) { l.process.commandLine.clear(); },
      [](Live& l) { l.file.path = KXW("E:\\My Apps\\other.exe"); },
      [](Live& l) { l.file.path = KXW("E:\\Get.exe"); },
      [](Live& l) {
        l.file.hashes = {{KXW("MD5"), KXW("00ff")}};
      },
      [](Live& l) { l.file.signers.clear(); },
      [](Live& l) { l.file.versionInfo.erase(KXW("ProductName")); },
      [](Live& l) { l.process.services.clear(); },
  };
  size_t matched = 0;
  for (unsigned subset = 0; subset < 1u << properties.size(); ++subset) {
    std::map<ExeProperty, CkxRecordBytes> asked;
    unsigned bit = 1;
    for (const auto& property : properties) {
      if ((subset & bit) != 0) asked.insert(property);
      bit <<= 1;
    }
    const CkxReadTarget target(Exe(1, asked));
    for (size_t i = 0; i < changes.size(); ++i) {
      Live live;
      changes[i](live);
      const std::unique_ptr<CkxTargetInfoProcess> process = live.Describe();
      CkxFileSrcProcess remembered;
      remembered.Fill(*process);
      const bool matches = target.As().MatchTarget(*process);
      EXPECT_EQ(target.As().MatchProcess(remembered), matches) << "properties " << subset << ", change " << i;
      if (matches) ++matched;
    }
  }
  EXPECT_GT(matched, 64u);
}

TEST(FileSrcProcess, OffersItsFactsToMatchers) {
  const CkxFileSrcProcess process(Remembered());
  CkxUtilStr algorithm = KXW("?");
  CkxUtilStr hash = KXW("?");
  EXPECT_TRUE(process.GetHash(algorithm, hash));
  EXPECT_EQ(algorithm, CkxUtilStr(KXW("SHA256")));
  EXPECT_EQ(hash, CkxUtilStr(KXW("00FF")));
  EXPECT_EQ(KxText_ToUtf8(process.GetHashStringUsing(KXW("sha256"))), "SHA256##00FF");
  EXPECT_EQ(process.GetHashStringUsing(KXW("SHA")), nullptr);
  EXPECT_EQ(process.GetHashStringUsing(nullptr), nullptr);
  EkxPublisherStatus status = EkxPublisherStatus::Valid;
  EXPECT_EQ(process.GetPublisher(true, status), nullptr);
  EXPECT_EQ(status, EkxPublisherStatus::Unknown) << "a second signer is not remembered";
  EXPECT_EQ(process.GetVersionInfo(KXW("CompanyName")), nullptr);
  EXPECT_EQ(process.GetVersionInfo(nullptr), nullptr);

  for (const WCHAR* malformed : {KXW(""), KXW("SHA256"), KXW("##00FF"), KXW("SHA256#00FF")}) {
    SkxFileSrcProcessFacts facts;
    facts.hash = malformed;
    EXPECT_EQ(CkxFileSrcProcess(facts).GetHashStringUsing(KXW("SHA256")), nullptr);
  }
  const CkxFileSrcProcess nothing;
  EXPECT_EQ(nothing.GetPath(), nullptr);
  EXPECT_EQ(nothing.GetVersionInfo(KXW("ProductName")), nullptr);
  EXPECT_FALSE(nothing.GetHash(algorithm, hash));
}

TEST(FileSrcProcess, SetupsAreKnownByNameOrByKeyword) {
  using TextOrNone = std::optional<KxWString>;
  KxTest_ForRows<std::string, KxWString, TextOrNone, TextOrNone, bool>(
      "origin/setups.txt",
      [](const auto&, const auto& path, const auto& originalName, const auto& description, bool isSetup) {
        SkxFileFacts file = KxTest_FileAt(path);
        if (originalName) file.versionInfo[KXW("OriginalFilename")] = *originalName;
        if (description) file.versionInfo[KXW("FileDescription")] = *description;
        const CkxTargetInfoProcess process(file, SkxProcessFacts(), nullptr);
        EXPECT_EQ(CkxFileSrcProcess::IsSetupExeTarget(process), isSetup);
        CkxFileSrcProcess remembered;
        EXPECT_TRUE(remembered.Fill(process));
        EXPECT_EQ(remembered.Facts().isSetup, isSetup);
      });
  for (const WCHAR* text : {KXW("setup"), KXW("reINSTALLed"), KXW("Updates"), KXW("an upgrade")}) {
    EXPECT_TRUE(CkxFileSrcProcess::ContainsInstallerKeywords(text));
  }
  for (const WCHAR* text : {KXW("set up"), KXW("instal"), KXW(""), static_cast<const WCHAR*>(nullptr)}) {
    EXPECT_FALSE(CkxFileSrcProcess::ContainsInstallerKeywords(text));
  }
}

TEST(FileSrcProcess, IsADistributorByThePolicysFirstTargetThatMatches) {
  const auto named = [](unsigned char id, std::u16string_view program, std::u16string_view distributor) {
    return Exe(id, {{kFileName, FileName(program)}}, CkxRecordBytes().Obfuscated(distributor));
  };
  const CkxRecordBytes nameless = Exe(2, {{kFileName, FileName(u"get.exe")}});
  CkxSectionSource source;
  source.Publish(EkxPolicySection::AppGroups,
                 {Group(1, {named(11, u"other.exe", u"Other"), named(12, u"get.exe", u"Grouped")}).Bytes()});
  const CkxPolicySourceScope scope(source);
  const struct {
    const char* name;
    std::vector<CkxRecordBytes> targets;
    std::string distributor;  // "untouched": none
  } cases[] = {
      {"no targets", {}, "untouched"},
      {"another program", {named(1, u"other.exe", u"Shop")}, "untouched"},
      {"the first of two", {named(1, u"get.exe", u"Shop"), named(2, u"get.exe", u"Market")}, "Shop"},
      {"a name of its own that is empty", {named(1, u"get.exe", u"")}, "Name"},
      {"no name of its own: the policy's", {nameless}, "Name"},
      {"in a group", {named(1, u"other.exe", u"Shop"), Link(3, 1)}, "Grouped"},
      {"a group that is not there", {Link(3, 9), nameless}, "Name"},
      {"what is no program", {Exclude(4, u"get.exe"), Url(5, u"*")}, "untouched"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const CkxHeldPolicy<CkxShBufPolicySoftwareDistributors> policy(PolicyWith(13, c.targets));
    CkxUtilStr name = KXW("untouched");
    const bool is = policy->IsSoftwareDistributor(CkxFileSrcProcess(Remembered()), name);
    EXPECT_EQ(is, c.distributor != "untouched");
    EXPECT_EQ(KxText_ToUtf8(name.View()), c.distributor);
  }

  CkxRecordingObserver observer;
  const CkxEvaluationObserverScope watching(observer);
  const CkxHeldPolicy<CkxShBufPolicySoftwareDistributors> policy(PolicyWith(13, {Link(3, 1)}));
  CkxUtilStr name;
  EXPECT_TRUE(policy->IsSoftwareDistributor(CkxFileSrcProcess(Remembered()), name));
  EXPECT_THAT(observer.lines, ElementsAre("check fileName: equals other.exe / Get.exe", "target 3 11 did not match",
                                          "target 3 12 matched"));
}

}  // namespace
