// Strict reading of JSON documents: every fault names its place.
//
// A `CkxJsonObject` wraps one object and the JSON pointer to it. Each field that is asked for is checked for its type
// and range and ticked off; `Finish` refuses what nobody asked for, so that a misspelt key is an error and never
// silently ignored.
//
//   CkxJsonObject object(json, "/policies/0");
//   model.id = object.Required<uint32_t>("id");
//   object.Optional("name", model.name);
//   object.Finish();
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Common_CPP/util/text.h"

/// A document's fault: the JSON pointer of the place and what is wrong there. Caught where documents are opened, which
/// know the file's name.
class CkxDocumentFault : public std::runtime_error {
 public:
  CkxDocumentFault(std::string pointer, const std::string& what)
      : std::runtime_error(what), _pointer(std::move(pointer)) {}
  const std::string& Pointer() const { return _pointer; }

  /// "/policies/0/id: must be ...": the place, where it is not the whole document, and what is wrong there.
  std::string Line() const { return _pointer.empty() ? what() : _pointer + ": " + what(); }

 private:
  std::string _pointer;
};

/// `pointer` extended by a key or an index, escaped as JSON pointers are.
std::string KxJson_Pointer(const std::string& pointer, std::string_view key);
std::string KxJson_Pointer(const std::string& pointer, size_t index);

/// Takes all out of `json`, in place, whose values nest no deeper than a document may. The JSON library itself takes
/// memory to give a document up, in a destructor, and a process that has none would end there.
void KxJson_GiveUp(nlohmann::json& json) noexcept;

/// JSON text, parsed as `KxJson_Parse` does it, for who must also stand a want of memory: whatever becomes of it, it is
/// given up without any.
class CkxJsonDocument {
 public:
  CkxJsonDocument(std::string_view text, bool commentsAllowed);
  static CkxJsonDocument Object();  ///< an empty one, to be filled
  CkxJsonDocument(CkxJsonDocument&& other) noexcept;
  CkxJsonDocument& operator=(CkxJsonDocument&&) = delete;
  ~CkxJsonDocument();

  const nlohmann::json& Root() const { return *_root; }
  nlohmann::json& Root() { return *_root; }

 private:
  CkxJsonDocument() = default;
  friend nlohmann::json KxJson_Parse(std::string_view text, bool commentsAllowed);

  std::unique_ptr<nlohmann::json> _root;
};

/// JSON text, comments allowed or not; a syntax fault is a `CkxDocumentFault` that names line and column. A key that an
/// object has twice is a fault, since either value could be the one that was meant, and so is nesting beyond 64 levels,
/// so that what walks the document may recurse. A NUL is one too: the parser would take it for the end.
nlohmann::json KxJson_Parse(std::string_view text, bool commentsAllowed);

/// One value as `Value`, or a fault at `pointer`: bool, integers of their range, std::string, KxWString. A text that
/// has a NUL inside is a fault: records and the system would end it there.
template <class Value>
Value KxJson_As(const nlohmann::json& json, const std::string& pointer);

class CkxJsonObject {
 public:
  /// A fault unless `json` is an object. Keeps a reference.
  CkxJsonObject(const nlohmann::json& json, std::string pointer);

  const std::string& Pointer() const { return _pointer; }
  std::string PointerTo(std::string_view key) const { return KxJson_Pointer(_pointer, key); }

  /// The value under `key`, ticked off; null when it is not there. The key lives as long as the object.
  const nlohmann::json* Find(const char* key);

  template <class Value>
  Value Required(const char* key) {
    const nlohmann::json* const value = Find(key);
    if (value == nullptr) throw CkxDocumentFault(_pointer, std::string("\"") + key + "\" is missing");
    return As<Value>(*value, key);
  }

  /// Leaves `out` as it is when `key` is not there. `Out` may be a std::optional.
  template <class Value>
  bool Optional(const char* key, Value& out) {
    const nlohmann::json* const value = Find(key);
    if (value == nullptr) return false;
    out = As<typename Plain<Value>::Type>(*value, key);
    return true;
  }

  /// A fault when the object has a key that nobody asked for, with the key that may be meant.
  void Finish() const;

 private:
  template <class Value>
  struct Plain {
    using Type = Value;
  };
  template <class Value>
  struct Plain<std::optional<Value>> {
    using Type = Value;
  };

  /// The place is put together only for a fault.
  template <class Value>
  Value As(const nlohmann::json& value, const char* key) const {
    try {
      return KxJson_As<Value>(value, {});
    } catch (const CkxDocumentFault& fault) {
      throw CkxDocumentFault(PointerTo(key), fault.what());
    }
  }

  const nlohmann::json& _json;
  const std::string _pointer;
  std::vector<const nlohmann::json*> _known;  // the values that were asked for, each once
  uint64_t _marks = 0;  // of the keys: most of those that are asked for are not there, and their marks tell
  size_t _askedCount = 0;
  // The keys that could have been meant, copied, since a caller's may be gone; what does not fit is not suggested.
  static constexpr size_t kMaxAskedKey = 31;
  std::array<char[kMaxAskedKey + 1], 64> _asked;
};
