#include "Agent/engine/kx_publish/record/record_layout.h"

#include <array>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Agent/engine/kx_publish/record/policy_records.h"
#include "Agent/engine/kx_util/store/live_policy_source.h"
#include "Common_CPP/util/text.h"

namespace {

template <class Record>
constexpr auto Fields();

/// The layout of a table, and those of what its lines are made of.
template <class Record>
constexpr auto kFields = Fields<Record>();
template <class Record>
constexpr SkxLayout kLayout = {kKxRecord<Record>.name, kFields<Record>};

template <>
constexpr SkxLayoutField kFields<SkxTargetModel>[1] = {{"", EkxField::Target, nullptr, ""}};
template <>
constexpr SkxLayout kLayout<SkxTargetModel> = {"Target", kFields<SkxTargetModel>};

/// An element of a list of properties: it has a flag of its own.
template <class Record>
constexpr SkxLayoutField kElementFields[] = {{"", EkxField::Property, &kLayout<Record>, ""}};
template <class Record>
constexpr SkxLayout kElement = {kKxRecord<Record>.name, kElementFields<Record>};

/// A property that is such a list.
template <class Record>
constexpr SkxLayoutField kListFields[] = {{"", EkxField::List, &kElement<Record>, ""}};
template <class Record>
constexpr SkxLayout kList = {kKxRecord<Record>.name, kListFields<Record>};

template <class Stored, class Value>
struct Nested {
  using Record = std::conditional_t<std::is_void_v<Stored>, Value, Stored>;
  static constexpr const SkxLayout* layout = &kLayout<Record>;
  static constexpr const SkxLayout* element = &kLayout<Record>;
  static constexpr const SkxLayout* property = &kLayout<Record>;
};
template <class Stored, class Value>
struct Nested<Stored, std::optional<Value>> {
  using Record = typename Nested<Stored, Value>::Record;
  static constexpr const SkxLayout* layout = Nested<Stored, Value>::property;
  static constexpr const SkxLayout* element = &kElement<Record>;
};
template <class Stored, class Element>
struct Nested<Stored, std::vector<Element>> {
  using Record = typename Nested<Stored, Element>::Record;
  static constexpr const SkxLayout* layout = Nested<Stored, Element>::element;
  static constexpr const SkxLayout* property = &kList<Record>;
};

template <class Struct, class Value, class Stored>
constexpr SkxLayoutField Field(const SkxMember<Struct, Value, Stored>& line) {
  constexpr EkxField kind = KxField_Of<Value>();
  if constexpr (kind == EkxField::Part || kind == EkxField::Property || kind == EkxField::List) {
    return {line.name, line.kind, Nested<Stored, Value>::layout, line.meaning};
  } else {
    return {line.name, line.kind, nullptr, line.meaning};
  }
}
template <class Base>
constexpr SkxLayoutField Field(const SkxBase<Base>& line) {
  return {"", EkxField::Part, &kLayout<Base>, line.meaning};
}
constexpr SkxLayoutField Field(const SkxFrame& line) { return {line.name, EkxField::U32, nullptr, line.meaning}; }
constexpr SkxLayoutField Field(const SkxCode& line) { return {line.name, line.kind, nullptr, line.meaning}; }
constexpr SkxLayoutField Field(const SkxUnused& line) {
  return {"", EkxField::Unused, nullptr, "written as 0", line.bytes};
}

template <class Record>
constexpr auto Fields() {
  return std::apply([](const auto&... line) { return std::array<SkxLayoutField, sizeof...(line)>{Field(line)...}; },
                    kKxRecord<Record>.lines);
}

constexpr size_t FixedBytes(const SkxLayout& layout) {
  size_t bytes = 0;
  for (const SkxLayoutField& field : layout.fields) bytes += KxField_FixedBytes(field);
  return bytes;
}
static_assert(FixedBytes(kLayout<SkxPolicyHeaderPart>) == sizeof(SkxPolicyBufHeader));
static_assert(FixedBytes(kLayout<SkxAlertLinkModel>) == sizeof(SkxPolicyAlertLink));
static_assert(FixedBytes(kLayout<SkxElevateOnDemandParams>) == sizeof(SkxElevateOnDemandConfigParams));
static_assert(FixedBytes(kLayout<SkxZeroTouchParams>) == sizeof(SkxZeroTouchConfigParams));
static_assert(FixedBytes(kLayout<SkxAppGroupHeaderPart>) == sizeof(SkxAppGroupBufHeader));
static_assert(FixedBytes(kLayout<SkxAlertHeaderPart>) == sizeof(SkxAlertBufHeader));
static_assert(FixedBytes(kLayout<SkxTargetHeaderPart>) == sizeof(SkxTargetBufHeader));

/// Every kind of property, those that no target has among them, in the order in which they are documented.
constexpr const SkxLayout* kProperties[] = {
    &kLayout<SkxTextTest>,      &kLayout<SkxFileNameTest>,     &kLayout<SkxLocationTest>,
    &kLayout<SkxVersionBounds>, &kLayout<SkxPublisherTest>,    &kLayout<SkxOwnerTest>,
    &kLayout<SkxServiceTest>,   &kLayout<SkxVersionFieldTest>, &kLayout<SkxInstallerPropertyTest>,
    &kLayout<SkxParentTest>,    &kLayout<SkxOriginTest>,       &kLayout<SkxDistributionServiceTest>,
    &kLayout<SkxPackageTest>,   &kLayout<SkxSpawnerTest>,      &kLayout<SkxUserTest>,
    &kLayout<SkxFsPath>,        &kLayout<SkxMediaTest>,        &kLayout<SkxCapabilityTest>,
    &kLayout<SkxBitmaskTest>,   &kLayout<SkxNameValueTest>,
};

/// The bodies of a variant in the order of its alternatives, which is that of the kinds.
template <class... Bodies, class Kind, size_t count, class Code>
constexpr auto BodiesOf(std::type_identity<std::variant<Bodies...>>, const Kind (&kinds)[count], Code Kind::*code) {
  static_assert(count == sizeof...(Bodies));
  std::array<SkxRecordBody, count> bodies{SkxRecordBody{0, &kLayout<Bodies>}...};
  for (size_t i = 0; i < count; ++i) bodies[i].code = static_cast<uint32_t>(kinds[i].*code);
  return bodies;
}
constexpr auto kTargetBodies = BodiesOf(std::type_identity<SkxTargetBody>(), kKxTargetKinds, &SkxTargetKind::type);
constexpr auto kAlertBodies = BodiesOf(std::type_identity<SkxAlertBody>(), kKxAlertKinds, &SkxAlertKind::type);
constexpr SkxRecordBody kAppGroupBodies[] = {{0, &kLayout<SkxAppGroupModel>}};

/// Of a policy: the common fields, with targets or without, then the action's own.
template <bool withTargets, class Own>
constexpr SkxLayoutField kPolicyBodyFields[] = {
    {"", EkxField::Part, &kLayout<SkxPolicyCommonPart>, ""},
    {"", EkxField::Part, &kLayout<std::conditional_t<withTargets, SkxPolicyTargetsPart, std::monostate>>, ""},
    {"", EkxField::Part, &kLayout<Own>, ""},
};
template <bool withTargets, class Own>
constexpr SkxLayout kPolicyBody = {"Policy", kPolicyBodyFields<withTargets, Own>};

template <class... Owns>
constexpr auto PolicyBodies(std::type_identity<std::variant<Owns...>>) {
  constexpr const SkxLayout* layouts[2][sizeof...(Owns)] = {{&kPolicyBody<false, Owns>...},
                                                            {&kPolicyBody<true, Owns>...}};
  std::array<SkxRecordBody, std::size(kKxPolicyKinds)> bodies{};
  for (size_t i = 0; i < bodies.size(); ++i) {
    const SkxPolicyKind& kind = kKxPolicyKinds[i];
    bodies[i] = {static_cast<uint32_t>(kind.action), layouts[kind.withTargets ? 1 : 0][kind.paramsIndex]};
  }
  return bodies;
}
constexpr auto kPolicyBodies = PolicyBodies(std::type_identity<SkxPolicyParams>());

constexpr uint16_t kSlotBytes = kKxIndexSlotUnits * sizeof(WCHAR);
constexpr SkxLayoutField kIndexFields[] = {
    {"policies", EkxField::NameSlot, nullptr, "name of the section of the policies", kSlotBytes},
    {"applicationGroups", EkxField::NameSlot, nullptr, "name of the section of the application groups", kSlotBytes},
    {"alerts", EkxField::NameSlot, nullptr, "name of the section of the alerts", kSlotBytes},
};

constexpr SkxLayoutField kSectionFields[] = {
    {"count", EkxField::U32, nullptr, "how many records follow"},
    {"records", EkxField::Rest, nullptr, "back to back, without gaps, each as long as its size field says"},
};

std::string CodeText(uint32_t code, const WCHAR* name) {
  return std::to_string(static_cast<int32_t>(code)) + " (" + KxText_ToUtf8(name) + ")";
}
std::string ActionText(uint32_t code) {
  return CodeText(code, KxUtil_PolicyActionStr(static_cast<EkxPolicyAction>(code)));
}
std::string TargetTypeText(uint32_t code) {
  return CodeText(code, KxUtil_PolicyTargetTypeStr(static_cast<EkxPolicyTarget>(code)));
}
std::string AlertTypeText(uint32_t code) { return std::to_string(code); }

}  // namespace

