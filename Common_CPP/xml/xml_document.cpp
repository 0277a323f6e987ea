#include "Common_CPP/xml/xml_document.h"

#include <tinyxml2.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "Common_CPP/util/text.h"

namespace {

constexpr int kMaxXmlAttributes = 128;  // of one element
constexpr std::string_view kXmlSpaces = " \t\r\n";

/// The text in UTF-8: where it stands, or in `converted`. Nothing for what is no text.
std::optional<std::string_view> XmlText(std::span<const unsigned char> bytes, std::string& converted) {
  if (bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) {
    KxWString wide(bytes.size() / sizeof(WCHAR) - 1, WCHAR{});
    std::memcpy(wide.data(), bytes.data() + 2, wide.size() * sizeof(WCHAR));
    converted = KxText_ToUtf8(wide);
    const bool isText = bytes.size() % sizeof(WCHAR) == 0 && KxText_FromUtf8(converted) == wide;
    return isText ? std::optional<std::string_view>(converted) : std::nullopt;
  }
  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  return KxText_IsUtf8(text) ? std::optional(text) : std::nullopt;
}

bool IsXmlCharacter(uint32_t point) {
  return point == '\t' || point == '\n' || point == '\r' || (point >= 0x20 && point < 0xD800) ||
         (point >= 0xE000 && point <= 0x10FFFF && point != 0xFFFE && point != 0xFFFF);
}

/// `name`: what stands between "&" and ";".
bool IsKnownEntity(std::string_view name) {
  constexpr std::string_view kNames[] = {"amp", "lt", "gt", "quot", "apos"};
  if (!name.starts_with('#')) return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
  const bool isHexadecimal = name.starts_with("#x");
  name.remove_prefix(isHexadecimal ? 2 : 1);
  uint32_t point = 0;
  const auto parsed = std::from_chars(name.data(), name.data() + name.size(), point, isHexadecimal ? 16 : 10);
  return parsed.ec == std::errc() && parsed.ptr == name.data() + name.size() && IsXmlCharacter(point);
}

/// What may hold anything but its own end.
struct SkxXmlSection {
  std::string_view begin;
  std::string_view end;
};
constexpr SkxXmlSection kXmlSections[] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}};

const SkxXmlSection* SectionAt(std::string_view text) {
  const auto section = std::find_if(std::begin(kXmlSections), std::end(kXmlSections),
                                    [&](const SkxXmlSection& known) { return text.starts_with(known.begin); });
  return section != std::end(kXmlSections) ? section : nullptr;
}

/// Whether there are no characters, declarations and entities in it that it must not have.
bool IsPlainXml(std::string_view text) {
  const auto isControl = [](char unit) {
    return static_cast<unsigned char>(unit) < 0x20 && kXmlSpaces.find(unit) == std::string_view::npos;
  };
  const auto isMark = [](char unit) { return unit == '<' || unit == '&'; };
  if (std::any_of(text.begin(), text.end(), isControl)) return false;
  for (;;) {
    text.remove_prefix(static_cast<size_t>(std::find_if(text.begin(), text.end(), isMark) - text.begin()));
    if (text.empty()) return true;
    if (const SkxXmlSection* const section = SectionAt(text)) {
      const size_t end = text.find(section->end, section->begin.size());
      if (end == std::string_view::npos) return false;
      text.remove_prefix(end + section->end.size());
    } else {
      if (text.starts_with("<!")) return false;
      const bool isEntity = text.front() == '&';
      if (isEntity && !IsKnownEntity(text.substr(1, std::min(text.find(';'), text.size()) - 1))) return false;
      text.remove_prefix(1);
    }
  }
}

/// Each is compared with each, so that there must not be many.
bool HasEachAttributeOnce(const tinyxml2::XMLElement& element) {
  int count = 0;
  for (const tinyxml2::XMLAttribute* a = element.FirstAttribute(); a != nullptr; a = a->Next()) {
    if (++count > kMaxXmlAttributes) return false;
    for (const tinyxml2::XMLAttribute* b = element.FirstAttribute(); b != a; b = b->Next()) {
      if (std::strcmp(a->Name(), b->Name()) == 0) return false;
    }
  }
  return true;
}

/// Refuses what the library lets pass: attributes that are there twice, more than one root, text around it.
class CkxXmlCheck : public tinyxml2::XMLVisitor {
 public:
  explicit CkxXmlCheck(int maxDepth) : _maxDepth(maxDepth) {}
  bool IsGood() const { return _isGood && _roots == 1; }

