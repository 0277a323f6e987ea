#include "Agent/engine/kx_util/target/zone_identifier.h"

#include <algorithm>

namespace {

constexpr std::string_view kZoneSection = "[ZoneTransfer]";
constexpr std::string_view kZoneKey = "ZoneId";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

std::string_view WithoutBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool IsSame(std::string_view a, std::string_view b) {
  const auto small = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return small(x) == small(y); });
}

std::optional<uint32_t> ZoneOf(std::string_view value) {
  const bool isZone = value.size() == 1 && value[0] >= '0' && value[0] <= '4';
  return isZone ? std::optional(static_cast<uint32_t>(value[0] - '0')) : std::nullopt;
}

/// Takes the first line, without its end.
std::string_view TakeLine(std::string_view& text) {
  const size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return WithoutBlanks(line);
}

}  // namespace

KxWString KxZoneIdentifier_PathOf(CkxTextView path) { return path.ToString() + KXW(":Zone.Identifier"); }

std::optional<uint32_t> KxZoneIdentifier_Read(std::string_view text) {
  if (text.starts_with(kUtf8Mark)) text.remove_prefix(kUtf8Mark.size());
  bool isInSection = false;
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    if (line.starts_with('[')) {
      if (isInSection) return std::nullopt;
      isInSection = IsSame(line, kZoneSection);
      continue;
    }
    const size_t equals = line.find('=');
    const bool isKey = equals != std::string_view::npos && IsSame(WithoutBlanks(line.substr(0, equals)), kZoneKey);
    if (isInSection && isKey) return ZoneOf(WithoutBlanks(line.substr(equals + 1)));
  }
  return std::nullopt;
}
