// What is written is what was meant: a publication that goes through records and the library's objects, or through a
// document, comes back with the same bytes.
#include <gtest/gtest.h>
#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>

#include "Agent/engine/kx_publish/encode.h"
#include "Agent/engine/kx_publish/policy_decode.h"
#include "Agent/engine/kx_publish/policy_document.h"
#include "tests/kx_publish/random_publication.h"

namespace {

constexpr uint32_t kSeeds = 50;

using Bytes = std::vector<unsigned char>;

TEST(RoundTrip, ThroughRecordsAndObjects) {
  for (uint32_t seed = 0; seed < kSeeds; ++seed) {
    const SkxPublication publication = CkxRandomPublication(seed).Make();
    for (const SkxPolicyModel& policy : publication.policies) {
      const Bytes bytes = KxEncode_Policy(policy);
      const CkxShBufPolicyPtr object(
          CkxShBufPolicy::PolicyFromBuffer(reinterpret_cast<const SkxPolicyBufHeader*>(bytes.data()), true));
      ASSERT_NE(object, nullptr) << "seed " << seed << ", policy " << policy.id;
      SkxPolicyModel decoded;
      ASSERT_TRUE(KxDecode_Policy(*object, decoded)) << "seed " << seed << ", policy " << policy.id;
      ASSERT_EQ(KxEncode_Policy(decoded), bytes) << "seed " << seed << ", policy " << policy.id;
    }
    for (const SkxAppGroupModel& group : publication.groups) {
      const Bytes bytes = KxEncode_AppGroup(group);
      const CkxShBufAppGroupPtr object(
          CkxShBufAppGroup::AppGroupFromBuffer(reinterpret_cast<const SkxAppGroupBufHeader*>(bytes.data()), true));
      ASSERT_NE(object, nullptr) << "seed " << seed;
      SkxAppGroupModel decoded;
      ASSERT_TRUE(KxDecode_AppGroup(*object, decoded)) << "seed " << seed;
      ASSERT_EQ(KxEncode_AppGroup(decoded), bytes) << "seed " << seed;
    }
    for (const SkxAlertModel& alert : publication.alerts) {
      const Bytes bytes = KxEncode_Alert(alert);
      const CkxShBufCustGuiPtr object(
          CkxShBufCustGuiBase::CustGuiFromBuffer(reinterpret_cast<const SkxAlertBufHeader*>(bytes.data()), true));
      ASSERT_NE(object, nullptr) << "seed " << seed;
      SkxAlertModel decoded;
      ASSERT_TRUE(KxDecode_Alert(*object, decoded)) << "seed " << seed;
      ASSERT_EQ(KxEncode_Alert(decoded), bytes) << "seed " << seed;
    }
  }
}

TEST(RoundTrip, ThroughDocuments) {
  for (uint32_t seed = 0; seed < kSeeds; ++seed) {
    const SkxPublication publication = CkxRandomPublication(seed).Make();
    const std::string text = KxPolicyDocument_Write(publication).dump(2);
    SkxPublication read;
    SkxDocumentError error;
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