  bool VisitEnter(const tinyxml2::XMLElement& element, const tinyxml2::XMLAttribute* /*first*/) override {
    if (_depth == 0) ++_roots;
    Require(++_depth <= _maxDepth && HasEachAttributeOnce(element));
    return _isGood;
  }
  bool VisitExit(const tinyxml2::XMLElement& /*element*/) override {
    --_depth;
    return _isGood;
  }
  bool Visit(const tinyxml2::XMLText& /*text*/) override {
    Require(_depth != 0);
    return _isGood;
  }

 private:
  void Require(bool isGood) { _isGood = _isGood && isGood; }

  const int _maxDepth;
  bool _isGood = true;
  int _depth = 0;
  int _roots = 0;
};

std::string_view PrefixOf(std::string_view name) {
  const size_t colon = name.find(':');
  return colon == std::string_view::npos ? std::string_view() : name.substr(0, colon);
}

}  // namespace

std::string_view CkxXmlElement::LocalName() const {
  if (_element == nullptr) return {};
  const std::string_view name = _element->Name();
  return name.substr(name.find(':') + 1);  // from the first unit on where there is none
}

std::string_view CkxXmlElement::Namespace() const {
  if (_element == nullptr) return {};
  const std::string_view prefix = PrefixOf(_element->Name());
  const std::string declaration = prefix.empty() ? "xmlns" : "xmlns:" + std::string(prefix);
  for (const tinyxml2::XMLNode* node = _element; node != nullptr; node = node->Parent()) {
    const tinyxml2::XMLElement* const element = node->ToElement();
    const char* const declared = element != nullptr ? element->Attribute(declaration.c_str()) : nullptr;
    if (declared != nullptr) return declared;
  }
  return {};
}

std::optional<KxWString> CkxXmlElement::Attribute(const char* name) const {
  const char* const value = _element != nullptr ? _element->Attribute(name) : nullptr;
  return value != nullptr ? KxText_FromUtf8(value) : std::nullopt;
}

CkxXmlElement CkxXmlElement::First() const {
  return CkxXmlElement(_element != nullptr ? _element->FirstChildElement() : nullptr);
}

CkxXmlElement CkxXmlElement::Next() const {
  return CkxXmlElement(_element != nullptr ? _element->NextSiblingElement() : nullptr);
}

CkxXmlElement CkxXmlElement::Child(std::string_view localName) const {
  CkxXmlElement found(nullptr);
  for (CkxXmlElement child = First(); child; child = child.Next()) {
    if (child.LocalName() != localName || child.Namespace() != Namespace()) continue;
    if (found) return CkxXmlElement(nullptr);
    found = child;
  }
  return found;
}

std::unique_ptr<tinyxml2::XMLDocument> KxXml_Parse(std::span<const unsigned char> bytes, const SkxXmlLimits& limits) {
  std::string converted;
  const std::optional<std::string_view> text = bytes.size() <= limits.bytes ? XmlText(bytes, converted) : std::nullopt;
  if (!text || !IsPlainXml(*text)) return nullptr;
  auto document = std::make_unique<tinyxml2::XMLDocument>();
  if (document->Parse(text->data(), text->size()) != tinyxml2::XML_SUCCESS) return nullptr;
  CkxXmlCheck check(limits.depth);
  document->Accept(&check);
  return check.IsGood() ? std::move(document) : nullptr;
}

std::optional<CkxXmlDocument> CkxXmlDocument::Parse(std::span<const unsigned char> bytes) {
  std::unique_ptr<tinyxml2::XMLDocument> document = KxXml_Parse(bytes, SkxXmlLimits());
  return document != nullptr ? std::optional(CkxXmlDocument(std::move(document))) : std::nullopt;
}

CkxXmlDocument::CkxXmlDocument(std::unique_ptr<tinyxml2::XMLDocument> document) : _document(std::move(document)) {}
CkxXmlDocument::CkxXmlDocument(CkxXmlDocument&&) noexcept = default;
CkxXmlDocument& CkxXmlDocument::operator=(CkxXmlDocument&&) noexcept = default;
CkxXmlDocument::~CkxXmlDocument() = default;

CkxXmlElement CkxXmlDocument::Root() const { return CkxXmlElement(_document->RootElement()); }
