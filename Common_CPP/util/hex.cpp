#include "Common_CPP/util/hex.h"

namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

}  // namespace

std::string KxHex_FromBytes(std::span<const unsigned char> bytes) {
  std::string text(bytes.size() * 2, '\0');
  char* digit = text.data();
  for (const unsigned char byte : bytes) {
    *digit++ = kDigits[byte >> 4];
    *digit++ = kDigits[byte & 0xF];
  }
  return text;
}

std::optional<std::vector<unsigned char>> KxHex_ToBytes(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::vector<unsigned char> bytes;
  bytes.reserve(text.size() / 2);
  for (size_t i = 0; i < text.size(); i += 2) {
    const int high = DigitValue(text[i]);
    const int low = DigitValue(text[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes.push_back(static_cast<unsigned char>(high << 4 | low));
  }
  return bytes;
}
