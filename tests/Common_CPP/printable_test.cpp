#include "Common_CPP/util/printable.h"

#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"

namespace {

void ExpectPrinted(const KxWString& text, const std::string& printed) {
  EXPECT_EQ(KxText_Printable(CkxTextView(text)), printed);
  EXPECT_EQ(KxText_IsPrintable(text), KxText_ToUtf8(text) == printed);
  EXPECT_EQ(KxText_Printable(std::string_view(printed)), printed);
}

TEST(Printable, ShowsWhatWouldNotShow) {
  KxTest_ForRows<std::string, KxWString, std::string>(
      "text/printable.txt", [](const auto&, const auto& text, const auto& printed) { ExpectPrinted(text, printed); });
  ExpectPrinted({0xD83D, 'x', 0xDE00}, "<U+D83D>x<U+DE00>");  // halves of pairs
}

TEST(Printable, TakesBytesThatAreNoText) {
  EXPECT_EQ(KxText_Printable(std::string_view("a\xFF\n\xC3\xA4")), "a<FF><U+000A><C3><A4>");
  EXPECT_EQ(KxText_PrintableQuoted("a\"b\\c\n"), "\"a\\\"b\\\\c<U+000A>\"");
}

}  // namespace
