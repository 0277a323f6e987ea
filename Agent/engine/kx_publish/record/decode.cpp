#include "Agent/engine/kx_publish/record/decode.h"

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Agent/engine/kx_publish/record/policy_records.h"
#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Common_CPP/util/guid.h"

namespace {

using In = CkxBufReader;

template <class Record, class Object>
bool ReadFields(In& in, Object& object);
template <class Stored, class Element>
bool ReadValue(In& in, std::vector<Element>& elements, EkxField kind);
template <class Stored, class Value>
bool ReadValue(In& in, std::optional<Value>& property, EkxField kind);

bool ReadTarget(In& in, SkxTargetModel& target);

bool ReadText(In& in, KxWString& text, EkxField kind) {
  CkxShBufString stored;
  const bool isPlain = kind == EkxField::Text || kind == EkxField::Data;
  if (!(isPlain ? in.Text(stored) : in.ObfuscatedText(stored))) return false;
  text = stored.View().ToString();
  return true;
}

bool ReadNumber(In& in, uint64_t& value, EkxField kind) {
  if (kind != EkxField::Version) return in.U64(value);
  uint32_t most = 0;
  uint32_t least = 0;
  if (!in.U32(most) || !in.U32(least)) return false;
  value = uint64_t{most} << 32 | least;
  return true;
}

/// A struct by its own table, or a value that has none by that of `Stored`, which holds just it.
template <class Stored, class Value>
bool ReadStruct(In& in, Value& value) {
  if constexpr (std::is_void_v<Stored>) {
    return ReadFields<Value>(in, value);
  } else {
    Stored stored;
    if (!ReadFields<Stored>(in, stored)) return false;
    auto& [held] = stored;
    value = std::move(held);
    return true;
  }
}

template <class Stored, class Value>
bool ReadValue(In& in, Value& value, EkxField kind) {
  if constexpr (std::is_same_v<Value, bool>) {
    return in.Flag(value);
  } else if constexpr (std::is_same_v<Value, uint64_t>) {
    return ReadNumber(in, value, kind);
  } else if constexpr (std::is_arithmetic_v<Value> || std::is_same_v<Value, GUID>) {
    return in.Fixed(value);
  } else if constexpr (std::is_same_v<Value, KxWString>) {
    return ReadText(in, value, kind);
  } else if constexpr (std::is_same_v<Value, CkxSid>) {
    return in.Sid(value);
  } else {
    bool isSet = true;
    return (kind != EkxField::Property || in.Flag(isSet)) && (!isSet || ReadStruct<Stored>(in, value));
  }
}

template <class Stored, class Element>
bool ReadValue(In& in, std::vector<Element>& elements, EkxField /*kind*/) {
  uint32_t count = 0;
  if (!in.U32(count)) return false;
  for (uint32_t i = 0; i < count; ++i) {  // every element takes at least a byte, or ends the loop
    Element& element = elements.emplace_back();
    if constexpr (std::is_same_v<Element, SkxTargetModel>) {
      if (!ReadTarget(in, element)) return false;
    } else if constexpr (kKxIsOptional<Element>) {
      if (!ReadValue<Stored>(in, element, EkxField::Property)) return false;
    } else {
      if (!ReadStruct<Stored>(in, element)) return false;
    }
  }
  return true;
}

template <class Stored, class Value>
bool ReadValue(In& in, std::optional<Value>& property, EkxField /*kind*/) {
  bool isSet = false;
  if (!in.Flag(isSet)) return false;
  if (!isSet) return true;
  Value& value = property.emplace();
  if constexpr (kKxIsVector<Value>) {
    return ReadValue<Stored>(in, value, EkxField::List);
  } else {
    return ReadStruct<Stored>(in, value);
  }
}

template <class Object, class Struct, class Value, class Stored>
bool ReadLine(In& in, Object& object, const SkxMember<Struct, Value, Stored>& line) {
  return ReadValue<Stored>(in, object.*line.member, line.kind);
}
template <class Object, class Base>
bool ReadLine(In& in, Object& object, const SkxBase<Base>& /*line*/) {
  return ReadFields<Base>(in, static_cast<Base&>(object));
}
template <class Object>
bool ReadLine(In& in, Object& /*object*/, const SkxFrame& /*line*/) {
  uint32_t unused = 0;
  return in.U32(unused);
}
template <class Object>
bool ReadLine(In& in, Object& /*object*/, const SkxUnused& line) {
  const unsigned char* unused = nullptr;
  return in.Bytes(line.bytes, unused);
}
bool ReadLine(In& in, SkxPolicyModel& policy, const SkxCode& /*line*/) {
  uint32_t action = 0;
  if (!in.U32(action)) return false;
  policy.action = static_cast<EkxPolicyAction>(action);
  const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.action);
  if (kind != nullptr) policy.params = kind->params();
  return kind != nullptr;
}
bool ReadLine(In& in, SkxTargetModel& target, const SkxCode& /*line*/) {
  uint32_t type = 0;
  if (!in.U32(type)) return false;
  const SkxTargetKind* const kind =
      KxKind_Find(kKxTargetKinds, &SkxTargetKind::type, static_cast<EkxPolicyTarget>(type));
  if (kind != nullptr) target.body = kind->body();
  return kind != nullptr;
}
bool ReadLine(In& in, SkxAlertModel& alert, const SkxCode& /*line*/) {
  uint16_t type = 0;
  if (!in.U16(type)) return false;
  const SkxAlertKind* const kind = KxKind_Find(kKxAlertKinds, &SkxAlertKind::type, static_cast<EkxAlertType>(type));
  if (kind != nullptr) alert.body = kind->body();
  return kind != nullptr;
}

