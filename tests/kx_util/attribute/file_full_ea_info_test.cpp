#include <gmock/gmock.h>
#include <kx_util/ext_file_attributes.h>

#include <algorithm>

#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using RecordBytes = std::vector<unsigned char>;

RecordBytes BytesOf(const CkxFileFullEaInfo& info) { return {info.Record(), info.Record() + info.Size()}; }

void ExpectNothingIn(const CkxFileFullEaInfo& info) {
  EXPECT_EQ(info.Record(), nullptr);
  EXPECT_EQ(info.Name(), nullptr);
  EXPECT_EQ(info.Value(), nullptr);
  EXPECT_EQ(info.Size() + info.Flags() + info.NameLength() + info.ValueLength(), 0u);
  EXPECT_FALSE(info.IsOwned());
}

TEST(FileFullEaInfo, BuildsTheRecordThatTheSystemTakes) {
  CkxFileFullEaInfo info;
  ExpectNothingIn(info);
  const unsigned char value[] = {0xDE, 0xAD};
  ASSERT_TRUE(info.Set("KxA", value, 2, CkxFileFullEaInfo::kNeedEa));
  EXPECT_EQ(BytesOf(info), (RecordBytes{0, 0, 0, 0, 0x80, 3, 2, 0, 'K', 'x', 'A', 0, 0xDE, 0xAD}));
  ASSERT_TRUE(info.Set("N", "hi", 0));
  EXPECT_EQ(BytesOf(info), (RecordBytes{0, 0, 0, 0, 0, 1, 3, 0, 'N', 0, 'h', 'i', 0}));
  ASSERT_TRUE(info.Set("N", KXW("h\u20AC"), 0));
  EXPECT_EQ(BytesOf(info), (RecordBytes{0, 0, 0, 0, 0, 1, 6, 0, 'N', 0, 'h', 0, 0xAC, 0x20, 0, 0}));
  ASSERT_TRUE(info.Set("N", static_cast<const char*>(nullptr), 0));
  EXPECT_EQ(BytesOf(info), (RecordBytes{0, 0, 0, 0, 0, 1, 0, 0, 'N', 0}));
  EXPECT_EQ(info.Value(), info.Record() + info.Size());
}

TEST(FileFullEaInfo, TakesWholeRecordsAndRefusesWhatIsNone) {
  // One of a list, with more behind it.
  const RecordBytes bytes = {16, 0, 0, 0, 0x80, 2, 1, 0, 'A', 'B', 0, 7, 0xFF, 0xFF, 0xFF, 0xFF};
  constexpr unsigned long kWhole = 12;
  CkxFileFullEaInfo copy, attached;
  ASSERT_TRUE(copy.CopyFrom(bytes.data(), kWhole));
  ASSERT_TRUE(attached.Attach(bytes.data(), 16));
  EXPECT_TRUE(copy.IsOwned());
  EXPECT_FALSE(attached.IsOwned());
  EXPECT_EQ(attached.Record(), bytes.data());
  for (const CkxFileFullEaInfo* const info : {&copy, &attached}) {
    EXPECT_STREQ(info->Name(), "AB");
    EXPECT_EQ(info->NameLength(), 2);
    EXPECT_EQ(info->Flags(), 0x80);
    EXPECT_EQ(info->ValueLength(), 1);
    EXPECT_EQ(*info->Value(), 7);
    EXPECT_EQ(info->Size(), kWhole);
  }
  EXPECT_EQ(copy.Record()[0], 0) << "a copy stands alone";

  for (unsigned long size = 0; size < kWhole; ++size) {
    const RecordBytes exact(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size));
    EXPECT_FALSE(copy.CopyFrom(exact.data(), size)) << size;
    EXPECT_FALSE(attached.Attach(exact.data(), size)) << size;
  }
  EXPECT_FALSE(attached.Attach(nullptr, kWhole));
  EXPECT_STREQ(copy.Name(), "AB") << "a refused record leaves what was there";
  ASSERT_TRUE(copy.CopyFrom(copy.Record(), copy.Size())) << "from itself";
  EXPECT_EQ(*copy.Value(), 7);

  CkxFileFullEaInfo moved = std::move(copy);
  EXPECT_STREQ(moved.Name(), "AB");
  ExpectNothingIn(copy);  // NOLINT(bugprone-use-after-move): what a move leaves is what is tested
  copy = std::move(moved);
  EXPECT_EQ(*copy.Value(), 7);
}

