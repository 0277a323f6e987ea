#include "Common_CPP/util/format.h"

#include <gtest/gtest.h>

#include "Common_CPP/util/text.h"

namespace {

template <class... Args>
std::string Formatted(CkxTextView format, const Args&... args) {
  CkxUtilStr out(KXW("<"));
  KxText_AppendFormat(out, format, args...);
  return KxText_ToUtf8(out.View());
}

TEST(Format, Numbers) {
  const struct {
    const char* name;
    KxWString format;
    CkxFormatArg arg;
    const char* expected;
  } kCases[] = {
      {"%d", KXW("%d"), -17, "<-17"},
      {"%d looks at 32 bits as signed", KXW("%d"), uint32_t{0xFFFFFFFF}, "<-1"},
      {"%d of the least", KXW("%d"), INT32_MIN, "<-2147483648"},
      {"%d drops the high half", KXW("%d"), uint64_t{0x700000005}, "<5"},
      {"%u of a negative", KXW("%u"), -1, "<4294967295"},
      {"%u of a negative byte", KXW("%u"), int8_t{-1}, "<4294967295"},
      {"%u drops the high half", KXW("%u"), uint64_t{0x100000002}, "<2"},
      {"%hu keeps 16 bits", KXW("%hu"), 0x12345, "<9029"},
      {"%hu of a record's half", KXW("%hu"), uint16_t{65535}, "<65535"},
      {"%hd", KXW("%hd"), 0xFFFE, "<-2"},
      {"%I64d", KXW("%I64d"), INT64_MIN, "<-9223372036854775808"},
      {"%I64d of a small one", KXW("%I64d"), -5, "<-5"},
      {"%I64d of 32 unsigned bits", KXW("%I64d"), uint32_t{0xFFFFFFFF}, "<4294967295"},
      {"%I64u", KXW("%I64u"), UINT64_MAX, "<18446744073709551615"},
      {"%X", KXW("%X"), 0xBEEF, "<BEEF"},
      {"%X of a negative", KXW("%X"), -2, "<FFFFFFFE"},
      {"%x", KXW("%x"), 0xBEEF, "<beef"},
      {"%I64X", KXW("%I64X"), uint64_t{0x1234567890ABCDEF}, "<1234567890ABCDEF"},
      {"precision pads with zeros", KXW("%.8X"), 0x2A, "<0000002A"},
      {"precision does not cut", KXW("%.2X"), 0x12345, "<12345"},
      {"precision of 64 bits", KXW("%.16I64X"), uint64_t{0xAB}, "<00000000000000AB"},
      {"precision with a leading zero", KXW("%.02X"), 7, "<07"},
      {"precision behind a sign", KXW("%.4d"), -7, "<-0007"},
      {"width pads with blanks", KXW("%4hx"), 0xAB, "<  ab"},
      {"width with zeros", KXW("%08X"), 0xAB, "<000000AB"},
      {"width with zeros counts the sign", KXW("%05d"), -7, "<-0007"},
      {"width and precision", KXW("%6.3d"), -7, "<  -007"},
      {"%c", KXW("%c:"), KXW('C'), "<C:"},
      {"bool is a number", KXW("%d"), true, "<1"},
      {"zero", KXW("%d"), 0, "<0"},
  };
  for (const auto& c : kCases) EXPECT_EQ(Formatted(c.format, c.arg), c.expected) << c.name;
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
