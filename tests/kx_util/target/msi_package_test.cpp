// What installer packages say of themselves: of those that scripts/make-installer-packages has made the same as another
// reader tells, and of those that are made here, byte by byte, what no tool would make.
#include "Agent/engine/kx_util/target/msi_package.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/target_info_file.h>

#include <variant>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"
#include "tests/support/compound_file.h"
#include "tests/support/memory_source.h"
#include "tests/support/temp_folder.h"

namespace {

std::filesystem::path PathOf(const std::string& file) { return std::filesystem::path(KX_INSTALLER_PACKAGES) / file; }

/// By name; lines are "name", the separator, "value".
std::map<std::string, std::string> LinesOf(const std::filesystem::path& path, const std::string& separator) {
  std::map<std::string, std::string> lines;
  std::ifstream in(path, std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    const size_t end = line.find(separator);
    if (end != std::string::npos) lines[line.substr(0, end)] = line.substr(end + separator.size());
  }
  return lines;
}

std::string Property(const SkxMsiPackage& package, const std::string& name) {
  const KxWString* const text = package.Property(*KxText_FromUtf8(name));
  return text != nullptr ? KxText_ToUtf8(*text) : "none";
}

TEST(MsiPackage, SaysWhatAnotherReaderReads) {
  for (const std::string name : {"small", "latin", "utf8", "large"}) {
    SCOPED_TRACE(name);
    CkxFileReader file;
    ASSERT_TRUE(file.Open(PathOf(name + ".msi").string<WCHAR>()));
    const std::optional<SkxMsiPackage> package = KxMsi_Read(file);
    ASSERT_TRUE(package);
    EXPECT_FALSE(package->isPatch);
    const auto properties = LinesOf(PathOf(name + ".properties"), "\t");
    EXPECT_GE(properties.size(), name == "large" ? 1507u : 6u);
    for (const auto& [property, value] : properties) EXPECT_EQ(Property(*package, property), value);

    auto summary = LinesOf(PathOf(name + ".summary"), ": ");
    for (const char* property : {"Title", "Subject", "Author", "Keywords", "Comments", "Template"}) {
      EXPECT_EQ(Property(*package, std::string("Summary.") + property), summary[property]);
    }
    EXPECT_EQ(Property(*package, "PackageCode"), summary["Revision number (UUID)"]);
    EXPECT_EQ(package->properties.size(), properties.size() + 6 + 2) << "revision number, package code";
  }
}

/// A value of a column: a text, or a number.
using Value = std::variant<std::string, uint32_t>;
constexpr unsigned kTextColumn = 0x0D00 | 72;
constexpr unsigned kShortColumn = 0x0500 | 2;
constexpr unsigned kLongColumn = 0x0500 | 4;
constexpr unsigned kStreamColumn = 0x0900;

struct SkxTestColumn {
  std::string name;
  unsigned type;
  std::vector<Value> rows;
};

class TestDatabase {
 public:
  explicit TestDatabase(uint32_t codePage = 1252, unsigned referenceBytes = 2)
      : _codePage(codePage), _referenceBytes(referenceBytes) {}

  TestDatabase& Table(const std::string& name, const std::vector<SkxTestColumn>& columns) {
    CkxRecordBytes bytes;
    uint32_t number = 0x8000;
    for (const SkxTestColumn& column : columns) {
      _columns[0].push_back(name);
      _columns[1].push_back(++number);
      _columns[2].push_back(column.name);
      _columns[3].push_back(0x8000u | column.type);
      Put(bytes, column.type, column.rows);
    }
    _streams.emplace_back(name, bytes.Bytes());
    return *this;
  }

  TestDatabase& Properties(std::vector<Value> names, std::vector<Value> values) {
    return Table("Property", {{"Property", kTextColumn, std::move(names)}, {"Value", kTextColumn, std::move(values)}});
  }

  /// Texts that nobody refers to.
  TestDatabase& UnusedTexts(size_t count) {
    _pool.Zeros(count * 4);
    _texts += static_cast<uint32_t>(count);
    return *this;
  }

