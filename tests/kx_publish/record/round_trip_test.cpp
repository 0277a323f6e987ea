// What is written is what was meant: a publication that goes through records, which the library reads, or through a
// document, comes back with the same bytes.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "tests/kx_publish/document/random_publication.h"
#include "tests/support/record_reading.h"

namespace {

constexpr uint32_t kSeeds = 50;

/// Encoded, read by the library, decoded and encoded again.
TEST(RoundTrip, ThroughRecords) {
  for (uint32_t seed = 0; seed < kSeeds; ++seed) {
    SCOPED_TRACE(seed);
    KxTest_ForLists(CkxRandomPublication(seed).Make(),
                    [](auto section, auto /*key*/, const auto& models, auto encode, auto decode) {
                      for (const auto& model : models) {
                        const KxBytes bytes = encode(model);
                        ASSERT_EQ(KxTest_ReadRecord(section, bytes), bytes.size());
                        typename std::decay_t<decltype(models)>::value_type decoded;
                        ASSERT_TRUE(decode(bytes, decoded));
                        ASSERT_EQ(encode(decoded), bytes);
                      }
                    });
  }
}

TEST(RoundTrip, ThroughDocuments) {
  for (uint32_t seed = 0; seed < kSeeds; ++seed) {
    const SkxPublication publication = CkxRandomPublication(seed).Make();
    nlohmann::ordered_json written;
    SkxPublication read;
    SkxDocumentError error;
    ASSERT_TRUE(KxPolicyDocument_Write(publication, written, error)) << "seed " << seed << ": " << error.Text();
    const std::string text = written.dump(2);
    const SkxDocumentText document{"generated.jsonc", text};
    ASSERT_TRUE(KxPolicyDocument_Read({&document, 1}, read, error)) << "seed " << seed << ": " << error.Text() << "\n"
                                                                    << text;

    const SkxPolicyImage expected = KxEncode_Image(publication);
    const SkxPolicyImage actual = KxEncode_Image(read);
    ASSERT_EQ(actual.policies, expected.policies) << "seed " << seed << "\n" << text;
    ASSERT_EQ(actual.appGroups, expected.appGroups) << "seed " << seed << "\n" << text;
    ASSERT_EQ(actual.alerts, expected.alerts) << "seed " << seed << "\n" << text;
    ASSERT_EQ(actual.applicable, expected.applicable) << "seed " << seed << "\n" << text;
  }
}

}  // namespace
