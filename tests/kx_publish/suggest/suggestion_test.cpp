// Suggested policies: which they are, and that they apply to what they were suggested from.
#include "Agent/engine/kx_publish/suggest/suggestion.h"

#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <random>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

struct Suggested {
  SkxPublication publication;
  json document;
  std::vector<bool> isTaken;  ///< of each target
};

Suggested SuggestFrom(const json& targets, const char* action = "run") {
  CkxSuggestion suggestion;
  Suggested suggested;
  for (const json& target : targets) {
    suggested.isTaken.push_back(suggestion.Add(CkxTargetDocument::FromJson(target).Target()));
  }
  const auto taken = std::count(suggested.isTaken.begin(), suggested.isTaken.end(), true);
  EXPECT_EQ(suggestion.Added(), static_cast<size_t>(taken));
  EXPECT_EQ(suggestion.LeftOut(), targets.size() - static_cast<size_t>(taken));
  suggested.publication = suggestion.Publication(*KxSuggestion_Kind(action));

  ordered_json document;
  SkxDocumentError error;
  EXPECT_TRUE(KxPolicyDocument_Write(suggested.publication, document, error)) << error.Text();
  suggested.document = json::parse(document.dump());
  return suggested;
}

SkxPublication ReadBack(const json& document) {
  const SkxDocumentText text{"suggested", document.dump()};
  SkxPublication publication;
  SkxDocumentError error;
  EXPECT_TRUE(KxPolicyDocument_Read(std::span(&text, 1), publication, error)) << error.Text() << document.dump(2);
  return publication;
}

/// Which policy of the image in force applies; 0 for none.
uint32_t Applying(const json& target) {
  const CkxTargetDocument document = CkxTargetDocument::FromJson(target);
  const CkxMachineFactsScope machine(document.Machine());
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome{};
  const bool applies = CkxSharedPoliciesData::GetTargetPolicyAction(document.Target(), info, outcome);
  EXPECT_NE(outcome, EkxEvaluationOutcome::NotAnswered) << target.dump();
  return applies ? uint32_t{info.PolicyId} : 0;
}

void ExpectToApply(const json& targets, const Suggested& suggested) {
  const CkxImageSource source(KxEncode_Image(ReadBack(suggested.document)));
  const CkxPolicySourceScope scope(source);
  for (size_t i = 0; i < targets.size(); ++i) {
    if (!suggested.isTaken[i]) continue;
    EXPECT_NE(Applying(targets[i]), 0U) << targets[i].dump() << suggested.document.dump(2);
  }
}

TEST(Suggestion, IsTheSurestRuleThatHolds) {
  KxTest_ForRows<json, json, uint64_t>("documents/suggest.txt", [](const json& targets, const json& expected,
                                                                   uint64_t leftOut) {
    const Suggested suggested = SuggestFrom(targets);
    json found = json::array();
    for (const json& policy : suggested.document["policies"]) {
      EXPECT_EQ(policy["targets"].size(), 1U);
      found.push_back({policy["name"], policy["targets"][0]});
    }
    EXPECT_EQ(found, expected) << found.dump();
    EXPECT_EQ(static_cast<uint64_t>(std::count(suggested.isTaken.begin(), suggested.isTaken.end(), false)), leftOut);
    ExpectToApply(targets, suggested);
  });
}

/// Targets whose facts are alike often enough to share rules, and odd often enough to break them.
class AnyTargets {
 public:
  explicit AnyTargets(unsigned seed) : _random(seed) {}

  json Next() {
    json target = {{"kind", Of({"process", "file"})}, {"path", Of(kFolders) + Of(kNames)}};
    if (Chance(2)) target["signers"] = {{{"name", Of(kTexts)}, {"status", Of({"valid", "valid", "weak", "expired"})}}};
    if (Chance(2)) target["versionInfo"] = {{"ProductName", Of(kTexts)}};
    if (Chance(2)) target["msi"] = {{"ProductName", Of(kTexts)}, {"ProductVersion", Of(kVersions)}};
    if (Chance(2)) target["fileVersion"] = Of(kVersions);
    if (Chance(2))
      target["hashes"] = {{Of({"MD5", "SHA1", "SHA256"}), Of({std::string(64, 'a'), std::string(40, 'b')})}};
    if (Chance(8)) target["targetType"] = std::uniform_int_distribution<uint32_t>(0, 22)(_random);
    return target;
  }

