#include "tools/kxpolicy/check_places.h"

#include <charconv>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/security/sid.h"

namespace {

using nlohmann::json;

/// The file of a section in an image, and the list of a document that is compiled to it.
struct SectionNames {
  const char* file;
  const char* key;
};

SectionNames NamesOf(EkxPolicySection section) {
  switch (section) {
    case EkxPolicySection::Policies:
      return {"policies.sec", "policies"};
    case EkxPolicySection::AppGroups:
      return {"appgroups.sec", "applicationGroups"};
    case EkxPolicySection::Alerts:
      break;
  }
  return {"alerts.sec", "alerts"};
}

std::optional<size_t> AsIndex(std::string_view text) {
  size_t index = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return index;
}

/// Steps from `value` to its part and extends `pointer` by the step; false when it has no such part. A list may be
/// written as an object whose keys name its elements.
bool Step(const json*& value, std::string_view part, std::string& pointer) {
  const std::optional<size_t> index = AsIndex(part);
  if (value->is_array() && index && *index < value->size()) {
    value = &(*value)[*index];
    pointer = KxJson_Pointer(pointer, *index);
    return true;
  }
  if (!value->is_object()) return false;
  auto found = value->find(part);
  if (found == value->end() && index && *index < value->size()) {
    found = std::next(value->begin(), static_cast<json::difference_type>(*index));
  }
  if (found == value->end()) return false;
  pointer = KxJson_Pointer(pointer, found.key());
  value = &*found;
  return true;
}

/// `visit(part)` for each part of a path or a pointer between slashes, for as long as it returns true.
template <class Visit>
void ForParts(std::string_view path, Visit visit) {
  while (!path.empty()) {
    const size_t end = std::min(path.find('/'), path.size());
    if (end != 0 && !visit(path.substr(0, end))) return;
    path.remove_prefix(std::min(end + 1, path.size()));
  }
}

}  // namespace

SkxCheckPlace KxCheckPlace_InImage(const std::string& image, const SkxFinding& finding) {
  return {image + "/" + NamesOf(finding.section).file, finding.offset, std::nullopt};
}

SkxCheckPlace CkxCheckedDocuments::PlaceOf(const SkxDocumentError& fault) const {
  for (const Document& document : _documents) {
    if (document.name == fault.document) return PlaceIn(document, fault.pointer);
  }
  return {fault.document, std::nullopt, fault.pointer};
}

SkxCheckPlace CkxCheckedDocuments::PlaceOf(const SkxFinding& finding) const {
  const std::string key = NamesOf(finding.section).key;
  size_t index = finding.record;
  for (const Document& document : _documents) {
    const auto list = document.json.find(key);
    const size_t count = list != document.json.end() ? list->size() : 0;
    if (index >= count) {
      index -= count;
      continue;
    }
    std::string pointer = KxJson_Pointer(KxJson_Pointer("", key), index);
    const json* value = &(*list)[index];
    ForParts(finding.path, [&](std::string_view part) { return Step(value, part, pointer); });
    return PlaceIn(document, pointer);
  }
  return {_documents.empty() ? "" : _documents.front().name, std::nullopt, ""};
}

SkxCheckPlace CkxCheckedDocuments::PlaceOfUser(const std::string& sid) const {
  const auto isIt = [&](const json& text) {
    const std::optional<CkxSid> named =
        text.is_string() ? CkxSid::FromUtf8(text.get_ref<const std::string&>()) : std::nullopt;
    return named && named->ToUtf8() == sid;
  };
  const auto isOfUsers = [](const std::string& pointer) {
    return pointer.starts_with("/userGroups/") || pointer.find("/users/") != std::string::npos ||
           pointer.find("/notUsers/") != std::string::npos;
  };
  for (const Document& document : _documents) {
    if (const auto rows = document.json.find("applicable"); rows != document.json.end() && rows->is_object()) {
      for (const auto& [key, unused] : rows->items()) {
        if (isIt(key)) return PlaceIn(document, KxJson_Pointer("/applicable", key));
      }
    }
    const json flat = document.json.flatten();
    for (const auto& [pointer, value] : flat.items()) {
      if (isOfUsers(pointer) && isIt(value)) return PlaceIn(document, pointer);
    }
  }
  return {_documents.empty() ? "" : _documents.front().name, std::nullopt, ""};
}

void CkxCheckedDocuments::NamePolicy(const std::string& document, const std::string& pointer,
                                     SkxFinding& finding) const {
  for (const Document& candidate : _documents) {
    if (candidate.name != document) continue;
    const json* value = &candidate.json;
    std::string place;
    ForParts(pointer, [&](std::string_view part) { return Step(value, part, place) && AsIndex(part) == std::nullopt; });
    if (!place.starts_with("/policies/") || !value->is_object()) return;
    const auto id = value->find("id");
    const auto name = value->find("name");
    const bool hasId = id != value->end() && id->is_number_unsigned() && id->get<uint64_t>() <= UINT32_MAX;
    if (hasId) finding.policyId = id->get<uint32_t>();
    if (name != value->end() && name->is_string()) finding.policyName = name->get<std::string>();
    return;
  }
}
