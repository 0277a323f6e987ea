#include "Agent/engine/kx_publish/document/author_names.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/text.h"

namespace {

using nlohmann::json;

constexpr const char* kNamedPolicies = "policies";
constexpr const char* kNamedGroups = "applicationGroups";
constexpr const char* kNamedAlerts = "alerts";

template <class Model>
SkxAuthorName AuthorNameOf(const Model& model) {
  SkxAuthorName named = {"", model.source.document, model.source.pointer, {}};
  if constexpr (!std::is_same_v<Model, SkxPolicyModel>) named.name = KxText_ToUtf8(model.name);
  if constexpr (!std::is_same_v<Model, SkxAlertModel>) {
    for (const SkxTargetModel& target : model.targets) named.targets.push_back({target.id, KxText_ToUtf8(target.name)});
  }
  return named;
}

/// What was read from records has only the names that its reader gave it.
template <class Model, class Named>
void AddWritten(const std::vector<Model>& models, Named& named) {
  for (const Model& model : models) {
    if (!model.source.document.empty()) named.emplace(model.id, AuthorNameOf(model));
  }
}

GUID ReadId(const std::string& text, const std::string& pointer) {
  const std::optional<GUID> id = KxGuid_FromUtf8(text);
  if (!id) throw CkxDocumentFault(pointer, "must be a GUID");
  return *id;
}

uint32_t ReadPolicyId(const std::string& text, const std::string& pointer) {
  uint32_t id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  if (!isNumber || id == 0) throw CkxDocumentFault(pointer, "the key must be the id of a policy");
  return id;
}

SkxTargetName ReadTarget(const json& value, const std::string& pointer) {
  CkxJsonObject object(value, pointer);
  SkxTargetName target;
  target.id = ReadId(object.Required<std::string>("id"), object.PointerTo("id"));
  object.Optional("name", target.name);
  object.Finish();
  return target;
}

SkxAuthorName ReadName(const json& value, const std::string& pointer) {
  CkxJsonObject object(value, pointer);
  SkxAuthorName named;
  object.Optional("name", named.name);
  object.Optional("document", named.document);
  object.Optional("pointer", named.pointer);
  if (const json* const targets = object.Find("targets")) {
    const std::string place = object.PointerTo("targets");
    if (!targets->is_array()) throw CkxDocumentFault(place, "must be an array");
    for (size_t i = 0; i < targets->size(); ++i) {
      named.targets.push_back(ReadTarget((*targets)[i], KxJson_Pointer(place, i)));
    }
  }
  object.Finish();
  return named;
}

/// `readKey(text, pointer)` is what a key stands for; two for one thing are a fault.
template <class Named, class ReadKey>
void ReadNamed(CkxJsonObject& object, const char* key, Named& named, ReadKey readKey) {
  const json* const members = object.Find(key);
  if (members == nullptr) return;
  const std::string pointer = object.PointerTo(key);
  if (!members->is_object()) throw CkxDocumentFault(pointer, "must be an object");
  for (const auto& [text, value] : members->items()) {
    const std::string place = KxJson_Pointer(pointer, text);
    if (!named.emplace(readKey(text, place), ReadName(value, place)).second) {
      throw CkxDocumentFault(place, "another key stands for the same");
    }
  }
}

/// Nothing for the empty text. A path need not be UTF-8.
void AddMember(std::string& object, const char* key, const std::string& text) {
  if (text.empty()) return;
  object += (object.back() == '{' ? "\"" : ",\"") + std::string(key) + "\":";
  object += json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string AsJson(const SkxTargetName& target) {
  std::string object = "{";
  AddMember(object, "id", KxGuid_ToUtf8(target.id));
  AddMember(object, "name", target.name);
  return object + "}";
}

std::string AsJson(const SkxAuthorName& named) {
  std::string object = "{";
  AddMember(object, "name", named.name);
  AddMember(object, "document", named.document);
  AddMember(object, "pointer", named.pointer);
  const char* separator = object.back() == '{' ? "\"targets\":[" : ",\"targets\":[";
  for (const SkxTargetName& target : named.targets) {
    object += separator + AsJson(target);
    separator = ",";
  }
  return object + (named.targets.empty() ? "}" : "]}");
}

/// A line for each, as people look through it.
template <class Named, class KeyText>
void WriteNamed(std::string& text, const char* key, const Named& named, KeyText keyText) {
  if (named.empty()) return;
  text += (text.size() == 1 ? "\n  \"" : ",\n  \"") + std::string(key) + "\": {";
  const char* separator = "\n    ";
  for (const auto& [id, each] : named) {
    text += separator + json(keyText(id)).dump() + ": " + AsJson(each);
    separator = ",\n    ";
  }
  text += "\n  }";
}

template <class Named, class Key>
const SkxAuthorName* FindNamed(const Named& named, const Key& key) {
  const auto found = named.find(key);
  return found != named.end() ? &found->second : nullptr;
}

/// The name as a document could say it. An id in place of a name would be taken for that of something else.
std::optional<KxWString> UsableName(const std::string& name) {
  const bool isUsable = !name.empty() && name.find('\0') == std::string::npos && !KxGuid_FromUtf8(name);
  return isUsable ? KxText_FromUtf8(name) : std::nullopt;
}

template <class Model>
void GiveName(const SkxAuthorName* named, Model& model) {
  if (named == nullptr) return;
  if (const std::optional<KxWString> name = UsableName(named->name)) model.name = *name;
}

/// By their ids and places: several targets may have one id.
void GiveTargetNames(const SkxAuthorName* named, std::vector<SkxTargetModel>& targets) {
  if (named == nullptr) return;
  for (size_t i = 0; i < std::min(targets.size(), named->targets.size()); ++i) {
    const SkxTargetName& target = named->targets[i];
    const std::optional<KxWString> name = UsableName(target.name);
    if (name && KxGuid_Equal(target.id, targets[i].id)) targets[i].name = *name;
  }
}

}  // namespace

CkxAuthorNames::CkxAuthorNames(const SkxPublication& publication) {
  AddWritten(publication.policies, _policies);
  AddWritten(publication.groups, _groups);
  AddWritten(publication.alerts, _alerts);
  IndexGroupTargets();
}

CkxAuthorNames CkxAuthorNames::Parse(const std::string& text) {
  if (text.empty()) throw CkxDocumentFault("", "is empty, or cannot be read");
  const CkxJsonDocument document(text, false);
  CkxJsonObject object(document.Root(), "");
  CkxAuthorNames names;
  ReadNamed(object, kNamedPolicies, names._policies, ReadPolicyId);
  ReadNamed(object, kNamedGroups, names._groups, ReadId);
  ReadNamed(object, kNamedAlerts, names._alerts, ReadId);
  object.Finish();
  names.IndexGroupTargets();
  return names;
}

std::string CkxAuthorNames::Write() const {
  std::string text = "{";
  WriteNamed(text, kNamedPolicies, _policies, [](uint32_t id) { return std::to_string(id); });
  WriteNamed(text, kNamedGroups, _groups, KxGuid_ToUtf8);
  WriteNamed(text, kNamedAlerts, _alerts, KxGuid_ToUtf8);
  return text + "\n}\n";
}

const SkxAuthorName* CkxAuthorNames::Policy(uint32_t id) const { return FindNamed(_policies, id); }
const SkxAuthorName* CkxAuthorNames::Group(const GUID& id) const { return FindNamed(_groups, id); }
const SkxAuthorName* CkxAuthorNames::Alert(const GUID& id) const { return FindNamed(_alerts, id); }

void CkxAuthorNames::GiveTo(SkxPolicyModel& policy) const { GiveTargetNames(Policy(policy.id), policy.targets); }

void CkxAuthorNames::GiveTo(SkxAppGroupModel& group) const {
  const SkxAuthorName* const named = Group(group.id);
  GiveName(named, group);
  GiveTargetNames(named, group.targets);
}

void CkxAuthorNames::GiveTo(SkxAlertModel& alert) const { GiveName(Alert(alert.id), alert); }

std::optional<SkxTargetPlace> CkxAuthorNames::Target(uint32_t policy, const GUID& id) const {
  std::vector<SkxTargetPlace> found;
  if (const SkxAuthorName* const owner = Policy(policy)) {
    for (size_t i = 0; i < owner->targets.size(); ++i) {
      if (KxGuid_Equal(owner->targets[i].id, id)) found.push_back({owner, nullptr, i});
    }
  }
  if (const auto ofGroups = _groupTargets.find(id); ofGroups != _groupTargets.end()) {
    found.insert(found.end(), ofGroups->second.begin(), ofGroups->second.end());
  }
  return found.size() == 1 ? std::optional(found.front()) : std::nullopt;
}

void CkxAuthorNames::IndexGroupTargets() {
  for (const auto& [unused, group] : _groups) {
    for (size_t i = 0; i < group.targets.size(); ++i) {
      _groupTargets[group.targets[i].id].push_back({&group, &group, i});
    }
  }
}
