#include "Common_CPP/crypto/hmac.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/data_rows.h"

namespace {

using HmacBytes = std::vector<unsigned char>;

/// However a text is cut in two, its digest is the published one.
TEST(Hmac, OfPiecesAsOfTheWhole) {
  KxTest_ForRows<HmacBytes, HmacBytes, HmacBytes, uint64_t>(
      "hash/keyed.txt", [](const HmacBytes& key, const HmacBytes& text, const HmacBytes& digest, uint64_t published) {
        ASSERT_EQ(digest.size(), published);
        for (size_t cut = 0; cut <= text.size(); ++cut) {
          const auto made = KxHmac_Sha256(key, {std::span(text).first(cut), {}, std::span(text).subspan(cut)});
          ASSERT_TRUE(made);
          EXPECT_TRUE(std::equal(digest.begin(), digest.end(), made->begin())) << "cut at " << cut;
        }
      });
  EXPECT_FALSE(KxHmac_Sha256({}, {})) << "no key";
}

TEST(Hmac, EqualsToTheLastByte) {
  const HmacBytes digest(32, 0x5A);
  EXPECT_TRUE(KxHmac_Equals(digest, HmacBytes(digest)));
  EXPECT_TRUE(KxHmac_Equals({}, {}));
  for (size_t bit = 0; bit < digest.size() * 8; ++bit) {
    HmacBytes other = digest;
    other[bit / 8] ^= static_cast<unsigned char>(1u << bit % 8);
    EXPECT_FALSE(KxHmac_Equals(digest, other)) << bit;
  }
  for (size_t size = 0; size < digest.size(); ++size) {
    EXPECT_FALSE(KxHmac_Equals(digest, std::span(digest).first(size))) << size;
  }
}

}  // namespace