  KxBytes Package(uint32_t classId = 0xC1084, const KxBytes& summary = {}) {
    CkxRecordBytes columns;
    const unsigned types[] = {kTextColumn, kShortColumn, kTextColumn, kShortColumn};
    for (size_t i = 0; i < 4; ++i) Put(columns, types[i], _columns[i]);
    CkxRecordBytes pool;
    pool.U32(_codePage | (_referenceBytes == 3 ? 0x80000000 : 0)).Append(_pool);
    CkxTestCompound file(512, classId);
    file.Stream(Encoded("_StringPool"), pool.Bytes()).Stream(Encoded("_StringData"), _data);
    file.Stream(Encoded("_Columns"), columns.Bytes());
    for (const auto& [name, bytes] : _streams) file.Stream(Encoded(name), bytes);
    if (!summary.empty()) file.Stream(u"\5SummaryInformation", summary);
    return file.Bytes();
  }

 private:
  static std::u16string Encoded(const std::string& name) {
    const std::string characters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz._";
    std::u16string encoded(1, u'\x4840');
    for (size_t at = 0; at < name.size(); at += 2) {
      const size_t first = characters.find(name[at]);
      const size_t unit = at + 1 == name.size() ? 0x4800 + first : 0x3800 + first + 64 * characters.find(name[at + 1]);
      encoded += static_cast<char16_t>(unit);
    }
    return encoded;
  }

  uint32_t Reference(const std::string& text) {
    if (text.empty()) return 0;
    const auto size = static_cast<uint32_t>(text.size());
    if (size > 0xFFFF) {
      _pool.U16(0).U16(1).U32(size);
    } else {
      _pool.U16(size).U16(1);
    }
    _data.insert(_data.end(), text.begin(), text.end());
    return ++_texts;
  }

  void Put(CkxRecordBytes& bytes, unsigned type, const std::vector<Value>& values) {
    const bool isText = type == kTextColumn;
    for (const Value& value : values) {
      const uint32_t number = isText ? Reference(std::get<std::string>(value)) : std::get<uint32_t>(value);
      const unsigned size = isText ? _referenceBytes : type == kLongColumn ? 4 : 2;
      for (unsigned i = 0; i < size; ++i) bytes.U8(number >> (8 * i) & 0xFF);
    }
  }

