#include "Common_CPP/file/ea_record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace {

using EaBytes = std::vector<unsigned char>;

// Two records: "A" = 1 2 3 on 16 bytes (13 and three of padding), then "KEEP" = 9 with the need-EA flag.
const EaBytes kTwoEas = {16, 0, 0, 0, 0,    1, 3, 0, 'A', 0,   1,   2,   3, 0, 0, 0,  //
                         0,  0, 0, 0, 0x80, 4, 1, 0, 'K', 'E', 'E', 'P', 0, 9};

std::map<std::string, EaBytes> EasOf(const EaBytes& list) {
  std::map<std::string, EaBytes> found;
  KxEaList_ForEach(list, [&](const SkxEaRecord& record, std::span<const unsigned char> bytes) {
    EXPECT_EQ(bytes.size(), record.Size());
    found[std::string(record.name)].assign(record.value.begin(), record.value.end());
    return true;
  });
  return found;
}

TEST(EaRecord, ReadsTheBytesAsTheyAreLaidOut) {
  const auto record = KxEaRecord_Read(std::span(kTwoEas).subspan(16));
  ASSERT_TRUE(record);
  EXPECT_EQ(record->next, 0u);
  EXPECT_EQ(record->flags, 0x80);
  EXPECT_EQ(record->name, "KEEP");
  EXPECT_TRUE(std::ranges::equal(record->value, EaBytes{9}));
  EXPECT_EQ(record->Size(), 14u);
  EXPECT_EQ(EasOf(kTwoEas), (std::map<std::string, EaBytes>{{"A", {1, 2, 3}}, {"KEEP", {9}}}));
}

TEST(EaRecord, ListsAreWrittenLikeThat) {
  EaBytes list;
  const EaBytes three = {1, 2, 3};
  const EaBytes nine = {9};
  const size_t last = KxEaList_Append(list, 0, {0, 0, "A", three});
  EXPECT_EQ(KxEaList_Append(list, last, {0, 0x80, "KEEP", nine}), 16u);
  EXPECT_EQ(list, kTwoEas);
}

/// In a block of exactly their size, so that a sanitizer sees a read of one too many.
TEST(EaRecord, EveryPrefixOfAListIsRefused) {
  for (size_t size = 0; size < kTwoEas.size(); ++size) {
    const EaBytes prefix(kTwoEas.begin(), kTwoEas.begin() + static_cast<ptrdiff_t>(size));
    EXPECT_FALSE(KxEaList_IsWellFormed(prefix)) << size;
    EXPECT_EQ(KxEaRecord_Read(prefix).has_value(), size >= 13) << size;
  }
  EaBytes more = kTwoEas;
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(KxEaList_IsWellFormed(more)) << "what lies behind the last record is nobody's";
    more.push_back(0xFF);
  }
}

TEST(EaRecord, RefusesEachDepartureFromTheTable) {
  struct {
    const char* what;
    size_t at;
    unsigned char byte;
  } const kCases[] = {
      {"the next record within this one", 0, 12}, {"the next record not on 4 bytes", 0, 17},
      {"the next record outside", 0, 32},         {"the next record far outside", 3, 0x80},
      {"no room for the next header", 0, 24},     {"no name", 5, 0},
      {"the name longer than it is", 5, 2},       {"a value past the end", 6 + 1, 1},
      {"no zero behind the name", 9, 'x'},        {"a zero in the second name", 16 + 9, 0},
      {"a record that points to itself", 0, 4},   {"another record behind the last", 16, 16},
  };
  for (const auto& row : kCases) {
    EaBytes bytes = kTwoEas;
    bytes[row.at] = row.byte;
    EXPECT_FALSE(KxEaList_IsWellFormed(bytes)) << row.what;
  }
}

/// Each record by itself is one; together they are no list.
TEST(EaRecord, RecordsWhereNoneMayBegin) {
  const EaBytes unaligned = {13, 0, 0, 0, 0, 1, 3, 0, 'A', 0, 1, 2, 3, 0, 0, 0, 0, 0, 1, 0, 0, 'B', 0};
  const EaBytes withinTheValue = {12, 0, 0, 0, 0, 1, 12, 0, 'A', 0, 9, 9, 0, 0, 0, 0, 0, 1, 0, 0, 'B', 0};
  for (const EaBytes& list : {unaligned, withinTheValue}) {
    ASSERT_TRUE(KxEaRecord_Read(list) && KxEaRecord_Read(std::span(list).subspan(list[0])));
    EXPECT_FALSE(KxEaList_IsWellFormed(list)) << int{list[0]};
  }
}

TEST(EaRecord, NamesFoldLikeAsciiAlone) {
  EXPECT_EQ(KxEaName_Upper("aZ{\xE4"), "AZ{\xE4");
  EXPECT_TRUE(KxEaName_Equals("KxDrvSupData", "KXDRVSUPDATA"));
  EXPECT_FALSE(KxEaName_Equals("KxDrv", "KxDrvSupData"));
  EXPECT_FALSE(KxEaName_Equals("[", "{"));
  for (const auto& [name, isKernel] : std::map<std::string, bool>{
           {"$KERNEL.PURGE.KXFH", true}, {"$kernel.x", true}, {"$KERNEL", false}, {"A$KERNEL.X", false}, {"", false}}) {
    EXPECT_EQ(KxEaName_IsKernel(name), isKernel) << name;
  }
}

TEST(EaRecord, AQuestionNamesOneAttribute) {
  const EaBytes query = KxEaQuery_Of("KxA");
  EXPECT_EQ(query, (EaBytes{0, 0, 0, 0, 3, 'K', 'x', 'A', 0}));
  EXPECT_EQ(KxEaQuery_Name(query), "KxA");
  for (size_t size = 0; size < query.size(); ++size) {
    EXPECT_FALSE(KxEaQuery_Name(EaBytes(query.begin(), query.begin() + static_cast<ptrdiff_t>(size)))) << size;
  }
  for (const size_t at : {size_t{0}, size_t{4}, size_t{6}}) {
    EaBytes other = query;
    other[at] = at == 6 ? 0 : static_cast<unsigned char>(other[at] ^ 3);  // a next one; no name; a zero within
    EXPECT_FALSE(KxEaQuery_Name(other)) << at;
  }
}

}  // namespace
