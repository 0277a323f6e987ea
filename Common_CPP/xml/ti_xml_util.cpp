#include "Common_CPP/xml/ti_xml_util.h"

#include <tinyxml2.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "Common_CPP/util/text.h"
#include "Common_CPP/xml/xml_document.h"

namespace {

/// In place of a text that XML has no place for: a character that it never has, by which printing finds it.
constexpr char kNoXmlText[] = "\x01";

/// A unit beyond the characters of XML; surrogates are looked at in pairs, elsewhere.
bool IsNoXmlUnit(WCHAR unit) {
  return (unit < 0x20 && unit != KXW('\t') && unit != KXW('\n') && unit != KXW('\r')) || unit == 0xFFFE ||
         unit == 0xFFFF;
}

std::string XmlTextOf(CkxTextView text) {
  const KxWString units = text.ToString();
  std::string utf8 = KxText_ToUtf8(units);
  const bool isText = units.size() <= CkxTiXmlUtil::kMaxText && std::none_of(units.begin(), units.end(), IsNoXmlUnit) &&
                      KxText_FromUtf8(utf8) == units;
  return isText ? utf8 : kNoXmlText;
}

/// Line ends and tabulators in a text by their numbers: readers make blanks of some, and one line end of two.
class CkxTiXmlPrinter : public tinyxml2::XMLPrinter {
 public:
  explicit CkxTiXmlPrinter(bool compact) : XMLPrinter(nullptr, compact) {}

  std::string Text() const { return CStr(); }

 protected:
  void Write(const char* data, size_t size) override {
    constexpr std::string_view kByNumber = "\t\n\r";
    for (std::string_view left(data, size); !left.empty();) {
      const size_t plain = std::min(left.find_first_of(kByNumber), left.size());
      if (plain != 0) XMLPrinter::Write(left.data(), plain);
      left.remove_prefix(plain);
      if (left.empty()) return;
      const std::string number = "&#" + std::to_string(left.front()) + ";";
      XMLPrinter::Write(number.data(), number.size());
      left.remove_prefix(1);
    }
  }
};

/// Units of UTF-16 that the UTF-8 text is.
size_t UnitsOf(std::string_view utf8) {
  size_t units = 0;
  for (const char byte : utf8) {
    const auto value = static_cast<unsigned char>(byte);
    units += (value & 0xC0) == 0x80 ? 0 : value >= 0xF0 ? 2 : 1;
  }
  return units;
}

class CkxTextLengths : public tinyxml2::XMLVisitor {
 public:
  bool AreGood() const { return _areGood; }

  bool VisitEnter(const tinyxml2::XMLElement& /*element*/, const tinyxml2::XMLAttribute* attribute) override {
    for (; attribute != nullptr; attribute = attribute->Next()) Require(attribute->Value());
    return _areGood;
  }
  bool Visit(const tinyxml2::XMLText& text) override {
    Require(text.Value());
    return _areGood;
  }

 private:
  void Require(const char* text) { _areGood = _areGood && UnitsOf(text) <= CkxTiXmlUtil::kMaxText; }

  bool _areGood = true;
};

template <class Number>
bool NumberOf(const tinyxml2::XMLElement& element, const char* name, Number& number) {
  const char* const text = element.Attribute(name);
  if (text == nullptr) return false;
  Number read = 0;
  const char* const end = text + std::strlen(text);
  const auto parsed = std::from_chars(text, end, read);
  if (parsed.ec != std::errc() || parsed.ptr != end) return false;
  number = read;
  return true;
}

}  // namespace

tinyxml2::XMLElement& CkxTiXmlUtil::AddChild(tinyxml2::XMLElement& parent, const char* name) {
  tinyxml2::XMLElement* const child = parent.InsertNewChildElement(name);
  if (child == nullptr) throw std::bad_alloc();
  return *child;
}

tinyxml2::XMLElement* CkxTiXmlUtil::AddChild(tinyxml2::XMLElement& parent, const char* name, CkxTextView text) {
  if (text.IsEmpty()) return nullptr;
  tinyxml2::XMLElement& child = AddChild(parent, name);
  child.SetText(XmlTextOf(text).c_str());
  return &child;
}

void CkxTiXmlUtil::SetAttribute(tinyxml2::XMLElement& element, const char* name, CkxTextView text) {
  if (!text.IsEmpty()) element.SetAttribute(name, XmlTextOf(text).c_str());
}
void CkxTiXmlUtil::SetFlag(tinyxml2::XMLElement& element, const char* name, bool flag) {
  if (flag) element.SetAttribute(name, "true");
}
void CkxTiXmlUtil::SetAttribute(tinyxml2::XMLElement& element, const char* name, int32_t number) {
  element.SetAttribute(name, number);
}
void CkxTiXmlUtil::SetAttribute(tinyxml2::XMLElement& element, const char* name, uint32_t number) {
  element.SetAttribute(name, number);
}
void CkxTiXmlUtil::SetAttribute(tinyxml2::XMLElement& element, const char* name, uint64_t number) {
  element.SetAttribute(name, number);
}

