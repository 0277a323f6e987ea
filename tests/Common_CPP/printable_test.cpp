#include "Common_CPP/util/printable.h"

#include <gtest/gtest.h>

#include "Common_CPP/util/text.h"

namespace {

TEST(Printable, ShowsWhatWouldNotShow) {
  const struct {
    const char* name;
    KxWString text;
    const char* printable;
  } kCases[] = {
      {"nothing", KXW(""), ""},
      {"a path", KXW("C:\\new\\tools \"a\".exe"), "C:\\new\\tools \"a\".exe"},
      {"letters of all kinds", KXW("\u00C4\u0416\u05D0\u4E2D"), "\u00C4\u0416\u05D0\u4E2D"},
      {"a pair of surrogates", KXW("\U0001F600"), "\U0001F600"},
      {"a joiner, which words are written with", KXW("\u0645\u200C\u0646"), "\u0645\u200C\u0646"},
      {"line ends and tabs", KXW("a\r\n\tb"), "a<U+000D><U+000A><U+0009>b"},
      {"an escape sequence", KXW("\x1B[2J"), "<U+001B>[2J"},
      {"delete, and a control of C1", {0x7F, 0x9B}, "<U+007F><U+009B>"},
      {"text that runs backwards", KXW("tool\u202Egpj.exe"), "tool<U+202E>gpj.exe"},
      {"isolates and marks", KXW("\u2066\u2069\u200F\u061C"), "<U+2066><U+2069><U+200F><U+061C>"},
      {"nothing to see", KXW("a\u200B\uFEFF\u00AD"), "a<U+200B><U+FEFF><U+00AD>"},
      {"a line separator", KXW("a\u2028b"), "a<U+2028>b"},
      {"a tag", {0xDB40, 0xDC41}, "<U+E0041>"},
      {"halves of pairs", {0xD83D, 'x', 0xDE00}, "<U+D83D>x<U+DE00>"},
      {"what has been here before", KXW("<U+000A>"), "<U+000A>"},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    EXPECT_EQ(KxText_Printable(CkxTextView(test.text)), test.printable);
    EXPECT_EQ(KxText_IsPrintable(test.text), KxText_ToUtf8(test.text) == test.printable);
    EXPECT_EQ(KxText_Printable(std::string_view(test.printable)), test.printable);
  }
}

TEST(Printable, TakesBytesThatAreNoText) {
  EXPECT_EQ(KxText_Printable(std::string_view("a\xFF\n\xC3\xA4")), "a<FF><U+000A><C3><A4>");
  EXPECT_EQ(KxText_PrintableQuoted("a\"b\\c\n"), "\"a\\\"b\\\\c<U+000A>\"");
}

}  // namespace
