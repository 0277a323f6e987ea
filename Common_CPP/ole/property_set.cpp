#include "Common_CPP/ole/property_set.h"

#include <algorithm>
#include <array>

#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/code_page.h"

namespace {

constexpr size_t kMaxProperties = 64;  // the format has 20
constexpr std::array<unsigned char, 16> kSummaryFormat = {0xE0, 0x85, 0x9F, 0xF2, 0xF9, 0x4F, 0x68, 0x10,
                                                          0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9};

/// What is left of `bytes` from `offset` on, nothing where that lies outside.
std::span<const unsigned char> From(std::span<const unsigned char> bytes, size_t offset) {
  return bytes.subspan(std::min(offset, bytes.size()));
}

/// The bytes of a property that is text, without what follows its NUL.
std::optional<std::span<const unsigned char>> TextBytes(std::span<const unsigned char> property) {
  constexpr uint32_t kText = 30;
  if (property.size() < 8 || KxBytes_U32(property, 0) != kText || KxBytes_U32(property, 4) > property.size() - 8)
    return std::nullopt;
  const std::span<const unsigned char> text = property.subspan(8, KxBytes_U32(property, 4));
  return text.first(static_cast<size_t>(std::find(text.begin(), text.end(), 0) - text.begin()));
}

unsigned CodePage(std::span<const unsigned char> property) {
  constexpr uint32_t kShort = 2;
  if (property.size() < 6 || KxBytes_U32(property, 0) != kShort) return kKxCodePageLatin;
  const unsigned codePage = KxBytes_Load<uint16_t>(property.data() + 4);
  return codePage != 0 ? codePage : kKxCodePageLatin;
}

}  // namespace

std::optional<KxPropertyTexts> KxOle_SummaryTexts(std::span<const unsigned char> stream) {
  constexpr size_t kHeaderBytes = 48;  // with the first section's place
  constexpr size_t kFormatAt = 28;
  constexpr size_t kPropertyBytes = 8;
  constexpr uint32_t kCodePage = 1;
  if (stream.size() < kHeaderBytes || KxBytes_Load<uint16_t>(stream.data()) != 0xFFFE || KxBytes_U32(stream, 24) == 0 ||
      !std::equal(kSummaryFormat.begin(), kSummaryFormat.end(), stream.begin() + kFormatAt)) {
    return std::nullopt;
  }
  const std::span<const unsigned char> section = From(stream, KxBytes_U32(stream, kFormatAt + 16));
  if (section.size() < kPropertyBytes) return std::nullopt;
  const size_t fitting = std::min(kMaxProperties, section.size() / kPropertyBytes - 1);

  std::map<uint32_t, std::span<const unsigned char>> properties;
  for (size_t index = 1; index <= std::min<size_t>(KxBytes_U32(section, 4), fitting); ++index) {
    const uint32_t number = KxBytes_U32(section, index * kPropertyBytes);
    properties.emplace(number, From(section, KxBytes_U32(section, index * kPropertyBytes + 4)));
  }
  const unsigned codePage = CodePage(properties[kCodePage]);
  KxPropertyTexts texts;
  for (const auto& [number, property] : properties) {
    const auto bytes = TextBytes(property);
    if (std::optional<KxWString> text = bytes ? KxText_FromCodePage(*bytes, codePage) : std::nullopt) {
      texts.emplace(number, std::move(*text));
    }
  }
  return texts;
}
