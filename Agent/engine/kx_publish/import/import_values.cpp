#include "Agent/engine/kx_publish/import/import_values.h"

#include <charconv>

#include "Common_CPP/util/text.h"

std::optional<uint64_t> KxImportValue_Version(CkxTextView text) {
  const std::string version = KxText_ToUtf8(text);
  const char* at = version.data();
  const char* const end = at + version.size();
  uint64_t value = 0;
  int parts = 0;
  for (bool isLast = false; !isLast; ++parts) {
    uint16_t number = 0;
    const auto [next, error] = std::from_chars(at, end, number);
    if (error != std::errc() || parts == 4) return std::nullopt;
    value = value << 16 | number;
    isLast = next == end;
    if (!isLast && *next != '.') return std::nullopt;
    at = next + 1;
  }
  return value << 16 * (4 - parts);
}

std::optional<KxWString> KxImportValue_Hex(CkxTextView text, size_t digits) {
  if (text.Size() != digits) return std::nullopt;
  KxWString hex = text.ToString();
  for (WCHAR& digit : hex) {
    digit = KxText_Fold(digit);
    const bool isDigit = (digit >= KXW('0') && digit <= KXW('9')) || (digit >= KXW('A') && digit <= KXW('F'));
    if (!isDigit) return std::nullopt;
  }
  return hex;
}

std::optional<KxWString> KxImportValue_NamePart(CkxTextView distinguishedName, CkxTextView attribute) {
  const KxWString name = distinguishedName.ToString();
  std::optional<KxWString> found;
  for (size_t at = 0; at < name.size();) {
    const size_t equals = name.find(KXW('='), at);
    if (equals == KxWString::npos) return std::nullopt;
    const CkxTextView key = KxText_Trim(CkxTextView(name).Part(at, equals - at));
    KxWString value;
    bool isQuoted = false;
    for (at = equals + 1; at < name.size() && (isQuoted || name[at] != KXW(',')); ++at) {
      const bool isPair = isQuoted && name[at] == KXW('"') && at + 1 < name.size() && name[at + 1] == KXW('"');
      if (isPair)
        value += name[at++];
      else if (name[at] == KXW('"'))
        isQuoted = !isQuoted;
      else
        value += name[at];
    }
    if (isQuoted) return std::nullopt;
    ++at;
    if (KxText_Equals(key, attribute, false) && !found) found = KxText_Trim(value).ToString();
  }
  return found && !found->empty() ? found : std::nullopt;
}
