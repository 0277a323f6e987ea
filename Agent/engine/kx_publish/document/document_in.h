// One object of a policy document, being read: an `io` that walks the lists of policy_fields.h. Faults are
// `CkxDocumentFault`s at the place of the value.
#pragma once

#include <concepts>
#include <nlohmann/json.hpp>
#include <span>

#include "Agent/engine/kx_publish/document/document_names.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/policy_fields.h"

class CkxDocumentIn {
 public:
  /// Reads `value`, which was just made, from the whole of `json` by its list. `place`: of whom it belongs to, for
  /// its derived id.
  template <class Value>
  static void ReadWhole(const nlohmann::json& json, const std::string& pointer, const SkxDocumentNames& names,
                        Value& value, const std::string& place = {});

  template <class Value>
  void Required(const SkxKeyText& key, Value& value) {
    Read(Find(key), PointerTo(key), value);
  }
  void NotEmpty(const SkxKeyText& key, KxWString& text);

  template <class Value>
  void Optional(const SkxKeyText& key, Value& value, const Value& /*byDefault*/) {
    Always(key, value);
  }
  template <class Value>
  void Optional(const SkxKeyText& key, std::optional<Value>& property, const std::optional<Value>& /*byDefault*/) {
    if (const Json* const found = FindOptional(key)) Read(*found, PointerTo(key), property.emplace());
  }
  template <std::derived_from<SkxNamedTextTest> Test>
  void Optional(const SkxKeyText& key, std::optional<KxElements<Test>>& property,
                const std::optional<KxElements<Test>>& byDefault);
  void Optional(const SkxKeyText& key, std::optional<KxWString>& property, const std::optional<KxWString>& byDefault);

  template <class Value>
  void Always(const SkxKeyText& key, Value& value) {
    if (const Json* const found = FindOptional(key)) Read(*found, PointerTo(key), value);
  }

  template <class Code>
  void Coded(const SkxKeyText& key, Code& code, KxCodeNames names, bool isOptional = false) {
    if (isOptional && FindOptional(key) == nullptr) return;
    code = ReadCode<Code>(Find(key), PointerTo(key), names);
  }

  void CompareAs(const SkxKeyText& key, uint16_t& code, const KxWString& pattern);
  void LocationTypes(const SkxKeyText& key, KxWString& types);
  void Version(const SkxKeyText& key, uint64_t& version, uint16_t wildcardPart);  ///< what "*" stands for
  void FileNameAndHash(const SkxKeyText& key, std::optional<SkxFileNameTest>& test);
  void ClassId(const SkxKeyText& key, std::optional<SkxTextTest>& test);
  void AccessMask(const SkxKeyText& key, uint32_t& mask);
  void AdminTask(const SkxKeyText& key, uint32_t& task);
  void Group(const SkxKeyText& key, GUID& id);
  void Alert(const SkxKeyText& type, const SkxKeyText& id, SkxAlertLinkModel& link);
  void DerivedId(const SkxKeyText& key, GUID& id, const std::string& place);
  void Kind(const SkxKeyText& key, SkxPolicyModel& policy);
  void Kind(const SkxKeyText& key, SkxTargetModel& target);
  void Kind(const SkxKeyText& key, SkxAlertModel& alert);
  void Targets(const SkxKeyText& key, std::vector<SkxTargetModel>& targets, const std::string& owner);

 private:
  using Json = nlohmann::json;

  CkxDocumentIn(const Json& json, const std::string& pointer, const SkxDocumentNames& names, const std::string& place)
      : _object(json, pointer), _names(names), _place(place) {}

  std::string PointerTo(const SkxKeyText& key) const { return _object.PointerTo(key.name); }

  /// The value under `key`; null when it is missing.
  const Json* FindOptional(const SkxKeyText& key) { return _object.Find(key.name); }
  /// The value under `key`, or a fault that it is missing.
  const Json& Find(const SkxKeyText& key);

