// An XML document as a tree of plain values in UTF-16, for what is asked again and again, from several threads at once:
// unlike the parser's own elements it never changes when it is read.
//
//   const std::optional<SkxXmlNode> root = KxXmlTree_Parse(text, {kMaxBytes, kMaxDepth});
//
// What is refused is said in xml_document.h. Texts of blanks alone are not told from none, and line ends in texts are
// "\n".
#pragma once

#include <optional>
#include <vector>

#include "Common_CPP/util/text_view.h"
#include "Common_CPP/xml/xml_document.h"

struct SkxXmlAttribute {
  KxWString name;
  KxWString value;
};

struct SkxXmlNode {
  KxWString name;
  KxWString text;  ///< what stands in the element before any other, comments aside; empty where that is no text
  std::vector<SkxXmlAttribute> attributes;
  std::vector<SkxXmlNode> children;  ///< elements alone

  /// The value of the attribute with that name; null when there is none.
  const KxWString* Attribute(CkxTextView attribute) const;
};

/// The root of the document in `text`; nothing when it is none, or goes beyond a limit (`limits.bytes` are those of its
/// UTF-8). Text that is no UTF-16, with half of a surrogate pair, is no document.
std::optional<SkxXmlNode> KxXmlTree_Parse(CkxTextView text, const SkxXmlLimits& limits);