const SkxLayout* SkxRecordLayout::Body(uint32_t code) const {
  for (const SkxRecordBody& body : bodies) {
    if (body.code == code) return body.layout;
  }
  return nullptr;
}

constinit const SkxRecordLayout kKxPolicyLayout = {"policy",
                                                   SkxPolicyBufHeader::kMagic,
                                                   &kLayout<SkxPolicyHeaderPart>,
                                                   sizeof(SkxPolicyBufHeader),
                                                   "action",
                                                   offsetof(SkxPolicyBufHeader, action),
                                                   sizeof(uint32_t),
                                                   ActionText,
                                                   kPolicyBodies};
constinit const SkxRecordLayout kKxAppGroupLayout = {"application group",
                                                     SkxAppGroupBufHeader::kMagic,
                                                     &kLayout<SkxAppGroupHeaderPart>,
                                                     sizeof(SkxAppGroupBufHeader),
                                                     nullptr,
                                                     0,
                                                     0,
                                                     nullptr,
                                                     kAppGroupBodies};
constinit const SkxRecordLayout kKxTargetLayout = {"target",
                                                   SkxTargetBufHeader::kMagic,
                                                   &kLayout<SkxTargetHeaderPart>,
                                                   sizeof(SkxTargetBufHeader),
                                                   "type",
                                                   offsetof(SkxTargetBufHeader, type),
                                                   sizeof(uint32_t),
                                                   TargetTypeText,
                                                   kTargetBodies};
constinit const SkxRecordLayout kKxAlertLayout = {
    "alert",     SkxAlertBufHeader::kMagic,         &kLayout<SkxAlertHeaderPart>, sizeof(SkxAlertBufHeader),
    "type",      offsetof(SkxAlertBufHeader, type), sizeof(EkxAlertType),         AlertTypeText,
    kAlertBodies};

constinit const SkxLayout kKxPolicyCommonLayout = kLayout<SkxPolicyCommonPart>;
constinit const SkxLayout kKxPolicyTargetsLayout = kLayout<SkxPolicyTargetsPart>;
constinit const SkxLayout kKxAlertLinkLayout = kLayout<SkxAlertLinkModel>;
constinit const SkxLayout kKxIndexLayout = {"Index", kIndexFields};
constinit const SkxLayout kKxSectionLayout = {"Section", kSectionFields};

std::span<const SkxLayout* const> KxRecordLayout_Properties() { return kProperties; }
