#include "Agent/engine/kx_publish/import/import_xml.h"

#include <algorithm>

#include "Common_CPP/util/text.h"

namespace {

constexpr SkxXmlLimits kImportLimits = {size_t{16} << 20, 32};

/// How far apart the bytes of a unit's halves weigh: which of the two is the lower one.
enum class Utf16Order { None, LowFirst, HighFirst };

/// A document begins with "<", so that its first unit shows the order also where no mark does.
Utf16Order OrderOf(std::span<const unsigned char> bytes) {
  if (bytes.size() < 2) return Utf16Order::None;
  const auto begins = [&](unsigned char first, unsigned char second) {
    return bytes[0] == first && bytes[1] == second;
  };
  if (begins(0xFF, 0xFE) || begins('<', 0)) return Utf16Order::LowFirst;
  if (begins(0xFE, 0xFF) || begins(0, '<')) return Utf16Order::HighFirst;
  return Utf16Order::None;
}

std::optional<KxWString> FromUtf16(std::span<const unsigned char> bytes, Utf16Order order) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  const size_t low = order == Utf16Order::LowFirst ? 0 : 1;
  KxWString text(bytes.size() / 2, WCHAR{});
  for (size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<WCHAR>(bytes[2 * i + low] | bytes[2 * i + 1 - low] << 8);
  }
  if (text.starts_with(static_cast<WCHAR>(0xFEFF))) text.erase(0, 1);
  return text;
}

std::optional<KxWString> TextOf(std::span<const unsigned char> bytes) {
  const Utf16Order order = OrderOf(bytes);
  if (order != Utf16Order::None) return FromUtf16(bytes, order);
  std::string_view utf8(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (utf8.starts_with("\xEF\xBB\xBF")) utf8.remove_prefix(3);
  return KxText_FromUtf8(utf8);
}

}  // namespace

std::optional<SkxXmlNode> KxImportXml_Parse(std::span<const unsigned char> bytes) {
  if (bytes.size() > 2 * kImportLimits.bytes) return std::nullopt;
  const std::optional<KxWString> text = TextOf(bytes);
  // A zero would end the text for who reads it as one.
  if (!text || text->find(WCHAR{}) != KxWString::npos) return std::nullopt;
  return KxXmlTree_Parse(*text, kImportLimits);
}

const SkxXmlNode* KxImportXml_Child(const SkxXmlNode& node, CkxTextView name) {
  const SkxXmlNode* found = nullptr;
  for (const SkxXmlNode& child : node.children) {
    if (!KxText_Equals(child.name, name, true)) continue;
    if (found != nullptr) return nullptr;
    found = &child;
  }
  return found;
}

std::string KxImportXml_Utf8(const SkxXmlNode& node, CkxTextView attribute) {
  const KxWString* const value = node.Attribute(attribute);
  return value != nullptr ? KxText_ToUtf8(*value) : std::string();
}

const SkxXmlAttribute* KxImportXml_Unknown(const SkxXmlNode& node, std::span<const WCHAR* const> known) {
  for (const SkxXmlAttribute& attribute : node.attributes) {
    const auto isName = [&](const WCHAR* name) { return KxText_Equals(attribute.name, name, true); };
    if (std::none_of(known.begin(), known.end(), isName)) return &attribute;
  }
  return nullptr;
}
