// What is kept with files, on the fake of Windows' attributes on every system.
#include <gmock/gmock.h>
#include <kx_util/ext_file_attributes.h>
#include <kx_util/src_url_data.h>
#include <kx_util/supplemental_file_data.h>

#include <functional>

#include "Common_CPP/registry/registry.h"
#include "Common_CPP/util/nt_status.h"
#include "tests/support/fake_native_ea.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/secret_scope.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"

namespace {

using Data = CkxSupplementalFileData;
using testing::AnyOf;
using testing::HasSubstr;

constexpr auto kReadRecord = EkxKeptRecord::Read;
constexpr auto kNoRecord = EkxKeptRecord::Absent;
constexpr auto kBadRecord = EkxKeptRecord::Refused;

/// The signatures are what `openssl dgst` makes of each document with the identifier in its place: `-sha256 -hmac
/// 0123456789abcdef`, and of the older ones `-sha1` with "pass" at their end.
constexpr uint64_t kKeptId = 255;
const std::string kKeptAgent =
    "<KxAgentData kxDataId=\"FB1F81D00B00E6F4EE558FFFB6F1FDFCF146E959C4A0CE61750CCB3C4E3149B1\">"
    "<FileOrigin version=\"1\" preexisted=\"true\"/></KxAgentData>";
const std::string kKeptAgentOlder =
    "<KxAgentData kxDataId=\"E4C2E1C5E90DF7FBFECC0AE3B308C761842A3C35\">"
    "<FileOrigin version=\"1\" preexisted=\"true\"/></KxAgentData>";
constexpr uint64_t kOtherKeptId = UINT64_MAX;
const std::string kOtherKeptAgent =
    "<KxAgentData kxDataId=\"490DBEFF6895668FC96B8AED6624D7EE3C3257752F5BBA8C237027BEF4953FE0\">"
    "<FileOrigin version=\"1\" preexisted=\"true\"/></KxAgentData>";
const std::string kKeptDriverRest =
    "><FileModify time=\"7\"><Path>a</Path></FileModify>"
    "<Process order=\"0\"><Path>C:\\Tools\\w.exe</Path></Process></KxDrvData>";
const std::string kKeptDriver =
    "<KxDrvData version=\"2\" kxDataId=\"AA8B75E94C36E6D033792DDC8E9F231E65B8F2E5C9B4EF4DED152B81D129F4DF\"" +
    kKeptDriverRest;
const std::string kKeptDriverOlder =
    "<KxDrvData version=\"1\" kxDataId=\"4EDC7C40C65E379E3E1288E61831681A11607D42\"" + kKeptDriverRest;

CkxFileOrigin PreexistedOrigin() {
  CkxFileOrigin origin;
  origin.Preexisted() = true;
  origin.File().path = KXW("C:\\where it lay");  // is not kept
  return origin;
}

class KeptOnFake : public testing::Test {
 protected:
  using Bytes = CkxFakeNativeEa::Bytes;
  using Kept = std::map<std::string, std::string>;

  void SetUp() override {
    _fake.At(_file).id = kKeptId;
    _fake.At(_other).id = kOtherKeptId;
  }

  static std::string UrlRecord(EkxSignatureForm form = EkxSignatureForm::Keyed) {
    Bytes record;
    EXPECT_TRUE(CkxSrcUrlData(KXW("a:b")).ToBytes(record, form));
    return std::string(record.begin(), record.end());
  }
  /// Puts documents, under their names' first letters, and what stands under "U" as it is.
  void Keep(const KxWString& path, const std::string& agent, const std::string& driver, const std::string& url = "") {
    auto& eas = _fake.At(path).eas;
    eas.clear();
    if (!agent.empty()) eas.emplace_back("KXAGENTSUPDATA", CkxFakeNativeEa::ValueOf(agent));
    if (!driver.empty()) eas.emplace_back("KXDRVSUPDATA", CkxFakeNativeEa::ValueOf(driver));
    if (!url.empty()) eas.emplace_back("KXAGENTURI", Bytes(url.begin(), url.end()));
  }
  Kept KeptWith(const KxWString& path) {
    Kept kept;
    for (const auto& [name, value] : _fake.At(path).eas) kept[name] = std::string(value.begin(), value.end());
    return kept;
  }
  static Kept Documents(const std::string& agent, const std::string& driver) {
    Kept kept;
    if (!agent.empty()) kept["KXAGENTSUPDATA"] = agent + '\0';
    if (!driver.empty()) kept["KXDRVSUPDATA"] = driver + '\0';
    return kept;
  }
  /// The error lines of what fails, one below the other.
  static std::string Errors(const std::function<bool()>& operation) {
    const CkxTraceCapture trace;
    EXPECT_FALSE(operation());
    std::string errors;
    for (const CkxTraceCapture::Line& line : trace.Lines()) {
      if (line.level == EkxTraceLevel::Error) errors += line.message + "\n";
    }
    return errors;
  }
  const WCHAR* File() const { return _file.c_str(); }
  const WCHAR* Other() const { return _other.c_str(); }

