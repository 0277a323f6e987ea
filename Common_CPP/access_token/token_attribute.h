// Security attributes of a token: named lists of values that travel with it. Numbers of types and flags are the
// system's.
#pragma once

#include <mutex>
#include <vector>

#include "Common_CPP/util/text_view.h"

enum EkxTokenValueType : uint16_t {
  KxTokenInt64 = 1,
  KxTokenUInt64 = 2,
  KxTokenString = 3,
  KxTokenFqbn = 4,  ///< the name of a program: a version and a text
  KxTokenSid = 5,
  KxTokenBoolean = 6,
  KxTokenOctetString = 0x10,
};

enum EkxTokenAttributeFlag : uint32_t {
  KxTokenNonInheritable = 0x1,  ///< a new process's token does not have it
  KxTokenValueCaseSensitive = 0x2,
  KxTokenUseForDenyOnly = 0x4,
  KxTokenDisabledByDefault = 0x8,
  KxTokenDisabled = 0x10,
  KxTokenMandatory = 0x20,
  KxTokenCompareIgnore = 0x40,  ///< tokens that differ in it alone count as equal; known from version 10 on
};

struct SkxTokenAttribute {
  /// What of it counts follows from the type.
  struct Value {
    uint64_t number = 0;               ///< of numbers and booleans; the version of a program's name
    KxWString text = {};               ///< of texts, and of a program's name
    std::vector<unsigned char> bytes;  ///< of SIDs and octet strings
    bool operator==(const Value&) const = default;
  };
  KxWString name;
  uint16_t type = 0;
  uint32_t flags = 0;
  std::vector<Value> values;
  bool operator==(const SkxTokenAttribute&) const = default;
};

/// Those of one token that is an object of ours. Names are told apart by the case of their letters.
class CkxTokenAttributes {
 public:
  std::vector<SkxTokenAttribute> List() const {
    const std::lock_guard lock(_mutex);
    return _attributes;
  }

  /// In place of the one with its name, else behind the others.
  void Set(SkxTokenAttribute attribute) {
    const std::lock_guard lock(_mutex);
    for (SkxTokenAttribute& other : _attributes) {
      if (other.name != attribute.name) continue;
      other = std::move(attribute);
      return;
    }
    _attributes.push_back(std::move(attribute));
  }

  void Delete(const KxWString& name) {
    const std::lock_guard lock(_mutex);
    std::erase_if(_attributes, [&](const SkxTokenAttribute& attribute) { return attribute.name == name; });
  }

 private:
  mutable std::mutex _mutex;
  std::vector<SkxTokenAttribute> _attributes;
};
