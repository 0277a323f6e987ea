#include "Common_CPP/security/sid.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "Common_CPP/util/byte_cursor.h"

namespace {

constexpr unsigned char kRevision = 1;
constexpr size_t kCountOffset = 1;
constexpr size_t kAuthorityOffset = 2;
constexpr size_t kAuthorityBytes = 6;
constexpr uint64_t kMaxAuthority = (uint64_t{1} << 48) - 1;
constexpr uint64_t kMaxSubAuthority = UINT32_MAX;

uint64_t Authority(const unsigned char* sid) {
  uint64_t authority = 0;
  for (size_t i = 0; i < kAuthorityBytes; ++i) authority = authority << 8 | sid[kAuthorityOffset + i];
  return authority;
}

std::string AuthorityText(uint64_t authority) {
  if (authority <= UINT32_MAX) return std::to_string(authority);
  char digits[2 * kAuthorityBytes];
  const char* const end = std::to_chars(std::begin(digits), std::end(digits), authority, 16).ptr;
  const auto count = static_cast<size_t>(end - digits);
  return "0x" + std::string(sizeof(digits) - count, '0') + std::string(digits, count);
}

/// Takes "-" and a number of at most `max` off the front of `text`.
bool TakeNumber(std::string_view& text, uint64_t max, bool mayBeHex, uint64_t& number) {
  if (text.empty() || text.front() != '-') return false;
  text.remove_prefix(1);
  const bool isHex = mayBeHex && (text.starts_with("0x") || text.starts_with("0X"));
  if (isHex) text.remove_prefix(2);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, isHex ? 16 : 10);
  if (error != std::errc() || number > max) return false;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return true;
}

}  // namespace

CkxSid CkxSid::Null() {
  constexpr unsigned char kNull[kHeaderBytes + 4] = {kRevision, 1};
  return FromBytes(kNull, sizeof(kNull));
}

CkxSid CkxSid::FromBytes(const void* bytes, size_t count) {
  CkxSid sid;
  if (bytes == nullptr || count < kHeaderBytes) return sid;
  const auto* const from = static_cast<const unsigned char*>(bytes);
  const size_t subAuthorities = from[kCountOffset];
  const size_t size = kHeaderBytes + 4 * subAuthorities;
  const bool isValid =
      from[0] == kRevision && subAuthorities >= 1 && subAuthorities <= kMaxSubAuthorities && size <= count;
  if (!isValid) return sid;
  std::memcpy(sid._bytes.data(), from, size);
  sid._size = size;
  return sid;
}

std::optional<CkxSid> CkxSid::FromUtf8(std::string_view text) {
  if (!text.starts_with("S-") && !text.starts_with("s-")) return std::nullopt;
  text.remove_prefix(1);
  uint64_t revision = 0;
  uint64_t authority = 0;
  if (!TakeNumber(text, kRevision, false, revision) || revision != kRevision) return std::nullopt;
  if (!TakeNumber(text, kMaxAuthority, true, authority)) return std::nullopt;

  CkxSid sid;
  sid._bytes[0] = kRevision;
  for (size_t i = 0; i < kAuthorityBytes; ++i) {
    sid._bytes[kAuthorityOffset + i] = static_cast<unsigned char>(authority >> (8 * (kAuthorityBytes - 1 - i)));
  }
  size_t size = kHeaderBytes;
  for (uint64_t number = 0; !text.empty(); size += 4) {
    if (size == kMaxBytes || !TakeNumber(text, kMaxSubAuthority, false, number)) return std::nullopt;
    const auto subAuthority = static_cast<uint32_t>(number);
    std::memcpy(sid._bytes.data() + size, &subAuthority, sizeof(subAuthority));
    ++sid._bytes[kCountOffset];
  }
  if (size == kHeaderBytes) return std::nullopt;
  sid._size = size;
  return sid;
}

bool CkxSid::Equals(const CkxSid& other) const {
  return IsValid() && _size == other._size && std::equal(_bytes.begin(), _bytes.begin() + _size, other._bytes.begin());
}

std::string CkxSid::ToUtf8() const {
  if (!IsValid()) return {};
  std::string text = "S-1-" + AuthorityText(Authority(Bytes()));
  for (size_t at = kHeaderBytes; at < _size; at += 4) {
    text.append("-").append(std::to_string(KxBytes_Load<uint32_t>(Bytes() + at)));
  }
  return text;
}

KxWString CkxSid::ToText() const {
  const std::string text = ToUtf8();
  return KxWString(text.begin(), text.end());
}
