// The XML in which the system keeps its own records: read and written with TinyXML2, which callers see no more of than
// its elements.
//
//   CkxTiXmlDocument document("KxSrcEmail");
//   CkxTiXmlUtil::SetAttribute(document.Root(), "receivedTime", time);
//   CkxTiXmlUtil::AddChild(document.Root(), "Subject", subject);
//   const std::optional<std::string> text = document.Print();
//
// Written without line ends and declaration, in UTF-8. What is empty or false is not there. A text that XML has no
// place for (a lone surrogate, a control character) makes the document one that cannot be printed.
// Read leniently: the first of several counts, what is unknown is not looked at, a number or a text that is missing or
// malformed is none. Not so leniently that a text could be read in two ways: no document types, no entities but the
// five, no attribute twice. Texts of blanks alone are not told from none.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Common_CPP/util/text_view.h"

namespace tinyxml2 {
class XMLDocument;
class XMLElement;
}  // namespace tinyxml2

class CkxTiXmlUtil {
 public:
  static constexpr size_t kMaxBytes = 64 * 1024;  ///< of a record: what is kept with a file is not larger
  static constexpr int kMaxDepth = 16;
  static constexpr size_t kMaxText = 32767;  ///< units of UTF-16; longer ones are neither written nor read

  // --- writing ---

  static tinyxml2::XMLElement& AddChild(tinyxml2::XMLElement& parent, const char* name);

  /// Null, with nothing added, for an empty text.
  static tinyxml2::XMLElement* AddChild(tinyxml2::XMLElement& parent, const char* name, CkxTextView text);

  static void SetAttribute(tinyxml2::XMLElement& element, const char* name, CkxTextView text);
  static void SetFlag(tinyxml2::XMLElement& element, const char* name, bool flag);
  static void SetAttribute(tinyxml2::XMLElement& element, const char* name, int32_t number);
  static void SetAttribute(tinyxml2::XMLElement& element, const char* name, uint32_t number);
  static void SetAttribute(tinyxml2::XMLElement& element, const char* name, uint64_t number);

  /// The text with U+FFFD for what XML has no place for, and cut where it is too long. For what a program says of
  /// itself, which must not keep the rest from being written.
  static KxWString Writable(CkxTextView text);

  // --- reading ---

  /// The first with that name below the element, and the next beside one; null when there is none.
  static const tinyxml2::XMLElement* Child(const tinyxml2::XMLElement& parent, const char* name);
  static const tinyxml2::XMLElement* Next(const tinyxml2::XMLElement& element);

  /// In UTF-8, a part of the document; nothing when there is none.
  static std::optional<std::string_view> Attribute(const tinyxml2::XMLElement& element, const char* name);

  /// False, with `value` as it was, when there is none, or it is malformed. Numbers are decimal, without blanks; a flag
  /// is "true" or "1", and anything else is none.
  static bool GetAttribute(const tinyxml2::XMLElement& element, const char* name, KxWString& text);
  static bool GetFlag(const tinyxml2::XMLElement& element, const char* name, bool& flag);
  static bool GetAttribute(const tinyxml2::XMLElement& element, const char* name, int32_t& number);
  static bool GetAttribute(const tinyxml2::XMLElement& element, const char* name, uint32_t& number);
  static bool GetAttribute(const tinyxml2::XMLElement& element, const char* name, uint64_t& number);

  /// What stands in the element before any other: empty where that is no text.
  static KxWString Text(const tinyxml2::XMLElement& element);
};

/// A document of one root.
class CkxTiXmlDocument {
 public:
  /// An empty one, to be written.
  explicit CkxTiXmlDocument(const char* root);

  /// The one in `text`, which is UTF-8; nothing when it is none, or goes beyond a limit.
  static std::optional<CkxTiXmlDocument> Parse(std::string_view text, size_t maxBytes = CkxTiXmlUtil::kMaxBytes,
                                               int maxDepth = CkxTiXmlUtil::kMaxDepth);

  CkxTiXmlDocument(CkxTiXmlDocument&&) noexcept;
  CkxTiXmlDocument& operator=(CkxTiXmlDocument&&) noexcept;
  ~CkxTiXmlDocument();

  tinyxml2::XMLElement& Root();
  const tinyxml2::XMLElement& Root() const;
  bool IsRoot(std::string_view name) const;

  /// The first element of that name in the order of the text, the root included; null when there is none.
  const tinyxml2::XMLElement* Find(std::string_view name) const;

  /// Nothing when it holds what XML has no place for, or is larger than a record may be. `indented` is for people.
  std::optional<std::string> Print(bool indented = false) const;

 private:
  explicit CkxTiXmlDocument(std::unique_ptr<tinyxml2::XMLDocument> document);

  std::unique_ptr<tinyxml2::XMLDocument> _document;
};
