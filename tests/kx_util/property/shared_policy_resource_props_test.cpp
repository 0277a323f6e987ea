#include <gtest/gtest.h>
#include <kx_util/shared_policy_resource_props.h>

#include "Common_CPP/util/text.h"
#include "tests/support/read_prop.h"

namespace {

std::string Utf8(CkxTextView text) { return KxText_ToUtf8(text); }

// Records byte by byte. An obfuscated 'a' (61) is 27, a zero byte 46.

TEST(ResourceProps, NameAndValue) {
  const auto pair = KxTest_Read<CkxShBufPropNameValuePair>({
      1,                                               // set
      4, 0, 0, 0, 0x27, 0x46, 0x46, 0x46,              // "a"
      0, 2, 0,                                         // case does not count, starts with
      6, 0, 0, 0, 0x24, 0x46, 0x25, 0x46, 0x46, 0x46,  // "bc"
  });
  ASSERT_NE(pair, nullptr);
  EXPECT_EQ(Utf8(pair->Pattern()), "a");
  EXPECT_FALSE(pair->CaseSensitive());
  EXPECT_EQ(pair->CompareAs(), EkxStrCompareAs::StrStartsWith);
  EXPECT_EQ(Utf8(pair->Value()), "bc");
  EXPECT_TRUE(pair->Match(KXW("ABC"))) << "the name is matched as any text";

  const KxBytes noValue = {1, 4, 0, 0, 0, 0x27, 0x46, 0x46, 0x46, 0, 2, 0, 0, 0, 0, 0};
  EXPECT_EQ(KxTest_Read<CkxShBufPropNameValuePair>(noValue), nullptr);
  const KxBytes noName = {1, 0, 0, 0, 0, 0, 2, 0, 4, 0, 0, 0, 0x24, 0x46, 0x46, 0x46};
  ASSERT_NE(KxTest_Read<CkxShBufPropNameValuePair>(noName), nullptr) << "only the value must not be empty";
}

CkxRecordBytes Is(std::u16string_view text) { return CkxRecordBytes().Set().Obfuscated(text).U8(0).U16(1); }
CkxRecordBytes StartsWith(std::u16string_view text) { return CkxRecordBytes().Set().Obfuscated(text).U8(1).U16(2); }
CkxRecordBytes Unset() { return CkxRecordBytes().Unset(); }

CkxRecordBytes Media(const CkxRecordBytes& type, const CkxRecordBytes& vendor, const CkxRecordBytes& product,
                     const CkxRecordBytes& serialNumber) {
  return CkxRecordBytes().Set().Append(type).Append(vendor).Append(product).Append(serialNumber);
}

TEST(ResourceProps, MatchMedia) {
  const CkxRecordBytes any = Unset();
  const SkxMediaFacts stick = {KXW("USB"), KXW("Vendor"), KXW("Stick 64"), KXW("00A7")};
  const SkxMediaFacts nameless = {KXW("USB"), KXW("Vendor"), std::nullopt, KXW("")};
  const struct {
    const char* name;
    CkxRecordBytes record;
    bool stick, nameless;
  } cases[] = {
      {"not set", Unset(), true, true},
      {"no field set", Media(any, any, any, any), true, true},
      {"the type", Media(Is(u"usb"), any, any, any), true, true},
      {"another type", Media(Is(u"DVD"), any, any, any), false, false},
      {"the vendor", Media(any, Is(u"vendor"), any, any), true, true},
      {"another vendor", Media(any, Is(u"Vendo"), any, any), false, false},
      {"the product", Media(any, any, StartsWith(u"Stick"), any), true, false},
      {"its case counts", Media(any, any, StartsWith(u"stick"), any), false, false},
      {"the serial number", Media(any, any, any, Is(u"00a7")), true, false},
      {"the empty serial number", Media(any, any, any, Is(u"")), false, true},
      {"the empty product is not an unknown one", Media(any, any, Is(u""), any), false, false},
      {"all of it", Media(Is(u"USB"), Is(u"Vendor"), Is(u"Stick 64"), Is(u"00A7")), true, false},
      {"all but one", Media(Is(u"USB"), Is(u"Vendor"), Is(u"Stick 64"), Is(u"00A8")), false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto media = KxTest_Read<CkxShBufPropMediaInfo>(c.record.Bytes());
    ASSERT_NE(media, nullptr);
    EXPECT_EQ(media->Match(stick), c.stick);
    EXPECT_EQ(media->Match(nameless), c.nameless);

    // With another one in front of it that matches nothing, the list says the same.
    CkxRecordBytes two = CkxRecordBytes().Set().U32(2).Append(Media(Is(u"?"), any, any, any)).Append(c.record);
    const auto list = KxTest_Read<CkxShBufPropMediaInfos>(two.Bytes());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->Match(stick), c.stick);
    EXPECT_EQ(list->Match(nameless), c.nameless);
  }
  EXPECT_TRUE(KxTest_Read<CkxShBufPropMediaInfos>({0})->Match(stick)) << "a list that is not set";
  EXPECT_FALSE(KxTest_Read<CkxShBufPropMediaInfos>({1, 0, 0, 0, 0})->Match(stick)) << "an empty list";
}

}  // namespace
