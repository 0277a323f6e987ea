// Records declared: one table a struct of the model, one line a field, in buffer order. The writer (encode.cpp), the
// way back (decode.cpp) and the layouts that verify and document records (record_layout.h) are folds over these tables;
// the names of fields in policy documents come from them too.
//
//   template <>
//   inline constexpr auto kKxRecord<SkxMsuTarget> = KxRecord(
//       "System update package",
//       KxField("location", &SkxMsuTarget::location, "where it lies"),
//       KxField("owners", &SkxMsuTarget::owners, "any of them", kKxAs<SkxOwnerTest>));
//
// The type of a member says how it is stored: a bool as a flag, a text obfuscated, an optional as a property, a vector
// as a list, a struct as the fields of its own table in place. The fourth argument says what a type leaves open.
//
// The library's readers do not go by these tables: being stated twice, in two ways, is what keeps both right.
#pragma once

#include <tuple>

#include "Agent/engine/kx_publish/model/policy_model.h"
#include "Agent/engine/kx_publish/record/record_field.h"

template <class Value>
inline constexpr bool kKxIsOptional = false;
template <class Value>
inline constexpr bool kKxIsOptional<std::optional<Value>> = true;
template <class Value>
inline constexpr bool kKxIsVector = false;
template <class Value>
inline constexpr bool kKxIsVector<std::vector<Value>> = true;

/// How a member of that type is stored when its line does not say.
template <class Value>
constexpr EkxField KxField_Of() {
  if constexpr (std::is_same_v<Value, bool>) return EkxField::Flag;
  if constexpr (std::is_same_v<Value, uint8_t>) return EkxField::U8;
  if constexpr (std::is_same_v<Value, uint16_t>) return EkxField::U16;
  if constexpr (std::is_same_v<Value, uint32_t>) return EkxField::U32;
  if constexpr (std::is_same_v<Value, uint64_t>) return EkxField::U64;
  if constexpr (std::is_same_v<Value, int64_t>) return EkxField::I64;
  if constexpr (std::is_same_v<Value, GUID>) return EkxField::Guid;
  if constexpr (std::is_same_v<Value, KxWString>) return EkxField::ObfuscatedText;
  if constexpr (std::is_same_v<Value, CkxSid>) return EkxField::Sid;
  if constexpr (kKxIsOptional<Value>) return EkxField::Property;
  if constexpr (kKxIsVector<Value>) return EkxField::List;
  return EkxField::Part;
}

/// A line of a table: a member. `Stored` is the struct whose table says how a value that has none is stored.
template <class Struct, class Value, class Stored>
struct SkxMember {
  const char* name;
  Value Struct::*member;
  const char* meaning;
  EkxField kind;
};

/// The line of a base class: its own fields, in place.
template <class Base>
struct SkxBase {
  const char* meaning;
};

/// The first two fields of a record, its magic and its size, which frame it.
struct SkxFrame {
  const char* name;
  const char* meaning;
};

/// The code that says which body a record has.
struct SkxCode {
  const char* name;
  const char* meaning;
  EkxField kind;
};

struct SkxUnused {
  uint16_t bytes;  ///< written as 0
};

template <class Stored>
struct SkxAs {};
template <class Stored>
inline constexpr SkxAs<Stored> kKxAs{};

template <class Struct, class Value>
constexpr auto KxField(const char* name, Value Struct::*member, const char* meaning,
                       EkxField kind = KxField_Of<Value>()) {
  return SkxMember<Struct, Value, void>{name, member, meaning, kind};
}
template <class Struct, class Value, class Stored>
constexpr auto KxField(const char* name, Value Struct::*member, const char* meaning, SkxAs<Stored> /*as*/) {
  return SkxMember<Struct, Value, Stored>{name, member, meaning, KxField_Of<Value>()};
}

template <class... Lines>
struct SkxRecord {
  const char* name;
  std::tuple<Lines...> lines;
};

template <class... Lines>
constexpr auto KxRecord(const char* name, Lines... lines) {
  return SkxRecord<Lines...>{name, std::tuple<Lines...>(lines...)};
}

/// The table of a struct of the model, or of a part of one.
template <class Struct>
inline constexpr int kKxRecord = 0;
