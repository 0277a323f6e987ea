// One object of a policy document, being read: what the tables of policy_fields.h call the `io`. Faults are
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
  CkxDocumentIn(const nlohmann::json& json, const std::string& pointer, const SkxDocumentNames& names)
      : _object(json, pointer), _names(names) {}

  /// Reads `value` from the whole of `json` by its table.
  template <class Value>
  static void ReadWhole(const nlohmann::json& json, const std::string& pointer, const SkxDocumentNames& names,
                        Value& value);

  template <class Value>
  void Required(const char* key, Value& value) {
    Read(Find(key), _object.PointerTo(key), value);
  }
  template <class Value>
  void Field(const char* key, Value& value, const Value& byDefault) {
    value = byDefault;
    Always(key, value);
  }
  template <class Value>
  void Always(const char* key, Value& value) {
    if (const nlohmann::json* const found = _object.Find(key)) Read(*found, _object.PointerTo(key), value);
  }
  void Name(const char* key, KxWString& text);

  template <class Value>
  void Property(const char* key, std::optional<Value>& property) {
    const nlohmann::json* const found = _object.Find(key);
    if (found != nullptr) Read(*found, _object.PointerTo(key), property.emplace());
  }
  void Property(const char* key, std::optional<KxWString>& property);
  template <std::derived_from<SkxNamedTextTest> Test>
  void Property(const char* key, std::optional<KxElements<Test>>& property);

  template <class Value>
  void List(const char* key, std::vector<Value>& list) {
    Always(key, list);
  }

  using CodeNames = std::span<const SkxCodeName>;
  template <class Code>
  void Coded(const char* key, Code& code, CodeNames names) {
    code = ReadCode<Code>(Find(key), _object.PointerTo(key), names);
  }
  template <class Code>
  void Coded(const char* key, Code& code, CodeNames names, Code byDefault) {
    const nlohmann::json* const found = _object.Find(key);
    code = found == nullptr ? byDefault : ReadCode<Code>(*found, _object.PointerTo(key), names);
  }

  void LocationTypes(const char* key, KxWString& types);
  void Version(const char* key, uint64_t& version, uint16_t wildcardPart);  ///< `wildcardPart`: what "*" stands for
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
  using Json = nlohmann::json;

  /// The value under `key`, or a fault that it is missing.
  const Json& Find(const char* key);

  template <class Value>
  void Read(const Json& json, const std::string& pointer, Value& value) const;
  template <class Value>
  void Read(const Json& json, const std::string& pointer, std::optional<Value>& element) const;
  template <class Value>
  void Read(const Json& json, const std::string& pointer, std::vector<Value>& list) const;
  void Read(const Json& json, const std::string& pointer, GUID& id) const;
  void Read(const Json& json, const std::string& pointer, CkxSid& sid) const;
  void Read(const Json& json, const std::string& pointer, SkxTargetModel& target, const std::string& place) const;

  /// The row of `kinds` that the text under `key` names.
  template <class Row, size_t count>
  const Row& FindKind(const char* key, const Row (&kinds)[count]);

  template <class Code>
  static Code ReadCode(const Json& json, const std::string& pointer, CodeNames names) {
    if (!json.is_string()) return KxJson_As<Code>(json, pointer);
    for (const auto& [code, name] : names) {
      if (json == name) return static_cast<Code>(code);
    }
    std::string known;
    for (const auto& [code, name] : names) known += std::string("\"") + name + "\", ";
    throw CkxDocumentFault(pointer, "must be " + known + "or a number");
  }

  CkxJsonObject _object;
  const SkxDocumentNames& _names;
};

template <class Value>
void CkxDocumentIn::ReadWhole(const nlohmann::json& json, const std::string& pointer, const SkxDocumentNames& names,
                              Value& value) {
  CkxDocumentIn in(json, pointer, names);
  KxFields(in, value);
  in._object.Finish();
  if (const char* const fault = KxFaultOf(value)) throw CkxDocumentFault(pointer, fault);
}

template <class Value>
void CkxDocumentIn::Read(const Json& json, const std::string& pointer, Value& value) const {
  if constexpr (std::is_arithmetic_v<Value> || std::is_same_v<Value, KxWString>) {
    value = KxJson_As<Value>(json, pointer);
  } else if (!kKxShorthand<Value>.empty() && json.is_string()) {
    const std::string text = KxJson_As<std::string>(json, pointer);
    Json object;
    for (const char* const key : kKxShorthand<Value>) object[key] = text;
    try {
      ReadWhole(object, pointer, _names, value);
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
void CkxDocumentIn::Property(const char* key, std::optional<KxElements<Test>>& property) {
  const Json* const found = _object.Find(key);
  if (found == nullptr) return;
  const std::string pointer = _object.PointerTo(key);
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
