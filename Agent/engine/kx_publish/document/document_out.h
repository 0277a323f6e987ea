// One object of a policy document, being written: the other `io` of the tables of policy_fields.h. What is at its
// default is left out. Since the tables serve reading too they take the model by reference; nothing here changes it.
// A text that JSON cannot carry, being no well-formed UTF-16, is a `CkxDocumentFault`.
#pragma once

#include <nlohmann/json.hpp>
#include <span>

#include "Agent/engine/kx_publish/document/document_names.h"
#include "Agent/engine/kx_publish/document/policy_fields.h"

class CkxDocumentOut {
 public:
  using Json = nlohmann::ordered_json;

  explicit CkxDocumentOut(const SkxDocumentNames& names) : _names(names) {}

  /// The whole of `value`, as its shorthand when it has one.
  template <class Value>
  static Json WriteWhole(Value& value, const SkxDocumentNames& names) {
    CkxDocumentOut out(names);
    KxFields(out, value);
    return Shortened(std::move(out._json), kKxShorthand<Value>);
  }

  template <class Value>
  void Required(const char* key, Value& value) {
    _json[key] = Written(value);
  }
  template <class Value>
  void Field(const char* key, Value& value, const Value& byDefault) {
    if (value != byDefault) Required(key, value);
  }
  template <class Value>
  void Always(const char* key, Value& value) {
    Required(key, value);
  }
  void Name(const char* key, KxWString& text) { Required(key, text); }

  template <class Value>
  void Property(const char* key, std::optional<Value>& property) {
    if (property.has_value()) Required(key, *property);
  }
  template <class Value>
  void List(const char* key, std::vector<Value>& list) {
    if (!list.empty()) Required(key, list);
  }

  using CodeNames = std::span<const SkxCodeName>;
  template <class Code>
  void Coded(const char* key, Code& code, CodeNames names) {
    const char* name = nullptr;
    for (const SkxCodeName& known : names) {
      if (known.code == code) name = known.name;
    }
    _json[key] = name != nullptr ? Json(name) : Json(code);
  }
  template <class Code>
  void Coded(const char* key, Code& code, CodeNames names, Code byDefault) {
    if (code != byDefault) Coded(key, code, names);
  }

  void LocationTypes(const char* key, KxWString& types);
  void Version(const char* key, uint64_t& version, uint16_t wildcardPart);
  void FileNameAndHash(std::optional<SkxFileNameTest>& test);
  void ClassId(const char* key, std::optional<SkxTextTest>& test);
  void AccessMask(const char* key, uint32_t& mask);
  void AdminTask(const char* key, uint32_t& task);
  void Group(const char* key, GUID& id);
  void Alert(const char* typeKey, const char* idKey, SkxAlertLinkModel& link);
  void DerivedId(const char* key, GUID& id, const std::string& place);
  void Kind(const char* key, SkxPolicyModel& policy);
  void Kind(const char* key, SkxAlertBody& body);
  void Targets(const char* key, std::vector<SkxTargetModel>& targets, const std::string& owner);

 private:
  static std::string Utf8(CkxTextView text);

  template <size_t count>
  static Json Shortened(Json object, const std::array<const char*, count>& keys) {
    if (count == 0 || object.size() != count) return object;
    for (const char* const key : keys) {
      if (!object.contains(key) || object[key] != object.front()) return object;
    }
    return object.front();
  }

  template <class Value>
  Json Written(Value& value) const {
    if constexpr (std::is_arithmetic_v<Value>) {
      return value;
    } else {
      return WriteWhole(value, _names);
    }
  }
  template <class Value>
  Json Written(std::optional<Value>& element) const {
    return element.has_value() ? Written(*element) : Json(nullptr);
  }
  template <class Value>
  Json Written(std::vector<Value>& list) const {
    Json array = Json::array();
    for (Value& value : list) array.push_back(Written(value));
    return array;
  }
  Json Written(KxWString& text) const { return Utf8(text); }
  Json Written(GUID& id) const { return KxGuid_ToUtf8(id); }
  Json Written(CkxSid& sid) const { return sid.ToUtf8(); }

  Json _json = Json::object();
  const SkxDocumentNames& _names;
};
