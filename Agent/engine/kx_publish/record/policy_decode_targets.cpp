// Targets and what they ask for, from the objects that the library made of their records.
#include <kx_util/shared_policy_target_admin_task.h>
#include <kx_util/shared_policy_target_app_group_link.h>
#include <kx_util/shared_policy_target_exclude.h>
#include <kx_util/shared_policy_target_exe.h>
#include <kx_util/shared_policy_target_files.h>
#include <kx_util/shared_policy_target_security.h>
#include <kx_util/shared_policy_target_url.h>

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Agent/engine/kx_publish/record/policy_decode.h"

namespace {

KxWString Text(CkxTextView text) { return text.ToString(); }

/// One `Read` a kind of property or target; together in a class, so that each can call any other.
struct Decoder {
  static void Read(const CkxShBufPropStr& prop, SkxTextTest& test) {
    test.pattern = Text(prop.Pattern());
    test.caseSensitive = prop.CaseSensitive();
    test.compareAs = static_cast<uint16_t>(prop.CompareAs());
  }

  static void Read(const CkxShBufPropPublisher& prop, SkxPublisherTest& test) {
    Read(static_cast<const CkxShBufPropStr&>(prop), static_cast<SkxTextTest&>(test));
    test.unsignedOnly = prop.UnsignedOnly();
  }

  static void Read(const CkxShBufPropFileVerInfo& prop, SkxVersionFieldTest& test) {
    Read(static_cast<const CkxShBufPropStr&>(prop), static_cast<SkxTextTest&>(test));
    test.name = Text(prop.Field());
  }

  static void Read(const CkxShBufPropFileMsiInfo& prop, SkxInstallerPropertyTest& test) {
    Read(static_cast<const CkxShBufPropStr&>(prop), static_cast<SkxTextTest&>(test));
    test.name = Text(prop.Property());
  }

  static void Read(const CkxShBufPropFileOwner& prop, CkxSid& sid) { sid = prop.Owner(); }

  static void Read(const CkxShBufPropUserOrGroup& prop, CkxSid& sid) { sid = prop.Sid(); }

  static void Read(const CkxShBufPropFileName& prop, SkxFileNameTest& test) {
    test.pattern = Text(prop.Pattern());
    test.compareAs = static_cast<uint16_t>(prop.CompareAs());
    test.hashAlgorithm = Text(prop.HashAlgorithm());
    test.hash = Text(prop.Hash());
    test.fileSize = prop.FileSize();
  }

  static void Read(const CkxShBufPropFileLocation& prop, SkxLocationTest& test) {
    test.pattern = Text(prop.Pattern());
    test.withSubfolders = prop.WithSubfolders();
    test.types = Text(prop.LocationTypes());
  }

  static void Read(const CkxShBufPropVersionRange& prop, SkxVersionBounds& bounds) {
    bounds.min = prop.Range().MinVersion().ToQWORD();
    bounds.max = prop.Range().MaxVersion().ToQWORD();
  }

  static void Read(const CkxShBufPropSvcName& prop, KxWString& name) { name = Text(prop.Name()); }

  static void Read(const CkxShBufPropDistributionService& prop, KxWString& name) { name = Text(prop.Name()); }

  static void Read(const CkxShBufPropParentProcess& prop, SkxParentTest& test) {
    test.includedGroup = prop.IncludedGroup();
    test.includedAnyAncestor = prop.IncludedAnyAncestor();
    test.excludedGroup = prop.ExcludedGroup();
    test.excludedAnyAncestor = prop.ExcludedAnyAncestor();
  }

  static void Read(const CkxShBufPropSpawnerProcess& prop, SkxSpawnerTest& test) {
    test.allCallers = prop.AllCallers();
    test.mode = prop.Mode();
  }

  static void Read(const CkxShBufPropCapability& prop, SkxCapabilityTest& test) {
    test.name = Text(prop.Name());
    test.required = prop.Flag();
  }

  static void Read(const CkxShBufPropMediaInfo& prop, SkxMediaTest& test) {
    ReadProperty(prop.Type(), test.type);
    ReadProperty(prop.Vendor(), test.vendor);
    ReadProperty(prop.Product(), test.product);
    ReadProperty(prop.SerialNumber(), test.serialNumber);
  }

  template <class Prop, class Value>
  static void ReadProperty(const Prop& prop, std::optional<Value>& value) {
    value.reset();
    if (prop.Initialized()) Read(prop, value.emplace());
  }

  template <class Prop, class Value>
  static void ReadElements(CkxNodes<CkxPropNode<Prop>> nodes, KxElements<Value>& elements) {
    for (const CkxPropNode<Prop>& node : nodes) ReadProperty(node.prop, elements.emplace_back());
  }

