#include <kx_util/drv_xml_data.h>

#include <gmock/gmock.h>

#include "Common_CPP/file/file.h"
#include "tests/support/data_rows.h"
#include "tests/support/secret_scope.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"
#include "tests/support/utf8.h"

namespace {

constexpr auto kOlderToo = EkxSignatureCheck::OlderToo;
constexpr const char* kIntegrity = "ERROR: Integrity check failed for signature";

/// Why a document is refused, after which nothing is in the record; empty when it is not.
std::string DriverRefusal(std::string_view text, uint64_t fileId, EkxSignatureCheck check = kOlderToo) {
  const CkxTraceCapture trace;
  CkxDrvXmlData data;
  const bool isRead = data.FromXml(text, fileId, check);
  EXPECT_EQ(data.IsEmpty(), !isRead);
  if (isRead) return "";
  return trace.Lines().empty() ? "(no line)" : trace.Lines().back().message;
}

/// Signed by the keys of the scope.
std::string SignedDocument(std::string text, uint64_t fileId, EkxSignatureForm form = EkxSignatureForm::Keyed) {
  EXPECT_TRUE(CkxDrvXmlData::Sign(text, fileId, form));
  return text;
}

TEST(DrvXmlData, SignedToTheLetter) {
  const CkxSecretScope secrets;
  KxTest_ForRows<uint64_t, std::string, std::string, std::string>(
      "origin/driver_signed.txt",
      [](uint64_t fileId, const std::string& form, const std::string& before, const std::string& expected) {
        const bool isKeyed = form == "new";
        EXPECT_EQ(SignedDocument(before, fileId, isKeyed ? EkxSignatureForm::Keyed : EkxSignatureForm::Older),
                  expected);
        EXPECT_EQ(DriverRefusal(expected, fileId), "");
        EXPECT_EQ(DriverRefusal(expected, fileId, EkxSignatureCheck::KeyedAlone), isKeyed ? "" : kIntegrity);
        EXPECT_EQ(DriverRefusal(expected, fileId ^ 1), kIntegrity) << "of another file";
      });
}

TEST(DrvXmlData, EveryChangeIsRefused) {
  const CkxSecretScope secrets;
  const std::string plain = R"(<KxDrvData version="1" kxDataId=""><FileCreate time="12"><Path>C:\a</Path></FileCreate>)"
                            R"(<Process order="0"><Ipv4>0A000001</Ipv4></Process></KxDrvData>)";
  for (const EkxSignatureForm form : {EkxSignatureForm::Keyed, EkxSignatureForm::Older}) {
    const std::string document = SignedDocument(plain, 10, form);
    ASSERT_EQ(DriverRefusal(document, 10), "");
    for (size_t size = 0; size < document.size(); ++size) {
      EXPECT_EQ(DriverRefusal(document.substr(0, size), 10), "ERROR: Parse failed.") << size;
    }
    for (size_t at = 0; at < document.size(); ++at) {
      for (const int flip : {0x01, 0x20}) {  // another character, and the other case of a letter
        std::string other = document;
        other[at] = static_cast<char>(other[at] ^ flip);
        EXPECT_NE(DriverRefusal(other, 10), "") << at << other;
      }
    }
    EXPECT_EQ(DriverRefusal(document + " ", 10), kIntegrity) << "a blank behind it is signed too";
  }
}

TEST(DrvXmlData, WhichSignaturesHold) {
  std::string before;
  std::string older;
  {
    const CkxSecretScope secrets({"the key of before"}, "pass");
    before = SignedDocument(R"(<KxDrvData version="1" kxDataId=""/>)", 1);
    older = SignedDocument(R"(<KxDrvData version="1" kxDataId=""/>)", 1, EkxSignatureForm::Older);
  }
  {
    const CkxSecretScope secrets({"0123456789abcdef", "the key of before"});
    EXPECT_EQ(DriverRefusal(before, 1), "");
  }
  {
    const CkxSecretScope secrets;
    EXPECT_EQ(DriverRefusal(before, 1), kIntegrity) << "a key that is no more";
    const std::string wrongVersion = R"(<KxDrvData version="2" kxDataId=""/>)";
    EXPECT_EQ(DriverRefusal(SignedDocument(wrongVersion, 1, EkxSignatureForm::Older), 1), kIntegrity)
        << "the older form of version 2";
    std::string keyed = SignedDocument(wrongVersion, 1);
    EXPECT_EQ(DriverRefusal(keyed, 1), "");
    keyed.replace(keyed.find("version=\"2"), 10, "version=\"1");
    EXPECT_EQ(DriverRefusal(keyed, 1), kIntegrity) << "the keyed form of version 1";
  }
  const CkxSecretScope none({}, "");
  EXPECT_EQ(DriverRefusal(before, 1), "ERROR: Failed to get HMAC");
  EXPECT_EQ(DriverRefusal(older, 1), "ERROR: GetSignatureOld failed");
  EXPECT_EQ(DriverRefusal(older, 1, EkxSignatureCheck::None), "");
  std::string unsignedStill = R"(<KxDrvData version="1" kxDataId="x"/>)";
  const std::string unchanged = unsignedStill;
  EXPECT_FALSE(CkxDrvXmlData::Sign(unsignedStill, 1));
  EXPECT_EQ(unsignedStill, unchanged);
}

TEST(DrvXmlData, WhatIsNoDocument) {
  const CkxSecretScope secrets;
  const std::string other = SignedDocument(R"(<KxDrvData version="2" kxDataId=""/>)", 1);
  const std::string signature = other.substr(other.find("kxDataId=") + 10, 64);
  const std::pair<std::string, const char*> kDocuments[] = {
      {"", "ERROR: Parse failed."},
      {"<KxDrvData version='1' kxDataId='x'/><more/>", "ERROR: Parse failed."},
      {"<KxAgentData version='1' kxDataId='x'/>", "ERROR: Cannot find /KxDrvData element"},
      {"<KxDrvData version='1'/>", "ERROR: Missing kxDataId atrtribute"},
      {"<KxDrvData version='1' kxDataId=\"\"/>", "ERROR: Missing kxDataId atrtribute"},
      {"<KxDrvData kxDataId='x'/>", kIntegrity},
      {"<KxDrvData version='2' kxDataId='" + signature + "'/>", kIntegrity},  // no double quotes to find it by
      {"<!-- kxDataId=\"" + signature + "\" --><KxDrvData version=\"2\" kxDataId=\"" + signature + "\"/>", kIntegrity},
  };
  for (const auto& [document, refusal] : kDocuments) EXPECT_EQ(DriverRefusal(document, 1), refusal) << document;

  std::string comment = "<!-- kxDataId=\"x\" --><KxDrvData version=\"2\" kxDataId=\"x\"/>";
  EXPECT_FALSE(CkxDrvXmlData::Sign(comment, 1)) << "the signature would come to stand in the comment";
}

TEST(DrvXmlData, VersionUpdate) {
  const struct {
    std::string before;
    std::string after;  ///< empty: as before
    const char* said;
  } kTexts[] = {
      {R"(<KxDrvData version="1"><a version="1"/></KxDrvData>)",
       R"(<KxDrvData version="2"><a version="1"/></KxDrvData>)", nullptr},
      {R"(<?xml version="1"?><KxDrvData version="1"/>)", R"(<?xml version="1"?><KxDrvData version="2"/>)", nullptr},
      {R"(<KxDrvData><a version="1"/></KxDrvData>)", R"(<KxDrvData><a version="2"/></KxDrvData>)", nullptr},
      {R"(<KxDrvData version="2"/>)", "", "version = \"1\" not found in xml"},
      {R"(<KxDrvData version='1'/>)", "", "version = \"1\" not found in xml"},
      {R"(<a version="1"/><KxDrvData)", "", "version = \"1\" not found in xml"},
      {R"(<kxDrvData version="1"/>)", "", "KxDrvData not found in xml"},
      {"", "", "KxDrvData not found in xml"},
  };
  for (const auto& row : kTexts) {
    const CkxTraceCapture trace;
    std::string text = row.before;
    EXPECT_EQ(CkxDrvXmlData::UpdateVersion(text), row.said == nullptr) << row.before;
    EXPECT_EQ(text, row.said == nullptr ? row.after : row.before);
    if (row.said != nullptr) {
      EXPECT_EQ(trace.Lines().at(0).message, row.said);
    }
  }
}

TEST(DrvXmlData, MigratesOnce) {
  const CkxSecretScope secrets;
  const std::string older =
      SignedDocument(R"(<KxDrvData version="1" kxDataId=""><a version="1"/></KxDrvData>)", 7, EkxSignatureForm::Older);
  CkxDrvXmlData data;
  std::string migrated;
  ASSERT_TRUE(data.FromXmlForMigration(older, 7, migrated));
  EXPECT_EQ(migrated, SignedDocument(R"(<KxDrvData version="1" kxDataId=""><a version="1"/></KxDrvData>)", 7));
  std::string again;
  ASSERT_TRUE(data.FromXmlForMigration(migrated, 7, again));
  EXPECT_EQ(again, migrated);
  const CkxTraceCapture trace;
  EXPECT_FALSE(data.FromXmlForMigration(older, 8, again));
  EXPECT_TRUE(data.IsEmpty());
  EXPECT_EQ(trace.Lines().back().message, "ERROR:drvXmlData signature integrity check failed");
  EXPECT_EQ(again, migrated) << "nothing is handed out";
}

TEST(DrvXmlData, OfTheFileAtAPath) {
  const CkxSecretScope secrets;
  const CkxTempFolder folder;
  const KxWString path = folder.Write("file", "");
  const KxWString other = folder.Write("other", "");
  const std::string document =
      SignedDocument(R"(<KxDrvData version="1" kxDataId=""/>)", KxFile_Status(path).value().identity.file);
  CkxDrvXmlData data;
  EXPECT_TRUE(data.FromXml(document, path.c_str()));
  EXPECT_FALSE(data.FromXml(document, other.c_str())) << "copied by hand";
  const CkxTraceCapture trace;
  EXPECT_FALSE(data.FromXml(document, folder.Text("missing").c_str()));
  EXPECT_THAT(trace.Lines().back().message, testing::StartsWith("ERROR: Missing data id parameters ("));
}

}  // namespace
