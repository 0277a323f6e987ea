#include "Agent/engine/kx_publish/document/schema_text.h"

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kColumns = 120;

std::string OnOneLine(const Json& json) {
  if (!json.is_structured()) return json.dump();
  std::string text;
  for (const auto& [key, value] : json.items()) {
    if (!text.empty()) text += ", ";
    if (json.is_object()) text += Json(key).dump() + ": ";
    text += OnOneLine(value);
  }
  return json.is_object() ? "{" + text + "}" : "[" + text + "]";
}

/// `json`, which begins at `column` of a line that is indented by `indent`: on that line if it fits.
std::string Rendered(const Json& json, size_t indent, size_t column) {
  std::string line = OnOneLine(json);
  if (!json.is_structured() || json.empty() || column + line.size() < kColumns) return line;
  const std::string inner(indent + 2, ' ');
  std::string text;
  for (const auto& [key, value] : json.items()) {
    const std::string name = json.is_object() ? Json(key).dump() + ": " : "";
    text.append(text.empty() ? "\n" : ",\n").append(inner).append(name);
    text += Rendered(value, inner.size(), inner.size() + name.size());
  }
  text += "\n" + std::string(indent, ' ');
  return json.is_object() ? "{" + text + "}" : "[" + text + "]";
}

}  // namespace

std::string KxSchema_Text(const Json& schema) { return Rendered(schema, 0, 0) + "\n"; }
