// One object of a policy document, being read: what the tables of policy_fields.h call the `io`. Faults are
// `CkxDocumentFault`s at the place of the value.
#pragma once

#include "Agent/engine/kx_publish/json_reader.h"
#include "Agent/engine/kx_publish/policy_fields.h"

/// The groups of all documents, which may be named before they are defined.
struct SkxGroupDirectory {
  std::map<KxWString, GUID> byName;
  bool Has(const GUID& id) const;
};

class CkxDocumentIn {
 public:
  CkxDocumentIn(const nlohmann::json& json, const std::string& pointer, const SkxGroupDirectory& groups)
      : _object(json, pointer), _groups(groups) {}

  /// Reads `value` from the whole of `json` by its table.
  template <class Value>
  static void ReadWhole(const nlohmann::json& json, const std::string& pointer, const SkxGroupDirectory& groups,
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
  void Property(const char* key, std::optional<KxElements<SkxVersionFieldTest>>& property);

  template <class Value>
  void List(const char* key, std::vector<Value>& list) {
    Always(key, list);
  }

  template <class Code, size_t count>
  void Coded(const char* key, Code& code, const SkxCodeName (&names)[count]) {
    code = ReadCode<Code>(Find(key), _object.PointerTo(key), names);
  }
  template <class Code, size_t count>
  void Coded(const char* key, Code& code, const SkxCodeName (&names)[count], Code byDefault) {
    const nlohmann::json* const found = _object.Find(key);
    code = found == nullptr ? byDefault : ReadCode<Code>(*found, _object.PointerTo(key), names);
  }

  void LocationTypes(const char* key, KxWString& types);
  void Version(const char* key, uint64_t& version, uint16_t wildcardPart);  ///< `wildcardPart`: what "*" stands for
  void FileNameAndHash(std::optional<SkxFileNameTest>& test);
  void Group(const char* key, GUID& id);
  void DerivedId(const char* key, GUID& id, const std::string& place);
  void Action(const char* key, SkxPolicyModel& policy);
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

  template <class Code, size_t count>
  static Code ReadCode(const Json& json, const std::string& pointer, const SkxCodeName (&names)[count]) {
    if (!json.is_string()) return KxJson_As<Code>(json, pointer);
    for (const auto& [code, name] : names) {
      if (json == name) return static_cast<Code>(code);
    }
    std::string known;
    for (const auto& [code, name] : names) known += std::string("\"") + name + "\", ";
    throw CkxDocumentFault(pointer, "must be " + known + "or a number");
  }

  CkxJsonObject _object;
  const SkxGroupDirectory& _groups;
};

template <class Value>
void CkxDocumentIn::ReadWhole(const nlohmann::json& json, const std::string& pointer, const SkxGroupDirectory& groups,
                              Value& value) {
  CkxDocumentIn in(json, pointer, groups);
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
      ReadWhole(object, pointer, _groups, value);
    } catch (const CkxDocumentFault& fault) {
      throw CkxDocumentFault(pointer, fault.what());  // the object has no place in the document
    }
  } else {
    ReadWhole(json, pointer, _groups, value);
  }
}

template <class Value>
void CkxDocumentIn::Read(const Json& json, const std::string& pointer, std::optional<Value>& element) const {
  element.reset();
  if (!json.is_null()) Read(json, pointer, element.emplace());
}

template <class Value>
void CkxDocumentIn::Read(const Json& json, const std::string& pointer, std::vector<Value>& list) const {
  if (!json.is_array()) throw CkxDocumentFault(pointer, "must be an array");
  list.clear();
  list.reserve(json.size());
  for (size_t i = 0; i < json.size(); ++i) Read(json[i], KxJson_Pointer(pointer, i), list.emplace_back());
}
