#include <kx_util/file_origin.h>

#include <gtest/gtest.h>
#include <kx_util/drv_xml_data.h>

#include <algorithm>
#include <random>

#include "Common_CPP/util/text.h"
#include "tests/support/recorded_facts.h"

namespace {

using Origin = std::shared_ptr<const CkxFileOrigin>;

CkxFileSrcProcess ProcessOf(SkxFileSrcProcessFacts facts, Origin imageOrigin = nullptr) {
  CkxFileSrcProcess process(std::move(facts));
  process.SetImageOrigin(std::move(imageOrigin));
  return process;
}

/// A program that writes files, by its path, what it is known as, and where its own file came from.
CkxTargetInfoPtr Program(const WCHAR* path, Origin origin = nullptr, CkxTargetInfoPtr parent = nullptr,
                         const WCHAR* signer = nullptr) {
  SkxFileFacts facts = KxTest_FileAt(path);
  facts.origin = std::move(origin);
  if (signer != nullptr) facts.signers = {{signer, EkxPublisherStatus::Valid}};
  auto process = std::make_unique<CkxTargetInfoProcess>(std::move(facts), SkxProcessFacts(), nullptr);
  process->SetParent(std::move(parent));
  return CkxTargetInfoPtr(process.release());
}

Origin Written(const WCHAR* file, const CkxTargetInfoPtr& writer, uint64_t time) {
  auto origin = std::make_shared<CkxFileOrigin>();
  EXPECT_TRUE(origin->FillFromProcess(file, static_cast<const CkxTargetInfoProcess&>(*writer), time));
  return origin;
}

constexpr const WCHAR* kBrowser = KXW("C:\\Firefox\\firefox.exe");
constexpr const WCHAR* kBrowserSigner = KXW("Mozilla Corporation");

// A browser downloads an installer, that writes a program, and that a helper, which writes a file in turn.
TEST(FileOrigin, IsInheritedFromWhatBroughtTheWriter) {
  const CkxRecordedMachine drives({}, EkxDriveType::Fixed);
  const CkxMachineFactsScope machine(drives);

  const Origin installer = Written(KXW("C:\\D\\Setup.exe"), Program(kBrowser, nullptr, nullptr, kBrowserSigner), 10);
  EXPECT_EQ(installer->GetMainSourceType(), CkxFileSrcType::Internet);
  EXPECT_TRUE(installer->ParentInstaller().IsEmpty());

  const Origin program = Written(KXW("C:\\App\\a.exe"), Program(KXW("C:\\D\\Setup.exe"), installer), 20);
  EXPECT_EQ(program->Installer().GetMainSourceType(), CkxFileSrcType::None);
  EXPECT_EQ(program->GetMainSourceType(), CkxFileSrcType::Internet);
  EXPECT_EQ(program->ParentInstaller().InstallTime(), 10u);
  EXPECT_EQ(program->ParentInstaller().FromProcOrder(), 0);
  EXPECT_FALSE(program->ParentInstaller().IsGrandParent());

  // The program was started by a shell that came with the system: one step up, and nothing comes from there.
  const Origin helper = Written(KXW("C:\\App\\b.exe"),
                                Program(KXW("C:\\App\\a.exe"), program, Program(KXW("C:\\Windows\\shell.exe"))), 30);
  EXPECT_EQ(helper->ParentInstaller().InstallTime(), 10u) << "the newest that has a source";
  EXPECT_EQ(helper->ParentInstaller().FromProcOrder(), 0);
  EXPECT_TRUE(helper->ParentInstaller().IsGrandParent());

  const Origin last = Written(KXW("C:\\App\\c.exe"),
                              Program(KXW("C:\\App\\x.exe"), nullptr, Program(KXW("C:\\App\\b.exe"), helper)), 40);
  EXPECT_EQ(last->ParentInstaller().FromProcOrder(), 1);
  EXPECT_TRUE(last->ParentInstaller().IsGrandParent());
  EXPECT_EQ(last->GetMainSourceType(), CkxFileSrcType::Internet);

  // What is kept of it is the same afterwards.
  std::string text, again;
  ASSERT_TRUE(last->ToXml(text, false));
  CkxFileOrigin kept;
  ASSERT_TRUE(kept.FromOwnXml(text));
  ASSERT_TRUE(kept.ToXml(again, false));
  EXPECT_EQ(again, text);
}

/// The rule for the parent installer in other words: of all that the chain came by, in its order, the first of the
/// newest ones among those with a source, or among all when none has.
struct Inherited {
  uint64_t time;
  int32_t order;
  bool isGrandParent;
  bool hasSource;
};
const Inherited* Expected(const std::vector<Inherited>& all) {
  const bool any = std::any_of(all.begin(), all.end(), [](const Inherited& one) { return one.hasSource; });
  const Inherited* best = nullptr;
  for (const Inherited& one : all) {
    if ((one.hasSource || !any) && (best == nullptr || one.time > best->time)) best = &one;
  }
  return best;
}

TEST(FileOrigin, SelectsTheParentInstallerByTheRule) {
  std::mt19937 random(20261122);
  const auto upTo = [&](unsigned most) { return std::uniform_int_distribution<unsigned>(0, most)(random); };
  size_t selected = 0;
  for (int round = 0; round < 3000; ++round) {
    CkxFileSrcInstaller installer;
    std::vector<Inherited> all;
    const auto fill = [&](CkxFileSrcInstaller& record, int32_t order, bool isGrandParent) {
      if (upTo(3) == 0) return;  // nothing is known of it
      record.InstallTime() = 1 + upTo(4);
      const bool hasSource = upTo(2) == 0;
      SkxFileSrcProcessFacts facts;
      if (hasSource) facts.locationType = KXW("CDROM");
      record.Processes().emplace_back(facts);
      all.push_back({record.InstallTime(), order, isGrandParent, hasSource});
    };
    const auto length = static_cast<int32_t>(upTo(5));
    for (int32_t order = 0; order < length; ++order) {
      SkxFileSrcProcessFacts facts;
      facts.order = order;
      auto origin = std::make_shared<CkxFileOrigin>();
      fill(origin->Installer(), order, false);
      fill(origin->ParentInstaller(), order, true);
      installer.Processes().push_back(
          ProcessOf(facts, upTo(4) == 0 && origin->Installer().IsEmpty() && origin->ParentInstaller().IsEmpty()
                               ? nullptr
                               : std::move(origin)));
    }
    CkxFileSrcParentInstaller found;
    const Inherited* const expected = Expected(all);
    ASSERT_EQ(installer.SelectParentInstaller(found), expected != nullptr);
    if (expected == nullptr) continue;
    ++selected;
    EXPECT_EQ(found.InstallTime(), expected->time);
    EXPECT_EQ(found.FromProcOrder(), expected->order);
    EXPECT_EQ(found.IsGrandParent(), expected->isGrandParent);
  }
  EXPECT_GT(selected, 2000u);
}

TEST(FileOrigin, WalksUpToWhatEndsTheChain) {
  const CkxRecordedMachine drives({}, EkxDriveType::Fixed);
  const CkxMachineFactsScope machine(drives);
  const auto chain = [](size_t length) {
    CkxTargetInfoPtr process;
    for (size_t i = 0; i < length; ++i) process = Program(KXW("C:\\a.exe"), nullptr, std::move(process));
    return Written(KXW("C:\\f"), process, 1)->Installer().Processes().size();
  };
  EXPECT_EQ(chain(1), 1u);
  EXPECT_EQ(chain(32), 32u);
  EXPECT_EQ(chain(48), 32u);
  const CkxTargetInfoPtr writer =
      Program(KXW("C:\\a.exe"), nullptr, Program(kBrowser, nullptr, Program(KXW("C:\\b.exe")), kBrowserSigner));
  EXPECT_EQ(Written(KXW("C:\\f"), writer, 1)->Installer().Processes().size(), 2u) << "with the browser, and no further";
}

TEST(FileOrigin, CannotBeSpoiledByWhatTheWriterIsCalled) {
  const KxWString noise = KxWString(40000, KXW('&')) + KxWString{1, 0xD800};
  CkxTargetInfoPtr process;
  for (int i = 0; i < 10; ++i) {
    SkxProcessFacts facts;
    facts.commandLine = KXW("a.exe ") + noise;
    SkxFileFacts file = KxTest_FileAt(KXW("C:\\a\x01.exe"));
    file.versionInfo[KXW("FileDescription")] = noise;
    auto made = std::make_unique<CkxTargetInfoProcess>(std::move(file), std::move(facts), nullptr);
    made->SetParent(std::move(process));
    process = CkxTargetInfoPtr(made.release());
  }
  const Origin origin = Written(KXW("C:\\x\x02"), process, 7);
  std::string text;
  ASSERT_TRUE(origin->ToXml(text));
  EXPECT_LE(text.size(), 65000u);
  CkxFileOrigin kept;
  EXPECT_TRUE(kept.FromOwnXml(text));
  EXPECT_GE(kept.Installer().Processes().size(), 1u);
  EXPECT_EQ(kept.Installer().Processes()[0].Facts().path, KXW("C:\\a\xFFFD.exe"));
}

TEST(FileOrigin, OfAPackageNamesThePackage) {
  SkxFileFacts facts = KxTest_FileAt(KXW("C:\\p.msi"));
  facts.msiProperties = {{KXW("ProductName"), KXW("App")},
                         {KXW("ProductVersion"), KXW("1.2")},
                         {KXW("Manufacturer"), KXW("M")},
                         {KXW("ProductCode"), KXW("{P}")},
                         {KXW("UpgradeCode"), KXW("{U}")}};
  facts.signers = {{KXW("Vendor"), EkxPublisherStatus::Valid}};
  const CkxTargetInfoFile file(facts, nullptr);
  CkxFileOrigin origin;
  ASSERT_TRUE(origin.FillFromMsi(KXW("C:\\App\\a.exe"), CkxFileSrcPackageMsi(file), nullptr, 5));
  std::string text;
  ASSERT_TRUE(origin.ToXml(text, false));
  EXPECT_EQ(text,
            "<FileOrigin version=\"1\"><Installer installTime=\"5\"><Package type=\"3\" publisher=\"Vendor\" "
            "publisherStatus=\"4\" productName=\"App\" productVersion=\"1.2\" smScrRep=\"0\" manufacturer=\"M\" "
            "productCode=\"{P}\" upgradeCode=\"{U}\"><Path>C:\\p.msi</Path></Package></Installer>"
            "<ParentInstaller installTime=\"0\" fromProcOrder=\"-1\"/></FileOrigin>");
}

TEST(FileOrigin, IsWhatTheDriverSaw) {
  CkxDrvXmlData driver;
  ASSERT_TRUE(
      driver.FromXml("<KxDrvData version='1'><FileCreate time='3'><Path>C:\\first.exe</Path></FileCreate>"
                     "<FileModify time='4'><UserSid>S-1-5-18</UserSid></FileModify>"
                     "<Process order='1'><Path>C:\\two.exe</Path></Process>"
                     "<Process order='0' multiFileCreator='true'><Path>C:\\one.exe</Path><Share>pub</Share>"
                     "<Ipv4>0A000001</Ipv4></Process></KxDrvData>",
                     uint64_t{0}, EkxSignatureCheck::None));
  const Origin download = Written(KXW("C:\\two.exe"), Program(kBrowser, nullptr, nullptr, kBrowserSigner), 2);
  CkxFileOrigin origin;
  ASSERT_TRUE(origin.FromDrvData(
      driver, [&](CkxTextView path) { return KxText_Equals(path, KXW("C:\\two.exe"), true) ? download : nullptr; }));
  EXPECT_EQ(origin.File().path, KXW("C:\\first.exe"));
  EXPECT_EQ(origin.Installer().InstallTime(), 4u);
  ASSERT_EQ(origin.Installer().Processes().size(), 2u);
  const SkxFileSrcProcessFacts& writer = origin.Installer().Processes()[0].Facts();
  EXPECT_EQ(writer.path, KXW("C:\\one.exe"));
  EXPECT_TRUE(writer.multiFileCreator);
  EXPECT_EQ(writer.locationType, KXW("REMOTE"));
  EXPECT_EQ(writer.copySource.path, KXW("\\\\10.0.0.1\\pub"));
  EXPECT_EQ(origin.GetMainSourceType(), CkxFileSrcType::Share);
  ASSERT_NE(origin.User(), nullptr);
  EXPECT_EQ(origin.User()->DisplayName(), KXW("NT AUTHORITY\\SYSTEM"));
  EXPECT_EQ(origin.ParentInstaller().FromProcOrder(), 1);

  CkxDrvXmlData nobody;
  ASSERT_TRUE(nobody.FromXml("<KxDrvData/>", uint64_t{0}, EkxSignatureCheck::None));
  EXPECT_FALSE(origin.FromDrvData(nobody));
  EXPECT_EQ(origin.Installer().InstallTime(), 4u) << "untouched";
}

TEST(FileOrigin, KnowsWhereItWasDownloadedFrom) {
  CkxFileOrigin origin;
  EXPECT_TRUE(origin.SourceKind().IsEmpty());
  origin.SetDownloadAddress(KXW("https://example.com/a.exe"));
  EXPECT_EQ(origin.SourceKind().ToString(), KXW("INTERNET"));
  EXPECT_EQ(origin.SourceAddress().ToString(), KXW("https://example.com/a.exe"));
}

}  // namespace
