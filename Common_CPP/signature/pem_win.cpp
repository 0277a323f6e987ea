#include "Common_CPP/signature/pem_win.h"

namespace {

/// What stands before `mark`; `text` goes on behind that. Nothing without one.
std::optional<std::string_view> Until(std::string_view& text, std::string_view mark) {
  const size_t at = text.find(mark);
  if (at == text.npos) return std::nullopt;
  const std::string_view before = text.substr(0, at);
  text.remove_prefix(at + mark.size());
  return before;
}

}  // namespace

std::optional<SkxPemBlock> KxPem_Next(std::string_view& text) {
  if (!Until(text, "-----BEGIN ")) return std::nullopt;
  const std::optional<std::string_view> label = Until(text, "-----");
  const std::optional<std::string_view> body = Until(text, "-----END ");
  if (!label || !body) return std::nullopt;
  return SkxPemBlock{*label, *body};
}

std::string_view KxPem_Text(std::span<const unsigned char> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