KxWString CkxTiXmlUtil::Writable(CkxTextView text) {
  KxWString units = text.Part(0, std::min(text.Size(), kMaxText)).ToString();
  std::replace_if(units.begin(), units.end(), IsNoXmlUnit, KXW('\xFFFD'));
  return KxText_FromUtf8(KxText_ToUtf8(units)).value_or(KxWString());  // lone surrogates
}

const tinyxml2::XMLElement* CkxTiXmlUtil::Child(const tinyxml2::XMLElement& parent, const char* name) {
  return parent.FirstChildElement(name);
}

const tinyxml2::XMLElement* CkxTiXmlUtil::Next(const tinyxml2::XMLElement& element) {
  return element.NextSiblingElement(element.Name());
}

std::optional<std::string_view> CkxTiXmlUtil::Attribute(const tinyxml2::XMLElement& element, const char* name) {
  const char* const value = element.Attribute(name);
  return value != nullptr ? std::optional<std::string_view>(value) : std::nullopt;
}

bool CkxTiXmlUtil::GetAttribute(const tinyxml2::XMLElement& element, const char* name, KxWString& text) {
  const char* const value = element.Attribute(name);
  if (value == nullptr) return false;
  text = KxText_FromUtf8(value).value_or(KxWString());
  return true;
}
bool CkxTiXmlUtil::GetFlag(const tinyxml2::XMLElement& element, const char* name, bool& flag) {
  const char* const value = element.Attribute(name);
  if (value == nullptr) return false;
  flag = std::strcmp(value, "true") == 0 || std::strcmp(value, "1") == 0;
  return true;
}
bool CkxTiXmlUtil::GetAttribute(const tinyxml2::XMLElement& element, const char* name, int32_t& number) {
  return NumberOf(element, name, number);
}
bool CkxTiXmlUtil::GetAttribute(const tinyxml2::XMLElement& element, const char* name, uint32_t& number) {
  return NumberOf(element, name, number);
}
bool CkxTiXmlUtil::GetAttribute(const tinyxml2::XMLElement& element, const char* name, uint64_t& number) {
  return NumberOf(element, name, number);
}

KxWString CkxTiXmlUtil::Text(const tinyxml2::XMLElement& element) {
  const char* const text = element.GetText();
  return text != nullptr ? KxText_FromUtf8(text).value_or(KxWString()) : KxWString();
}

CkxTiXmlDocument::CkxTiXmlDocument(const char* root) : _document(std::make_unique<tinyxml2::XMLDocument>()) {
  tinyxml2::XMLElement* const element = _document->NewElement(root);
  if (element == nullptr) throw std::bad_alloc();
  _document->InsertFirstChild(element);
}

std::optional<CkxTiXmlDocument> CkxTiXmlDocument::Parse(std::string_view text, size_t maxBytes, int maxDepth) {
  const std::span bytes(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  std::unique_ptr<tinyxml2::XMLDocument> document = KxXml_Parse(bytes, {maxBytes, maxDepth});
  if (document == nullptr) return std::nullopt;
  CkxTextLengths lengths;
  if (text.size() > CkxTiXmlUtil::kMaxText) document->Accept(&lengths);  // else none is longer than that
  return lengths.AreGood() ? std::optional(CkxTiXmlDocument(std::move(document))) : std::nullopt;
}

CkxTiXmlDocument::CkxTiXmlDocument(std::unique_ptr<tinyxml2::XMLDocument> document) : _document(std::move(document)) {}
CkxTiXmlDocument::CkxTiXmlDocument(CkxTiXmlDocument&&) noexcept = default;
CkxTiXmlDocument& CkxTiXmlDocument::operator=(CkxTiXmlDocument&&) noexcept = default;
CkxTiXmlDocument::~CkxTiXmlDocument() = default;

tinyxml2::XMLElement& CkxTiXmlDocument::Root() { return *_document->RootElement(); }
const tinyxml2::XMLElement& CkxTiXmlDocument::Root() const { return *_document->RootElement(); }
bool CkxTiXmlDocument::IsRoot(std::string_view name) const { return name == Root().Name(); }

const tinyxml2::XMLElement* CkxTiXmlDocument::Find(std::string_view name) const {
  const tinyxml2::XMLElement* element = &Root();
  while (element != nullptr && name != element->Name()) {
    const tinyxml2::XMLElement* next = element->FirstChildElement();
    while (next == nullptr && element != nullptr) {
      next = element->NextSiblingElement();
      element = element->Parent() != nullptr ? element->Parent()->ToElement() : nullptr;
    }
    element = next;
  }
  return element;
}

std::optional<std::string> CkxTiXmlDocument::Print(bool indented) const {
  CkxTiXmlPrinter printer(!indented);
  _document->Accept(&printer);
  std::string text = printer.Text();
  const bool isXml = text.find(kNoXmlText) == std::string::npos && (indented || text.size() <= CkxTiXmlUtil::kMaxBytes);
  return isXml ? std::optional(std::move(text)) : std::nullopt;
}
