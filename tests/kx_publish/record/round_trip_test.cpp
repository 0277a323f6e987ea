// What is written is what was meant: a publication that goes through records, which the library reads, or through a
// document, comes back with the same bytes.
#include <gtest/gtest.h>
#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy.h>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/record/decode.h"
#include "Agent/engine/kx_publish/record/encode.h"
#include "tests/kx_publish/document/random_publication.h"

namespace {

constexpr uint32_t kSeeds = 50;

using Bytes = std::vector<unsigned char>;

/// Encoded, read by the library, decoded and encoded again.
template <class Release, class Header, class Object, class Model>
void ExpectComesBack(const std::vector<Model>& models, Bytes (*encode)(const Model&),
                     Object* (*read)(const Header*, bool), bool (*decode)(std::span<const unsigned char>, Model&)) {
  for (const Model& model : models) {
    const Bytes bytes = encode(model);
    const std::unique_ptr<Object, Release> object(read(reinterpret_cast<const Header*>(bytes.data()), true));
    ASSERT_NE(object, nullptr);
    Model decoded;
    ASSERT_TRUE(decode(bytes, decoded));
    ASSERT_EQ(encode(decoded), bytes);
  }
}

TEST(RoundTrip, ThroughRecords) {
  for (uint32_t seed = 0; seed < kSeeds; ++seed) {
    SCOPED_TRACE(seed);
    const SkxPublication publication = CkxRandomPublication(seed).Make();
    ExpectComesBack<SkxPolicyRelease>(publication.policies, KxEncode_Policy, CkxShBufPolicy::PolicyFromBuffer,
                                      KxDecode_Policy);
    ExpectComesBack<SkxAppGroupRelease>(publication.groups, KxEncode_AppGroup, CkxShBufAppGroup::AppGroupFromBuffer,
                                        KxDecode_AppGroup);
    ExpectComesBack<SkxCustGuiRelease>(publication.alerts, KxEncode_Alert, CkxShBufCustGuiBase::CustGuiFromBuffer,
                                       KxDecode_Alert);
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
