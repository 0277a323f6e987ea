// Whose signature of an image counts. The signatures are made by another program (scripts/make-image-signatures).
#include <gtest/gtest.h>

#include <fstream>

#include "Common_CPP/file/file.h"
#include "Common_CPP/signature/detached_signature.h"
#include "Common_CPP/util/text.h"
#include "tests/support/utf8.h"

namespace {

std::vector<unsigned char> MadeFile(const std::string& name) {
  const auto path = KxText_FromUtf8(std::string(KX_IMAGE_SIGNATURES "/") + name);
  const auto bytes = KxFile_ReadAll(*path, 1 << 20);
  EXPECT_TRUE(bytes) << name;
  return bytes.value_or(std::vector<unsigned char>());
}

TEST(ImageSignature, HoldsForWhatWasSignedByWhomeverCounts) {
  using Status = EkxPublisherStatus;
  const struct {
    const char* message;
    const char* root;
    const char* name;
    Status status;
  } cases[] = {
      {"good", "roots", "Policy Office", Status::Valid},
      {"colleague", "roots", "Somebody Else", Status::Valid},
      {"expired", "roots", "Policy Office", Status::Expired},
      {"website", "roots", "Policy Office", Status::Invalid},         // its certificate is for something else
      {"outsider", "roots", "Policy Office", Status::UntrustedRoot},  // the same name, by another root
      {"good", "stranger", "Policy Office", Status::UntrustedRoot},
      {"good", nullptr, "Policy Office", Status::UntrustedRoot},
      {"weak", "roots", "Policy Office", Status::ValidByWeakDigest},
      {"weakly", "roots", "Policy Office", Status::ValidByWeakDigest},      // its certificate is signed by SHA-1
      {"below-weak", "roots", "Policy Office", Status::ValidByWeakDigest},  // that of who vouches for it is
      {"below-older", "older", "Policy Office", Status::Valid},             // the root, which nobody vouches for
      {"bare", "roots", "Policy Office", Status::Invalid},                  // says not what it is a signature of
      {"attached", "roots", "", Status::Invalid},
      {"twice", "roots", "", Status::Invalid},
      {"short", "roots", "", Status::Invalid},
  };
  std::vector<unsigned char> content = MadeFile("content");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message + std::string(" by ") + (c.root != nullptr ? c.root : "nobody"));
    CkxTrustStore trust(EkxTrustRoots::AddedAlone);
    if (c.root != nullptr) {
      ASSERT_TRUE(trust.Add(*KxText_FromUtf8(std::string(KX_IMAGE_SIGNATURES "/") + c.root + ".pem")));
    }
    const std::vector<unsigned char> message = MadeFile(c.message + std::string(".p7s"));
    const SkxSigner signer = KxDetachedSignature_Look(message, content, trust);
    EXPECT_EQ(KxText_ToUtf8(signer.name), c.name);
    EXPECT_EQ(signer.status, c.status);

    content.front() ^= 1;
    EXPECT_EQ(KxDetachedSignature_Look(message, content, trust).status, Status::Invalid) << "of something else";
    content.front() ^= 1;
  }
}

TEST(ImageSignature, EveryByteOfItCounts) {
  CkxTrustStore trust(EkxTrustRoots::AddedAlone);
  ASSERT_TRUE(trust.Add(*KxText_FromUtf8(KX_IMAGE_SIGNATURES "/roots.pem")));
  const std::vector<unsigned char> content = MadeFile("content");
  const std::vector<unsigned char> whole = MadeFile("good.p7s");
  for (size_t size = 0; size < whole.size(); size += 7) {
    const auto cut = std::span(whole).first(size);
    EXPECT_NE(KxDetachedSignature_Look(cut, content, trust).status, EkxPublisherStatus::Valid) << size;
  }
  std::vector<unsigned char> signature = whole;
  signature.back() ^= 1;  // the signer's signature ends it
  EXPECT_EQ(KxDetachedSignature_Look(signature, content, trust).status, EkxPublisherStatus::Invalid);
}

TEST(ImageSignature, IsNotMadeByADamagedKeyUnlessItHolds) {
  CkxTrustStore trust(EkxTrustRoots::AddedAlone);
  ASSERT_TRUE(trust.Add(*KxText_FromUtf8(KX_IMAGE_SIGNATURES "/roots.pem")));
  const std::vector<unsigned char> content = MadeFile("content");
  const std::vector<unsigned char> certificate = MadeFile("good.pem");
  size_t refused = 0;
  const auto tryKey = [&](std::span<const unsigned char> key) {
    std::string error;
    const auto message = KxDetachedSignature_Make(content, key, certificate, error);
    EXPECT_TRUE(message || !error.empty());
    if (!message) ++refused;
    return !message || KxDetachedSignature_Look(*message, content, trust).status == EkxPublisherStatus::Valid;
  };
  std::vector<unsigned char> key = MadeFile("good.key");
  const size_t end = key.size() - std::string_view("-----END PRIVATE KEY-----\n").size();
  for (size_t at = 0; at < end; at += 11) {
    EXPECT_TRUE(tryKey(std::span(key).first(at))) << "cut at " << at;
    key[at] ^= 1;
    EXPECT_TRUE(tryKey(key)) << "changed at " << at;
    key[at] ^= 1;
  }
  EXPECT_GT(refused, end / 11) << "none that was cut is one, nor some that were changed";
  EXPECT_TRUE(tryKey(key));
}

}  // namespace