template <class Record, class Object>
bool ReadFields(In& in, Object& object) {
  return std::apply([&](const auto&... line) { return (ReadLine(in, object, line) && ...); }, kKxRecord<Record>.lines);
}

template <class... Bodies>
bool ReadBody(In& in, std::variant<Bodies...>& body) {
  return std::visit([&in]<class Body>(Body& own) { return ReadFields<Body>(in, own); }, body);
}

bool ReadTarget(In& in, SkxTargetModel& target) {
  return ReadFields<SkxTargetHeaderPart>(in, target) && ReadBody(in, target.body);
}

bool ReadRecord(In& in, SkxPolicyModel& policy) {
  if (!ReadFields<SkxPolicyHeaderPart>(in, policy) || !ReadFields<SkxPolicyCommonPart>(in, policy)) return false;
  const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.action);
  return (!kind->withTargets || ReadFields<SkxPolicyTargetsPart>(in, policy)) && ReadBody(in, policy.params);
}

bool ReadRecord(In& in, SkxAppGroupModel& group) {
  if (!ReadFields<SkxAppGroupHeaderPart>(in, group) || !ReadFields<SkxAppGroupModel>(in, group)) return false;
  group.name = KxGuid_ToText(group.id);
  return true;
}

bool ReadRecord(In& in, SkxAlertModel& alert) {
  if (!ReadFields<SkxAlertHeaderPart>(in, alert) || !ReadBody(in, alert.body)) return false;
  alert.name = KxGuid_ToText(alert.id);
  return true;
}

template <class Model>
bool Decode(std::span<const unsigned char> record, Model& model) {
  const unsigned char* cursor = record.data();
  auto remaining = static_cast<unsigned long>(record.size());
  In in(cursor, remaining);
  model = Model();
  return ReadRecord(in, model);
}

}  // namespace

bool KxDecode_Policy(std::span<const unsigned char> record, SkxPolicyModel& model) { return Decode(record, model); }

bool KxDecode_AppGroup(std::span<const unsigned char> record, SkxAppGroupModel& model) { return Decode(record, model); }

bool KxDecode_Alert(std::span<const unsigned char> record, SkxAlertModel& model) { return Decode(record, model); }
