// A disk that is full half way through: the system's limit on the size of a file stands in for it.
#include <gtest/gtest.h>

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "tests/kx_publish/image/file_size_limit.h"
#include "tests/support/temp_folder.h"

namespace {

TEST(PolicyImage, AFailureHalfWayLeavesTheOldImageAndNothingElse) {
  const CkxTempFolder temp;
  SkxPolicyImage image;
  image.policies = SkxPolicyImage::Bytes(100, 1);
  image.appGroups = SkxPolicyImage::Bytes(100, 1);
  std::string error;
  ASSERT_TRUE(KxPolicyImage_Write(temp.Text("image"), image, error)) << error;

  SkxPolicyImage larger = image;
  larger.appGroups = SkxPolicyImage::Bytes(100'000, 2);
  bool replaced = true;
  bool written = true;
  {
    const CkxFileSizeLimit limit(50'000);
    written = KxPolicyImage_Write(temp.Text("above/image"), larger, error);
    replaced = KxPolicyImage_Write(temp.Text("image"), larger, error);
  }
  EXPECT_FALSE(written);
  EXPECT_FALSE(replaced);
  EXPECT_NE(error.find("appgroups.sec: cannot be written"), std::string::npos) << error;
  EXPECT_EQ(temp.Count(), 1u) << "nothing is left beside the image";

  SkxPolicyImage kept;
  ASSERT_TRUE(KxPolicyImage_Load(temp.Text("image"), kept, error)) << error;
  EXPECT_EQ(kept.policies, image.policies);
  EXPECT_EQ(kept.appGroups, image.appGroups);
}

}  // namespace
