#include "Agent/engine/kx_publish/decision/json_text.h"

#include <charconv>
#include <nlohmann/json.hpp>

namespace {

bool NeedsEscape(char unit) { return static_cast<unsigned char>(unit) < 0x20 || unit == '"' || unit == '\\'; }

void AddEscaped(std::string& json, char unit) {
  static constexpr std::string_view kUnits = "\"\\\b\f\n\r\t";
  static constexpr std::string_view kLetters = "\"\\bfnrt";
  json += '\\';
  if (const size_t known = kUnits.find(unit); known != kUnits.npos) {
    json += kLetters[known];
    return;
  }
  static constexpr char kDigits[] = "0123456789abcdef";
  json += "u00";
  json += kDigits[unit >> 4];
  json += kDigits[unit & 0xF];
}

}  // namespace

void KxJsonText_AddKey(std::string& json, std::string_view name) {
  json += ",\"";
  json += name;
  json += "\":";
}

void KxJsonText_AddText(std::string& json, std::string_view utf8) {
  json += '"';
  size_t written = 0;
  for (size_t at = 0; at < utf8.size(); ++at) {
    if (!NeedsEscape(utf8[at])) continue;
    json += utf8.substr(written, at - written);
    AddEscaped(json, utf8[at]);
    written = at + 1;
  }
  json += utf8.substr(written);
  json += '"';
}

void KxJsonText_AddAnyText(std::string& json, const std::string& text) {
  json += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void KxJsonText_AddNumber(std::string& json, int64_t number) {
  char digits[20];  // as many as the smallest number has, with its sign
  json.append(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
}

void KxJsonText_AddBool(std::string& json, bool value) { json += value ? "true" : "false"; }