 private:
  using Texts = std::vector<std::string>;
  inline static const Texts kFolders = {"C:\\", "C:\\Apps\\", "c:/apps/", "\\\\s\\d\\",  "/",        "/opt/x y/",  "C:",
                                        "",     "C:\\a*\\",   "/a?/",     "\\\\?\\D:\\", "CDROM:\\", "C:\\a\\..\\"};
  inline static const Texts kNames = {"a.exe", "A.EXE", "b.dll", "c.ps1", "d.msi", "e.msu", "f.txt", "*.exe", "..", ""};
  inline static const Texts kTexts = {"V", "v",  "Straße", "STRASSE", "\xE2\x80\xAE", "*", "V?", " V ",
                                      "",  "\n", "İ",      "i"};
  inline static const Texts kVersions = {"",           "0.0.0.0", "1.2", "10.0.1.2 (x)", "65535.65535.65535.65535",
                                         "1.65535.0.1"};

  bool Chance(int inverse) { return std::uniform_int_distribution<int>(1, inverse)(_random) == 1; }
  std::string Of(const Texts& texts) {
    return texts[std::uniform_int_distribution<size_t>(0, texts.size() - 1)(_random)];
  }

  std::mt19937 _random;
};

json SomeTargets(unsigned seed, int count) {
  AnyTargets any(seed);
  json targets = json::array();
  for (int i = 0; i < count; ++i) targets.push_back(any.Next());
  return targets;
}

bool IsSignedBy(const json& target, const std::string& publisher) {
  if (!target.contains("signers") || target["signers"][0]["status"] != "valid") return false;
  const auto wide = [](const json& text) { return KxText_FromUtf8(text.get<std::string>()).value(); };
  const KxWString signer = wide(target["signers"][0]["name"]);
  return KxText_Equals(KxText_Trim(signer), wide(publisher), false);  // around names white space does not count
}

TEST(Suggestion, AppliesToAllThatItIsFrom) {
  size_t taken = 0;
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    const json targets = SomeTargets(seed, 50);
    const Suggested suggested = SuggestFrom(targets);
    ExpectToApply(targets, suggested);
    taken += static_cast<size_t>(std::count(suggested.isTaken.begin(), suggested.isTaken.end(), true));
  }
  EXPECT_GT(taken, 500U);
}

TEST(Suggestion, AboutAPublisherAppliesToNobodyElse) {
  size_t applied = 0;
  const json others = SomeTargets(1000, 300);
  const Suggested suggested = SuggestFrom(SomeTargets(1, 300));
  for (const json& policy : suggested.document["policies"]) {
    if (!policy["targets"][0].contains("publishers")) continue;
    const CkxImageSource source(KxEncode_Image(ReadBack({{"policies", json::array({policy})}})));
    const CkxPolicySourceScope scope(source);
    const json& publisher = policy["targets"][0]["publishers"][0];
    for (const json& target : others) {
      if (Applying(target) == 0) continue;
      ++applied;
      const std::string name = publisher.is_string() ? publisher : publisher["pattern"];
      EXPECT_TRUE(IsSignedBy(target, name)) << policy.dump() << target.dump();
    }
  }
  EXPECT_GT(applied, 0U);
}

TEST(Suggestion, DoesNotDependOnTheOrder) {
  json targets = SomeTargets(7, 200);
  const json document = SuggestFrom(targets).document;
  std::mt19937 random(7);
  for (int i = 0; i < 5; ++i) {
    std::shuffle(targets.begin(), targets.end(), random);
    EXPECT_EQ(SuggestFrom(targets).document, document);
  }
}

TEST(Suggestion, IsOfEveryKindThatIsAboutPrograms) {
  const json targets = SomeTargets(3, 20);
  for (const char* const action : {"run", "block", "elevate", "elevateOnDemand", "runAndCollectEvents",
                                   "softwareDistributor", "developerApplication"}) {
    SCOPED_TRACE(action);
    const Suggested suggested = SuggestFrom(targets, action);
    EXPECT_EQ(ReadBack(suggested.document).policies.size(), suggested.publication.policies.size());
    EXPECT_EQ(suggested.document["policies"][0]["action"], action);
  }
  for (const char* const action : {"setSecurity", "exclude", "logOff", "configuration", "Run", ""}) {
    EXPECT_EQ(KxSuggestion_Kind(action), nullptr) << action;
  }
}

}  // namespace
