#include "Agent/engine/kx_publish/record/encode_targets.h"

#include <kx_util/shared_policy_target.h>

#include "Agent/engine/kx_publish/model/policy_kinds.h"

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

void Write(Out& out, const SkxNamedTextTest& test) {
  Write(out, static_cast<const SkxTextTest&>(test));
  out.ObfuscatedText(test.name);
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

void Write(Out& out, const SkxCapabilityTest& test) {
  out.ObfuscatedText(test.name);
  out.Flag(test.required);
}

void Write(Out& out, const SkxMediaTest& test) {
  WriteProperty(out, test.type);
  WriteProperty(out, test.vendor);
  WriteProperty(out, test.product);
  WriteProperty(out, test.serialNumber);
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

void Write(Out& out, const SkxScriptTarget& target) {
  out.Flag(target.inheritable);
  out.Flag(target.embedded);
  WriteProperty(out, target.location);
  WriteProperty(out, target.fileName);
  WriteProperty(out, target.arguments);
  WriteProperty(out, target.owners);
  WriteProperty(out, target.publishers);
  WriteProperty(out, target.parentProcess);
  WriteProperty(out, target.origin);
}

void Write(Out& out, const SkxMsiTarget& target) {
  WriteProperty(out, target.productVersion);
  WriteProperty(out, target.location);
  WriteProperty(out, target.fileName);
  WriteProperty(out, target.arguments);
  WriteProperty(out, target.owners);
  WriteProperty(out, target.publishers);
  WriteProperty(out, target.installerProperties);
  WriteProperty(out, target.parentProcess);
  WriteProperty(out, target.origin);
}

void Write(Out& out, const SkxMsuTarget& target) {
  WriteProperty(out, target.location);
  WriteProperty(out, target.fileName);
  WriteProperty(out, target.owners);
  WriteProperty(out, target.publishers);
  WriteProperty(out, target.parentProcess);
  WriteProperty(out, target.origin);
}

void Write(Out& out, const SkxUrlTarget& target) { WriteProperty(out, target.url); }

void Write(Out& out, const SkxAdminTaskTarget& target) { out.U32(target.task); }

void Write(Out& out, const SkxActiveXTarget& target) {
  WriteProperty(out, target.classId);
  WriteProperty(out, target.sourceAddress);
  WriteProperty(out, target.location);
  WriteProperty(out, target.fileName);
  WriteProperty(out, target.publishers);
}

void Write(Out& out, const SkxFileSystemEntryTarget& target) {
  out.U32(target.accessMask);
  out.Flag(true);  // the property is set
  out.ObfuscatedText(target.path);
  out.Flag(target.folder);
}

void Write(Out& out, const SkxRegistryKeyTarget& target) {
  out.U32(target.accessMask);
  out.U32(target.root);
  out.ObfuscatedText(target.keyPath);
}

void Write(Out& out, const SkxComTarget& target) {
  WriteProperty(out, target.classId);
  WriteProperty(out, target.location);
  WriteProperty(out, target.fileName);
  WriteProperty(out, target.owners);
  WriteProperty(out, target.publishers);
  WriteProperty(out, target.versionFields);
}

void Write(Out& out, const SkxExcludeTarget& target) {
  WriteProperty(out, target.location);
  WriteProperty(out, target.fileName);
  out.Text(target.users);
}

void Write(Out& out, const SkxServiceTarget& target) {
  out.U32(target.accessMask);
  out.Flag(true);  // the property is set
  out.ObfuscatedText(target.serviceName);
}

void Write(Out& out, const SkxMediaTarget& target) {
  out.U32(target.accessMask);
  WriteProperty(out, target.media);
}

void Write(Out& out, const SkxAppPackageTarget& target) {
  out.Flag(target.inheritable);
  WriteProperty(out, target.packageVersion);
  WriteProperty(out, target.packageName);
  WriteProperty(out, target.publishers);
  WriteProperty(out, target.capabilities);
}

void Write(Out& out, const SkxDllTarget& target) {
  WriteProperty(out, target.fileVersion);
  WriteProperty(out, target.productVersion);
  WriteProperty(out, target.location);
  WriteProperty(out, target.fileName);
  WriteProperty(out, target.owners);
  WriteProperty(out, target.publishers);
  WriteProperty(out, target.versionFields);
  WriteProperty(out, target.origin);
}

}  // namespace

void KxEncode_Targets(CkxRecordWriter& out, const std::vector<SkxTargetModel>& targets) {
  out.List(targets, [&out](const SkxTargetModel& target) {
    out.Record(SkxTargetBufHeader::kMagic, [&] {
      out.Guid(target.id);
      out.U32(static_cast<uint32_t>(KxTargetKind_Of(target.body).type));
      std::visit([&out](const auto& body) { Write(out, body); }, target.body);
    });
  });
}
