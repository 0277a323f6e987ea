#include "Agent/engine/kx_publish/record/record_layout.h"

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy.h>

#include "Agent/engine/kx_publish/record/record_layout_targets.h"
#include "Agent/engine/kx_util/store/live_policy_source.h"
#include "Common_CPP/util/text.h"

namespace {

using namespace kx_layout;

constexpr Fields kPolicyHeaderFields = {
    {"magic", F::U32, nullptr, "always 0x22232425"},
    {"size", F::U32, nullptr, "bytes of the record, this header included"},
    {"action", F::U32, nullptr, "what the policy does, and which fields follow the common ones"},
    {"id", F::U32, nullptr, "of the policy; not 0"},
    {"active", F::Flag, nullptr, "only active policies take part in decisions"},
    {"", F::Unused, nullptr, "written as 0", sizeof(SkxPolicyBufHeader::unused17)},
    {"order", F::U64, nullptr, "shown; what counts is the order of the records in their section"},
    {"implicit", F::Flag, nullptr, "made by the service, by no administrator"},
    {"", F::Unused, nullptr, "written as 0", sizeof(SkxPolicyBufHeader::unused33)},
};
constexpr SkxLayout kPolicyHeader = {"Policy", kPolicyHeaderFields};
static_assert(FixedBytes(kPolicyHeader) == sizeof(SkxPolicyBufHeader));

constexpr Fields kAlertLinkFields = {
    {"trigger", F::U32, nullptr,
     "on what the alert is shown; 26 and 27: instead of the system's prompt for standard users, for administrators"},
    {"type", F::AlertType, nullptr, "type of the alert"},
    {"", F::Unused, nullptr, "written as 0", sizeof(SkxPolicyAlertLink::reserved)},
    {"id", F::AlertId, nullptr, "id of the alert record"},
};
constexpr SkxLayout kAlertLink = {"Alert link", kAlertLinkFields};
static_assert(FixedBytes(kAlertLink) == sizeof(SkxPolicyAlertLink));

constexpr Fields kPolicyCommonFields = {
    {"name", F::ObfuscatedText, nullptr, "what people call the policy"},
    {"gpId", F::Text, nullptr, "id of the group policy that it came with; decisions report its first 63 units"},
    {"kxGpoId", F::Text, nullptr, "id of the agent's own group-policy object, reported likewise"},
    {"reportUsageState", F::U32, nullptr, "carried and reported"},
    {"guiType", F::U32, nullptr, "carried and reported"},
    {"alerts", F::List, &kAlertLink, "the alerts to show"},
};
constexpr SkxLayout kPolicyCommon = {"Common fields", kPolicyCommonFields};

constexpr Fields kPolicyTargetsFields = {
    {"policyAutomation", F::Flag, nullptr, "carried and reported"},
    {"targets", F::List, &kTargetElement, "what the policy is about; the first that matches makes it apply"},
};
constexpr SkxLayout kPolicyTargets = {"Targets of a policy", kPolicyTargetsFields};

constexpr Fields kElevateOnDemandFields = {
    {"shellExtension", F::Flag, nullptr, "offers elevation in the shell's menu"},
    {"replaceUacOfStandardUsers", F::Flag, nullptr, "takes the place of their elevation prompt"},
    {"replaceUacOfAdministrators", F::Flag, nullptr, "takes the place of their elevation prompt"},
};
constexpr SkxLayout kElevateOnDemand = {"Parameters of elevation on demand", kElevateOnDemandFields};
static_assert(FixedBytes(kElevateOnDemand) == sizeof(SkxElevateOnDemandConfigParams));

constexpr Fields kZeroTouchFields = {
    {"allowUserRequest", F::Flag, nullptr, "users may ask for a policy"},
    {"monitorAdministrators", F::Flag, nullptr, "covers administrators"},
    {"monitorStandardUsers", F::Flag, nullptr, "covers standard users"},
    {"useHeuristics", F::Flag, nullptr, "carried"},
    {"triggeredByUser", F::Flag, nullptr, "carried"},
    {"suppressUacOfStandardUsers", F::Flag, nullptr, "no elevation prompt for them"},
    {"suppressUacOfAdministrators", F::Flag, nullptr, "no elevation prompt for them"},
};
constexpr SkxLayout kZeroTouch = {"Parameters of running and collecting events", kZeroTouchFields};
static_assert(FixedBytes(kZeroTouch) == sizeof(SkxZeroTouchConfigParams));

constexpr Fields kComputerActionFields = {{"computerAction", F::U32, nullptr, "what to do with the computer; carried"}};
constexpr SkxLayout kComputerAction = {"Computer action", kComputerActionFields};

constexpr Fields kScriptBlockFields = {
    {"scriptId", F::Guid, nullptr, "of the script"}, {"firstText", F::ObfuscatedText, nullptr, "handed on"},
    {"firstData", F::Data, nullptr, "handed on"},    {"secondText", F::ObfuscatedText, nullptr, "handed on"},
    {"secondData", F::Data, nullptr, "handed on"},   {"thirdData", F::Data, nullptr, "handed on"},
};
constexpr SkxLayout kScriptBlock = {"Embedded script", kScriptBlockFields};

constexpr Fields kConfigurationFields = {
    {"configurationXml", F::ObfuscatedText, nullptr, "settings of the agent"},
    {"messagesXml", F::ObfuscatedText, nullptr, "texts of its messages"},
};
constexpr SkxLayout kConfiguration = {"Configuration", kConfigurationFields};

constexpr Fields kSetSecurityFields = {{"allowAccess", F::Flag, nullptr, "set: allows access; clear: denies it"}};
constexpr SkxLayout kSetSecurity = {"Access", kSetSecurityFields};

constexpr Fields kExcludeFields = {
    {"excludeType", F::U16, nullptr, "0: from policies; any other takes no part in decisions"},
};
constexpr SkxLayout kExclude = {"Exclusion from what", kExcludeFields};

constexpr SkxLayout kNothing = {"Nothing", {}};

/// The common fields, with targets or without, then the action's own.
template <bool withTargets, const SkxLayout& own>
constexpr SkxLayoutField kPolicyBodyFields[] = {
    {"", F::Part, &kPolicyCommon, ""},
    {"", F::Part, withTargets ? &kPolicyTargets : &kNothing, ""},
    {"", F::Part, &own, ""},
};
template <bool withTargets, const SkxLayout& own = kNothing>
constexpr SkxLayout kPolicyBody = {"Policy", kPolicyBodyFields<withTargets, own>};

constexpr uint32_t Code(EkxPolicyAction action) { return static_cast<uint32_t>(action); }
constexpr SkxRecordBody kPolicyBodies[] = {
    {Code(EkxPolicyAction::Run), &kPolicyBody<true>},
    {Code(EkxPolicyAction::Block), &kPolicyBody<true>},
    {Code(EkxPolicyAction::Elevate), &kPolicyBody<true>},
    {Code(EkxPolicyAction::Trust), &kPolicyBody<true, kElevateOnDemand>},
    {Code(EkxPolicyAction::CollectUac), &kPolicyBody<false>},
    {Code(EkxPolicyAction::RunAndCollectEvents), &kPolicyBody<true, kZeroTouch>},
    {Code(EkxPolicyAction::LogOff), &kPolicyBody<false>},
    {Code(EkxPolicyAction::ComputerAction), &kPolicyBody<false, kComputerAction>},
    {Code(EkxPolicyAction::RunScript), &kPolicyBody<false, kScriptBlock>},
    {Code(EkxPolicyAction::Configuration), &kPolicyBody<false, kConfiguration>},
    {Code(EkxPolicyAction::SetSecurity), &kPolicyBody<true, kSetSecurity>},
    {Code(EkxPolicyAction::Exclude), &kPolicyBody<true, kExclude>},
    {Code(EkxPolicyAction::SoftwareDistributor), &kPolicyBody<true>},
    {Code(EkxPolicyAction::DeveloperApplication), &kPolicyBody<true>},
};

constexpr Fields kAppGroupHeaderFields = {
    {"magic", F::U32, nullptr, "always 0x22232426"},
    {"size", F::U32, nullptr, "bytes of the record, this header included"},
    {"id", F::Guid, nullptr, "of the group; what links name"},
};
constexpr SkxLayout kAppGroupHeader = {"Application group", kAppGroupHeaderFields};
static_assert(FixedBytes(kAppGroupHeader) == sizeof(SkxAppGroupBufHeader));

constexpr Fields kAppGroupFields = {{"targets", F::List, &kTargetElement, "what links to the group stand for"}};
constexpr SkxLayout kAppGroup = {"Application group", kAppGroupFields};
constexpr SkxRecordBody kAppGroupBodies[] = {{0, &kAppGroup}};

constexpr Fields kAlertHeaderFields = {
    {"magic", F::U32, nullptr, "always 0x22232428"},
    {"size", F::U32, nullptr, "bytes of the record, this header included"},
    {"type", F::AlertType, nullptr, "which body follows"},
    {"", F::Unused, nullptr, "written as 0", sizeof(SkxAlertBufHeader::reserved)},
    {"id", F::Guid, nullptr, "of the alert; what alert links name"},
};
constexpr SkxLayout kAlertHeader = {"Alert", kAlertHeaderFields};
static_assert(FixedBytes(kAlertHeader) == sizeof(SkxAlertBufHeader));

constexpr Fields kDialogFields = {
    {"dialogType", F::U32, nullptr, "carried for whoever shows the dialog"},
    {"htmlPath", F::Text, nullptr, "path of the page to show"},
};
constexpr SkxLayout kDialog = {"Dialog", kDialogFields};
constexpr SkxLayout kBalloon = {"Balloon", {}};
constexpr SkxRecordBody kAlertBodies[] = {
    {static_cast<uint32_t>(EkxAlertType::Dialog), &kDialog},
    {static_cast<uint32_t>(EkxAlertType::Balloon), &kBalloon},
};

constexpr uint16_t kSlotBytes = kKxIndexSlotUnits * sizeof(WCHAR);
constexpr Fields kIndexFields = {
    {"policies", F::NameSlot, nullptr, "name of the section of the policies", kSlotBytes},
    {"applicationGroups", F::NameSlot, nullptr, "name of the section of the application groups", kSlotBytes},
    {"alerts", F::NameSlot, nullptr, "name of the section of the alerts", kSlotBytes},
};

constexpr Fields kSectionFields = {
    {"count", F::U32, nullptr, "how many records follow"},
    {"records", F::Rest, nullptr, "back to back, without gaps, each as long as its size field says"},
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

size_t KxField_FixedBytes(EkxField kind) { return FixedBytes(kind); }
size_t KxField_FixedBytes(const SkxLayoutField& field) { return FixedBytes(field.kind) + field.bytes; }

const SkxLayout* SkxRecordLayout::Body(uint32_t code) const {
  for (const SkxRecordBody& body : bodies) {
    if (body.code == code) return body.layout;
  }
  return nullptr;
}

constinit const SkxRecordLayout kKxPolicyLayout = {
    "policy",     SkxPolicyBufHeader::kMagic,           &kPolicyHeader,   sizeof(SkxPolicyBufHeader),
    "action",     offsetof(SkxPolicyBufHeader, action), sizeof(uint32_t), ActionText,
    kPolicyBodies};
constinit const SkxRecordLayout kKxAppGroupLayout = {"application group",
                                                     SkxAppGroupBufHeader::kMagic,
                                                     &kAppGroupHeader,
                                                     sizeof(SkxAppGroupBufHeader),
                                                     nullptr,
                                                     0,
                                                     0,
                                                     nullptr,
                                                     kAppGroupBodies};
constinit const SkxRecordLayout kKxTargetLayout = {
    "target",     SkxTargetBufHeader::kMagic,         &kTargetHeader,   sizeof(SkxTargetBufHeader),
    "type",       offsetof(SkxTargetBufHeader, type), sizeof(uint32_t), TargetTypeText,
    kTargetBodies};
constinit const SkxRecordLayout kKxAlertLayout = {
    "alert",     SkxAlertBufHeader::kMagic,         &kAlertHeader,        sizeof(SkxAlertBufHeader),
    "type",      offsetof(SkxAlertBufHeader, type), sizeof(EkxAlertType), AlertTypeText,
    kAlertBodies};

constinit const SkxLayout kKxPolicyCommonLayout = kPolicyCommon;
constinit const SkxLayout kKxPolicyTargetsLayout = kPolicyTargets;
constinit const SkxLayout kKxAlertLinkLayout = kAlertLink;
constinit const SkxLayout kKxIndexLayout = {"Index", kIndexFields};
constinit const SkxLayout kKxSectionLayout = {"Section", kSectionFields};

std::span<const SkxLayout* const> KxRecordLayout_Properties() { return kProperties; }
