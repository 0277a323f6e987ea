#include "Common_CPP/xml/ti_xml_util.h"

#include <gtest/gtest.h>

#include "Common_CPP/util/text.h"

namespace {

using Xml = CkxTiXmlUtil;

TEST(TiXmlUtil, WritesWhatIsThere) {
  CkxTiXmlDocument document("Root");
  Xml::SetAttribute(document.Root(), "text", KXW("<\"&'>\u00FC\t"));
  Xml::SetAttribute(document.Root(), "none", KXW(""));
  Xml::SetFlag(document.Root(), "yes", true);
  Xml::SetFlag(document.Root(), "no", false);
  Xml::SetAttribute(document.Root(), "least", INT32_MIN);
  Xml::SetAttribute(document.Root(), "most", UINT32_MAX);
  Xml::SetAttribute(document.Root(), "time", UINT64_MAX);
  EXPECT_EQ(Xml::AddChild(document.Root(), "Nothing", KXW("")), nullptr);
  tinyxml2::XMLElement* const child = Xml::AddChild(document.Root(), "Child", KXW("a\r\n\"b\" <c>"));
  ASSERT_NE(child, nullptr);
  Xml::AddChild(*child, "Below");
  EXPECT_EQ(
      document.Print(),
      "<Root text=\"&lt;&quot;&amp;&apos;&gt;\xC3\xBC&#9;\" yes=\"true\" least=\"-2147483648\" "
      "most=\"4294967295\" time=\"18446744073709551615\"><Child>a&#13;&#10;\"b\" &lt;c&gt;<Below/></Child></Root>");
}

TEST(TiXmlUtil, PrintsNothingThatXmlHasNoPlaceFor) {
  for (const KxWString& text : {KxWString{0xD800}, KxWString{0xDC00, 0xD800}, KxWString{1}, KxWString{0x1F},
                                KxWString{0xFFFE}, KxWString{0xFFFF}}) {
    CkxTiXmlDocument attribute("Root"), child("Root");
    Xml::SetAttribute(attribute.Root(), "a", text);
    Xml::AddChild(child.Root(), "A", text);
    EXPECT_FALSE(attribute.Print());
    EXPECT_FALSE(child.Print());
    EXPECT_FALSE(child.Print(true));
  }
  for (const size_t size : {Xml::kMaxText, Xml::kMaxText + 1}) {
    CkxTiXmlDocument document("R");
    Xml::SetAttribute(document.Root(), "a", KxWString(size, KXW('x')));
    EXPECT_EQ(document.Print().has_value(), size == Xml::kMaxText);
    EXPECT_EQ(Xml::Writable(KxWString(size, KXW('x'))).size(), Xml::kMaxText);
  }
  for (const size_t size : {Xml::kMaxBytes, Xml::kMaxBytes + 1}) {
    CkxTiXmlDocument document("R");
    Xml::SetAttribute(document.Root(), "a", KxWString(Xml::kMaxText, KXW('x')));
    Xml::SetAttribute(document.Root(), "b", KxWString(size - Xml::kMaxText - 14, KXW('x')));  // <R a="" b=""/>
    EXPECT_EQ(document.Print().has_value(), size == Xml::kMaxBytes);
  }
  EXPECT_EQ(Xml::Writable(KxWString{1, 0xD800, KXW('a'), 0xFFFF}), (KxWString{0xFFFD, 0xFFFD, KXW('a'), 0xFFFD}));
}

TEST(TiXmlUtil, ReadsBackWhatItWrote) {
  const KxWString text = KXW(" <\"&'>\u00FC\uFFFD\t\r\n]]> ");
  CkxTiXmlDocument written("Root");
  Xml::SetAttribute(written.Root(), "a", text);
  Xml::AddChild(written.Root(), "A", text);
  const std::optional<std::string> printed = written.Print();
  ASSERT_TRUE(printed);
  const std::optional<CkxTiXmlDocument> read = CkxTiXmlDocument::Parse(*printed);
  ASSERT_TRUE(read) << *printed;
  KxWString attribute;
  EXPECT_TRUE(Xml::GetAttribute(read->Root(), "a", attribute));
  EXPECT_EQ(attribute, text);
  EXPECT_EQ(Xml::Text(*Xml::Child(read->Root(), "A")), text);
}

TEST(TiXmlUtil, LeavesWhatIsMalformedAsItWas) {
  const struct {
    const char* value;
    int64_t number;   // of 32 bits, with a sign; 7: none
    uint64_t amount;  // of 64 bits
    std::optional<bool> flag;
  } kRows[] = {
      {"0", 0, 0, false},
      {"1", 1, 1, true},
      {"true", 7, 7, true},
      {"TRUE", 7, 7, false},
      {"-1", -1, 7, false},
      {"2147483647", INT32_MAX, INT32_MAX, false},
      {"2147483648", 7, 2147483648u, false},
      {"18446744073709551615", 7, UINT64_MAX, false},
      {"18446744073709551616", 7, 7, false},
      {"", 7, 7, false},
      {" 3", 7, 7, false},
      {"3 ", 7, 7, false},
      {"+3", 7, 7, false},
      {"0x3", 7, 7, false},
      {"3.0", 7, 7, false},
  };
  for (const auto& row : kRows) {
    const auto document = CkxTiXmlDocument::Parse("<R a='" + std::string(row.value) + "'/>");
    ASSERT_TRUE(document) << row.value;
    int32_t number = 7;
    uint64_t amount = 7;
    bool flag = true;
    EXPECT_EQ(Xml::GetAttribute(document->Root(), "a", number), row.number != 7);
    EXPECT_EQ(Xml::GetAttribute(document->Root(), "a", amount), row.amount != 7);
    EXPECT_TRUE(Xml::GetFlag(document->Root(), "a", flag));
    EXPECT_EQ(number, row.number) << row.value;
    EXPECT_EQ(amount, row.amount) << row.value;
    EXPECT_EQ(flag, row.flag) << row.value;
    EXPECT_FALSE(Xml::GetFlag(document->Root(), "b", flag));
  }
}

TEST(TiXmlUtil, FindsElements) {
  const auto document = CkxTiXmlDocument::Parse("<E><D><S/></D><D><F n='1'/><X><F n='2'/></X></D><F n='3'/>tail</E>");
  ASSERT_TRUE(document);
  EXPECT_TRUE(document->IsRoot("E"));
  EXPECT_EQ(document->Find("E"), &document->Root());
  EXPECT_EQ(document->Find("Y"), nullptr);
  uint32_t n = 0;
  ASSERT_NE(document->Find("F"), nullptr);
  EXPECT_TRUE(Xml::GetAttribute(*document->Find("F"), "n", n));
  EXPECT_EQ(n, 1u);
  EXPECT_NE(Xml::Next(*Xml::Child(document->Root(), "D")), nullptr);
  EXPECT_EQ(Xml::Text(document->Root()), KXW(""));  // not the text behind a child
}

TEST(TiXmlUtil, RefusesWhatIsTooLarge) {
  const auto text = [](size_t units, const char* unit) {
    std::string all = "<R>";
    for (size_t i = 0; i < units; ++i) all += unit;
    return all + "</R>";
  };
  EXPECT_TRUE(CkxTiXmlDocument::Parse(text(Xml::kMaxText, "x")));
  EXPECT_FALSE(CkxTiXmlDocument::Parse(text(Xml::kMaxText + 1, "x")));
  EXPECT_TRUE(CkxTiXmlDocument::Parse(text(Xml::kMaxText / 2, "&#65536;"), 1024 * 1024));  // two units each
  EXPECT_FALSE(CkxTiXmlDocument::Parse(text(Xml::kMaxText / 2 + 1, "&#65536;"), 1024 * 1024));
  std::string deep;
  for (int i = 0; i < Xml::kMaxDepth; ++i) deep += "<a>";
  std::string back;
  for (int i = 0; i < Xml::kMaxDepth; ++i) back += "</a>";
  EXPECT_TRUE(CkxTiXmlDocument::Parse(deep + back));
  EXPECT_FALSE(CkxTiXmlDocument::Parse("<a>" + deep + back + "</a>"));
  EXPECT_TRUE(CkxTiXmlDocument::Parse("<a>" + std::string(Xml::kMaxBytes - 7, ' ') + "</a>"));
  EXPECT_FALSE(CkxTiXmlDocument::Parse("<a>" + std::string(Xml::kMaxBytes - 6, ' ') + "</a>"));
}

}  // namespace
