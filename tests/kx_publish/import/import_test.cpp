// What is common to all kinds: encodings, damage, the document, and real files where the machine has some.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Common_CPP/util/text.h"
#include "tests/kx_publish/import/imported.h"

namespace {

const std::string kXml =
    "<RuleCollection Type=\"Exe\" EnforcementMode=\"Enabled\">"
    "<FilePathRule Id=\"r\" Name=\"\xC3\x9C\xF0\x9F\x98\x80\" UserOrGroupSid=\"S-1-1-0\" Action=\"Allow\"><Conditions>"
    "<FilePathCondition Path=\"C:\\\xC3\x9C\\*\"/></Conditions></FilePathRule></RuleCollection>";

std::string Utf16(const std::string& utf8, bool highFirst) {
  std::string bytes;
  const KxWString text = KxText_FromUtf8(utf8).value();
  for (const WCHAR unit : text) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += highFirst ? high : low;
    bytes += highFirst ? low : high;
  }
  return bytes;
}

bool Imports(const std::string& bytes, SkxImportResult& result) {
  const SkxImportFile file = {"a.xml", bytes};
  std::string fault;
  const bool isGood = KxImport(EkxImportKind::AppLocker, {&file, 1}, {}, result, fault);
  EXPECT_EQ(isGood, fault.empty());
  EXPECT_TRUE(isGood || fault.starts_with("a.xml: ")) << fault;
  return isGood;
}

TEST(Import, EncodingsAreTheSame) {
  SkxImportResult plain;
  ASSERT_TRUE(Imports(kXml, plain));
  EXPECT_NE(plain.document.find("C:\\\\\xC3\x9C"), std::string::npos);
  const std::string declared = "<?xml version=\"1.0\" encoding=\"utf-16\"?>\r\n" + kXml;
  for (const std::string& bytes :
       {"\xEF\xBB\xBF" + kXml, Utf16(kXml, false), Utf16(kXml, true), Utf16("\xEF\xBB\xBF" + kXml, false),
        Utf16("\xEF\xBB\xBF" + kXml, true), declared, Utf16(declared, false), "\xEF\xBB\xBF" + declared}) {
    SkxImportResult result;
    ASSERT_TRUE(Imports(bytes, result)) << bytes;
    EXPECT_EQ(result.document, plain.document);
  }
}

TEST(Import, WhatIsNoSuchDocumentIsRefused) {
  std::string deep;
  for (int i = 0; i < 40; ++i) deep = "<a>" + deep + "</a>";
  const std::string bombed = "<!DOCTYPE a [<!ENTITY b \"" + std::string(1000, 'x') + "\">]>" + kXml;
  for (const std::string& bytes :
       {std::string(), std::string("\0", 1), std::string("<"), std::string("text"), std::string("<a/>"),
        std::string("<SiPolicy/>"), bombed, deep, kXml + kXml, kXml + '\0', Utf16(kXml, false) + "x",
        "\xFF\xFE" + std::string("\x00\xD8", 2), std::string("<RuleCollection Type=\"Exe\" Type=\"Dll\"/>"),
        std::string("<RuleCollection Type=\"&x;\"/>"), "\xEF\xBB\xBF\xEF\xBB\xBF" + std::string("\xFF")}) {
    SkxImportResult result;
    EXPECT_FALSE(Imports(bytes, result)) << bytes.substr(0, 60);
    EXPECT_TRUE(result.document.empty());
  }
}

/// A file that ends too early is refused at each length; one with a damaged byte never makes a document that is none.
TEST(Import, DamagedFiles) {
  for (size_t size = 0; size < kXml.size(); ++size) {
    SkxImportResult result;
    EXPECT_FALSE(Imports(kXml.substr(0, size), result)) << size;
  }
  for (size_t at = 0; at < kXml.size(); ++at) {
    for (const char byte : {'\0', '"', '<', '\n', '\xFF', '*', '%'}) {
      std::string damaged = kXml;
      damaged[at] = byte;
      SkxImportResult result;
      if (!Imports(damaged, result)) continue;
      const SkxDocumentText document = {"imported", result.document};
      SkxPublication publication;
      SkxDocumentError error;
      EXPECT_TRUE(KxPolicyDocument_Read({&document, 1}, publication, error)) << error.Text();
    }
  }
}

/// Names of others end no comment, and no line of the report.
TEST(Import, NamesForgeNoLines) {
  std::string xml = kXml;
  xml.replace(xml.find("Id=\"r\""), 6, "Id=\"r&#10;{&#x2028;}\"");
  SkxImportResult result;
  ASSERT_TRUE(Imports(xml, result));
  EXPECT_NE(result.document.find("rule r<U+000A>{<U+2028>}"), std::string::npos) << result.document;
  EXPECT_EQ(result.document, [&] {
    SkxImportResult again;
    Imports(xml, again);
    return again.document;
  }());
  const SkxImportFile named = {"x\n{}.xml", kXml};
  std::string fault;
  ASSERT_TRUE(KxImport(EkxImportKind::AppLocker, {&named, 1}, {}, result, fault));
  EXPECT_EQ(result.document.find("\n{}.xml"), std::string::npos);
}

TEST(Import, PoliciesBeginAtTheFirstId) {
  const SkxImportFile file = {"a.xml", kXml};
  SkxImportOptions options;
  options.firstId = 100;
  options.machine.systemDrive = KXW("E:");
  SkxImportResult result;
  std::string fault;
  ASSERT_TRUE(KxImport(EkxImportKind::AppLocker, {&file, 1}, options, result, fault));
  EXPECT_EQ(result.policies, 2U);
  EXPECT_NE(result.document.find("\"id\":100,"), std::string::npos);
  EXPECT_NE(result.document.find("\"id\":101,"), std::string::npos);
  const SkxImportFile twice[] = {file, file};
  EXPECT_FALSE(KxImport(EkxImportKind::AppLocker, twice, options, result, fault));
}

/// Policies that others wrote. Nearly all of their rules are expressed; what is not is counted and said.
TEST(Import, RealPolicies) {
  const char* const folder = std::getenv("KX_SHARED_DATA");
  if (folder == nullptr) GTEST_SKIP() << "KX_SHARED_DATA does not name the folder of recorded data";
  SkxImportCounts all;
  for (const auto& [kind, name] :
       {std::pair(EkxImportKind::AppLocker, "applocker"), std::pair(EkxImportKind::AppControl, "appcontrol")}) {
    const std::filesystem::path files = std::filesystem::path(folder) / name;
    if (!std::filesystem::is_directory(files)) GTEST_SKIP() << "there is no folder " << name;
    for (const auto& entry : std::filesystem::directory_iterator(files)) {
      std::ifstream stream(entry.path(), std::ios::binary);
      const std::string file = entry.path().filename().string();
      const CkxTestImported imported(kind, {{file, std::string(std::istreambuf_iterator<char>(stream), {})}});
      const SkxImportCounts counts = KxImport_Count(imported.result.policy, file);
      EXPECT_GT(counts.All(), 0U) << file;
      std::cout << file << ": " << counts.exact << " exactly, " << counts.approximate << " approximately, "
                << counts.notExpressed << " not expressed\n";
      all.exact += counts.exact;
      all.approximate += counts.approximate;
      all.notExpressed += counts.notExpressed;
    }
  }
  EXPECT_GE((all.exact + all.approximate) * 100, all.All() * 95);
}

}  // namespace
