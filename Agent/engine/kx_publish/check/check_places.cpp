#include "Agent/engine/kx_publish/check/check_places.h"

#include <charconv>
#include <nlohmann/json.hpp>

#include "Common_CPP/security/sid.h"

namespace {

using nlohmann::json;

/// The file of a section in an image, and the list of a document that is compiled to it.
struct SectionNames {
  const char* file;
  const char* key;
};

SectionNames SectionNamesOf(EkxPolicySection section) {
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

std::optional<size_t> ElementIndex(std::string_view text) {
  size_t index = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return index;
}

/// Steps from `value` to its part and extends `pointer` by the step; false when it has no such part. A list may be
/// written as an object whose keys name its elements.
bool StepInto(const json*& value, std::string_view part, std::string& pointer) {
  const std::optional<size_t> index = ElementIndex(part);
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
void ForPlaceParts(std::string_view path, Visit visit) {
  while (!path.empty()) {
    const size_t end = std::min(path.find('/'), path.size());
    if (end != 0 && !visit(path.substr(0, end))) return;
    path.remove_prefix(std::min(end + 1, path.size()));
  }
}

bool IsSidText(std::string_view text, const std::string& sid) {
  const std::optional<CkxSid> named = CkxSid::FromUtf8(std::string(text));
  return named && named->ToUtf8() == sid;
}

/// The first text below `value`, which `pointer` leads to, that is the SID among users.
std::optional<std::string> UserPointerBelow(const json& value, const std::string& pointer, const std::string& sid) {
  if (value.is_string()) {
    const bool isOfUsers = pointer.starts_with("/userGroups/") || pointer.find("/users/") != std::string::npos ||
                           pointer.find("/notUsers/") != std::string::npos;
    return isOfUsers && IsSidText(value.get_ref<const std::string&>(), sid) ? std::optional(pointer) : std::nullopt;
  }
  size_t index = 0;
  for (auto part = value.begin(); value.is_structured() && part != value.end(); ++part) {
    const std::string place =
        value.is_object() ? KxJson_Pointer(pointer, part.key()) : KxJson_Pointer(pointer, index++);
    if (std::optional<std::string> found = UserPointerBelow(*part, place, sid)) return found;
  }
  return std::nullopt;
}

std::optional<std::string> UserPointer(const json& document, const std::string& sid) {
  if (const auto rows = document.find("applicable"); rows != document.end() && rows->is_object()) {
    for (auto row = rows->begin(); row != rows->end(); ++row) {
      if (IsSidText(row.key(), sid)) return KxJson_Pointer("/applicable", row.key());
    }
  }
  return UserPointerBelow(document, "", sid);
}

}  // namespace

SkxCheckPlace KxCheckPlace_InImage(const std::string& image, const SkxFinding& finding) {
  return {image + "/" + SectionNamesOf(finding.section).file, finding.offset, std::nullopt};
}

SkxCheckPlace CkxCheckedDocuments::PlaceOf(const SkxDocumentError& fault) const {
  for (const Document& document : _documents) {
    if (document.name == fault.document) return PlaceIn(document, fault.pointer);
  }
  return {fault.document, std::nullopt, fault.pointer};
}

SkxCheckPlace CkxCheckedDocuments::PlaceOf(const SkxFinding& finding) const {
  const std::string key = SectionNamesOf(finding.section).key;
  size_t index = finding.record;
  for (const Document& document : _documents) {
    const json& root = document.json.Root();
    const auto list = root.find(key);
    const size_t count = list != root.end() ? list->size() : 0;
    if (index >= count) {
      index -= count;
      continue;
    }
    std::string pointer = KxJson_Pointer(KxJson_Pointer("", key), index);
    const json* value = &(*list)[index];
    ForPlaceParts(finding.path, [&](std::string_view part) { return StepInto(value, part, pointer); });
    return PlaceIn(document, pointer);
  }
  return {_documents.empty() ? "" : _documents.front().name, std::nullopt, ""};
}

SkxCheckPlace CkxCheckedDocuments::PlaceOfUser(const std::string& sid) const {
  for (const Document& document : _documents) {
    const std::optional<std::string> pointer = UserPointer(document.json.Root(), sid);
    if (pointer) return PlaceIn(document, *pointer);
  }
  return {_documents.empty() ? "" : _documents.front().name, std::nullopt, ""};
}

void CkxCheckedDocuments::NamePolicy(const SkxDocumentError& fault, SkxCheckFinding& finding) const {
  for (const Document& candidate : _documents) {
    if (candidate.name != fault.document) continue;
    const json* value = &candidate.json.Root();
    std::string place;
    ForPlaceParts(fault.pointer, [&](std::string_view part) {
      return StepInto(value, part, place) && ElementIndex(part) == std::nullopt;
    });
    if (!place.starts_with("/policies/") || !value->is_object()) return;
    const auto id = value->find("id");
    const auto name = value->find("name");
    const bool hasId = id != value->end() && id->is_number_unsigned() && id->get<uint64_t>() <= UINT32_MAX;
    if (hasId) finding.policyId = id->get<uint32_t>();
    if (name != value->end() && name->is_string()) finding.policyName = name->get<std::string>();
    return;
  }
}
