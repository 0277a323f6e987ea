// One object of a policy document, being written: an `io` that walks the lists of policy_fields.h. What is at its
// default is left out.
// A text that JSON cannot carry, being no well-formed UTF-16, is a `CkxDocumentFault`.
#pragma once

#include <nlohmann/json.hpp>
#include <span>

#include "Agent/engine/kx_publish/document/document_names.h"
#include "Agent/engine/kx_publish/document/policy_fields.h"

class CkxDocumentOut {
 public:
  using Json = nlohmann::ordered_json;

  /// The whole of `value`, as its shorthand when it has one. `place`: of whom it belongs to, for its derived id.
  template <class Value>
  static Json WriteWhole(const Value& value, const SkxDocumentNames& names, const std::string& place = {}) {
    CkxDocumentOut out(names, place);
    KxDocument_Walk(out, value);
    return Shortened(std::move(out._json), kKxShorthand<Value>);
  }

  template <class Value>
  void Required(const SkxKeyText& key, const Value& value) {
    _json[key.name] = Written(value);
  }
  void NotEmpty(const SkxKeyText& key, const KxWString& text) { Required(key, text); }

  template <class Value>
  void Optional(const SkxKeyText& key, const Value& value, const Value& byDefault) {
    if (value != byDefault) Required(key, value);
  }
  template <class Value>
  void Optional(const SkxKeyText& key, const std::optional<Value>& property, const std::optional<Value>& /*none*/) {
    if (property.has_value()) Required(key, *property);
  }
  template <class Value>
  void Optional(const SkxKeyText& key, const std::vector<Value>& list, const std::vector<Value>& /*empty*/) {
    if (!list.empty()) Required(key, list);
  }
  template <class Value>
  void Always(const SkxKeyText& key, const Value& value) {
    Required(key, value);
  }

  template <class Code>
  void Coded(const SkxKeyText& key, Code code, KxCodeNames names, bool isOptional = false) {
    if (isOptional && code == 0) return;
    const char* name = nullptr;
    for (const SkxCodeName& known : names) {
      if (known.code == code) name = known.name;
    }
    _json[key.name] = name != nullptr ? Json(name) : Json(code);
  }

  void CompareAs(const SkxKeyText& key, uint16_t code, const KxWString& pattern);
  void LocationTypes(const SkxKeyText& key, const KxWString& types);
  void Version(const SkxKeyText& key, uint64_t version, uint16_t wildcardPart);
  void FileNameAndHash(const SkxKeyText& key, const std::optional<SkxFileNameTest>& test);
  void ClassId(const SkxKeyText& key, const std::optional<SkxTextTest>& test);
  void AccessMask(const SkxKeyText& key, uint32_t mask);
  void AdminTask(const SkxKeyText& key, uint32_t task);
  void Group(const SkxKeyText& key, const GUID& id);
  void Alert(const SkxKeyText& type, const SkxKeyText& id, const SkxAlertLinkModel& link);
  void DerivedId(const SkxKeyText& key, const GUID& id, const std::string& place);
  void Kind(const SkxKeyText& key, const SkxPolicyModel& policy);
  void Kind(const SkxKeyText& key, const SkxTargetModel& target);
  void Kind(const SkxKeyText& key, const SkxAlertModel& alert);
  void Targets(const SkxKeyText& key, const std::vector<SkxTargetModel>& targets, const std::string& owner);

 private:
  CkxDocumentOut(const SkxDocumentNames& names, const std::string& place) : _names(names), _place(place) {}

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
  Json Written(const Value& value) const {
    if constexpr (std::is_arithmetic_v<Value>) {
      return value;
    } else {
      return WriteWhole(value, _names);
    }
  }
  template <class Value>
  Json Written(const std::optional<Value>& element) const {
    return element.has_value() ? Written(*element) : Json(nullptr);
  }
  template <class Value>
  Json Written(const std::vector<Value>& list) const {
    Json array = Json::array();
    for (const Value& value : list) array.push_back(Written(value));
    return array;
  }
  Json Written(const KxWString& text) const { return Utf8(text); }
  Json Written(const GUID& id) const { return KxGuid_ToUtf8(id); }
  Json Written(const CkxSid& sid) const { return sid.ToUtf8(); }

  Json _json = Json::object();
  const SkxDocumentNames& _names;
  const std::string _place;  // of whom the object belongs to
};
