#include "Agent/engine/kx_util/target/pe_version_info.h"

#include <functional>
#include <nlohmann/json.hpp>
#include <numeric>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"
#include "tests/kx_util/target/pe_image.h"
#include "tests/support/data_rows.h"
#include "tests/support/memory_source.h"

namespace {

std::optional<SkxPeVersionInfo> Read(const CkxRecordBytes& file) {
  return KxPe_ReadVersionInfo(CkxMemorySource(file.Bytes()));
}

/// "" when there is none.
std::string FieldOf(const std::optional<SkxPeVersionInfo>& info, const WCHAR* name) {
  const KxWString* const text = info ? info->Field(name) : nullptr;
  return text != nullptr ? KxText_ToUtf8(*text) : "";
}

TEST(PeVersionInfo, ReadsBothFormats) {
  for (const SkxTestPeLayout& layout : {kTestPe32, kTestPe32Plus}) {
    const std::optional<SkxPeVersionInfo> info = Read(KxTest_PeImage(layout, KxTest_UsualVersion()));
    ASSERT_TRUE(info);
    EXPECT_TRUE(info->fileVersion.IsEqual(1, 2, 3, 4));
    EXPECT_TRUE(info->productVersion.IsEqual(5, 6, 7, 8));
    EXPECT_EQ(info->fields.size(), 3u);
    EXPECT_EQ(FieldOf(info, KXW("CompanyName")), "Vendor Inc.");
    EXPECT_EQ(FieldOf(info, KXW("filedescription")), "Tool");
    EXPECT_EQ(FieldOf(info, KXW("PRODUCTVERSION")), "5.6 beta");
    EXPECT_EQ(FieldOf(info, KXW("ProductName")), "");
  }
}

/// A node of tests/data/target/version_trees.txt and all below it.
CkxRecordBytes Node(const nlohmann::json& node) {
  const auto text = [&](const char* key) {
    const KxWString wide = *KxText_FromUtf8(node.value(key, ""));
    return std::u16string(wide.begin(), wide.end());
  };
  CkxRecordBytes value;
  if (node.contains("text")) value.Plain(text("text"));
  for (const unsigned word : node.value("words", std::vector<unsigned>())) value.U16(word);
  std::vector<CkxRecordBytes> children;
  for (const nlohmann::json& child : node.value("children", nlohmann::json::array())) children.push_back(Node(child));
  const EkxTestNode type = node.value("binary", false) ? EkxTestNode::Binary : EkxTestNode::Text;
  CkxRecordBytes bytes = KxTest_VersionNode(text("key"), type, value, children);
  return node.contains("length") ? bytes.SetU16(2, node["length"]) : bytes;
}

TEST(PeVersionInfo, ReadsTreesOfOtherShapes) {
  for (const CkxDataRow& row : KxTest_Rows("target/version_trees.txt")) {
    SCOPED_TRACE(row.At());
    row.RequireCount(3);
    std::vector<CkxRecordBytes> children;
    for (const nlohmann::json& child : row.Fields()[2]) children.push_back(Node(child));
    const auto info = Read(KxTest_PeImage(kTestPe32Plus, KxTest_Version(0x00010002, 0x00030004, 0, 0, children)));
    ASSERT_TRUE(info);
    EXPECT_TRUE(info->fileVersion.IsEqual(1, 2, 3, 4));
    EXPECT_EQ(FieldOf(info, KXW("Name")), row.Fields()[1]);
  }
}

TEST(PeVersionInfo, WithoutAFixedBlockThereIsNoVersion) {
  CkxRecordBytes wrongSignature = KxTest_UsualVersion();
  wrongSignature.SetU16(40, 0x04BC);  // 6 bytes of header, 32 of key, 2 of padding
  const CkxRecordBytes tooShort =
      KxTest_VersionNode(u"VS_VERSION_INFO", EkxTestNode::Binary, CkxRecordBytes().U32(0xFEEF04BD).PadTo(51));
  for (const CkxRecordBytes& version : {wrongSignature, tooShort}) {
    const auto info = Read(KxTest_PeImage(kTestPe32, version));
    ASSERT_TRUE(info);
    EXPECT_TRUE(info->fileVersion.IsEmpty());
    EXPECT_TRUE(info->productVersion.IsEmpty());
  }
}

TEST(PeVersionInfo, RefusesFilesWithABrokenWayToTheResource) {
  KxTest_ForRows<std::string, std::string, std::string>(
      "target/broken_programs.txt", [](const auto&, const auto& offset, const auto& value) {
        const size_t at = std::stoul(offset, nullptr, 16);
        const auto number = static_cast<uint32_t>(std::stoul(value, nullptr, 16));
        CkxRecordBytes file = KxTest_PeImage(kTestPe32Plus, KxTest_UsualVersion());
        EXPECT_FALSE(Read(file.SetU16(at, number).SetU16(at + 2, number >> 16)));
      });
}

TEST(PeVersionInfo, ASectionEndsWhereTheNextBegins) {
  KxBytes file = KxTest_PeImage(kTestPe32, KxTest_UsualVersion()).Bytes();
  file[SkxTestPeLayout::kNtHeaders + 6] = 2;  // sections
  const auto header = file.begin() + static_cast<std::ptrdiff_t>(kTestPe32.sectionHeader);
  std::copy_n(header, 40, header + 40);
  const KxBytes before = CkxRecordBytes().Zeros(8).U32(0x100).U32(0xF00).U32(0x100).U32(0).Bytes();
  std::copy(before.begin(), before.end(), header);
  EXPECT_TRUE(KxPe_ReadVersionInfo(CkxMemorySource(file)));
}

TEST(PeVersionInfo, EveryCutIsRefused) {
  for (const SkxTestPeLayout& layout : {kTestPe32, kTestPe32Plus}) {
    const KxBytes file = KxTest_PeImage(layout, KxTest_UsualVersion()).Bytes();
    for (size_t size = 0; size <= file.size(); ++size) {
      const KxBytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
      ASSERT_EQ(KxPe_ReadVersionInfo(CkxMemorySource(cut)).has_value(), size == file.size()) << size;
    }
  }
}

TEST(PeVersionInfo, NoByteLeadsAstray) {
  const KxBytes whole = KxTest_PeImage(kTestPe32, KxTest_UsualVersion()).Bytes();
  size_t refused = 0;
  for (size_t at = 0; at < whole.size(); ++at) {
    for (const int change : {0x01, 0x02, 0x10, 0x80, 0xFF}) {
      KxBytes file = whole;
      file[at] ^= static_cast<unsigned char>(change);
      const CkxMemorySource source(file);
      const auto info = KxPe_ReadVersionInfo(source);
      ASSERT_LE(source.bytesRead, 2 * file.size()) << at;  // nothing is read over and over
      if (!info) ++refused;
      if (!info || at < SkxTestPeLayout::kVersion) continue;
      // Whatever broke inside of the tree: a text is not found, cut short, or what it was but for the changed unit.
      const KxWString* const company = info->Field(KXW("CompanyName"));
      if (company == nullptr) continue;
      constexpr KxWStringView kCompany(KXW("Vendor Inc.\0"), 12);
      ASSERT_LE(company->size(), kCompany.size()) << at;
      const auto differs = [](WCHAR a, WCHAR b) { return a == b ? 0 : 1; };
      ASSERT_LE(std::inner_product(company->begin(), company->end(), kCompany.begin(), 0, std::plus<>(), differs), 1)
          << at;
    }
  }
  EXPECT_GT(refused, 100u);
}

TEST(PeVersionInfo, ALoadOfEntriesAndSectionsIsReadUpToTheLimits) {
  CkxRecordBytes file = KxTest_PeImage(kTestPe32, KxTest_UsualVersion());
  file.SetU16(SkxTestPeLayout::kNtHeaders + 6, 0xFFFF);   // sections
  file.SetU16(SkxTestPeLayout::kResources + 12, 0xFFFF);  // named types
  file.SetU16(SkxTestPeLayout::kResources + 14, 0xFFFF);  // numbered types
  file.PadTo(8 * 1024 * 1024);
  const CkxMemorySource source(file.Bytes());
  EXPECT_FALSE(KxPe_ReadVersionInfo(source));
  EXPECT_LT(source.bytesRead, 64u * 1024);
}

TEST(PeVersionInfo, ReadsAProgramThatWeDidNotMake) {
  CkxFileReader file;
  if (!file.Open(KXW("/usr/share/win32/gpgv.exe"))) GTEST_SKIP() << "needs the package gpgv-win32";
  const std::optional<SkxPeVersionInfo> info = KxPe_ReadVersionInfo(file);
  ASSERT_TRUE(info);
  EXPECT_EQ(FieldOf(info, KXW("CompanyName")), "g10 Code GmbH");
  EXPECT_EQ(SkxVersion::Parse(*info->Field(KXW("FileVersion"))).MostSignificant(), info->fileVersion.MostSignificant());
  EXPECT_FALSE(info->fileVersion.IsEmpty());
}

}  // namespace
