#include "Agent/engine/kx_publish/image/image_source.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Common_CPP/access_token/access_token.h"
#include "tests/support/data_rows.h"
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
  for (const uint32_t id : policies->Ids()) ids += (ids.empty() ? "" : " ") + std::to_string(id);
  return ids;
}

TEST(ImageSource, RowsSayWhatApplies) {
  KxTest_ForRows<nlohmann::json, std::string, std::string>(
      "documents/applicable.txt", [](auto& rows, auto& ann, auto& nobody) {
        const CkxImageSource source(ImageWith(rows.is_null() ? std::nullopt : std::optional(rows.dump())));
        EXPECT_EQ(Answer(source, kAnn), ann);
        EXPECT_EQ(Answer(source, nullptr), nobody);
      });
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