  const CkxRuntimeFolderScope _machine;
  const CkxSecretScope _secrets;
  const CkxTempFolder _folder;
  const KxWString _file = _folder.Write("file", "content");
  const KxWString _other = _folder.Write("other", "content");
  CkxFakeNativeEa _fake;
};

TEST_F(KeptOnFake, ToTheLetter) {
  std::string plain;
  ASSERT_TRUE(Data(PreexistedOrigin()).ToXml(plain));
  EXPECT_EQ(plain, "<KxAgentData><FileOrigin version=\"1\" preexisted=\"true\"/></KxAgentData>");
  ASSERT_TRUE(Data(PreexistedOrigin()).ToFile(File()));
  ASSERT_TRUE(Data(PreexistedOrigin()).ToFile(Other()));
  EXPECT_EQ(KeptWith(_file), Documents(kKeptAgent, ""));
  EXPECT_EQ(KeptWith(_other), Documents(kOtherKeptAgent, ""));
  Data read;
  ASSERT_TRUE(read.FromFile(File()));
  EXPECT_TRUE(read.Origin().Preexisted());
  EXPECT_TRUE(read.Origin().File().path.empty());
  EXPECT_TRUE(Data::DeleteFromFile(File()));
  EXPECT_EQ(KeptWith(_file), Kept());
  EXPECT_TRUE(Data::DeleteFromFile(File())) << "there is none any more";
}

TEST_F(KeptOnFake, EachRecordStandsForItself) {
  const struct {
    std::string agent, driver;
    EkxKeptRecord agentRecord, driverRecord;
  } kRows[] = {
      {"", "", kNoRecord, kNoRecord},
      {kKeptAgent, "", kReadRecord, kNoRecord},
      {"", kKeptDriver, kNoRecord, kReadRecord},
      {kKeptAgent, kKeptDriver, kReadRecord, kReadRecord},
      {kKeptAgentOlder, kKeptDriverOlder, kReadRecord, kReadRecord},
      {kOtherKeptAgent, kKeptDriver, kBadRecord, kReadRecord},
      {kKeptAgent, kKeptDriver + " ", kReadRecord, kBadRecord},
      {kKeptDriver, kKeptAgent, kBadRecord, kBadRecord},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.agent + row.driver);
    Keep(_file, row.agent, row.driver);
    Data data(PreexistedOrigin());
    EXPECT_EQ(data.FromFile(File()), row.agentRecord == kReadRecord || row.driverRecord == kReadRecord);
    EXPECT_EQ(data.AgentRecord(), row.agentRecord);
    EXPECT_EQ(data.DriverRecord(), row.driverRecord);
    EXPECT_EQ(data.Origin().Preexisted(), row.agentRecord == kReadRecord);
    EXPECT_EQ(data.DrvXmlData().IsEmpty(), row.driverRecord != kReadRecord);
    CkxFileOrigin origin;
    CkxDrvXmlData driver;
    EXPECT_EQ(Data::ReadAgentData(File(), origin), row.agentRecord);
    EXPECT_EQ(Data::ReadDrvXmlData(File(), driver), row.driverRecord);
  }
}

