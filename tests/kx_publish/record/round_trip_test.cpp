// What is written is what was meant: a publication that goes through records, which the library reads, or through a
// document, comes back as it was.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/record/decode.h"
#include "tests/kx_publish/document/random_publication.h"
#include "tests/support/record_reading.h"

namespace {

constexpr uint32_t kSeeds = 50;

std::string Written(const SkxPublication& publication) {
  nlohmann::ordered_json document;
  SkxDocumentError error;
  EXPECT_TRUE(KxPolicyDocument_Write(publication, document, error)) << error.Text();
  return document.dump(2);
}

/// Encoded, read by the library, decoded, and said in the words of a document.
TEST(RoundTrip, ThroughRecords) {
  for (uint32_t seed = 0; seed < kSeeds; ++seed) {
    SCOPED_TRACE(seed);
    const SkxPublication meant = CkxRandomPublication(seed).Make();
    SkxPublication back = meant;
    const auto take = [](EkxPolicySection section, auto& models, auto encode, auto decode) {
      for (auto& model : models) {
        const KxBytes bytes = encode(model);
        ASSERT_EQ(KxTest_ReadRecord(section, bytes), bytes.size());
        std::decay_t<decltype(model)> decoded;
        ASSERT_TRUE(decode(bytes, decoded));
        if constexpr (!std::is_same_v<decltype(decoded), SkxPolicyModel>) decoded.name = model.name;  // in no record
        model = decoded;
      }
    };
    take(EkxPolicySection::Policies, back.policies, KxEncode_Policy, KxDecode_Policy);
    take(EkxPolicySection::AppGroups, back.groups, KxEncode_AppGroup, KxDecode_AppGroup);
    take(EkxPolicySection::Alerts, back.alerts, KxEncode_Alert, KxDecode_Alert);
    ASSERT_EQ(Written(back), Written(meant));
  }
}

TEST(RoundTrip, ThroughDocuments) {
  for (uint32_t seed = 0; seed < kSeeds; ++seed) {
    SCOPED_TRACE(seed);
    const SkxPublication publication = CkxRandomPublication(seed).Make();
    const SkxDocumentText document{"generated.jsonc", Written(publication)};
    SkxPublication read;
    SkxDocumentError error;
    ASSERT_TRUE(KxPolicyDocument_Read({&document, 1}, read, error)) << error.Text() << "\n" << document.text;
    const SkxPolicyImage expected = KxEncode_Image(publication);
    const SkxPolicyImage actual = KxEncode_Image(read);
    ASSERT_EQ(actual.policies, expected.policies) << document.text;
    ASSERT_EQ(actual.appGroups, expected.appGroups) << document.text;
    ASSERT_EQ(actual.alerts, expected.alerts) << document.text;
    ASSERT_EQ(actual.applicable, expected.applicable) << document.text;
  }
}

}  // namespace
