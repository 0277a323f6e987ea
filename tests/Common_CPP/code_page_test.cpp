#include "Common_CPP/util/code_page.h"

#include <gtest/gtest.h>

namespace {

std::optional<KxWString> Decoded(std::string_view bytes, unsigned codePage) {
  return KxText_FromCodePage({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}, codePage);
}

TEST(CodePage, TellsTextsOfManyCountries) {
  EXPECT_EQ(Decoded("Gr\xFC\xDF"
                    "e \x80",
                    1252),
            KXW("Gr\u00FC\u00DFe \u20AC"));
  EXPECT_EQ(Decoded("\xCF\xF0\xE8\xE2\xE5\xF2", 1251), KXW("\u041F\u0440\u0438\u0432\u0435\u0442"));
  EXPECT_EQ(Decoded("a\x93\xFA\x96\x7B", 932), KXW("a\u65E5\u672C"));
  EXPECT_EQ(Decoded("\xF0\x9F\x98\x80", 65001), KXW("\U0001F600"));
  EXPECT_EQ(Decoded("", 932), KXW(""));
}

TEST(CodePage, AsciiNeedsNone) {
  for (const unsigned codePage : {0u, 1252u, 65001u, 4'000'000'000u})
    EXPECT_EQ(Decoded("Tool +1", codePage), KXW("Tool +1"));
}

TEST(CodePage, WhatIsNoTextIsNone) {
  EXPECT_FALSE(Decoded("\x93", 932)) << "half of a character";
  EXPECT_FALSE(Decoded("\xC3", 65001));
  for (const unsigned machines : {0u, 1u, 2u, 3u}) EXPECT_FALSE(Decoded("\xFC", machines));
  EXPECT_FALSE(Decoded("\xFC", 64'999));
}

}  // namespace
