// Policies, application groups and alerts as records.
#pragma once

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy.h>

#include "Agent/engine/kx_publish/record/target_records.h"

// The parts of a policy: its header; what all have behind it; what those with targets have behind that. Last come the
// fields of its kind.
struct SkxPolicyHeaderPart;
struct SkxPolicyCommonPart;
struct SkxPolicyTargetsPart;

template <>
inline constexpr auto kKxRecord<SkxPolicyHeaderPart> = KxRecord(
    "Policy", SkxFrame{"magic", "always 0x22232425"}, SkxFrame{"size", "bytes of the record, this header included"},
    SkxCode{"action", "what the policy does, and which fields follow the common ones", EkxField::U32},
    KxField("id", &SkxPolicyModel::id, "of the policy; not 0"),
    KxField("active", &SkxPolicyModel::active, "only active policies take part in decisions"),
    SkxUnused{sizeof(SkxPolicyBufHeader::unused17)},
    KxField("order", &SkxPolicyModel::order, "shown; what counts is the order of the records in their section"),
    KxField("implicit", &SkxPolicyModel::implicit, "made by the service, by no administrator"),
    SkxUnused{sizeof(SkxPolicyBufHeader::unused33)});

template <>
inline constexpr auto kKxRecord<SkxAlertLinkModel> =
    KxRecord("Alert link",
             KxField("trigger", &SkxAlertLinkModel::trigger,
                     "on what the alert is shown; 26 and 27: instead of the system's prompt for standard users, for "
                     "administrators"),
             KxField("type", &SkxAlertLinkModel::type, "type of the alert", EkxField::AlertType),
             SkxUnused{sizeof(SkxPolicyAlertLink::reserved)},
             KxField("id", &SkxAlertLinkModel::alert, "id of the alert record", EkxField::AlertId));

template <>
inline constexpr auto kKxRecord<SkxPolicyCommonPart> =
    KxRecord("Common fields", KxField("name", &SkxPolicyModel::name, "what people call the policy"),
             KxField("gpId", &SkxPolicyModel::gpId,
                     "id of the group policy that it came with; decisions report its first 63 units", EkxField::Text),
             KxField("kxGpoId", &SkxPolicyModel::kxGpoId,
                     "id of the agent's own group-policy object, reported likewise", EkxField::Text),
             KxField("reportUsageState", &SkxPolicyModel::reportUsageState, "carried and reported"),
             KxField("guiType", &SkxPolicyModel::guiType, "carried and reported"),
             KxField("alerts", &SkxPolicyModel::alerts, "the alerts to show"));

template <>
inline constexpr auto kKxRecord<SkxPolicyTargetsPart> = KxRecord(
    "Targets of a policy", KxField("policyAutomation", &SkxPolicyModel::policyAutomation, "carried and reported"),
    KxField("targets", &SkxPolicyModel::targets, "what the policy is about; the first that matches makes it apply"));

template <>
inline constexpr auto kKxRecord<std::monostate> = KxRecord("Nothing");

template <>
inline constexpr auto kKxRecord<SkxElevateOnDemandParams> = KxRecord(
    "Parameters of elevation on demand",
    KxField("shellExtension", &SkxElevateOnDemandParams::shellExtension, "offers elevation in the shell's menu"),
    KxField("replaceUacOfStandardUsers", &SkxElevateOnDemandParams::replaceUacOfStandardUsers,
            "takes the place of their elevation prompt"),
    KxField("replaceUacOfAdministrators", &SkxElevateOnDemandParams::replaceUacOfAdministrators,
            "takes the place of their elevation prompt"));

template <>
inline constexpr auto kKxRecord<SkxZeroTouchParams> =
    KxRecord("Parameters of running and collecting events",
             KxField("allowUserRequest", &SkxZeroTouchParams::allowUserRequest, "users may ask for a policy"),
             KxField("monitorAdministrators", &SkxZeroTouchParams::monitorAdministrators, "covers administrators"),
             KxField("monitorStandardUsers", &SkxZeroTouchParams::monitorStandardUsers, "covers standard users"),
             KxField("useHeuristics", &SkxZeroTouchParams::useHeuristics, "carried"),
             KxField("triggeredByUser", &SkxZeroTouchParams::triggeredByUser, "carried"),
             KxField("suppressUacOfStandardUsers", &SkxZeroTouchParams::suppressUacOfStandardUsers,
                     "no elevation prompt for them"),
             KxField("suppressUacOfAdministrators", &SkxZeroTouchParams::suppressUacOfAdministrators,
                     "no elevation prompt for them"));

template <>
inline constexpr auto kKxRecord<SkxComputerActionParams> = KxRecord("Computer action",
                                                                    KxField("computerAction",
                                                                            &SkxComputerActionParams::computerAction,
                                                                            "what to do with the computer; carried"));

template <>
inline constexpr auto kKxRecord<SkxScriptParams> =
    KxRecord("Embedded script", KxField("scriptId", &SkxScriptParams::id, "of the script"),
             KxField("firstText", &SkxScriptParams::firstText, "handed on"),
             KxField("firstData", &SkxScriptParams::firstData, "handed on", EkxField::Data),
             KxField("secondText", &SkxScriptParams::secondText, "handed on"),
             KxField("secondData", &SkxScriptParams::secondData, "handed on", EkxField::Data),
             KxField("thirdData", &SkxScriptParams::thirdData, "handed on", EkxField::Data));

template <>
inline constexpr auto kKxRecord<SkxConfigurationParams> = KxRecord(
    "Configuration", KxField("configurationXml", &SkxConfigurationParams::configurationXml, "settings of the agent"),
    KxField("messagesXml", &SkxConfigurationParams::messagesXml, "texts of its messages"));

template <>
inline constexpr auto kKxRecord<SkxSetSecurityParams> = KxRecord(
    "Access", KxField("allowAccess", &SkxSetSecurityParams::allowAccess, "set: allows access; clear: denies it"));

template <>
inline constexpr auto kKxRecord<SkxExcludeParams> =
    KxRecord("Exclusion from what", KxField("excludeType", &SkxExcludeParams::excludeType,
                                            "0: from policies; any other takes no part in decisions"));

struct SkxAppGroupHeaderPart;
template <>
inline constexpr auto kKxRecord<SkxAppGroupHeaderPart> =
    KxRecord("Application group", SkxFrame{"magic", "always 0x22232426"},
             SkxFrame{"size", "bytes of the record, this header included"},
             KxField("id", &SkxAppGroupModel::id, "of the group; what links name"));

template <>
inline constexpr auto kKxRecord<SkxAppGroupModel> =
    KxRecord("Application group", KxField("targets", &SkxAppGroupModel::targets, "what links to the group stand for"));

struct SkxAlertHeaderPart;
template <>
inline constexpr auto kKxRecord<SkxAlertHeaderPart> = KxRecord(
    "Alert", SkxFrame{"magic", "always 0x22232428"}, SkxFrame{"size", "bytes of the record, this header included"},
    SkxCode{"type", "which body follows", EkxField::AlertType}, SkxUnused{sizeof(SkxAlertBufHeader::reserved)},
    KxField("id", &SkxAlertModel::id, "of the alert; what alert links name"));

template <>
inline constexpr auto kKxRecord<SkxDialogAlert> =
    KxRecord("Dialog", KxField("dialogType", &SkxDialogAlert::dialogType, "carried for whoever shows the dialog"),
             KxField("htmlPath", &SkxDialogAlert::htmlPath, "path of the page to show", EkxField::Text));

template <>
inline constexpr auto kKxRecord<SkxBalloonAlert> = KxRecord("Balloon");
