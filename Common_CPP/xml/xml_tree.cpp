#include "Common_CPP/xml/xml_tree.h"

#include <tinyxml2.h>

#include <algorithm>

#include "Common_CPP/util/text.h"

namespace {

KxWString WideOf(const char* utf8) {
  return utf8 != nullptr ? KxText_FromUtf8(utf8).value_or(KxWString()) : KxWString();
}

/// As deep as the document, which has a limit.
SkxXmlNode NodeOf(const tinyxml2::XMLElement& element) {
  SkxXmlNode node;
  node.name = WideOf(element.Name());
  node.text = WideOf(element.GetText());
  for (const auto* attribute = element.FirstAttribute(); attribute != nullptr; attribute = attribute->Next()) {
    node.attributes.push_back({WideOf(attribute->Name()), WideOf(attribute->Value())});
  }
  for (const auto* child = element.FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
    node.children.push_back(NodeOf(*child));
  }
  return node;
}

}  // namespace

const KxWString* SkxXmlNode::Attribute(CkxTextView attribute) const {
  const auto found = std::find_if(attributes.begin(), attributes.end(), [&](const SkxXmlAttribute& candidate) {
    return KxText_Equals(candidate.name, attribute, true);
  });
  return found != attributes.end() ? &found->value : nullptr;
}

std::optional<SkxXmlNode> KxXmlTree_Parse(CkxTextView text, const SkxXmlLimits& limits) {
  if (text.Size() > limits.bytes) return std::nullopt;
  const std::string utf8 = KxText_ToUtf8(text);
  const std::optional<KxWString> again = KxText_FromUtf8(utf8);
  if (!again || !KxText_Equals(*again, text, true)) return std::nullopt;
  const std::span bytes(reinterpret_cast<const unsigned char*>(utf8.data()), utf8.size());
  const std::unique_ptr<tinyxml2::XMLDocument> document = KxXml_Parse(bytes, limits);
  return document != nullptr ? std::optional(NodeOf(*document->RootElement())) : std::nullopt;
}
