#include "Common_CPP/xml/xml_writer.h"

#include <tinyxml2.h>

#include <algorithm>

#include "Common_CPP/util/text.h"

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// The bytes of the character at the front of `utf8`; none when there is no such character in XML.
size_t XmlCharacterAt(std::string_view utf8) {
  const auto first = static_cast<unsigned char>(utf8.front());
  if (first < 0x80) return first >= 0x20 || first == '\t' || first == '\n' || first == '\r' ? 1 : 0;
  const size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  const std::optional<KxWString> units = KxText_FromUtf8(utf8.substr(0, std::min(bytes, utf8.size())));
  const bool isCharacter = units && !units->empty() && units->front() != 0xFFFE && units->front() != 0xFFFF;
  return isCharacter ? bytes : 0;
}

std::string FitForXml(std::string_view utf8) {
  std::string text;
  text.reserve(utf8.size());
  while (!utf8.empty()) {
    const size_t bytes = XmlCharacterAt(utf8);
    text += bytes != 0 ? utf8.substr(0, bytes) : kReplacement;
    utf8.remove_prefix(std::max<size_t>(bytes, 1));
    while (bytes == 0 && !utf8.empty() && (utf8.front() & 0xC0) == 0x80) utf8.remove_prefix(1);  // of the same one
  }
  return text;
}

}  // namespace

CkxXmlWriter::CkxXmlWriter() : _printer(std::make_unique<tinyxml2::XMLPrinter>()) { _printer->PushHeader(false, true); }
CkxXmlWriter::~CkxXmlWriter() = default;

void CkxXmlWriter::Open(const char* element) { _printer->OpenElement(element); }

void CkxXmlWriter::Attribute(const char* name, std::string_view utf8) {
  _printer->PushAttribute(name, FitForXml(utf8).c_str());
}

void CkxXmlWriter::Content(std::string_view utf8) { _printer->PushText(FitForXml(utf8).c_str()); }

void CkxXmlWriter::Close() { _printer->CloseElement(); }

std::string CkxXmlWriter::Text() const { return _printer->CStr(); }
