// Places in texts are where an editor would go.
#include "Agent/engine/kx_publish/document/json_place.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"

namespace {

std::string PlaceText(std::string_view text, std::string_view pointer) {
  const std::optional<SkxTextPlace> place = CkxJsonPlaces(text).Of(pointer);
  return place ? std::to_string(place->line) + ":" + std::to_string(place->column) : "none";
}

TEST(JsonPlace, IsThatOfTheKeyOrTheElement) {
  constexpr const char* kText = R"(// {"a": 1}
{ "a": [1, {"b}": "]"}, [ ], /* , */ "x\"", {"~/": {"ä": null}}],
  "c" : -1.5e3, "a\u0062":
    true }
)";
  const std::pair<const char*, const char*> kPlaces[] = {
      {"", "2:1"},
      {"/a", "2:3"},
      {"/a/0", "2:9"},
      {"/a/1", "2:12"},
      {"/a/1/b}", "2:13"},
      {"/a/2", "2:25"},
      {"/a/3", "2:38"},
      {"/a/4/~0~1", "2:46"},
      {"/a/4/~0~1/ä", "2:53"},
      {"/c", "3:3"},
      {"/ab", "3:17"},
      {"/a/5", "none"},
      {"/a/x", "none"},
      {"/d", "none"},
      {"/c/0", "none"},
      {"/a/99999999999999999999", "none"},
  };
  for (const auto& [pointer, place] : kPlaces) EXPECT_EQ(PlaceText(kText, pointer), place) << pointer;
}

/// Each value of a document has a place, and no beginning of it makes the search run on.
TEST(JsonPlace, OfEveryValueAndOfEveryBeginning) {
  const std::string text = R"({"a": [{"b": 1, "c": [[], {}, "]"]}, null], "d": {"e": {"f": false}}})";
  const nlohmann::json flat = KxJson_Parse(text, true).flatten();
  ASSERT_GT(flat.size(), 5u);
  for (const auto& [pointer, unused] : flat.items()) {
    EXPECT_TRUE(CkxJsonPlaces(text).Of(pointer)) << pointer;
    for (size_t size = 0; size < text.size(); ++size) {
      const std::optional<SkxTextPlace> place = CkxJsonPlaces(std::string_view(text).substr(0, size)).Of(pointer);
      EXPECT_LE(place.value_or(SkxTextPlace{}).column, size + 1) << pointer;
    }
  }
}

}  // namespace
