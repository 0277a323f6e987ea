// A signature by a key on a curve, which Wine cannot verify.
#include <gtest/gtest.h>

#include "Common_CPP/file/file.h"
#include "Common_CPP/signature/detached_signature.h"
#include "Common_CPP/util/text.h"

namespace {

TEST(ImageSignaturePosix, HoldsByAKeyOnACurve) {
  const auto path = [](const char* file) { return *KxText_FromUtf8(std::string(KX_IMAGE_SIGNATURES "/") + file); };
  const std::vector<unsigned char> message = KxFile_ReadAll(path("curve.p7s"), 1 << 20).value();
  std::vector<unsigned char> content = KxFile_ReadAll(path("content"), 1 << 20).value();
  CkxTrustStore trust(EkxTrustRoots::AddedAlone);
  ASSERT_TRUE(trust.Add(path("roots.pem")));
  EXPECT_EQ(KxDetachedSignature_Look(message, content, trust).status, EkxPublisherStatus::Valid);
  content.back() ^= 1;
  EXPECT_EQ(KxDetachedSignature_Look(message, content, trust).status, EkxPublisherStatus::Invalid);
}

}  // namespace
