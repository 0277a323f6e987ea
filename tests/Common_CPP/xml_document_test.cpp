#include "Common_CPP/xml/xml_document.h"

#include <gtest/gtest.h>

#include "Common_CPP/util/text.h"

namespace {

std::optional<CkxXmlDocument> ParsedXml(std::string_view text) {
  return CkxXmlDocument::Parse({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
}

/// Of the attribute "x" of the root.
std::string AttributeX(std::string_view text) {
  const std::optional<CkxXmlDocument> document = ParsedXml(text);
  if (!document) return "no document";
  const std::optional<KxWString> value = document->Root().Attribute("x");
  return value ? KxText_ToUtf8(*value) : "none";
}

TEST(XmlDocument, GivesAttributes) {
  using namespace std::string_view_literals;
  const struct {
    std::string_view text, value;
  } kRows[] = {
      {"<a x='1'/>", "1"},
      {"\xEF\xBB\xBF<?xml version='1.0'?><!-- & <!DOCTYPE --><a y='0' x=\"2\"></a>\r\n<!-- -->", "2"},
      {"<a x='&lt;&amp;&gt;&quot;&apos;&#65;&#x42;'/>", "<&>\"'AB"},
      {"<a x='\xC3\xBC'><![CDATA[ & <!ENTITY ]]></a>", "\xC3\xBC"},
      {"\xFF\xFE<\0a\0 \0x\0=\0'\0\xFC\0'\0/\0>\0"sv, "\xC3\xBC"},
      {"<a/>", "none"},
      {"<a p:x='1'/>", "none"},
  };
  for (const auto& row : kRows) EXPECT_EQ(AttributeX(row.text), row.value) << row.text;
}

TEST(XmlDocument, RefusesWhatIsNone) {
  using namespace std::string_view_literals;
  const std::string deep = "<a>", back = "</a>";
  std::string in64 = "<a x='deep'>", out64 = back;
  for (int depth = 1; depth < 64; ++depth) in64 += deep, out64 += back;
  EXPECT_EQ(AttributeX(in64 + out64), "deep");
  EXPECT_EQ(AttributeX(in64 + deep + back + out64), "no document");
  EXPECT_EQ(AttributeX("<a x='1'>" + std::string(1024 * 1024 - 13, ' ') + back), "1");
  EXPECT_EQ(AttributeX("<a x='1'>" + std::string(1024 * 1024 - 12, ' ') + back), "no document");
  std::string many = "<a x='many'";
  for (int i = 1; i < 128; ++i) many += " y" + std::to_string(i) + "=''";
  EXPECT_EQ(AttributeX(many + "/>"), "many");
  EXPECT_EQ(AttributeX(many + " z=''/>"), "no document");
  for (const std::string_view text : {
           ""sv,
           "a"sv,
           "<a>"sv,
           "<a></b>"sv,
           "<a/><a/>"sv,
           "<a/>b"sv,
           "b<a/>"sv,
           "<a x='1' x='1'/>"sv,
           "<a x=1/>"sv,
           "<!DOCTYPE a><a x='1'/>"sv,
           "<!DOCTYPE a [<!ENTITY e 'v'>]><a x='&e;'/>"sv,
           "<a x='&e;'/>"sv,
           "<a x='&'/>"sv,
           "<a x='&amp'/>"sv,
           "<a x='&#0;'/>"sv,
           "<a x='&#xD800;'/>"sv,
           "<a x='&#x110000;'/>"sv,
           "<a x='&#;'/>"sv,
           "<a x='&#99999999999;'/>"sv,
           "<a x='\xFF'/>"sv,
           "<a x='\xC0\xAF'/>"sv,
           "<a x='\xED\xA0\x80'/>"sv,
           "<a x='1\0'/>"sv,
           "<a x='1'/>\0"sv,
           "<a x='\1'/>"sv,
           "<a><!-- </a>"sv,
           "<a><![CDATA[ </a>"sv,
           "<a><!x></a>"sv,
           "\xFF\xFE<\0a\0/\0>"sv,
           "\xFF\xFE\0\xD8"sv,
           "\xFF\xFE"sv,
           "\xFE\xFF\0<\0a\0/\0>"sv,
       }) {
    EXPECT_EQ(AttributeX(text), "no document") << text;
  }
}

TEST(XmlDocument, FindsElementsByTheirNamespaces) {
  const auto document = ParsedXml(
      "<p:a xmlns:p='urn:1' xmlns='urn:2'><b x='2'/><p:b x='1'/><q:b xmlns:q='urn:1' x='3'/><c xmlns='urn:1'/></p:a>");
  ASSERT_TRUE(document);
  const CkxXmlElement root = document->Root();
  EXPECT_EQ(root.LocalName(), "a");
  EXPECT_EQ(root.Namespace(), "urn:1");
  EXPECT_FALSE(root.Child("b")) << "two of them";
  EXPECT_TRUE(root.Child("c"));
  EXPECT_EQ(root.First().Namespace(), "urn:2");
  EXPECT_EQ(root.First().Next().Namespace(), "urn:1");
  const CkxXmlElement none = root.Child("d");
  EXPECT_FALSE(none);
  EXPECT_FALSE(none.First() || none.Next() || none.Child("b") || none.Attribute("x"));
  EXPECT_EQ(none.LocalName(), "");
}

/// Whatever is cut off or changed, the answer is that of a document or none.
TEST(XmlDocument, NoCutDocumentIsOne) {
  constexpr std::string_view kText = "<?xml version='1.0'?><a x='&amp;'><!-- c --><b y='1'>t</b><![CDATA[d]]></a>";
  ASSERT_EQ(AttributeX(kText), "&");
  for (size_t size = 0; size < kText.size(); ++size) {
    ASSERT_EQ(AttributeX(kText.substr(0, size)), "no document") << size;
  }
}

}  // namespace
