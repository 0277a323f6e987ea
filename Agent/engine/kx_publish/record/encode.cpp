#include "Agent/engine/kx_publish/record/encode.h"

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy.h>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Agent/engine/kx_publish/record/encode_targets.h"

namespace {

using Out = CkxRecordWriter;

void Write(Out&, std::monostate) {}

void Write(Out& out, const SkxElevateOnDemandParams& params) {
  out.Flag(params.shellExtension);
  out.Flag(params.replaceUacOfStandardUsers);
  out.Flag(params.replaceUacOfAdministrators);
}

void Write(Out& out, const SkxZeroTouchParams& params) {
  out.Flag(params.allowUserRequest);
  out.Flag(params.monitorAdministrators);
  out.Flag(params.monitorStandardUsers);
  out.Flag(params.useHeuristics);
  out.Flag(params.triggeredByUser);
  out.Flag(params.suppressUacOfStandardUsers);
  out.Flag(params.suppressUacOfAdministrators);
}

void Write(Out& out, const SkxComputerActionParams& params) { out.U32(params.computerAction); }

void Write(Out& out, const SkxScriptParams& script) {
  out.Guid(script.id);
  out.ObfuscatedText(script.firstText);
  out.Text(script.firstData);
  out.ObfuscatedText(script.secondText);
  out.Text(script.secondData);
  out.Text(script.thirdData);
}

void Write(Out& out, const SkxConfigurationParams& params) {
  out.ObfuscatedText(params.configurationXml);
  out.ObfuscatedText(params.messagesXml);
}

void Write(Out& out, const SkxSetSecurityParams& params) { out.Flag(params.allowAccess); }

void Write(Out& out, const SkxExcludeParams& params) { out.U16(params.excludeType); }

void Write(Out& out, const SkxDialogAlert& dialog) {
  out.U32(dialog.dialogType);
  out.Text(dialog.htmlPath);
}

void Write(Out&, const SkxBalloonAlert&) {}

void WriteAlertLinks(Out& out, const std::vector<SkxAlertLinkModel>& alerts) {
  out.List(alerts, [&out](const SkxAlertLinkModel& link) {
    out.U32(link.trigger);
    out.U16(link.type);
    out.Zeros(sizeof(SkxPolicyAlertLink::reserved));
    out.Guid(link.alert);
  });
}

void WriteHeaderFields(Out& out, const SkxPolicyModel& policy) {
  out.U32(static_cast<uint32_t>(policy.action));
  out.U32(policy.id);
  out.Flag(policy.active);
  out.Zeros(sizeof(SkxPolicyBufHeader::unused17));
  out.U64(policy.order);
  out.Flag(policy.implicit);
  out.Zeros(sizeof(SkxPolicyBufHeader::unused33));
}

void WriteRecord(Out& out, const SkxPolicyModel& policy) {
  const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.action);
  out.Record(SkxPolicyBufHeader::kMagic, [&] {
    WriteHeaderFields(out, policy);
    out.ObfuscatedText(policy.name);
    out.Text(policy.gpId);
    out.Text(policy.kxGpoId);
    out.U32(policy.reportUsageState);
    out.U32(policy.guiType);
    WriteAlertLinks(out, policy.alerts);
    if (kind != nullptr && kind->withTargets) {
      out.Flag(policy.policyAutomation);
      KxEncode_Targets(out, policy.targets);
    }
    std::visit([&out](const auto& params) { Write(out, params); }, policy.params);
  });
}

void WriteRecord(Out& out, const SkxAppGroupModel& group) {
  out.Record(SkxAppGroupBufHeader::kMagic, [&] {
    out.Guid(group.id);
    KxEncode_Targets(out, group.targets);
  });
}

void WriteRecord(Out& out, const SkxAlertModel& alert) {
  out.Record(SkxAlertBufHeader::kMagic, [&] {
    out.U16(static_cast<uint16_t>(KxAlertKind_Of(alert.body).type));
    out.Zeros(sizeof(SkxAlertBufHeader::reserved));
    out.Guid(alert.id);
    std::visit([&out](const auto& body) { Write(out, body); }, alert.body);
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
