#include "Agent/engine/kx_publish/image/image_source.h"

#include <gtest/gtest.h>

#include "Common_CPP/access_token/access_token.h"
#include "tests/support/trace_capture.h"

namespace {

constexpr const char* kAnn = "S-1-5-21-1-2-3-1001";
constexpr const char* kBob = "S-1-5-21-1-2-3-1002";

SkxPolicyImage ImageWith(std::optional<std::string> applicable) {
  SkxPolicyImage image;
  image.applicable = std::move(applicable);
  return image;
}

/// "all", "none", "unknown" (no answer) or the ids, for the user `sid`; null: for nobody in particular.
std::string Answer(const CkxImageSource& source, const char* sid) {
  std::optional<CkxAccessToken> token;
  if (sid != nullptr) token.emplace(CkxSid::FromUtf8(sid).value(), std::vector<CkxSid>{}, false);
  const auto policies = source.ApplicablePolicies(token.has_value() ? token->Handle() : nullptr);
  if (policies == nullptr) return "unknown";
  if (policies->IsNone()) return "none";
  if (policies->IsAll()) return "all";
  std::string ids;
  for (const uint32_t id : policies->Ids()) ids += std::to_string(id) + " ";
  return ids;
}

TEST(ImageSource, RowsSayWhatApplies) {
  struct Case {
    const char* name;
    std::optional<std::string> applicable;
    const char* ann;
    const char* nobody;
  };
  const Case cases[] = {
      {"no rules", std::nullopt, "all", "all"},
      {"no rows", "{}", "all", "all"},
      {"a row for everybody", R"({"*": [3, 1, 2]})", "3 1 2 ", "3 1 2 "},
      {"a row of one's own", R"({"*": [1], "S-1-5-21-1-2-3-1001": [2]})", "2 ", "1 "},
      {"a row of one's own, the SID written otherwise", R"({"*": [1], "s-1-0x5-21-1-2-3-1001": [2]})", "2 ", "1 "},
      {"a row for somebody else", R"({"S-1-5-21-1-2-3-1002": [2]})", "none", "none"},
      {"somebody else's, and one for everybody", R"({"S-1-5-21-1-2-3-1002": [2], "*": [1]})", "1 ", "1 "},
      {"an empty row of one's own", R"({"*": [1], "S-1-5-21-1-2-3-1001": []})", "none", "1 "},
      {"an empty row for everybody", R"({"*": [], "S-1-5-21-1-2-3-1001": [4]})", "4 ", "none"},
      {"a row that begins with 0, the agent's word for none", R"({"*": [0, 1]})", "none", "none"},
      {"a group's row serves no member", R"({"S-1-5-32-545": [1]})", "none", "none"},
      {"malformed rules", R"({"*": [1], "ann": [1]})", "unknown", "unknown"},
  };
  for (const Case& c : cases) {
    const CkxImageSource source(ImageWith(c.applicable));
    EXPECT_EQ(Answer(source, kAnn), c.ann) << c.name;
    EXPECT_EQ(Answer(source, nullptr), c.nobody) << c.name;
  }
}

TEST(ImageSource, AnswersAreSharedAndRefusalsTraced) {
  const CkxImageSource source(ImageWith(std::string("{\"") + kAnn + "\": [1]}"));
  CkxAccessToken ann(CkxSid::FromUtf8(kAnn).value(), {}, false);
  const auto first = source.ApplicablePolicies(ann.Handle());
  EXPECT_EQ(first, source.ApplicablePolicies(ann.Handle())) << "built once, not on every evaluation";
  ASSERT_NE(first, nullptr);
  EXPECT_TRUE(first->Contains(1));

  const CkxTraceCapture trace;
  EXPECT_EQ(Answer(source, kBob), "none");
  EXPECT_EQ(trace.Texts(),
            std::vector<std::string>{"KXT_WARNING CkxApplicableRules: No applicable policies for the user"});
}

TEST(ImageSource, SectionsAreTheImagesOwnBytes) {
  SkxPolicyImage image;
  image.policies = SkxPolicyImage::Bytes{1, 2, 3};
  image.alerts = SkxPolicyImage::Bytes{};
  const CkxImageSource source(std::move(image));

  SkxSectionBytes first;
  SkxSectionBytes second;
  ASSERT_EQ(source.OpenSection(EkxPolicySection::Policies, first), EkxSectionState::Open);
  ASSERT_EQ(source.OpenSection(EkxPolicySection::Policies, second), EkxSectionState::Open);
  EXPECT_EQ(first.bytes.size(), 3u);
  EXPECT_EQ(first.bytes.data(), second.bytes.data()) << "opening copies nothing";

  ASSERT_EQ(source.OpenSection(EkxPolicySection::Alerts, first), EkxSectionState::Open)
      << "an empty file is a section, if a malformed one";
  EXPECT_TRUE(first.bytes.empty());
  EXPECT_EQ(source.OpenSection(EkxPolicySection::AppGroups, first), EkxSectionState::NotPublished)
      << "a missing file is none";
}

}  // namespace
