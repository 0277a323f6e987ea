// Documents declared: one list a struct of the model, one line a key, in the order in which keys are written. Reading
// (`CkxDocumentIn`), writing (`CkxDocumentOut`) and the schema (document_schema.h) walk these lists, so that none can
// know a key that the others do not.
//
//   template <>
//   inline constexpr auto kKxFields<SkxCapabilityTest> = std::tuple{
//       KxNotEmpty(&SkxCapabilityTest::name),
//       KxOptional(&SkxCapabilityTest::required),
//   };
//
// A key's name and what it means are those of the member in its table of records, unless its line says another; a
// member that no table has does not compile without. Its default is the member's in a struct that was just made.
#pragma once

#include <span>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Agent/engine/kx_publish/record/policy_records.h"

struct SkxCodeName {
  uint32_t code;
  const char* name;
};
using KxCodeNames = std::span<const SkxCodeName>;

/// What a document calls a value, and what the schema says of it. Null: as the table of records has it.
struct SkxKeyText {
  const char* name = nullptr;
  const char* meaning = nullptr;
};

/// How a document has the value of a member.
enum class EkxKey {
  Required,         ///< must be there
  NotEmpty,         ///< likewise, a text that is not empty
  Optional,         ///< may be missing; an optional text is not empty when it is there
  Always,           ///< may be missing, and is always written
  CompareAs,        ///< may be missing: the pattern beside it says how
  LocationTypes,    ///< a list of names
  LeastVersion,     ///< "1.2.*" begins at 1.2.0.0
  GreatestVersion,  ///< and ends at 1.2.65535.65535
  FileNameAndHash,  ///< the keys "hash" and "fileSize" besides
  ClassId,          ///< a test whose shorthand is a GUID
  AccessMask,       ///< a number, or its hexadecimal digits
  AdminTask,        ///< a number, or a name of the catalogue
  Group,            ///< a group's name or id; missing: none
  DerivedId,        ///< may be missing: follows from the object's place
  Targets,          ///< may be missing
};

template <EkxKey how, class Struct, class Value>
struct SkxKey : SkxKeyText {
  Value Struct::*member;
};

/// A number with names. One that may be left out is 0 then.
template <class Struct, class Value>
struct SkxCodedKey : SkxKeyText {
  Value Struct::*member;
  KxCodeNames codes;
  bool isOptional = false;
};

/// Must be there, unless the flag is set.
template <class Struct, class Value, class FlagStruct>
struct SkxKeyUnless : SkxKeyText {
  Value Struct::*member;
  bool FlagStruct::*flag;
};

/// Which alert a link is to, and its type, which follows from an alert of the publication.
struct SkxAlertKeys {
  SkxKeyText type;
  SkxKeyText id;
};

/// Must be there: the kind of the object, which says what its `SkxOfKind` has.
struct SkxKindKey : SkxKeyText {};
struct SkxOfKind {};

/// The keys of a base class, and of a member, among those of the object itself.
template <class Base>
struct SkxKeysOfBase {};
template <class Struct, class Value>
struct SkxKeysOf {
  Value Struct::*part;
};

template <EkxKey how, class Struct, class Value>
consteval auto KxKey(Value Struct::*member, const SkxKeyText& text) {
  return SkxKey<how, Struct, Value>{text, member};
}
template <class Struct, class Value>
consteval auto KxRequired(Value Struct::*member, const SkxKeyText& text = {}) {
  return KxKey<EkxKey::Required>(member, text);
}
template <class Struct>
consteval auto KxNotEmpty(KxWString Struct::*member, const SkxKeyText& text = {}) {
  return KxKey<EkxKey::NotEmpty>(member, text);
}
template <class Struct, class Value>
consteval auto KxOptional(Value Struct::*member, const SkxKeyText& text = {}) {
  return KxKey<EkxKey::Optional>(member, text);
}
template <class Struct, class Value>
consteval auto KxCoded(Value Struct::*member, KxCodeNames codes, const SkxKeyText& text = {}) {
  return SkxCodedKey<Struct, Value>{text, member, codes};
}
template <class Struct, class Value>
consteval auto KxOptionalCoded(Value Struct::*member, KxCodeNames codes, const SkxKeyText& text = {}) {
  return SkxCodedKey<Struct, Value>{text, member, codes, true};
}

template <class Struct, class Value, class FlagStruct>
consteval auto KxRequiredUnless(Value Struct::*member, bool FlagStruct::*flag, const SkxKeyText& text = {}) {
  return SkxKeyUnless<Struct, Value, FlagStruct>{text, member, flag};
}
template <class Struct, class Value>
consteval auto KxKeysOf(Value Struct::*part) {
  return SkxKeysOf<Struct, Value>{part};
}

/// The lines of a struct; of one without any the empty list.
template <class Struct>
inline constexpr std::tuple<> kKxFields{};

/// What the schema says of a struct.
template <class Struct>
inline constexpr const char* kKxDescription = nullptr;

// ---- Names and meanings

template <class... Records>
struct SkxTables {};
/// The tables of records that have the members of a struct.
template <class Struct>
inline constexpr auto kKxTables = SkxTables<Struct>{};

template <class Record, class Member>
constexpr void KxKey_LookUp(Member member, SkxKeyText& text);

