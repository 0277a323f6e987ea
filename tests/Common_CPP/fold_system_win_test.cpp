// Our folding against the system's upper-casing, for every unit of the Latin, Greek and Cyrillic blocks. They differ in
// one thing: the system's (by file-system rules, its default) maps a letter only where lower-casing brings that letter
// back, so that of several forms of one letter a single one has the capital. Ours is the whole simple mapping, so that
// all forms of a letter are equal to a policy.
#include <gtest/gtest.h>
#include <windows.h>

#include <map>

#include "Common_CPP/util/text.h"

namespace {

struct SkxBlock {
  const char* name;
  WCHAR first;
  WCHAR last;
};

constexpr SkxBlock kBlocks[] = {
    {"Basic Latin", 0x0000, 0x007F},
    {"Latin-1 Supplement", 0x0080, 0x00FF},
    {"Latin Extended-A", 0x0100, 0x017F},
    {"Latin Extended-B", 0x0180, 0x024F},
    {"IPA Extensions (Latin)", 0x0250, 0x02AF},
    {"Greek and Coptic", 0x0370, 0x03FF},
    {"Cyrillic", 0x0400, 0x04FF},
    {"Cyrillic Supplement", 0x0500, 0x052F},
    {"Cyrillic Extended-C", 0x1C80, 0x1C8F},
    {"Phonetic Extensions (Latin)", 0x1D00, 0x1DBF},
    {"Latin Extended Additional", 0x1E00, 0x1EFF},
    {"Greek Extended", 0x1F00, 0x1FFF},
    {"Latin Extended-C", 0x2C60, 0x2C7F},
    {"Cyrillic Extended-A", 0x2DE0, 0x2DFF},
    {"Cyrillic Extended-B", 0xA640, 0xA69F},
    {"Latin Extended-D", 0xA720, 0xA7FF},
    {"Latin Extended-E", 0xAB30, 0xAB6F},
    {"Latin ligatures", 0xFB00, 0xFB06},
    {"Fullwidth Latin", 0xFF21, 0xFF5A},
};

/// Units that we fold and the system leaves as they are.
struct SkxDifferences {
  const char* reason;
  std::map<WCHAR, WCHAR> folds;
};

const SkxDifferences kDifferences[] = {
    {"dotless i and long s: the system keeps I for i and S for s", {{0x0131, 0x0049}, {0x017F, 0x0053}}},
    {"long s with dot above: the capital belongs to s with dot above", {{0x1E9B, 0x1E60}}},
    {"micro sign: the capital belongs to the letter mu", {{0x00B5, 0x039C}}},
    {"title-case digraphs: the capital belongs to the lower-case digraph",
     {{0x01C5, 0x01C4}, {0x01C8, 0x01C7}, {0x01CB, 0x01CA}, {0x01F2, 0x01F1}}},
    {"final sigma: the capital belongs to the sigma within a word", {{0x03C2, 0x03A3}}},
    {"Greek letters as symbols: the capital belongs to the letter",
     {{0x03D0, 0x0392},
      {0x03D1, 0x0398},
      {0x03D5, 0x03A6},
      {0x03D6, 0x03A0},
      {0x03F0, 0x039A},
      {0x03F1, 0x03A1},
      {0x03F5, 0x0395}}},
    {"iota below, written beside: the capital belongs to the letter", {{0x1FBE, 0x0399}}},
    {"rounded and tall Cyrillic of old books: the capital belongs to today's form",
     {{0x1C80, 0x0412},
      {0x1C81, 0x0414},
      {0x1C82, 0x041E},
      {0x1C83, 0x0421},
      {0x1C84, 0x0422},
      {0x1C85, 0x0422},
      {0x1C86, 0x042A},
      {0x1C87, 0x0462},
      {0x1C88, 0xA64A}}},
};

WCHAR SystemUpper(WCHAR unit) {
  WCHAR text[] = {unit, 0};
  CharUpperW(text);
  return text[0];
}

WCHAR InvariantUpper(WCHAR unit) {
  WCHAR upper = 0;
  return LCMapStringW(LOCALE_INVARIANT, LCMAP_UPPERCASE, &unit, 1, &upper, 1) == 1 ? upper : WCHAR{};
}

TEST(FoldOfTheSystem, DiffersInTheListedUnitsAlone) {
  std::map<WCHAR, WCHAR> listed;
  for (const SkxDifferences& differences : kDifferences) {
    for (const auto& [unit, folded] : differences.folds) {
      EXPECT_TRUE(listed.emplace(unit, folded).second) << std::hex << unsigned{unit} << " is listed twice";
    }
  }
  size_t lettersThatFold = 0;
  for (const SkxBlock& block : kBlocks) {
    for (unsigned at = block.first; at <= block.last; ++at) {
      const auto unit = static_cast<WCHAR>(at);
      const auto difference = listed.find(unit);
      const WCHAR folded = KxText_Fold(unit);
      const WCHAR expected = difference == listed.end() ? folded : unit;
      EXPECT_EQ(SystemUpper(unit), expected) << block.name << " " << std::hex << at;
      EXPECT_EQ(InvariantUpper(unit), expected) << block.name << " " << std::hex << at;
      lettersThatFold += folded != unit;
      if (difference == listed.end()) continue;
      EXPECT_EQ(folded, difference->second) << block.name << " " << std::hex << at;
      EXPECT_NE(folded, expected) << std::hex << at << " is no difference";
      listed.erase(difference);
    }
  }
  EXPECT_TRUE(listed.empty()) << "a unit of no block is listed";
  EXPECT_GT(lettersThatFold, 800u);
}

}  // namespace
