#include "Common_CPP/util/guid.h"

namespace {

constexpr size_t kBytes = sizeof(GUID);
constexpr size_t kTextLength = 36;  // without braces

// The text shows the first three fields as numbers, most significant byte first, and so not in the order of memory.
constexpr unsigned char kOffsetInMemory[kBytes] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

constexpr bool HasDashBefore(size_t shownByte) {
  return shownByte == 4 || shownByte == 6 || shownByte == 8 || shownByte == 10;
}

int HexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

}  // namespace

std::string KxGuid_ToUtf8(const GUID& guid) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  unsigned char bytes[kBytes];
  std::memcpy(bytes, &guid, kBytes);

  std::string text = "{";
  for (size_t i = 0; i < kBytes; ++i) {
    if (HasDashBefore(i)) text += '-';
    const unsigned char byte = bytes[kOffsetInMemory[i]];
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text + '}';
}

KxWString KxGuid_ToText(const GUID& guid) {
  const std::string text = KxGuid_ToUtf8(guid);
  return KxWString(text.begin(), text.end());
}

std::optional<GUID> KxGuid_FromUtf8(std::string_view text) {
  if (text.size() == kTextLength + 2 && text.front() == '{' && text.back() == '}') text = text.substr(1, kTextLength);
  if (text.size() != kTextLength) return std::nullopt;

  unsigned char bytes[kBytes];
  for (size_t i = 0, at = 0; i < kBytes; ++i, at += 2) {
    if (HasDashBefore(i) && text[at++] != '-') return std::nullopt;
    const int high = HexValue(text[at]);
    const int low = HexValue(text[at + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes[kOffsetInMemory[i]] = static_cast<unsigned char>(high << 4 | low);
  }
  GUID guid;
  std::memcpy(&guid, bytes, kBytes);
  return guid;
}