  template <class Value>
  void Read(const Json& json, const std::string& pointer, Value& value) const;
  template <class Value>
  void Read(const Json& json, const std::string& pointer, std::optional<Value>& element) const;
  template <class Value>
  void Read(const Json& json, const std::string& pointer, std::vector<Value>& list) const;
  void Read(const Json& json, const std::string& pointer, GUID& id) const;
  void Read(const Json& json, const std::string& pointer, CkxSid& sid) const;

  /// The row of `kinds` that the text under `key` names.
  template <class Row, size_t count>
  const Row& FindKind(const SkxKeyText& key, const Row (&kinds)[count]);

  template <class Code>
  static Code ReadCode(const Json& json, const std::string& pointer, KxCodeNames names) {
    if (!json.is_string()) return KxJson_As<Code>(json, pointer);
    const auto& text = json.get_ref<const std::string&>();
    for (const auto& [code, name] : names) {
      if (text == name) return static_cast<Code>(code);
    }
    RefuseWord(text, pointer, names);
  }
  [[noreturn]] static void RefuseWord(const std::string& text, const std::string& pointer, KxCodeNames names);

  CkxJsonObject _object;
  const SkxDocumentNames& _names;
  const std::string _place;  // of whom the object belongs to
};

template <class Value>
void CkxDocumentIn::ReadWhole(const nlohmann::json& json, const std::string& pointer, const SkxDocumentNames& names,
                              Value& value, const std::string& place) {
  CkxDocumentIn in(json, pointer, names, place);
  KxDocument_Walk(in, value);
  in._object.Finish();
  if (const char* const fault = KxFaultOf(value)) throw CkxDocumentFault(pointer, fault);
}

template <class Value>
void CkxDocumentIn::Read(const Json& json, const std::string& pointer, Value& value) const {
  if constexpr (std::is_arithmetic_v<Value> || std::is_same_v<Value, KxWString>) {
    value = KxJson_As<Value>(json, pointer);
  } else if (!kKxShorthand<Value>.empty() && json.is_string()) {
    const std::string text = KxJson_As<std::string>(json, pointer);
    CkxJsonDocument object = CkxJsonDocument::Object();
    for (const char* const key : kKxShorthand<Value>) object.Root()[key] = text;
    try {
      ReadWhole(object.Root(), pointer, _names, value);
    } catch (const CkxDocumentFault& fault) {
      throw CkxDocumentFault(pointer, fault.what());  // the object has no place in the document
    }
  } else {
    ReadWhole(json, pointer, _names, value);
  }
}

template <class Value>
void CkxDocumentIn::Read(const Json& json, const std::string& pointer, std::optional<Value>& element) const {
  element.reset();
  if (!json.is_null()) Read(json, pointer, element.emplace());
}

/// Besides a list an object, name to test: {"CompanyName": "Vendor*"}.
template <std::derived_from<SkxNamedTextTest> Test>
void CkxDocumentIn::Optional(const SkxKeyText& key, std::optional<KxElements<Test>>& property,
                             const std::optional<KxElements<Test>>& /*byDefault*/) {
  const Json* const found = FindOptional(key);
  if (found == nullptr) return;
  const std::string pointer = PointerTo(key);
  property.emplace();
  if (!found->is_object()) return Read(*found, pointer, *property);
  for (const auto& [name, test] : found->items()) {
    const std::string testPointer = KxJson_Pointer(pointer, name);
    Test& read = property->emplace_back().emplace();
    Read(test, testPointer, static_cast<SkxTextTest&>(read));
    read.name = KxJson_As<KxWString>(Json(name), testPointer);
    if (read.name.empty()) throw CkxDocumentFault(testPointer, "the name must not be empty");
  }
}

template <class Value>
void CkxDocumentIn::Read(const Json& json, const std::string& pointer, std::vector<Value>& list) const {
  if (!json.is_array()) throw CkxDocumentFault(pointer, "must be an array");
  list.clear();
  list.reserve(json.size());
  for (size_t i = 0; i < json.size(); ++i) Read(json[i], KxJson_Pointer(pointer, i), list.emplace_back());
}