  template <class Prop, class Value>
  static void Read(const CkxShBufPropList<Prop>& prop, KxElements<Value>& elements) {
    ReadElements(prop.Elements(), elements);
  }

  static void Read(const CkxShBufPropPackage& prop, SkxPackageTest& test) {
    test.flag = prop.Flag();
    test.name = Text(prop.Name());
    ReadProperty(prop.Versions(), test.versions);
    ReadElements(prop.Publishers(), test.publishers);
  }

  static void Read(const CkxShBufPropFileOrigin& prop, SkxOriginTest& test) {
    test.flag = prop.Flag();
    test.mainSourceType = prop.MainSourceType();
    ReadProperty(prop.DistributionService(), test.distributionService);
    ReadProperty(prop.Location(), test.location);
    ReadProperty(prop.Package(), test.package);
    ReadProperty(prop.SpawnerProcess(), test.spawnerProcess);
    ReadProperty(prop.SourceAddress(), test.sourceAddress);
    ReadProperty(prop.Users(), test.users);
  }

  static void Read(const CkxShBufTargetAppGroupLink& target, SkxGroupLink& link) { link.group = target.GroupId(); }

  static void Read(const CkxShBufTargetExe& target, SkxExeTarget& exe) {
    exe.inheritable = target.Inheritable();
    ReadProperty(target.FileVersions(), exe.fileVersion);
    ReadProperty(target.ProductVersions(), exe.productVersion);
    ReadProperty(target.Location(), exe.location);
    ReadProperty(target.FileName(), exe.fileName);
    ReadProperty(target.Arguments(), exe.arguments);
    ReadProperty(target.Owners(), exe.owners);
    ReadProperty(target.Publishers(), exe.publishers);
    ReadProperty(target.VersionFields(), exe.versionFields);
    ReadProperty(target.ServiceName(), exe.serviceName);
    ReadProperty(target.ParentProcess(), exe.parentProcess);
    exe.users = Text(target.Users());
    ReadProperty(target.Origin(), exe.origin);
    exe.softwareDistributorName = Text(target.SoftwareDistributorName());
  }

  static void Read(const CkxShBufTargetScript& target, SkxScriptTarget& script) {
    script.inheritable = target.Inheritable();
    script.embedded = target.IsEmbedded();
    ReadProperty(target.Location(), script.location);
    ReadProperty(target.FileName(), script.fileName);
    ReadProperty(target.Arguments(), script.arguments);
    ReadProperty(target.Owners(), script.owners);
    ReadProperty(target.Publishers(), script.publishers);
    ReadProperty(target.ParentProcess(), script.parentProcess);
    ReadProperty(target.Origin(), script.origin);
  }

  static void Read(const CkxShBufTargetMsi& target, SkxMsiTarget& msi) {
    ReadProperty(target.ProductVersions(), msi.productVersion);
    ReadProperty(target.Location(), msi.location);
    ReadProperty(target.FileName(), msi.fileName);
    ReadProperty(target.Arguments(), msi.arguments);
    ReadProperty(target.Owners(), msi.owners);
    ReadProperty(target.Publishers(), msi.publishers);
    ReadProperty(target.InstallerProperties(), msi.installerProperties);
    ReadProperty(target.ParentProcess(), msi.parentProcess);
    ReadProperty(target.Origin(), msi.origin);
  }

  static void Read(const CkxShBufTargetMsu& target, SkxMsuTarget& msu) {
    ReadProperty(target.Location(), msu.location);
    ReadProperty(target.FileName(), msu.fileName);
    ReadProperty(target.Owners(), msu.owners);
    ReadProperty(target.Publishers(), msu.publishers);
    ReadProperty(target.ParentProcess(), msu.parentProcess);
    ReadProperty(target.Origin(), msu.origin);
  }

  static void Read(const CkxShBufTargetUrl& target, SkxUrlTarget& url) { ReadProperty(target.Url(), url.url); }

  static void Read(const CkxShBufTargetAdminTask& target, SkxAdminTaskTarget& task) { task.task = target.TaskId(); }

  static void Read(const CkxShBufTargetActiveX& target, SkxActiveXTarget& control) {
    ReadProperty(target.ClassId(), control.classId);
    ReadProperty(target.SourceAddress(), control.sourceAddress);
    ReadProperty(target.Location(), control.location);
    ReadProperty(target.FileName(), control.fileName);
    ReadProperty(target.Publishers(), control.publishers);
  }

  static void Read(const CkxShBufTargetFSEntry& target, SkxFileSystemEntryTarget& entry) {
    entry.accessMask = target.AccessMask();
    entry.path = Text(target.Path().Path());
    entry.folder = target.IsFolder();
  }

