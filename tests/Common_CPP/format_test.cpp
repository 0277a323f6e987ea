#include "Common_CPP/util/format.h"

#include <map>

#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"

namespace {

template <class... Args>
std::string Formatted(CkxTextView format, const Args&... args) {
  CkxUtilStr out(KXW("<"));
  KxText_AppendFormat(out, format, args...);
  return KxText_ToUtf8(out.View());
}

template <class Type>
CkxFormatArg Number(const std::string& text) {
  return text.front() == '-' ? static_cast<Type>(std::stoll(text)) : static_cast<Type>(std::stoull(text));
}

TEST(Format, Numbers) {
  const std::map<std::string, CkxFormatArg (*)(const std::string&)> types = {
      {"bool", Number<bool>},    {"i8", Number<int8_t>},   {"u16", Number<uint16_t>}, {"i32", Number<int32_t>},
      {"u32", Number<uint32_t>}, {"i64", Number<int64_t>}, {"u64", Number<uint64_t>}};
  KxTest_ForRows<std::string, KxWString, std::string, std::string, std::string>(
      "text/numbers.txt",
      [&](const auto&, const auto& format, const auto& type, const auto& number, const auto& expected) {
        EXPECT_EQ(Formatted(format, types.at(type)(number)), "<" + expected);
      });
}

TEST(Format, TextsAndSequence) {
  const CkxUtilStr owned(KXW("owned"));
  const KxWString string = KXW("string");
  EXPECT_EQ(Formatted(KXW("%s %s %s"), owned, string, KXW("literal")), "<owned string literal");
  EXPECT_EQ(Formatted(KXW("[%s]"), CkxTextView()), "<[]");
  EXPECT_EQ(Formatted(KXW("[%s]"), static_cast<const WCHAR*>(nullptr)), "<[]");
  EXPECT_EQ(Formatted(KXW("[%6s][%.2s]"), KXW("abc"), KXW("abc")), "<[   abc][ab]");
  EXPECT_EQ(Formatted(KXW("Id:\t%d\r\nName:\t%s\r\n100%%"), 7, KXW("n")), "<Id:\t7\r\nName:\tn\r\n100%");
  EXPECT_EQ(Formatted(KXW("%s"), KXW("%d %s")), "<%d %s") << "arguments are not formats";
  EXPECT_EQ(Formatted(KXW("")), "<");
}

TEST(Format, OurOwnFaultsAreMarked) {
  EXPECT_EQ(Formatted(KXW("%d|%d"), 1), "<1|%!") << "argument missing";
  EXPECT_EQ(Formatted(KXW("%s|%d"), 1, 2), "<%!|2") << "number for a text";
  EXPECT_EQ(Formatted(KXW("%d|%s"), KXW("x"), KXW("y")), "<%!|y") << "text for a number";
  EXPECT_EQ(Formatted(KXW("%c"), KXW("x")), "<%!") << "text for a unit";
  EXPECT_EQ(Formatted(KXW("%q|%d"), 1, 2), "<%!|2") << "unknown letter";
  EXPECT_EQ(Formatted(KXW("%"), 1), "<%!") << "ends behind the percent sign";
  EXPECT_EQ(Formatted(KXW("%.8"), 1), "<%!") << "ends before the letter";
  EXPECT_EQ(Formatted(KXW("%99999999999999999999d"), 1).size(), 1u + 64u) << "widths are bounded";
}

}  // namespace
