#include "Agent/engine/kx_publish/document/nearest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

/// By the table of distances, entry by entry: a letter too many, too few, another, or two that have changed places.
size_t SlipsByTable(const std::string& a, const std::string& b) {
  std::vector<std::vector<size_t>> table(a.size() + 1, std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) {
    for (size_t j = 0; j <= b.size(); ++j) {
      size_t& fewest = table[i][j];
      fewest = std::max(i, j);
      if (i == 0 || j == 0) continue;
      fewest =
          std::min({table[i - 1][j] + 1, table[i][j - 1] + 1, table[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      const bool isSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (isSwapped) fewest = std::min(fewest, table[i - 2][j - 2] + 1);
    }
  }
  return table[a.size()][b.size()];
}

TEST(Nearest, IsTheFirstOfTheFewestSlips) {
  std::mt19937 random(17);
  const auto textOf = [&](size_t letters, size_t alphabet) {
    std::string text;
    for (size_t i = 0; i < letters; ++i) text += static_cast<char>('a' + random() % alphabet);
    return text;
  };
  size_t found = 0;
  for (size_t round = 0; round < 1000; ++round) {
    const size_t letters = 1 + random() % 64, alphabet = 1 + random() % 6;
    const std::string word = textOf(letters, alphabet);
    std::vector<std::string> candidates;
    for (size_t i = 0; i < 4; ++i) candidates.push_back(textOf(letters - 1 + random() % 3, alphabet));
    candidates.push_back(word);
    for (size_t i = 0; i < 3; ++i) {
      std::string& slipped = candidates.back();
      std::swap(slipped[random() % letters], slipped[random() % letters]);
    }
    size_t fewest = std::max<size_t>(letters / 3, 1) + 1;
    std::string nearest;
    for (const std::string& candidate : candidates) {
      const size_t slips = SlipsByTable(word, candidate);
      if (slips >= fewest || slips == std::max(letters, candidate.size()) || candidate.size() > 64) continue;
      fewest = slips;
      nearest = candidate;
    }
    ASSERT_EQ(KxNearest(word, candidates), nearest) << word;
    if (!nearest.empty()) ++found;
  }
  EXPECT_GT(found, 300u);
}

TEST(Nearest, IsASlipAwayAndNoGuess) {
  const std::vector<std::string> kWords = {"eval", "block", "elevate", "elevateOnDemand", "run", "Games"};
  const std::pair<const char*, const char*> kCases[] = {
      {"blok", "block"}, {"blcok", "block"}, {"Eval", "eval"},   {"evaluate", ""},
      {"rn", "run"},     {"runn", "run"},    {"nur", ""},        {"elevateondemnd", "elevateOnDemand"},
      {"", ""},          {"x", ""},          {"gamse", "Games"}, {"solitaire", ""},
      {"Allow", "run"},  {"deny", "block"},  {"glob", ""},
  };
  for (const auto& [word, nearest] : kCases) EXPECT_EQ(KxNearest(word, kWords), nearest) << word;
  EXPECT_EQ(KxNearest(std::string(65, 'e'), kWords), "");
  const std::vector<std::string> kIds = {"{00000001-0000-0000-0000-000000000001}", "{00000001}"};
  EXPECT_EQ(KxNearest("{00000001-0000-0000-0000-000000000002}", kIds), "");
  EXPECT_EQ(KxNearest("{00000001-0000-0000-0000-00000000001}", kIds), "");
  EXPECT_EQ(KxNearest("{0000001}", kIds), "{00000001}");
  EXPECT_EQ(KxNearest_Question("blok", kWords), "; did you mean \"block\"?");
  EXPECT_EQ(KxNearest_Question("zzz", kWords), "");
}

}  // namespace
