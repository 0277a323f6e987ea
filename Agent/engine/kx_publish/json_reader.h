// Strict reading of JSON documents: every fault names its place.
//
// A `CkxJsonObject` wraps one object and the JSON pointer to it. Each field that is asked for is checked for its type and range
// and ticked off; `Finish` refuses what nobody asked for, so that a misspelt key is an error and never silently ignored.
//
//   CkxJsonObject object(json, "/policies/0");
//   model.id = object.Required<uint32_t>("id");
//   object.Optional("name", model.name);
//   object.Finish();
#pragma once

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>

#include "Common_CPP/util/text.h"

/// A document's fault: the JSON pointer of the place and what is wrong there. Caught where documents are opened, which know
/// the file's name.
class CkxDocumentFault : public std::runtime_error {
 public:
  CkxDocumentFault(std::string pointer, const std::string& what) : std::runtime_error(what), _pointer(std::move(pointer)) {}
  const std::string& Pointer() const { return _pointer; }

 private:
  std::string _pointer;
};

/// `pointer` extended by a key or an index, escaped as JSON pointers are.
std::string KxJson_Pointer(const std::string& pointer, std::string_view key);
std::string KxJson_Pointer(const std::string& pointer, size_t index);

/// JSON text, comments allowed or not; a syntax fault is a `CkxDocumentFault` that names line and column.
nlohmann::json KxJson_Parse(std::string_view text, bool commentsAllowed);

/// One value as `Value`, or a fault at `pointer`: bool, integers of their range, std::string, KxWString.
template <class Value>
Value KxJson_As(const nlohmann::json& json, const std::string& pointer);

class CkxJsonObject {
 public:
  /// A fault unless `json` is an object. Keeps a reference.
  CkxJsonObject(const nlohmann::json& json, std::string pointer);

  const std::string& Pointer() const { return _pointer; }
  std::string PointerTo(std::string_view key) const { return KxJson_Pointer(_pointer, key); }

  /// The value under `key`, ticked off; null when it is not there.
  const nlohmann::json* Find(const char* key);

  template <class Value>
  Value Required(const char* key) {
    const nlohmann::json* const value = Find(key);
    if (value == nullptr) throw CkxDocumentFault(_pointer, std::string("\"") + key + "\" is missing");
    return KxJson_As<Value>(*value, PointerTo(key));
  }

  /// Leaves `out` as it is when `key` is not there. `Out` may be a std::optional.
  template <class Value>
  bool Optional(const char* key, Value& out) {
    const nlohmann::json* const value = Find(key);
    if (value == nullptr) return false;
    out = KxJson_As<Value>(*value, PointerTo(key));
    return true;
  }

  /// A fault when the object has a key that nobody asked for.
  void Finish() const;

 private:
  const nlohmann::json& _json;
  const std::string _pointer;
  std::set<std::string, std::less<>> _known;
};
