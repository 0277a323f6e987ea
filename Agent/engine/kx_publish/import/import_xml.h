// The XML of other systems' policies, as bytes from a file: UTF-8 or UTF-16 of either order, with a mark or without.
// What it says of its own encoding does not count, since files are saved anew. Refused: what is no document, document
// types, entities other than the five, and what goes beyond a limit.
#pragma once

#include <optional>
#include <span>

#include "Common_CPP/xml/xml_tree.h"

/// 16 MiB, elements 32 deep.
std::optional<SkxXmlNode> KxImportXml_Parse(std::span<const unsigned char> bytes);

/// The child of that name; null where there is none, or several.
const SkxXmlNode* KxImportXml_Child(const SkxXmlNode& node, CkxTextView name);

/// The attribute in UTF-8, empty where there is none.
std::string KxImportXml_Utf8(const SkxXmlNode& node, CkxTextView attribute);

/// The first attribute that is not among `known`; null when all are.
const SkxXmlAttribute* KxImportXml_Unknown(const SkxXmlNode& node, std::span<const WCHAR* const> known);