template <class Member, class Line>
constexpr void KxKey_LookAt(Member /*member*/, const Line& /*line*/, SkxKeyText& /*text*/) {}
template <class Struct, class Value, class Stored>
constexpr void KxKey_LookAt(Value Struct::*member, const SkxMember<Struct, Value, Stored>& line, SkxKeyText& text) {
  if (line.member == member) text = {line.name, line.meaning};
}
template <class Member, class Base>
constexpr void KxKey_LookAt(Member member, const SkxBase<Base>& /*line*/, SkxKeyText& text) {
  KxKey_LookUp<Base>(member, text);
}

template <class Record, class Member>
constexpr void KxKey_LookUp(Member member, SkxKeyText& text) {
  std::apply([&](const auto&... line) { (KxKey_LookAt(member, line, text), ...); }, kKxRecord<Record>.lines);
}

template <class Line, class... Records>
constexpr Line KxKey_Named(Line line, SkxTables<Records...> /*tables*/) {
  if constexpr (requires { line.member; }) {
    SkxKeyText text;
    if (line.name == nullptr || line.meaning == nullptr) (KxKey_LookUp<Records>(line.member, text), ...);
    if (line.name == nullptr) line.name = text.name;
    if (line.meaning == nullptr) line.meaning = text.meaning;
    if (line.name == nullptr || line.meaning == nullptr) throw std::logic_error("no table has this member");
  }
  return line;
}

/// The lines of a struct with their names.
template <class Struct>
inline constexpr auto kKxKeys =
    std::apply([](auto... line) { return std::tuple{KxKey_Named(line, kKxTables<Struct>)...}; }, kKxFields<Struct>);

// ---- Walking

/// Tells `io` each key of `object`, of `Struct` or what it derives from, which is const for all but reading.
template <class Struct, class Io, class Object>
void KxDocument_WalkKeys(Io& io, Object& object) {
  std::apply([&](const auto&... line) { (KxDocument_WalkLine(io, line, object), ...); }, kKxKeys<Struct>);
}

template <class Io, class Object>
void KxDocument_Walk(Io& io, Object& object) {
  KxDocument_WalkKeys<std::remove_const_t<Object>>(io, object);
}

template <class Io, EkxKey how, class Struct, class Value, class Object>
void KxDocument_WalkLine(Io& io, const SkxKey<how, Struct, Value>& key, Object& object) {
  auto& value = object.*key.member;
  if constexpr (how == EkxKey::Required) io.Required(key, value);
  if constexpr (how == EkxKey::NotEmpty) io.NotEmpty(key, value);
  if constexpr (how == EkxKey::Optional) io.Optional(key, value, Struct().*key.member);
  if constexpr (how == EkxKey::Always) io.Always(key, value);
  if constexpr (how == EkxKey::CompareAs) io.CompareAs(key, value, object.pattern);
  if constexpr (how == EkxKey::LocationTypes) io.LocationTypes(key, value);
  if constexpr (how == EkxKey::LeastVersion) io.Version(key, value, 0);
  if constexpr (how == EkxKey::GreatestVersion) io.Version(key, value, 0xFFFF);
  if constexpr (how == EkxKey::FileNameAndHash) io.FileNameAndHash(key, value);
  if constexpr (how == EkxKey::ClassId) io.ClassId(key, value);
  if constexpr (how == EkxKey::AccessMask) io.AccessMask(key, value);
  if constexpr (how == EkxKey::AdminTask) io.AdminTask(key, value);
  if constexpr (how == EkxKey::Group) io.Group(key, value);
  if constexpr (how == EkxKey::DerivedId) io.DerivedId(key, value, KxPlaceOf(object));
  if constexpr (how == EkxKey::Targets) io.Targets(key, value, KxPlaceOf(object));
}

template <class Io, class Struct, class Value, class Object>
void KxDocument_WalkLine(Io& io, const SkxCodedKey<Struct, Value>& key, Object& object) {
  io.Coded(key, object.*key.member, key.codes, key.isOptional);
}

template <class Io, class Struct, class Value, class FlagStruct, class Object>
void KxDocument_WalkLine(Io& io, const SkxKeyUnless<Struct, Value, FlagStruct>& key, Object& object) {
  if (object.*key.flag) {
    io.Optional(key, object.*key.member, Struct().*key.member);
  } else {
    io.Required(key, object.*key.member);
  }
}

template <class Io, class Object>
void KxDocument_WalkLine(Io& io, const SkxAlertKeys& keys, Object& link) {
  io.Alert(keys.type, keys.id, link);
}

template <class Io, class Object>
void KxDocument_WalkLine(Io& io, const SkxKindKey& key, Object& object) {
  io.Kind(key, object);
}

template <class Io, class Object>
void KxDocument_WalkLine(Io& io, const SkxOfKind& /*line*/, Object& object) {
  if constexpr (requires { object.params; }) {
    std::visit([&io](auto& own) { KxDocument_Walk(io, own); }, object.params);
    const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, object.action);
    if (kind != nullptr && kind->withTargets) KxDocument_WalkKeys<SkxPolicyTargetsPart>(io, object);
  } else {
    std::visit([&io](auto& own) { KxDocument_Walk(io, own); }, object.body);
  }
}

template <class Io, class Base, class Object>
void KxDocument_WalkLine(Io& io, const SkxKeysOfBase<Base>& /*line*/, Object& object) {
  KxDocument_WalkKeys<Base>(io, object);
}

template <class Io, class Struct, class Value, class Object>
void KxDocument_WalkLine(Io& io, const SkxKeysOf<Struct, Value>& line, Object& object) {
  KxDocument_Walk(io, object.*line.part);
}
