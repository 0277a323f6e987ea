#include "Agent/engine/kx_publish/report/report_page.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "Agent/engine/kx_publish/report/report_parts.h"
#include "Common_CPP/crypto/hash.h"

namespace {

std::string Base64(const std::vector<unsigned char>& bytes) {
  static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t at = 0; at < bytes.size(); at += 3) {
    const size_t count = std::min<size_t>(3, bytes.size() - at);
    uint32_t group = 0;
    for (size_t i = 0; i < 3; ++i) group = group << 8 | (i < count ? bytes[at + i] : 0u);
    for (size_t i = 0; i < 4; ++i) text += i <= count ? kDigits[group >> (18 - 6 * i) & 0x3F] : '=';
  }
  return text;
}

/// As a content security policy names an element's text.
std::string SourceHash(std::string_view part) {
  const std::span bytes(reinterpret_cast<const unsigned char*>(part.data()), part.size());
  const std::optional<std::vector<unsigned char>> digest = KxHash_OfBytes(bytes, EkxHashAlgorithm::Sha256);
  if (!digest) throw std::runtime_error("SHA-256 is not available");
  return "'sha256-" + Base64(*digest) + "'";
}

/// As JSON that has no character by which a page's text could end an element, begin one, or end a line of a script.
/// All of them stand inside JSON's strings, where each has a form that means the same.
std::string Embedded(const nlohmann::ordered_json& data) {
  static constexpr std::pair<std::string_view, std::string_view> kForms[] = {
      {"<", "\\u003c"}, {">", "\\u003e"}, {"&", "\\u0026"}, {"\xE2\x80\xA8", "\\u2028"}, {"\xE2\x80\xA9", "\\u2029"}};
  const std::string json = data.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  std::string text;
  text.reserve(json.size() + json.size() / 16);
  for (size_t at = 0; at < json.size();) {
    const std::string_view rest = std::string_view(json).substr(at);
    const auto* const form = std::find_if(std::begin(kForms), std::end(kForms),
                                          [&](const auto& known) { return rest.starts_with(known.first); });
    text += form != std::end(kForms) ? form->second : rest.substr(0, 1);
    at += form != std::end(kForms) ? form->first.size() : 1;
  }
  return text;
}

}  // namespace

std::string KxReport_Page(const nlohmann::ordered_json& data) {
  const std::pair<std::string_view, std::string> places[] = {
      {"{{style hash}}", SourceHash(kKxReportCss)}, {"{{script hash}}", SourceHash(kKxReportJs)},
      {"{{style}}", std::string(kKxReportCss)},     {"{{data}}", Embedded(data)},
      {"{{script}}", std::string(kKxReportJs)},
  };
  std::string page;
  std::string_view rest = kKxReportHtml;  // what is put in is never looked through
  for (const auto& [place, text] : places) {
    const size_t at = rest.find(place);
    if (at == rest.npos) throw std::logic_error("the page has no place for " + std::string(place));
    page.append(rest.substr(0, at)).append(text);
    rest.remove_prefix(at + place.size());
  }
  return page.append(rest);
}
