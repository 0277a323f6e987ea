#include <vector>

#include "Common_CPP/security/sid.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"

namespace {

constexpr GUID kGuid = {0x01234567, 0x89AB, 0xCDEF, {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10}};
constexpr std::string_view kGuidText = "{01234567-89AB-CDEF-FEDC-BA9876543210}";

TEST(Guid, Text) {
  EXPECT_EQ(KxGuid_ToUtf8(kGuid), kGuidText);
  EXPECT_EQ(KxText_ToUtf8(KxGuid_ToText(kGuid)), kGuidText);
  EXPECT_EQ(KxGuid_ToUtf8(GUID{}), "{00000000-0000-0000-0000-000000000000}");
  EXPECT_TRUE(KxGuid_IsNull(GUID{}));
  EXPECT_FALSE(KxGuid_IsNull(kGuid));
}

TEST(Guid, FromText) {
  KxTest_ForRows<std::string, std::string, bool>("text/guids.txt", [](const auto&, const auto& text, bool isGuid) {
    const auto guid = KxGuid_FromUtf8(text);
    EXPECT_EQ(guid.has_value(), isGuid);
    EXPECT_TRUE(!guid || KxGuid_Equal(*guid, kGuid));
  });
  for (size_t kept = 0; kept < kGuidText.size(); ++kept) {
    EXPECT_FALSE(KxGuid_FromUtf8(kGuidText.substr(0, kept))) << "truncated to " << kept;
  }
}

std::vector<unsigned char> AdministratorsBytes() { return {1, 2, 0, 0, 0, 0, 0, 5, 0x20, 0, 0, 0, 0x20, 2, 0, 0}; }

TEST(Sid, BytesAndTextOfTheSameSid) {
  const std::vector<unsigned char> bytes = AdministratorsBytes();
  const CkxSid fromBytes = CkxSid::FromBytes(bytes.data(), bytes.size());
  ASSERT_TRUE(fromBytes.IsValid());
  EXPECT_EQ(fromBytes.ToUtf8(), "S-1-5-32-544");
  EXPECT_EQ(KxText_ToUtf8(fromBytes.ToText()), "S-1-5-32-544");

  const auto fromText = CkxSid::FromUtf8("s-1-5-32-544");
  ASSERT_TRUE(fromText);
  EXPECT_EQ(std::vector<unsigned char>(fromText->Bytes(), fromText->Bytes() + fromText->Size()), bytes);
  EXPECT_TRUE(fromText->Equals(fromBytes));
}

TEST(Sid, FromBytesNeedsAllThatTheLayoutSays) {
  const std::vector<unsigned char> bytes = AdministratorsBytes();
  for (size_t kept = 0; kept < bytes.size(); ++kept) {
    const std::vector<unsigned char> exact(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(kept));
    EXPECT_FALSE(CkxSid::FromBytes(exact.data(), exact.size()).IsValid()) << "truncated to " << kept;
  }
  EXPECT_FALSE(CkxSid::FromBytes(nullptr, 100).IsValid());

  for (const unsigned revision : {0u, 1u, 2u}) {
    for (const unsigned count : {0u, 1u, 15u, 16u, 255u}) {
      std::vector<unsigned char> sid(8 + 4 * 255, 7);
      sid[0] = static_cast<unsigned char>(revision);
      sid[1] = static_cast<unsigned char>(count);
      const CkxSid read = CkxSid::FromBytes(sid.data(), sid.size());
      EXPECT_EQ(read.IsValid(), revision == 1 && (count == 1 || count == 15)) << revision << " with " << count;
      EXPECT_EQ(read.Size(), read.IsValid() ? 8 + 4 * count : 0) << "bytes beyond the layout are ignored";
    }
  }
}

TEST(Sid, TextForms) {
  KxTest_ForRows<std::string, std::string, std::optional<std::string>>(
      "security/sids.txt", [](const auto&, const auto& text, const auto& normal) {
        const auto sid = CkxSid::FromUtf8(text);
        ASSERT_EQ(sid.has_value(), normal.has_value());
        if (!sid) return;
        EXPECT_EQ(sid->ToUtf8(), *normal);
        EXPECT_TRUE(CkxSid::FromBytes(sid->Bytes(), sid->Size()).Equals(*sid));
      });
}

TEST(Sid, EqualsOnlyAmongValidOnes) {
  const CkxSid sids[] = {*CkxSid::FromUtf8("S-1-5-18"),
                         *CkxSid::FromUtf8("S-1-5-19"),
                         *CkxSid::FromUtf8("S-1-6-18"),
                         *CkxSid::FromUtf8("S-1-5-18-0"),
                         CkxSid::Null(),
                         CkxSid()};
  for (const CkxSid& a : sids) {
    for (const CkxSid& b : sids) EXPECT_EQ(a.Equals(b), &a == &b && a.IsValid()) << a.ToUtf8() << " " << b.ToUtf8();
  }
  EXPECT_EQ(CkxSid().ToUtf8(), "");
  EXPECT_EQ(CkxSid::Null().ToUtf8(), "S-1-0-0");
}

}  // namespace
