#include <kx_util/file_src_process.h>

#include <kx_util/shared_policies_data.h>
#include <nlohmann/json.hpp>

#include <map>

#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "tests/support/data_rows.h"
#include "tests/support/policy_documents.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/utf8.h"

namespace {

using nlohmann::json;

/// What is remembered in the words of a document: texts, and the status of the publisher as its number.
CkxFileSrcProcess Remembered(const json& document) {
  using Facts = SkxFileSrcProcessFacts;
  static const std::map<std::string, KxWString Facts::*> texts = {
      {"path", &Facts::path},
      {"locationType", &Facts::locationType},
      {"arguments", &Facts::arguments},
      {"hash", &Facts::hash},
      {"serviceNames", &Facts::serviceNames},
      {"fileDescription", &Facts::fileDescription},
      {"productName", &Facts::productName},
      {"publisher", &Facts::publisher},
      {"wellKnown", &Facts::wellKnown},
      {"softwareDistributor", &Facts::softwareDistributor},
  };
  Facts facts;
  for (const auto& [key, value] : document.items()) {
    if (key == "status") {
      facts.publisherStatus = value;
    } else if (key == "devApp") {
      facts.isDeveloperApp = value;
    } else if (key == "copySource") {
      facts.copySource.path = KxText_FromUtf8(value.at(0).get<std::string>()).value();
      facts.copySource.locationType = KxText_FromUtf8(value.at(1).get<std::string>()).value();
    } else {
      facts.*texts.at(key) = KxText_FromUtf8(value.get<std::string>()).value();
    }
  }
  return CkxFileSrcProcess(facts);
}

json PolicyDocument(uint32_t id, const char* action, const json& targets) {
  return {{"id", id}, {"name", "Tools"}, {"action", action}, {"targets", targets}};
}

void ExpectDistributor(const json& sheet, const json& name, const std::vector<std::string>& told) {
  const json targets = sheet.value("targets", json::array({sheet.value("target", json())}));
  const json groups = sheet.value("applicationGroups", json::array());
  const CkxImageSource source(KxTest_Compile(
      json({{"policies", {PolicyDocument(1, "softwareDistributor", targets)}}, {"applicationGroups", groups}}).dump()));
  const CkxPolicySourceScope scope(source);
  const CkxRecordedMachine drives({}, EkxDriveType::Fixed);
  const CkxMachineFactsScope machine(drives);
  CkxRecordingObserver observer;
  const CkxEvaluationObserverScope watching(observer);
  CkxUtilStr found = KXW("untouched");
  const CkxFileSrcProcess process = Remembered(sheet.at("remembered"));
  EXPECT_EQ(CkxSharedPoliciesData::IsSoftwareDistributor(process, found, nullptr), !name.is_null());
  EXPECT_EQ(KxText_ToUtf8(found.View()), name.is_null() ? "untouched" : name);
  EXPECT_EQ(observer.lines, told);
}

TEST(FileSrcProcess, IsADistributorByThePolicysFirstTargetThatMatches) {
  json shared;
  for (const CkxDataRow& row : KxTest_Rows("origin/distributors.txt")) {
    SCOPED_TRACE(row.At());
    if (row.Fields().is_object()) {
      shared = row.Fields();
      continue;
    }
    row.RequireCount(4);
    json sheet = shared;
    sheet.merge_patch(row.Fields()[1]);
    ExpectDistributor(sheet, row.Fields()[2], row.Fields()[3]);
  }
}

TEST(FileSrcProcess, AnswersAsTheProcessDidThatItRemembers) {
  const std::vector<CkxDataRow> rows = KxTest_Rows("origin/processes.txt");
  ASSERT_EQ(rows.size(), 3u);
  const json& properties = rows[0].Fields();
  size_t matched = 0;
  for (unsigned subset = 0; subset < 1u << properties.size(); ++subset) {
    json target = {{"type", "executable"}};
    for (size_t i = 0; i < properties.size(); ++i) {
      if ((subset >> i & 1) != 0) target.update(properties[i]);
    }
    const json targets = json::array({target});
    const json policies = {PolicyDocument(1, "block", targets), PolicyDocument(2, "softwareDistributor", targets)};
    const CkxImageSource source(KxTest_Compile(json({{"policies", policies}}).dump()));
    const CkxPolicySourceScope scope(source);
    for (const json& change : rows[2].Fields()) {
      json described = rows[1].Fields()[0];
      described.merge_patch(change);
      const CkxTargetDocument document = CkxTargetDocument::FromJson(described);
      const CkxMachineFactsScope machine(document.Machine());
      CkxFileSrcProcess remembered;
      EXPECT_TRUE(remembered.Fill(static_cast<const CkxTargetInfoProcess&>(document.Target())));
      const bool matches = CkxSharedPoliciesData::IsBlocked(document.Target());
      CkxUtilStr name;
      EXPECT_EQ(CkxSharedPoliciesData::IsSoftwareDistributor(remembered, name, nullptr), matches) << target << change;
      matched += matches ? 1 : 0;
    }
  }
  EXPECT_GT(matched, 64u);
}

TEST(FileSrcProcess, RemembersWhatADescriptionTells) {
  const CkxTargetDocument live = CkxTargetDocument::FromJson(KxTest_Rows("origin/processes.txt").at(1).Fields()[0]);
  SkxFileSrcProcessFacts before;
  before.order = 2;
  before.softwareDistributor = KXW("Shop");
  before.copySource.path = KXW("\\\\server\\share\\get.exe");
  CkxFileSrcProcess process(before);
  ASSERT_TRUE(process.Fill(static_cast<const CkxTargetInfoProcess&>(live.Target())));

  const SkxFileSrcProcessFacts& facts = process.Facts();
  EXPECT_FALSE(facts.isSetup);
  ASSERT_TRUE(facts.user.has_value());
  EXPECT_EQ(facts.user->Facts().sid.value().ToUtf8(), "S-1-5-21-1-2-3-1001");
  EXPECT_EQ(facts.order, 2) << "what only its surroundings tell stays";
  EXPECT_EQ(facts.softwareDistributor, KXW("Shop"));
  EXPECT_EQ(facts.copySource.path, before.copySource.path);
  EXPECT_EQ(facts.urlZone, SkxFileSrcProcessFacts::kUnknownUrlZone);
  EXPECT_EQ(process.CommandLine(), KXW("\"E:\\My Apps\\Get.exe\" /quiet \"a b\""));

  EXPECT_FALSE(process.Fill(CkxTargetInfoProcess(SkxFileFacts(), SkxProcessFacts(), nullptr)));
  EXPECT_NE(process.GetPath(), nullptr) << "a process without a path leaves the record alone";

  const CkxTargetInfoProcess bare(KxTest_FileAt(KXW("C:\\b.exe")), SkxProcessFacts(), nullptr);
  ASSERT_TRUE(process.Fill(bare));
  EXPECT_EQ(facts.hash + facts.publisher + facts.productName + facts.arguments, KXW(""))
      << "nothing stays of the process before";
  EXPECT_EQ(facts.publisherStatus, EkxPublisherStatus::Unknown);
}

TEST(FileSrcProcess, OffersItsFactsToMatchers) {
  const CkxFileSrcProcess process = Remembered({{"hash", "SHA256##00FF"}});
  CkxUtilStr algorithm = KXW("?");
  CkxUtilStr hash = KXW("?");
  EXPECT_TRUE(process.GetHash(algorithm, hash));
  EXPECT_EQ(algorithm, CkxUtilStr(KXW("SHA256")));
  EXPECT_EQ(hash, CkxUtilStr(KXW("00FF")));
  EXPECT_EQ(KxText_ToUtf8(process.GetHashStringUsing(KXW("sha256"))), "SHA256##00FF");
  EXPECT_EQ(process.GetHashStringUsing(KXW("SHA")), nullptr);
  EkxPublisherStatus status = EkxPublisherStatus::Valid;
  EXPECT_EQ(process.GetPublisher(true, status), nullptr);
  EXPECT_EQ(status, EkxPublisherStatus::Unknown) << "a second signer is not remembered";
  EXPECT_EQ(process.GetVersionInfo(nullptr), nullptr);

  for (const WCHAR* malformed : {KXW(""), KXW("SHA256"), KXW("##00FF"), KXW("SHA256#00FF")}) {
    SkxFileSrcProcessFacts facts;
    facts.hash = malformed;
    EXPECT_EQ(CkxFileSrcProcess(facts).GetHashStringUsing(KXW("SHA256")), nullptr);
  }
  const CkxFileSrcProcess nothing;
  EXPECT_EQ(nothing.GetPath(), nullptr);
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

TEST(FileSrcProcess, GivesFilesTheirTypes) {
  KxTest_ForRows<json, json>("origin/source_types.txt", [](const json& remembered, const json& expected) {
    const CkxFileSrcProcess process = Remembered(remembered);
    CkxUtilStr types;
    process.SourceTypes().ToStr(types);
    const WCHAR* name = KXW("untouched");
    const WCHAR* detail = KXW("untouched");
    const CkxFileSrcType::EkxType main = process.GetMainSourceType(name, detail);
    const json found = {KxText_ToUtf8(types.View()), main, KxTest_Utf8(name), KxTest_Utf8(detail),
                        KxTest_Utf8(process.GetDisplayName())};
    EXPECT_EQ(found, expected);
    EXPECT_EQ(process.GetMainSourceType(), main);
  });
}

TEST(FileSrcProcess, TypesFollowTheFacts) {
  CkxFileSrcProcess process;
  EXPECT_EQ(process.GetMainSourceType(), CkxFileSrcType::None);
  process.Facts().wellKnown = KXW("Chrome");
  EXPECT_EQ(process.GetMainSourceType(), CkxFileSrcType::Internet);
}

TEST(FileSrcProcess, RemembersImagesThatAreGone) {
  const KxWString path = CkxFileSrcProcess::_FormatDeletedPath(0xAB01, KXW("C:\\a.exe"));
  EXPECT_EQ(KxText_ToUtf8(path), ":DEL:000000000000AB01:C:\\a.exe");
  EXPECT_TRUE(CkxFileSrcProcess::IsPathDeleted(path));
  EXPECT_TRUE(CkxFileSrcProcess::IsPathDeleted(CkxFileSrcProcess::_FormatDeletedPath(~uint64_t{0}, {})));
  EXPECT_FALSE(CkxFileSrcProcess::IsPathDeleted(KXW(":del:00")));
  EXPECT_FALSE(CkxFileSrcProcess::IsPathDeleted(KXW("C:\\:DEL:")));
}

TEST(FileSrcProcess, EndsTheWalkUp) {
  const auto ends = [](const WCHAR* wellKnown, bool ofPackage) {
    SkxFileSrcProcessFacts facts;
    facts.wellKnown = wellKnown;
    return CkxFileSrcProcess(facts)._IsProcessStackTerminator(ofPackage);
  };
  for (const WCHAR* const last :
       {KXW("Explorer"), KXW("taskmgr"), KXW("services"), KXW("chrome"), KXW("firefox"), KXW("opera"), KXW("skype"),
        KXW("totalcmd"), KXW("outlook"), KXW("browser_broker"), KXW("msedge"), KXW("system")}) {
    EXPECT_TRUE(ends(last, false) && ends(last, true)) << KxTest_Utf8(last);
  }
  for (const WCHAR* const other : {KXW(""), KXW("svchost"), KXW("cmd"), KXW("iexplore"), KXW("safari"), KXW("icq")}) {
    EXPECT_FALSE(ends(other, false) || ends(other, true)) << KxTest_Utf8(other);
  }
  EXPECT_TRUE(!ends(KXW("msiexec"), false) && ends(KXW("msiexec"), true));
}

TEST(FileSrcProcess, LiesBesideOtherVersionsOfAComponent) {
  EXPECT_TRUE(CkxFileSrcProcess::_InWinSxS(KXW("C:\\windows\\WinSxS\\x\\TiWorker.exe")));
  EXPECT_FALSE(CkxFileSrcProcess::_InWinSxS(KXW("C:\\Windows\\WinSxS\\..\\a.exe")));
  EXPECT_FALSE(CkxFileSrcProcess::_InWinSxS(KXW("C:\\Users\\winsxs\\a.exe")));
}

}  // namespace