  static void Read(const CkxShBufTargetRegKey& target, SkxRegistryKeyTarget& key) {
    key.accessMask = target.AccessMask();
    key.root = target.Root();
    key.keyPath = Text(target.KeyPath());
  }

  static void Read(const CkxShBufTargetCom& target, SkxComTarget& component) {
    ReadProperty(target.ClassId(), component.classId);
    ReadProperty(target.Location(), component.location);
    ReadProperty(target.FileName(), component.fileName);
    ReadProperty(target.Owners(), component.owners);
    ReadProperty(target.Publishers(), component.publishers);
    ReadProperty(target.VersionFields(), component.versionFields);
  }

  static void Read(const CkxShBufTargetExclude& target, SkxExcludeTarget& exclude) {
    ReadProperty(target.Location(), exclude.location);
    ReadProperty(target.FileName(), exclude.fileName);
    exclude.users = Text(target.Users());
  }

  static void Read(const CkxShBufTargetService& target, SkxServiceTarget& service) {
    service.accessMask = target.AccessMask();
    service.serviceName = Text(target.Service().Name());
  }

  static void Read(const CkxShBufTargetRemovableMedia& target, SkxMediaTarget& media) {
    media.accessMask = target.AccessMask();
    ReadProperty(target.Media(), media.media);
  }

  static void Read(const CkxShBufTargetAppPackage& target, SkxAppPackageTarget& package) {
    package.inheritable = target.Inheritable();
    ReadProperty(target.Versions(), package.packageVersion);
    ReadProperty(target.PackageName(), package.packageName);
    ReadProperty(target.Publishers(), package.publishers);
    ReadProperty(target.Capabilities(), package.capabilities);
  }

  static void Read(const CkxShBufTargetDll& target, SkxDllTarget& library) {
    ReadProperty(target.FileVersions(), library.fileVersion);
    ReadProperty(target.ProductVersions(), library.productVersion);
    ReadProperty(target.Location(), library.location);
    ReadProperty(target.FileName(), library.fileName);
    ReadProperty(target.Owners(), library.owners);
    ReadProperty(target.Publishers(), library.publishers);
    ReadProperty(target.VersionFields(), library.versionFields);
    ReadProperty(target.Origin(), library.origin);
  }
};

/// The target's own class into its body, or false.
template <class Object, class Body>
bool ReadAs(const CkxShBufTarget& target, SkxTargetBody& body) {
  const auto* const object = dynamic_cast<const Object*>(&target);
  if (object != nullptr) Decoder::Read(*object, body.emplace<Body>());
  return object != nullptr;
}

/// In the order of `kKxTargetKinds`.
constexpr bool (*kReaders[])(const CkxShBufTarget&, SkxTargetBody&) = {
    ReadAs<CkxShBufTargetAppGroupLink, SkxGroupLink>,
    ReadAs<CkxShBufTargetExe, SkxExeTarget>,
    ReadAs<CkxShBufTargetScript, SkxScriptTarget>,
    ReadAs<CkxShBufTargetMsi, SkxMsiTarget>,
    ReadAs<CkxShBufTargetMsu, SkxMsuTarget>,
    ReadAs<CkxShBufTargetUrl, SkxUrlTarget>,
    ReadAs<CkxShBufTargetAdminTask, SkxAdminTaskTarget>,
    ReadAs<CkxShBufTargetActiveX, SkxActiveXTarget>,
    ReadAs<CkxShBufTargetFSEntry, SkxFileSystemEntryTarget>,
    ReadAs<CkxShBufTargetRegKey, SkxRegistryKeyTarget>,
    ReadAs<CkxShBufTargetCom, SkxComTarget>,
    ReadAs<CkxShBufTargetExclude, SkxExcludeTarget>,
    ReadAs<CkxShBufTargetService, SkxServiceTarget>,
    ReadAs<CkxShBufTargetUsbDev, SkxUsbDeviceTarget>,
    ReadAs<CkxShBufTargetOpticalDisc, SkxOpticalDiscTarget>,
    ReadAs<CkxShBufTargetAppPackage, SkxAppPackageTarget>,
    ReadAs<CkxShBufTargetDll, SkxDllTarget>,
};
static_assert(std::size(kReaders) == std::size(kKxTargetKinds));

}  // namespace

bool KxDecode_Target(const CkxShBufTarget& target, SkxTargetModel& model) {
  const SkxTargetKind* const kind = KxKind_Find(kKxTargetKinds, &SkxTargetKind::type, target.TargetType());
  if (kind == nullptr) return false;
  model.id = target.TargetId();
  return kReaders[kind - kKxTargetKinds](target, model.body);
}