  const uint32_t _codePage;
  const unsigned _referenceBytes;
  uint32_t _texts = 0;
  CkxRecordBytes _pool;
  KxBytes _data;
  std::vector<Value> _columns[4];
  std::vector<std::pair<std::string, KxBytes>> _streams;
};

/// Texts by their numbers.
KxBytes Summary(const std::vector<std::pair<uint32_t, std::string>>& texts, unsigned codePage = 1252) {
  CkxRecordBytes values;
  CkxRecordBytes numbers;
  const auto begin = static_cast<uint32_t>(8 + 8 * (texts.size() + 1));
  numbers.U32(1).U32(begin);
  values.U32(2).U32(codePage);
  for (const auto& [number, text] : texts) {
    numbers.U32(number).U32(begin + static_cast<uint32_t>(values.Size()));
    values.U32(30).U32(static_cast<uint32_t>(text.size() + 1)).Append(KxBytes(text.begin(), text.end())).U8(0).Align(4);
  }
  CkxRecordBytes stream;
  stream.U16(0xFFFE).U16(0).U32(0x20005).Zeros(16).U32(1);
  stream.U32(0xF29F85E0).U32(0x10684FF9).U32(0x000891AB).U32(0xD9B3272B).U32(48);
  return stream.U32(begin + static_cast<uint32_t>(values.Size()))
      .U32(static_cast<uint32_t>(texts.size() + 1))
      .Append(numbers)
      .Append(values)
      .Bytes();
}

std::optional<SkxMsiPackage> Read(const KxBytes& file) { return KxMsi_Read(CkxMemorySource(file)); }

std::string Named(const std::optional<SkxMsiPackage>& package, const std::string& name) {
  return package ? Property(*package, name) : "no package";
}

TEST(MsiPackage, TextsMayBeManyAndLong) {
  const std::string longText(0x12345, 'l');
  for (const unsigned referenceBytes : {2u, 3u}) {
    TestDatabase database(1252, referenceBytes);
    database.Properties({"Before", "Long"}, {"b", longText});
    if (referenceBytes == 3) database.UnusedTexts(0x10000);
    database.Table("Other", {{"Key", kTextColumn, {"k"}}});
    database.Table("MoreThanTwoBytesTell", {{"Key", kTextColumn, {"k"}}});
    const auto package = Read(database.Package());
    EXPECT_EQ(Named(package, "Before"), "b");
    EXPECT_EQ(Named(package, "Long"), longText);
  }
  TestDatabase late(1252, 3);
  const auto package = Read(late.UnusedTexts(0x10000).Properties({"Late"}, {"text 65538"}).Package());
  EXPECT_EQ(Named(package, "Late"), "text 65538");
}

TEST(MsiPackage, TextsAreInTheCodePageOfTheDatabase) {
  const auto named = [](uint32_t codePage, const char* bytes) {
    return Named(Read(TestDatabase(codePage).Properties({"Name"}, {bytes}).Package()), "Name");
  };
  EXPECT_EQ(named(1251, "\xCF\xF0"), "\u041F\u0440");
  EXPECT_EQ(named(932, "\x93\xFA"), "\u65E5");
  EXPECT_EQ(named(65001, "\xC3\xBC"), "\u00FC");
  EXPECT_EQ(named(0, "\xFC"), "\u00FC") << "neutral: as most systems have it";
  EXPECT_EQ(named(65001, "\xFC"), "none");
  EXPECT_EQ(named(77777, "\xFC"), "none");
}

/// Whatever else stands in the table, its columns are found where the database says that they are.
TEST(MsiPackage, ColumnsAreWhereTheDatabaseSays) {
  const SkxTestColumn name = {"Property", kTextColumn, {"ProductName", "Empty"}};
  const SkxTestColumn value = {"Value", kTextColumn, {"Tool", ""}};
  const SkxTestColumn numbers = {"A", kShortColumn, {7u, 8u}};
  const SkxTestColumn longNumbers = {"B", kLongColumn, {7u, 8u}};
  const SkxTestColumn streams = {"C", kStreamColumn, {1u, 1u}};
  const std::vector<std::vector<SkxTestColumn>> orders = {
      {name, value}, {value, name}, {numbers, name, longNumbers, value}, {streams, value, numbers, name}};
  for (const std::vector<SkxTestColumn>& columns : orders) {
    for (const unsigned referenceBytes : {2u, 3u}) {
      const auto package = Read(TestDatabase(1252, referenceBytes).Table("Property", columns).Package());
      EXPECT_EQ(Named(package, "ProductName"), "Tool");
      EXPECT_EQ(Named(package, "Empty"), "none");
      EXPECT_EQ(Named(package, "productname"), "none");
    }
  }
  const SkxTestColumn valueIsNumber = {"Value", kShortColumn, {1u, 1u}};
  EXPECT_EQ(Named(Read(TestDatabase().Table("Property", {name, valueIsNumber}).Package()), "ProductName"), "none");
  EXPECT_EQ(Named(Read(TestDatabase().Table("Other", {name, value}).Package()), "ProductName"), "none");
}

constexpr const char* kCodeOfPatch = "{11111111-2222-3333-4444-555555555555}";
constexpr const char* kTargets = "{AAAAAAAA-0000-0000-0000-000000000001};{AAAAAAAA-0000-0000-0000-000000000002}";

TEST(MsiPackage, APatchSaysWhatItIsFor) {
  const KxBytes summary = Summary({{3, "Tool 1.2"},
                                   {4,
                                    "Gr\xFC"
                                    "n"},
                                   {7, kTargets},
                                   {9, kCodeOfPatch + std::string("{6")}});
  const auto bare = Read(TestDatabase().Package(0xC1086, summary));
  EXPECT_TRUE(bare && bare->isPatch);
  EXPECT_EQ(Named(bare, "PatchCode"), kCodeOfPatch);
  EXPECT_EQ(Named(bare, "TargetProductCodes"), kTargets);
  EXPECT_EQ(Named(bare, "ProductName"), "Tool 1.2");
  EXPECT_EQ(Named(bare, "Manufacturer"), "Gr\u00FCn");
  EXPECT_EQ(Named(bare, "PackageCode"), "none");

  TestDatabase described;
  described.Table("MsiPatchMetadata",
                  {{"Company", kTextColumn, {"", "", "Other"}},
                   {"Property", kTextColumn, {"TargetProductName", "DisplayName", "ManufacturerName"}},
                   {"Value", kTextColumn, {"Tool", "Fix 7", "not ours"}}});
  const auto patch = Read(described.Package(0xC1086, summary));
  EXPECT_EQ(Named(patch, "ProductName"), "Tool");
  EXPECT_EQ(Named(patch, "DisplayName"), "Fix 7");
  EXPECT_EQ(Named(patch, "Manufacturer"), "Gr\u00FCn");
}

TEST(MsiPackage, OfOtherKindsThereIsNone) {
  const KxBytes summary = Summary({{9, kCodeOfPatch}});
  EXPECT_TRUE(Read(TestDatabase().Properties({"A"}, {"b"}).Package(0xC1084, summary)));
  EXPECT_FALSE(Read(TestDatabase().Properties({"A"}, {"b"}).Package(0xC1082, summary))) << "a transform";
  EXPECT_FALSE(Read(TestDatabase().Properties({"A"}, {"b"}).Package(0, summary)));
  EXPECT_FALSE(Read(CkxTestCompound(512, 0xC1084).Bytes()));
  EXPECT_FALSE(Read(KxBytes(4096)));
}

TEST(MsiPackage, SummariesThatAreBrokenAreLeftOut) {
  const KxBytes whole = Summary({{3, "Subject"}, {4, "Author"}});
  for (size_t size = 1; size <= whole.size(); ++size) {
    const KxBytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    const auto package = Read(TestDatabase().Properties({"A"}, {"b"}).Package(0xC1084, cut));
    ASSERT_EQ(Named(package, "A"), "b");
    ASSERT_THAT(Named(package, "Summary.Author"), testing::AnyOf("none", "Author"));
  }
  KxBytes other = whole;
  other[28] ^= 1;  // another format's section
  EXPECT_EQ(Named(Read(TestDatabase().Properties({"A"}, {"b"}).Package(0xC1084, other)), "Summary.Subject"), "none");
}

/// One long text told in every row would be more than any memory.
TEST(MsiPackage, WhatWouldBeTooMuchIsRefused) {
  TestDatabase database;
  database.Properties({std::string(100'000, 'n'), "A"}, {"v", "b"});
  EXPECT_EQ(Named(Read(database.Package()), "A"), "b");
  std::vector<Value> names, values;
  for (size_t row = 0; row < 100; ++row)
    names.emplace_back(std::string(60'000, 'n') + std::to_string(row)), values.emplace_back("v");
  EXPECT_FALSE(Read(TestDatabase().Properties(names, values).Package()));
  const std::vector<Value> many(20'000, Value("x"));
  EXPECT_FALSE(Read(TestDatabase(1252, 3).Properties(many, many).Package()));
}

TEST(MsiPackage, ACutPackageSaysNothingElse) {
  const KxBytes whole = TestDatabase().Properties({"ProductName", "ProductVersion"}, {"Tool", "1.2"}).Package();
  for (size_t size = 0; size < whole.size(); ++size) {
    const auto package = KxMsi_Read(CkxMemorySource(whole.data(), size));
    ASSERT_THAT(Named(package, "ProductName"), testing::AnyOf("no package", "none", "Tool")) << size;
  }
}

TEST(MsiPackage, NoByteLeadsAstray) {
  const KxBytes whole =
      TestDatabase().Properties({"ProductName"}, {"Tool"}).Package(0xC1084, Summary({{3, "Subject"}}));
  size_t same = 0;
  for (size_t at = 0; at < whole.size(); ++at) {
    KxBytes broken = whole;
    broken[at] ^= 0xFF;
    const CkxMemorySource source(broken);
    const auto package = KxMsi_Read(source);
    ASSERT_LT(source.bytesRead, 256u * 1024) << at;
    if (Named(package, "ProductName") == "Tool") ++same;
    if (!package) continue;
    for (const auto& [name, text] : package->properties) ASSERT_LT(name.size() + text.size(), whole.size());
  }
  EXPECT_GT(same, 1000u);
  EXPECT_LT(same, whole.size());
}

TEST(MsiPackage, ALivePackageIsDescribed) {
  const CkxTempFolder folder;
  const std::string content = [] {
    std::ifstream in(PathOf("small.msi"), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }();
  const KxWString path = folder.Write("setup.msi", content);
  const CkxTargetInfoFile file(path.c_str(), nullptr);
  EXPECT_EQ(file.GetMsiProperty(KXW("ProductVersion")), KxWString(KXW("1.2.3")));
  EXPECT_EQ(file.GetMsiProperty(KXW("productversion")), nullptr);
  EXPECT_EQ(CkxTargetInfoFile(folder.Write("a.msi", "no package").c_str(), nullptr).GetMsiProperty(KXW("A")), nullptr);

  const CkxTargetInfoFile changing(path.c_str(), nullptr);
  EXPECT_GT(changing.GetFileSize(), 0);
  folder.Write("setup.msi", content + "more");
  const CkxEntryScope evaluation;
  EXPECT_EQ(changing.GetMsiProperty(KXW("ProductName")), nullptr);
  EXPECT_EQ(KxFault_Current(), EkxEvaluationFault::TargetChanged);
}

}  // namespace
