#include "Agent/engine/kx_publish/document/nearest.h"

#include <gtest/gtest.h>

namespace {

TEST(Nearest, IsASlipAwayAndNoGuess) {
  const std::vector<std::string> kWords = {"eval", "block", "elevate", "elevateOnDemand", "run", "Games"};
  const std::pair<const char*, const char*> kCases[] = {
      {"blok", "block"}, {"blcok", "block"}, {"Eval", "eval"},   {"evaluate", ""},
      {"rn", "run"},     {"runn", "run"},    {"nur", ""},        {"elevateondemnd", "elevateOnDemand"},
      {"", ""},          {"x", ""},          {"gamse", "Games"}, {"solitaire", ""},
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