TEST_F(KeptOnFake, WhatIsCutOrChangedDoesNotHold) {
  const auto read = [&] {
    Data data;
    const bool isRead = data.FromFile(File());
    EXPECT_EQ(isRead, data.Origin().Preexisted() || !data.DrvXmlData().IsEmpty());
    return isRead;
  };
  for (const bool isDriver : {false, true}) {
    const std::string document = isDriver ? kKeptDriver : kKeptAgent;
    Keep(_file, isDriver ? "" : document, isDriver ? document : "");
    ASSERT_TRUE(read());
    Bytes& value = _fake.At(_file).eas[0].second;
    const Bytes whole = value;
    value.pop_back();
    EXPECT_TRUE(read()) << "the zero is no part of the document";
    for (size_t size = 1; size < document.size(); ++size) {
      value.assign(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
      EXPECT_FALSE(read()) << "cut to " << size << " bytes";
    }
    for (size_t at = 0; at < whole.size(); ++at) {
      for (const int flip : {0x01, 0x20}) {
        value = whole;
        value[at] = static_cast<unsigned char>(value[at] ^ flip);
        EXPECT_FALSE(read()) << "byte " << at << ", by " << flip;
      }
    }
  }
}

TEST_F(KeptOnFake, WhatIsCarriedByHandDoesNotHoldAndACopyDoes) {
  _fake.At(_other).eas = {};
  for (const bool isOlder : {false, true}) {
    const auto form = isOlder ? EkxSignatureForm::Older : EkxSignatureForm::Keyed;
    Keep(_file, isOlder ? kKeptAgentOlder : kKeptAgent, isOlder ? kKeptDriverOlder : kKeptDriver, UrlRecord(form));
    const Kept before = KeptWith(_file);
    Data data;
    _fake.At(_other).eas = _fake.At(_file).eas;
    EXPECT_FALSE(data.FromFile(Other()));
    ASSERT_TRUE(Data::Copy(File(), Other()));
    EXPECT_EQ(KeptWith(_file), before);
    EXPECT_EQ(KeptWith(_other)["KXAGENTSUPDATA"], kOtherKeptAgent + '\0') << "of whatever form it was";
    EXPECT_EQ(KeptWith(_other)["KXAGENTURI"], UrlRecord());
    ASSERT_TRUE(data.FromFile(Other()));
    EXPECT_EQ(data.DriverRecord(), kReadRecord);
    uint32_t version = 0;
    EXPECT_TRUE(data.DrvXmlData().GetVersion(version));
    EXPECT_EQ(version, 2u);
  }
  ASSERT_TRUE(Data::Copy(File(), File())) << "onto itself";
  EXPECT_EQ(KeptWith(_file)["KXAGENTSUPDATA"], kKeptAgent + '\0');
}

TEST_F(KeptOnFake, ACopyThatFailsLeavesWhatWasThere) {
  Keep(_file, kKeptAgent, kKeptDriver, UrlRecord());
  Keep(_other, "what was there", "", "and there");
  const Kept before = KeptWith(_other);
  const auto copy = [&] { return Data::Copy(File(), Other()); };
  const std::string target = "ERROR: Failed to set data to target file [" + KxText_ToUtf8(_other) + "]\n";
  for (const char* const locked : {"KXAGENTSUPDATA", "KXDRVSUPDATA", "KXAGENTURI"}) {
    _fake.At(_other).locked = {locked};
    EXPECT_THAT(Errors(copy),
                testing::EndsWith("], Status=0xC0000022\n"
                                  "ERROR: Failed to set EA [" +
                                  std::string(std::string_view(locked) == "KXAGENTSUPDATA" ? "KXAgentSupData"
                                              : std::string_view(locked) == "KXDRVSUPDATA" ? "KxDrvSupData"
                                                                                           : "KXAgentUri") +
                                  "] on file [" + KxText_ToUtf8(_other) + "].useDrv =0, Status=0xC0000022\n" + target));
    EXPECT_EQ(KeptWith(_other), before) << locked;
  }
  _fake.At(_other).locked.clear();
  {
    const CkxSecretScope phraseAlone({}, "pass");
    Keep(_file, kKeptAgentOlder, "");
    EXPECT_THAT(Errors(copy), testing::EndsWith(target)) << "it holds, and cannot be signed";
    EXPECT_EQ(KeptWith(_other), before);
  }
  Keep(_file, kOtherKeptAgent, kKeptDriver);
  EXPECT_FALSE(copy()) << "one is refused";
  EXPECT_EQ(KeptWith(_other)["KXAGENTSUPDATA"], std::string("what was there") + '\0');
  EXPECT_NE(KeptWith(_other)["KXDRVSUPDATA"], "") << "and the other goes along";
  Keep(_file, "", "");
  EXPECT_THAT(Errors(copy), HasSubstr("ERROR: No records to copy from file ["));
  EXPECT_EQ(Errors([&] { return Data::Copy(File(), KXW("")); }),
            "ERROR: Invalid parameter. [" + KxText_ToUtf8(_file) + "], []\n");
  EXPECT_EQ(Errors([&] { return Data::Copy(nullptr, File()); }),
            "ERROR: Invalid parameter. [], [" + KxText_ToUtf8(_file) + "]\n");
  EXPECT_FALSE(Data::Copy(_folder.Text("missing").c_str(), File()));
  EXPECT_EQ(_fake.OpenFiles(), 0u);
}

TEST_F(KeptOnFake, MigrationSignsBothAnewOnce) {
  Keep(_file, kKeptAgentOlder, kKeptDriverOlder, UrlRecord(EkxSignatureForm::Older));
  ASSERT_TRUE(Data::ToFileForSignatureMigration(File()));
  EXPECT_EQ(KeptWith(_file)["KXAGENTSUPDATA"], kKeptAgent + '\0');
  EXPECT_EQ(KeptWith(_file)["KXDRVSUPDATA"], kKeptDriver + '\0');
  EXPECT_EQ(KeptWith(_file)["KXAGENTURI"], UrlRecord(EkxSignatureForm::Older)) << "only where that is asked for";
  ASSERT_TRUE(Data::UpdateSignature(File()));
  EXPECT_EQ(KeptWith(_file)["KXAGENTURI"], UrlRecord());
  _fake.setStatus = kKxStatusDiskFull;
  EXPECT_TRUE(Data::UpdateSignature(File())) << "nothing is to be done";
  _fake.setStatus = 0;

  const CkxSecretScope newer({"fedcba9876543210", "0123456789abcdef"}, "pass");
  const Kept before = KeptWith(_file);
  EXPECT_TRUE(Data::UpdateSignature(File()));
  EXPECT_EQ(KeptWith(_file), before) << "what an older key has signed holds";
}

TEST_F(KeptOnFake, AMigrationThatFailsLeavesWhatWasThere) {
  const std::string file = KxText_ToUtf8(_file);
  const std::string older = UrlRecord(EkxSignatureForm::Older);
  const struct {
    std::string agent, driver, url;
    const char* locked;
    std::string error;
  } kRows[] = {
      {kKeptAgentOlder, kKeptDriverOlder, older, "KXDRVSUPDATA", "].useDrv =0, Status=0xC0000022"},
      {kKeptAgentOlder, kKeptDriverOlder, older, "KXAGENTURI", "].useDrv =0, Status=0xC0000022"},
      {kKeptAgentOlder + " ", kKeptDriverOlder, "", "",
       "ERROR: Failed to migrate agent data signature for file : [" + file + "]"},
      {kKeptAgentOlder, kKeptDriverOlder + " ", "", "",
       "ERROR:drvXmlData signature integrity check failed\n"
       "ERROR: Failed to migrate drv data signature for file : [" +
           file + "]"},
      {kKeptAgentOlder, "", older + "x", "", "ERROR: Failed to migrate uri signature for file : [" + file + "]"},
      {"", "", "", "", "ERROR: No records to migrate on file : [" + file + "]"},
  };
  for (const auto& row : kRows) {
    Keep(_file, row.agent, row.driver, row.url);
    _fake.At(_file).locked = {row.locked};
    const Kept before = KeptWith(_file);
    EXPECT_THAT(Errors([&] { return Data::UpdateSignature(File()); }), testing::EndsWith(row.error + "\n"));
    EXPECT_EQ(KeptWith(_file), before) << row.error;
  }
  _fake.At(_file).locked.clear();

  const WCHAR* const upgrade = KXW("Software\\QuennartUpgrade\\Agent");
  Keep(_file, kKeptAgentOlder, "");
  ASSERT_TRUE(KxRegistry_SetText(upgrade, KXW("MigrationStatus"), KXW("Completed")));
  EXPECT_FALSE(Data::UpdateSignature(File())) << "who comes late is not believed";
  EXPECT_EQ(KeptWith(_file), Documents(kKeptAgentOlder, ""));
  ASSERT_TRUE(KxRegistry_Remove(upgrade, KXW("MigrationStatus")));
}

TEST_F(KeptOnFake, WhatIsNotWritten) {
  Keep(_file, "what was there", "");
  const Kept before = KeptWith(_file);
  const std::string file = KxText_ToUtf8(_file);
  const Data data(PreexistedOrigin());
  const auto write = [&](const WCHAR* path) { return [&data, path] { return data.ToFile(path); }; };
  EXPECT_EQ(Errors(write(nullptr)), "ERROR: Empty path\n");
  EXPECT_EQ(Errors(write(KXW(""))), "ERROR: Empty path\n");
  EXPECT_THAT(Errors(write(_folder.Text("missing").c_str())), HasSubstr("ERROR: Failed to open file ["));
  {
    const CkxRecordedMachine machine({{KXW('H'), EkxDriveType::Remote}});
    const CkxMachineFactsScope drives(machine);
    for (const auto& [path, text] :
         {std::pair(KXW("H:\\x"), "H:\\x"), {KXW("\\\\server\\share\\x"), "\\\\server\\share\\x"}}) {
      EXPECT_THAT(Errors(write(path)), testing::StartsWith("ERROR: Attempt to save supplemental data to remote file [" +
                                                           std::string(text) + "] LastError="));
      EXPECT_THAT(Errors([path = path, this] { return Data::Copy(File(), path); }), HasSubstr("to remote file ["));
    }
  }
  CkxFileOrigin unwritable;
  unwritable.Installer().CopySource().path = KXW("\u0001");
  EXPECT_THAT(Errors([&] { return Data(unwritable).ToFile(File()); }),
              HasSubstr("ERROR: _ToXml failed for file [" + file));
  {
    const CkxSecretScope none({}, "");
    EXPECT_EQ(Errors(write(File())), "ERROR: _GetSignature failed\nERROR: _ToXml failed for file [" + file + "]\n");
  }
  _fake.setStatus = kKxStatusDiskFull;
  EXPECT_THAT(Errors(write(File())), HasSubstr("ERROR: Failed to set EA [KXAgentSupData] on file [" + file +
                                               "].useDrv =0, Status=0xC000007F"));
  EXPECT_EQ(KeptWith(_file), before);

  // The driver sets where a program may not.
  CkxExtFileAttributes::SetDrvEaHelper(CkxFakeNativeEa::Driver);
  EXPECT_TRUE(data.ToFile(File()));
  CkxExtFileAttributes::SetDrvEaHelper(nullptr);
  EXPECT_EQ(KeptWith(_file), Documents(kKeptAgent, ""));
}

TEST_F(KeptOnFake, AReadOnlyFileIsReadOnlyAgain) {
  _fake.At(_file).isReadOnly = true;
  EXPECT_TRUE(Data(PreexistedOrigin()).ToFile(File()));
  EXPECT_TRUE(_fake.At(_file).isReadOnly);
  EXPECT_EQ(KeptWith(_file), Documents(kKeptAgent, ""));
  _fake.setStatus = kKxStatusDiskFull;
  EXPECT_FALSE(Data(PreexistedOrigin()).ToFile(File()));
  EXPECT_TRUE(_fake.At(_file).isReadOnly);
  EXPECT_EQ(_fake.OpenFiles(), 0u);
}

TEST_F(KeptOnFake, TheScanIsNotFinishedUntilTold) {
  EXPECT_FALSE(Data::ReadScanFinishedFlag());
  ASSERT_TRUE(Data::_SetScanFinished(true));
  EXPECT_TRUE(Data::ReadScanFinishedFlag());
  const WCHAR* const key = KXW("SYSTEM\\CurrentControlSet\\Services\\kx_agent\\Parameters\\Quennart");
  EXPECT_EQ(KxRegistry_Number(key, KXW("ScanStatus")), 1u);
  ASSERT_TRUE(Data::_SetScanFinished(false));
  EXPECT_FALSE(Data::ReadScanFinishedFlag());
  ASSERT_TRUE(KxRegistry_Remove(key, KXW("ScanStatus")));
}

}  // namespace
