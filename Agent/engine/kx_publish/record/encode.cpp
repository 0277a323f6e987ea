#include "Agent/engine/kx_publish/record/encode.h"

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Agent/engine/kx_publish/record/policy_records.h"
#include "Agent/engine/kx_publish/record/record_writer.h"

namespace {

using Out = CkxRecordWriter;

template <class Record, class Object>
void WriteFields(Out& out, const Object& object);
template <class Stored, class Element>
void WriteValue(Out& out, const std::vector<Element>& elements, EkxField kind);
template <class Stored, class Value>
void WriteValue(Out& out, const std::optional<Value>& property, EkxField kind);

void WriteTarget(Out& out, const SkxTargetModel& target);

void WriteText(Out& out, const KxWString& text, EkxField kind) {
  return kind == EkxField::Text || kind == EkxField::Data ? out.Text(text) : out.ObfuscatedText(text);
}

void WriteNumber(Out& out, uint64_t value, EkxField kind) {
  if (kind != EkxField::Version) return out.Number(value);
  const SkxVersion version(value);
  out.U32(version.MostSignificant());
  out.U32(version.LeastSignificant());
}

/// A struct by its own table, or a value that has none by that of `Stored`, which holds just it.
template <class Stored, class Value>
void WriteStruct(Out& out, const Value& value) {
  if constexpr (std::is_void_v<Stored>) {
    WriteFields<Value>(out, value);
  } else {
    WriteFields<Stored>(out, Stored{value});
  }
}

template <class Stored, class Value>
void WriteValue(Out& out, const Value& value, EkxField kind) {
  if constexpr (std::is_same_v<Value, bool>) {
    out.Flag(value);
  } else if constexpr (std::is_same_v<Value, uint64_t>) {
    WriteNumber(out, value, kind);
  } else if constexpr (std::is_arithmetic_v<Value> || std::is_same_v<Value, GUID>) {
    out.Number(value);
  } else if constexpr (std::is_same_v<Value, KxWString>) {
    WriteText(out, value, kind);
  } else if constexpr (std::is_same_v<Value, CkxSid>) {
    out.Sid(value);
  } else {
    if (kind == EkxField::Property) out.Flag(true);  // one that is always set
    WriteStruct<Stored>(out, value);
  }
}

template <class Stored, class Element>
void WriteValue(Out& out, const std::vector<Element>& elements, EkxField /*kind*/) {
  out.List(elements, [&out](const Element& element) {
    if constexpr (std::is_same_v<Element, SkxTargetModel>) {
      WriteTarget(out, element);
    } else if constexpr (kKxIsOptional<Element>) {
      WriteValue<Stored>(out, element, EkxField::Property);
    } else {
      WriteStruct<Stored>(out, element);
    }
  });
}

template <class Stored, class Value>
void WriteValue(Out& out, const std::optional<Value>& property, EkxField /*kind*/) {
  out.Property(property, [&out](const Value& value) {
    if constexpr (kKxIsVector<Value>) {
      WriteValue<Stored>(out, value, EkxField::List);
    } else {
      WriteStruct<Stored>(out, value);
    }
  });
}

template <class Object, class Struct, class Value, class Stored>
void WriteLine(Out& out, const Object& object, const SkxMember<Struct, Value, Stored>& line) {
  WriteValue<Stored>(out, object.*line.member, line.kind);
}
template <class Object, class Base>
void WriteLine(Out& out, const Object& object, const SkxBase<Base>& /*line*/) {
  WriteFields<Base>(out, static_cast<const Base&>(object));
}
template <class Object>
void WriteLine(Out& /*out*/, const Object& /*object*/, const SkxFrame& /*line*/) {}  // the writer's, around all of it
template <class Object>
void WriteLine(Out& out, const Object& /*object*/, const SkxUnused& line) {
  out.Zeros(line.bytes);
}
void WriteLine(Out& out, const SkxPolicyModel& policy, const SkxCode& /*line*/) {
  out.U32(static_cast<uint32_t>(policy.action));
}
void WriteLine(Out& out, const SkxTargetModel& target, const SkxCode& /*line*/) {
  out.U32(static_cast<uint32_t>(KxTargetKind_Of(target.body).type));
}
void WriteLine(Out& out, const SkxAlertModel& alert, const SkxCode& /*line*/) {
  out.U16(static_cast<uint16_t>(KxAlertKind_Of(alert.body).type));
}

template <class Record, class Object>
void WriteFields(Out& out, const Object& object) {
  std::apply([&](const auto&... line) { (WriteLine(out, object, line), ...); }, kKxRecord<Record>.lines);
}

template <class... Bodies>
void WriteBody(Out& out, const std::variant<Bodies...>& body) {
  std::visit([&out]<class Body>(const Body& own) { WriteFields<Body>(out, own); }, body);
}

void WriteTarget(Out& out, const SkxTargetModel& target) {
  out.Record(SkxTargetBufHeader::kMagic, [&] {
    WriteFields<SkxTargetHeaderPart>(out, target);
    WriteBody(out, target.body);
  });
}

void WriteRecord(Out& out, const SkxPolicyModel& policy) {
  const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.action);
  out.Record(SkxPolicyBufHeader::kMagic, [&] {
    WriteFields<SkxPolicyHeaderPart>(out, policy);
    WriteFields<SkxPolicyCommonPart>(out, policy);
    if (kind != nullptr && kind->withTargets) WriteFields<SkxPolicyTargetsPart>(out, policy);
    WriteBody(out, policy.params);
  });
}

void WriteRecord(Out& out, const SkxAppGroupModel& group) {
  out.Record(SkxAppGroupBufHeader::kMagic, [&] {
    WriteFields<SkxAppGroupHeaderPart>(out, group);
    WriteFields<SkxAppGroupModel>(out, group);
  });
}

void WriteRecord(Out& out, const SkxAlertModel& alert) {
  out.Record(SkxAlertBufHeader::kMagic, [&] {
    WriteFields<SkxAlertHeaderPart>(out, alert);
    WriteBody(out, alert.body);
  });
}

template <class Model>
std::vector<unsigned char> Encoded(const Model& model) {
  Out out;
  WriteRecord(out, model);
  return std::move(out).Take();
}

template <class Model>
std::vector<unsigned char> EncodedSection(const std::vector<Model>& models) {
  Out out;
  out.List(models, [&out](const Model& model) { WriteRecord(out, model); });
  return std::move(out).Take();
}

}  // namespace

std::vector<unsigned char> KxEncode_Policy(const SkxPolicyModel& policy) { return Encoded(policy); }

std::vector<unsigned char> KxEncode_AppGroup(const SkxAppGroupModel& group) { return Encoded(group); }

std::vector<unsigned char> KxEncode_Alert(const SkxAlertModel& alert) { return Encoded(alert); }

std::vector<unsigned char> KxEncode_Policies(const std::vector<SkxPolicyModel>& policies) {
  return EncodedSection(policies);
}

std::vector<unsigned char> KxEncode_AppGroups(const std::vector<SkxAppGroupModel>& groups) {
  return EncodedSection(groups);
}

std::vector<unsigned char> KxEncode_Alerts(const std::vector<SkxAlertModel>& alerts) { return EncodedSection(alerts); }