TEST(FileFullEaInfo, NamesThatAreValid) {
  for (int code = 1; code < 256; ++code) {
    const auto character = static_cast<char>(code);
    const std::string name = std::string("N") + character;
    const bool isForbidden = std::string_view("\\/:*?\"<>|,+=[];").find(character) != std::string_view::npos;
    EXPECT_EQ(CkxFileFullEaInfo::IsValidName(name.c_str()), code >= 0x20 && code < 0x80 && !isForbidden) << code;
  }
  const std::string longest(254, 'n');
  EXPECT_TRUE(CkxFileFullEaInfo::IsValidName(longest.c_str()));
  EXPECT_FALSE(CkxFileFullEaInfo::IsValidName((longest + "n").c_str()));
  EXPECT_FALSE(CkxFileFullEaInfo::IsValidName(""));
  EXPECT_FALSE(CkxFileFullEaInfo::IsValidName(nullptr));
}

/// Texts of so many characters, with the zero behind them.
TEST(FileFullEaInfo, ValuesUpToTheirLimit) {
  struct {
    size_t characters;
    bool isWide;
    bool isTaken;
    const char* refusal;
  } const kCases[] = {
      {0, false, true, ""},
      {65'534, false, true, ""},
      {65'535, false, false, "ERROR: Value string is too long: 65536"},
      {0, true, true, ""},
      {32'766, true, true, ""},
      {32'767, true, false, "ERROR: Value string is too long: 65536"},
      {100'000, true, false, "ERROR: Value string is too long: 200002"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.characters);
    CkxFileFullEaInfo info;
    const CkxTraceCapture trace;
    const std::string narrow(row.characters, 'v');
    const KxWString wide(row.characters, KXW('v'));
    EXPECT_EQ(row.isWide ? info.Set("N", wide.c_str(), 0) : info.Set("N", narrow.c_str(), 0), row.isTaken);
    const size_t bytes = (row.characters + 1) * (row.isWide ? 2 : 1);
    EXPECT_EQ(info.ValueLength(), row.isTaken ? bytes : 0);
    EXPECT_EQ(info.Size(), row.isTaken ? 10 + bytes : 0);
    const std::vector<std::string> lines = trace.Texts();
    EXPECT_EQ(lines.size(), row.isTaken ? 0u : 1u);
    for (const std::string& line : lines) EXPECT_THAT(line, EndsWith(row.refusal));
  }
  const RecordBytes most(65'535, 5);
  const std::string longest(254, 'n');
  CkxFileFullEaInfo info;
  ASSERT_TRUE(info.Set(longest.c_str(), most.data(), 65'535, 0));
  EXPECT_EQ(info.Size(), 9u + 254 + 65'535);
  EXPECT_EQ(RecordBytes(info.Value(), info.Value() + info.ValueLength()), most);
}

TEST(FileFullEaInfo, SaysWhyItRefuses) {
  CkxFileFullEaInfo info;
  ASSERT_TRUE(info.Set("Before", "v", 0));
  const CkxTraceCapture trace;
  const unsigned char byte = 1;
  EXPECT_FALSE(info.Set(nullptr, &byte, 1, 0));
  EXPECT_FALSE(info.Set("", &byte, 1, 0));
  EXPECT_FALSE(info.Set("N", static_cast<const unsigned char*>(nullptr), 3, 0));
  EXPECT_FALSE(info.Set("a,b", "v", 0));
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR CkxFileFullEaInfo: ERROR: Name is NULL or empty",
                                         "KXT_ERROR CkxFileFullEaInfo: ERROR: Name is NULL or empty",
                                         "KXT_ERROR CkxFileFullEaInfo: ERROR: valueLen=3 but value is NULL",
                                         "KXT_ERROR CkxFileFullEaInfo: ERROR: Invalid EA name [a,b]"));
  EXPECT_STREQ(info.Name(), "Before");
}

}  // namespace
