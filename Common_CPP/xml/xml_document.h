// XML documents of others: manifests. Read by TinyXML2, which takes more than XML is and knows nothing of namespaces;
// what is no document, or could be read in two ways, is refused here.
//
//   const std::optional<CkxXmlDocument> document = CkxXmlDocument::Parse(bytes);
//   if (document) document->Root().Child("Identity").Attribute("Name");
//
// Limits: those of `SkxXmlLimits`, 128 attributes an element. No document types, no entities other than the five and
// characters by number.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "Common_CPP/util/text_view.h"

namespace tinyxml2 {
class XMLDocument;
class XMLElement;
}  // namespace tinyxml2

struct SkxXmlLimits {
  size_t bytes = 1024 * 1024;
  int depth = 64;  ///< of elements in each other
};

/// The document in `bytes`, in UTF-8, or in UTF-16LE with a mark that says so. Null when it is no such document.
std::unique_ptr<tinyxml2::XMLDocument> KxXml_Parse(std::span<const unsigned char> bytes, const SkxXmlLimits& limits);

/// An element of a document, which must live as long; or none, of which all answers are empty.
class CkxXmlElement {
 public:
  explicit operator bool() const { return _element != nullptr; }

  std::string_view LocalName() const;  ///< without the prefix that stands for a namespace
  std::string_view Namespace() const;  ///< what that prefix stands for, or what is in force where there is none

  /// Of an attribute without a prefix.
  std::optional<KxWString> Attribute(const char* name) const;

  /// The first below this one and the next beside it, in the order of the document.
  CkxXmlElement First() const;
  CkxXmlElement Next() const;

  /// The one below this one with that name, in the same namespace; none where there are several.
  CkxXmlElement Child(std::string_view localName) const;

 private:
  friend class CkxXmlDocument;
  explicit CkxXmlElement(const tinyxml2::XMLElement* element) : _element(element) {}

  const tinyxml2::XMLElement* _element;
};

class CkxXmlDocument {
 public:
  static std::optional<CkxXmlDocument> Parse(std::span<const unsigned char> bytes);

  CkxXmlDocument(CkxXmlDocument&&) noexcept;
  CkxXmlDocument& operator=(CkxXmlDocument&&) noexcept;
  ~CkxXmlDocument();

  CkxXmlElement Root() const;

 private:
  explicit CkxXmlDocument(std::unique_ptr<tinyxml2::XMLDocument> document);

  std::unique_ptr<tinyxml2::XMLDocument> _document;
};
