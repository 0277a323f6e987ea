#include <kx_util/shared_policy_target.h>

#include "Agent/engine/kx_publish/policy_decode.h"
#include "Agent/engine/kx_publish/policy_kinds.h"

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
    test.field = Text(prop.Field());
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

  static void Read(const CkxShBufTargetUrl& target, SkxUrlTarget& url) { ReadProperty(target.Url(), url.url); }

  static void Read(const CkxShBufTargetExclude& target, SkxExcludeTarget& exclude) {
    ReadProperty(target.Location(), exclude.location);
    ReadProperty(target.FileName(), exclude.fileName);
    exclude.users = Text(target.Users());
  }

  /// The body's own class, or false.
  template <class Object, class Body>
  static bool ReadAs(const CkxShBufTarget& target, Body& body) {
    const auto* const object = dynamic_cast<const Object*>(&target);
    if (object != nullptr) Read(*object, body);
    return object != nullptr;
  }
  static bool ReadBody(const CkxShBufTarget& target, SkxGroupLink& link) {
    return ReadAs<CkxShBufTargetAppGroupLink>(target, link);
  }
  static bool ReadBody(const CkxShBufTarget& target, SkxExeTarget& exe) {
    return ReadAs<CkxShBufTargetExe>(target, exe);
  }
  static bool ReadBody(const CkxShBufTarget& target, SkxUrlTarget& url) {
    return ReadAs<CkxShBufTargetUrl>(target, url);
  }
  static bool ReadBody(const CkxShBufTarget& target, SkxExcludeTarget& exclude) {
    return ReadAs<CkxShBufTargetExclude>(target, exclude);
  }
};

}  // namespace

bool KxDecode_Target(const CkxShBufTarget& target, SkxTargetModel& model) {
  const SkxTargetKind* const kind = KxKind_Find(kKxTargetKinds, &SkxTargetKind::type, target.TargetType());
  if (kind == nullptr) return false;
  model.id = target.TargetId();
  model.body = kind->body();
  return std::visit([&target](auto& body) { return Decoder::ReadBody(target, body); }, model.body);
}
