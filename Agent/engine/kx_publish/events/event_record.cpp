#include "Agent/engine/kx_publish/events/event_record.h"

#include <algorithm>
#include <charconv>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/text.h"

namespace {

using nlohmann::json;

constexpr const char* kNumberNames[] = {
    "winlog.event_id", "event_id", "Event.System.EventID", "System.EventID", "EventID", "EventId", "event.code"};
constexpr const char* kSourceNames[] = {
    "winlog.provider_name", "winlog.channel",  "event.provider", "Event.System.Provider",
    "Event.System.Channel", "System.Provider", "System.Channel", "Provider",
    "ProviderName",         "SourceName",      "Channel"};

// How an element with attributes reads: its attributes, inside an object of their own or beside the text.
constexpr const char* kAttributesMember = "#attributes";
constexpr const char* kNameAttributes[] = {"@Name", "Name"};
constexpr const char* kTextMembers[] = {"#text", "Text", "Value"};

SkxEventValue Member(const SkxEventValue& object, const std::string& key) {
  if (object.json == nullptr || !object.json->is_object()) return {};
  const auto found = object.json->find(key);
  if (found == object.json->end()) return {};
  return {&*found, KxJson_Pointer(object.pointer, key)};
}

template <size_t count>
SkxEventValue FirstMember(const SkxEventValue& object, const char* const (&keys)[count]) {
  for (const char* const key : keys) {
    SkxEventValue found = Member(object, key);
    if (found.json != nullptr) return found;
  }
  return {};
}

/// The name that an element has as an attribute.
SkxEventValue NameOf(const SkxEventValue& element) {
  SkxEventValue name = FirstMember(Member(element, kAttributesMember), kNameAttributes);
  return name.json != nullptr ? name : FirstMember(element, kNameAttributes);
}

bool IsNothing(const json& value) {
  if (value.is_null() || (value.is_object() && value.empty())) return true;
  const auto* const text = value.get_ptr<const std::string*>();
  return text != nullptr && (text->empty() || *text == "-" || *text == "?");
}

bool IsAttribute(const std::string& key) { return key.starts_with('#') || key.starts_with('@'); }

/// [{"@Name": "Image", "#text": "…"}] as {"Image": "…"}.
json ObjectOf(const SkxEventValue& list) {
  json object = json::object();
  for (size_t i = 0; i < list.json->size(); ++i) {
    const SkxEventValue element{&(*list.json)[i], KxJson_Pointer(list.pointer, i)};
    const SkxEventValue name = NameOf(element);
    if (name.json == nullptr) continue;  // data without a name is no field
    const SkxEventValue text = FirstMember(element, kTextMembers);
    const auto key = KxJson_As<std::string>(*name.json, name.pointer);
    if (!object.emplace(key, text.json != nullptr ? *text.json : json()).second) {
      throw CkxDocumentFault(element.pointer, "the field is there twice");
    }
  }
  return object;
}

}  // namespace

CkxEventRecord::CkxEventRecord(const json& event) : _event(event) {
  if (!event.is_object()) throw CkxDocumentFault("", "must be an object");
  const SkxEventValue top{&_event, ""};
  const SkxEventValue collected = Member(top, "winlog");
  for (const SkxEventValue& parent : {collected, top}) {
    for (const char* const key : {"event_data", "user_data"}) AddEventData(Member(parent, key));
  }
  for (const SkxEventValue& parent : {Member(top, "Event"), top}) {
    if (parent.json != nullptr) AddFieldsOf(*parent.json, parent.pointer);
  }
  AddPayload(Member(top, "Payload"));
  _fields.push_back(top);
}

void CkxEventRecord::AddFieldsOf(const json& parent, const std::string& pointer) {
  AddEventData(Member({&parent, pointer}, "EventData"));
  AddUserData(Member({&parent, pointer}, "UserData"));
}

void CkxEventRecord::AddEventData(const SkxEventValue& data) {
  if (data.json == nullptr || !data.json->is_object()) return;
  _fields.push_back(data);
  const SkxEventValue list = Member(data, "Data");
  if (list.json == nullptr || !list.json->is_array()) return;
  _made.push_back(ObjectOf(list));
  _fields.push_back({&_made.back(), list.pointer});
}

void CkxEventRecord::AddUserData(const SkxEventValue& data) {
  if (data.json == nullptr || !data.json->is_object()) return;
  for (const auto& [key, value] : data.json->items()) {
    if (!IsAttribute(key)) AddEventData({&value, KxJson_Pointer(data.pointer, key)});
  }
}

void CkxEventRecord::AddPayload(const SkxEventValue& text) {
  if (text.json == nullptr || !text.json->is_string()) return;
  try {
    _made.push_back(KxJson_Parse(text.json->get_ref<const std::string&>(), false));
  } catch (const CkxDocumentFault& fault) {
    throw CkxDocumentFault(text.pointer, fault.Line());
  }
  AddFieldsOf(_made.back(), text.pointer);
}

SkxEventValue CkxEventRecord::FindOne(const std::string& name) const {
  if (name.find('.') == std::string::npos) {
    for (const SkxEventValue& object : _fields) {
      SkxEventValue found = Member(object, name);
      if (found.json != nullptr && !IsNothing(*found.json)) return found;
    }
    return {};
  }
  SkxEventValue found{&_event, ""};
  for (size_t begin = 0; begin <= name.size();) {
    const size_t end = std::min(name.find('.', begin), name.size());
    found = Member(found, name.substr(begin, end - begin));
    begin = end + 1;
  }
  return found.json != nullptr && !IsNothing(*found.json) ? found : SkxEventValue{};
}

SkxEventValue CkxEventRecord::Find(std::span<const char* const> names) const {
  for (const char* const name : names) {
    if (name == nullptr) break;
    SkxEventValue found = FindOne(name);
    if (found.json != nullptr) return found;
  }
  return {};
}

uint32_t CkxEventRecord::Number() const {
  SkxEventValue number = Find(kNumberNames);
  if (number.json == nullptr) throw CkxDocumentFault("", "has no number of an event");
  if (number.json->is_object()) number = FirstMember(number, kTextMembers);  // beside attributes
  if (number.json == nullptr) throw CkxDocumentFault("", "has no number of an event");
  if (!number.json->is_string()) return KxJson_As<uint32_t>(*number.json, number.pointer);
  const auto text = KxJson_As<std::string>(*number.json, number.pointer);
  uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw CkxDocumentFault(number.pointer, "is no number of an event");
  }
  return value;
}

bool CkxEventRecord::IsFrom(const char* word) const {
  const KxWString part = KxText_FromUtf8(word).value_or(KxWString());
  bool isAnyNamed = false;
  for (const char* const name : kSourceNames) {
    SkxEventValue source = FindOne(name);
    if (source.json != nullptr && source.json->is_object()) source = NameOf(source);
    if (source.json == nullptr) continue;
    isAnyNamed = true;
    if (KxText_Find(KxJson_As<KxWString>(*source.json, source.pointer), part, false) != CkxTextView::npos) return true;
  }
  return !isAnyNamed;
}
