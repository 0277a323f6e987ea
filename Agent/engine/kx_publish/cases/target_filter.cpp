#include "Agent/engine/kx_publish/cases/target_filter.h"

#include <kx_util/match_str.h>

#include <algorithm>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/target_schema.h"

namespace {

using nlohmann::json;

/// What the schema says of the values there, behind references; null where it says nothing.
const json* Resolved(const json& root, const json* schema) {
  while (schema != nullptr && schema->contains("$ref")) {
    schema = &root.at(json::json_pointer(schema->at("$ref").get<std::string>().substr(1)));
  }
  return schema;
}

const json* Part(const json* schema, const char* key) {
  if (schema == nullptr) return nullptr;
  const auto part = schema->find(key);
  return part != schema->end() && part->is_object() ? &*part : nullptr;
}

/// Each member of `wanted` is one that `schema` knows.
void CheckMembers(const json& root, const json* schema, const json& wanted, const std::string& pointer) {
  schema = Resolved(root, schema);
  if (wanted.is_array()) {
    for (size_t i = 0; i < wanted.size(); ++i) {
      CheckMembers(root, Part(schema, "items"), wanted[i], KxJson_Pointer(pointer, i));
    }
    return;
  }
  if (!wanted.is_object()) {
    if (wanted.is_string()) KxJson_As<KxWString>(wanted, pointer);
    return;
  }
  const json* const properties = Part(schema, "properties");
  const json* const any = Part(schema, "additionalProperties");
  for (const auto& [key, value] : wanted.items()) {
    const std::string place = KxJson_Pointer(pointer, key);
    const bool isKnown = properties == nullptr || any != nullptr || properties->contains(key);
    if (!isKnown) throw CkxDocumentFault(place, "unknown key");
    CheckMembers(root, properties != nullptr && properties->contains(key) ? &(*properties)[key] : any, value, place);
  }
}

bool IsLike(const std::string& pattern, const std::string& text) {
  const bool hasPlaceholders = pattern.find_first_of("*?") != std::string::npos;
  const std::optional<KxWString> widePattern = KxText_FromUtf8(pattern);
  const std::optional<KxWString> wideText = KxText_FromUtf8(text);
  return widePattern && wideText &&
         KxUtil_MatchStr(*widePattern, *wideText, false,
                         hasPlaceholders ? EkxStrCompareAs::StrWildcard : EkxStrCompareAs::StrEquals);
}

bool Meets(const json& value, const json& wanted);

bool HasMembers(const json& value, const json& wanted) {
  for (const auto& member : wanted.get_ref<const json::object_t&>()) {
    const auto found = value.find(member.first);
    const bool isThere = found != value.end();
    if (member.second.is_null() ? isThere : !isThere || !Meets(*found, member.second)) return false;
  }
  return true;
}

bool HasElements(const json& value, const json& wanted) {
  return std::all_of(wanted.begin(), wanted.end(), [&](const json& element) {
    return std::any_of(value.begin(), value.end(), [&](const json& candidate) { return Meets(candidate, element); });
  });
}

bool Meets(const json& value, const json& wanted) {
  if (wanted.is_object()) return value.is_object() && HasMembers(value, wanted);
  if (wanted.is_array()) return value.is_array() && HasElements(value, wanted);
  if (!wanted.is_string()) return value == wanted;
  return value.is_string() && IsLike(wanted.get_ref<const std::string&>(), value.get_ref<const std::string&>());
}

}  // namespace

CkxTargetFilter::CkxTargetFilter(const json& wanted, const std::string& pointer) : _wanted(wanted) {
  if (!wanted.is_object() || wanted.empty()) throw CkxDocumentFault(pointer, "must be an object with members");
  const json schema = json::parse(KxTargetDocument_Schema());
  CheckMembers(schema, &schema, wanted, pointer);
}

bool CkxTargetFilter::Takes(const json& target) const { return Meets(target, _wanted); }
