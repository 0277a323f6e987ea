#include "Agent/engine/kx_publish/encode.h"

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_policy.h>

#include "Agent/engine/kx_publish/applicable_rules.h"
#include "Agent/engine/kx_publish/policy_kinds.h"
#include "Agent/engine/kx_publish/record_writer.h"

namespace {

using Out = CkxRecordWriter;

template <class Value>
void WriteProperty(Out& out, const std::optional<Value>& property);

void Write(Out& out, const KxWString& text) { out.ObfuscatedText(text); }

void Write(Out& out, const CkxSid& sid) { out.Sid(sid); }

void Write(Out& out, const SkxVersionBounds& bounds) {
  for (const SkxVersion version : {SkxVersion(bounds.min), SkxVersion(bounds.max)}) {
    out.U32(version.MostSignificant());
    out.U32(version.LeastSignificant());
  }
}

void Write(Out& out, const SkxTextTest& test) {
  out.ObfuscatedText(test.pattern);
  out.Flag(test.caseSensitive);
  out.U16(test.compareAs);
}

void Write(Out& out, const SkxPublisherTest& test) {
  Write(out, static_cast<const SkxTextTest&>(test));
  out.Flag(test.unsignedOnly);
}

void Write(Out& out, const SkxVersionFieldTest& test) {
  Write(out, static_cast<const SkxTextTest&>(test));
  out.ObfuscatedText(test.field);
}

void Write(Out& out, const SkxFileNameTest& test) {
  out.ObfuscatedText(test.pattern);
  out.U16(test.compareAs);
  out.Text(test.hashAlgorithm);
  out.Text(test.hash);
  out.I64(test.fileSize);
}

void Write(Out& out, const SkxLocationTest& test) {
  out.ObfuscatedText(test.pattern);
  out.Flag(test.withSubfolders);
  out.Text(test.types);
}

void Write(Out& out, const SkxParentTest& test) {
  out.Guid(test.includedGroup);
  out.Flag(test.includedAnyAncestor);
  out.Guid(test.excludedGroup);
  out.Flag(test.excludedAnyAncestor);
}

void Write(Out& out, const SkxSpawnerTest& test) {
  out.Flag(test.allCallers);
  out.U8(test.mode);
}

template <class Value>
void Write(Out& out, const KxElements<Value>& elements) {
  out.List(elements, [&out](const std::optional<Value>& element) { WriteProperty(out, element); });
}

void Write(Out& out, const SkxPackageTest& test) {
  out.Flag(test.flag);
  out.ObfuscatedText(test.name);
  WriteProperty(out, test.versions);
  Write(out, test.publishers);
}

void Write(Out& out, const SkxOriginTest& test) {
  out.Flag(test.flag);
  out.U32(test.mainSourceType);
  WriteProperty(out, test.distributionService);
  WriteProperty(out, test.location);
  WriteProperty(out, test.package);
  WriteProperty(out, test.spawnerProcess);
  WriteProperty(out, test.sourceAddress);
  WriteProperty(out, test.users);
}

template <class Value>
void WriteProperty(Out& out, const std::optional<Value>& property) {
  out.Property(property, [&out](const Value& value) { Write(out, value); });
}

void Write(Out& out, const SkxGroupLink& link) { out.Guid(link.group); }

void Write(Out& out, const SkxExeTarget& target) {
  out.Flag(target.inheritable);
  WriteProperty(out, target.fileVersion);
  WriteProperty(out, target.productVersion);
  WriteProperty(out, target.location);
  WriteProperty(out, target.fileName);
  WriteProperty(out, target.arguments);
  WriteProperty(out, target.owners);
  WriteProperty(out, target.publishers);
  WriteProperty(out, target.versionFields);
  WriteProperty(out, target.serviceName);
  WriteProperty(out, target.parentProcess);
  out.Text(target.users);
  WriteProperty(out, target.origin);
  out.ObfuscatedText(target.softwareDistributorName);
}

void Write(Out& out, const SkxUrlTarget& target) { WriteProperty(out, target.url); }

void Write(Out& out, const SkxExcludeTarget& target) {
  WriteProperty(out, target.location);
  WriteProperty(out, target.fileName);
  out.Text(target.users);
}

void Write(Out& out, const std::vector<SkxTargetModel>& targets) {
  out.List(targets, [&out](const SkxTargetModel& target) {
    out.Record(SkxTargetBufHeader::kMagic, [&] {
      out.Guid(target.id);
      out.U32(static_cast<uint32_t>(KxTargetKind_Of(target.body).type));
      std::visit([&out](const auto& body) { Write(out, body); }, target.body);
    });
  });
}

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

void WriteAlerts(Out& out, const std::vector<SkxAlertLinkModel>& alerts) {
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
    WriteAlerts(out, policy.alerts);
    if (kind != nullptr && kind->withTargets) {
      out.Flag(policy.policyAutomation);
      Write(out, policy.targets);
    }
    std::visit([&out](const auto& params) { Write(out, params); }, policy.params);
  });
}

void WriteRecord(Out& out, const SkxAppGroupModel& group) {
  out.Record(SkxAppGroupBufHeader::kMagic, [&] {
    out.Guid(group.id);
    Write(out, group.targets);
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

std::vector<unsigned char> KxEncode_Policies(const std::vector<SkxPolicyModel>& policies) {
  return EncodedSection(policies);
}

std::vector<unsigned char> KxEncode_AppGroups(const std::vector<SkxAppGroupModel>& groups) {
  return EncodedSection(groups);
}

SkxPolicyImage KxEncode_Image(const SkxPublication& publication) {
  SkxPolicyImage image;
  image.policies = KxEncode_Policies(publication.policies);
  image.appGroups = KxEncode_AppGroups(publication.groups);
  image.alerts = EncodedSection(std::vector<SkxAppGroupModel>{});
  if (!publication.applicable.empty()) image.applicable = KxApplicable_Write(publication.applicable);
  return image;
}
