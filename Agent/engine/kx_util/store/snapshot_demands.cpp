#include "Agent/engine/kx_util/store/snapshot_demands.h"

#include <kx_util/shared_policy_target_app_group_link.h>
#include <kx_util/shared_policy_target_exclude.h>
#include <kx_util/shared_policy_target_exe.h>
#include <kx_util/shared_policy_target_files.h>

#include <algorithm>

#include "Agent/engine/kx_util/command/wildcard.h"
#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Common_CPP/file/path.h"

namespace {

constexpr unsigned kMaxLinkDepth = 4;  // of links that are followed
constexpr size_t kMaxTargets = 256;    // of one policy, those of its groups included
constexpr size_t kMaxFacts = 64;       // each is asked for once a decision
constexpr size_t kMaxPieces = 24;      // of one pattern
constexpr size_t kMaxPublishers = 16;  // of one target

/// Whether a pattern of wildcards takes every text.
bool TakesAll(CkxTextView pattern) {
  if (pattern.IsEmpty()) return false;
  for (size_t at = 0; at < pattern.Size(); ++at) {
    if (pattern[at] != KXW('*')) return false;
  }
  return true;
}

}  // namespace

/// The properties that tell something, null where a type has none.
struct CkxSnapshotDemands::SkxChecks {
  const CkxShBufPropFileName* name = nullptr;
  const CkxShBufPropFileLocation* location = nullptr;
  const CkxShBufPropArguments* arguments = nullptr;
  const CkxShBufPropFileVerInfos* fields = nullptr;
  const CkxShBufPropPublishers* publishers = nullptr;
  bool hasOthers = false;   ///< that may fail, or ask for something, before fields and publishers are looked at
  bool isOnly = false;      ///< target of its policy
  bool isNameOnly = false;  ///< no hash is compared, whatever the record says

  /// Whether nothing is asked of a thing of its kind.
  bool TakeAll() const {
    const bool anyName = !name->Initialized() ||
                         (!HasHash() && name->CompareAs() == EkxStrCompareAs::StrWildcard && TakesAll(name->Pattern()));
    return anyName && !location->Initialized() && !HasArguments() && !HasFields() && !hasOthers &&
           (publishers == nullptr || !publishers->Initialized());
  }

  bool HasHash() const { return name->Initialized() && !name->Hash().IsEmpty(); }
  bool HasArguments() const { return arguments != nullptr && arguments->Initialized(); }
  bool HasFields() const { return fields != nullptr && fields->Initialized(); }

  /// Whether nothing of the target is looked at before fields and publishers.
  bool BeginsWithFacts() const {
    return isOnly && !hasOthers && !HasArguments() && !name->Initialized() && !location->Initialized();
  }
};

/// A target of something else than files, and one that excludes from something else than policies, is never met.
SkxSnapshotDemands CkxSnapshotDemands::Of(const CkxShBufPolicyWithTargets& policy) {
  SkxSnapshotDemands demands;
  if (KxPolicyWalk_IsPassedOver(policy)) return demands;
  demands.isAskedAlways = demands.takesAllOfAKind = policy.Targets().Count() == 0;
  for (const CkxShBufTarget& target : CkxNodes<CkxShBufTarget>(policy.Targets())) {
    if (demands.isAskedAlways) break;
    AddTarget(target, policy.Targets().Count() == 1 ? 0 : 1, demands);
  }
  const auto hasNone = [](const SkxSnapshotTarget& target) { return target.options.empty(); };
  if (std::any_of(demands.targets.begin(), demands.targets.end(), hasNone)) demands.isAskedAlways = true;
  if (demands.isAskedAlways) demands.targets.clear();
  return demands;
}

/// `depth`: 0 for the only target of a policy.
void CkxSnapshotDemands::AddTarget(const CkxShBufTarget& target, unsigned depth, SkxSnapshotDemands& out) {
  SkxChecks checks;
  checks.isOnly = depth == 0;
  const auto setCommon = [&](const auto& file) {
    checks.name = &file.FileName();
    checks.location = &file.Location();
  };
  switch (target.TargetType()) {
    case EkxPolicyTarget::Executable: {
      const auto& exe = static_cast<const CkxShBufTargetExe&>(target);
      setCommon(exe);
      checks.arguments = &exe.Arguments();
      checks.fields = &exe.VersionFields();
      checks.publishers = &exe.Publishers();
      checks.hasOthers = exe.Origin().Initialized() || exe.ServiceName().Initialized() || exe.Owners().Initialized() ||
                         exe.FileVersions().Initialized() || exe.ProductVersions().Initialized() ||
                         exe.ParentProcess().Initialized();
      break;
    }
    case EkxPolicyTarget::Script: {
      const auto& script = static_cast<const CkxShBufTargetScript&>(target);
      setCommon(script);
      checks.arguments = &script.Arguments();
      checks.publishers = &script.Publishers();
      checks.hasOthers =
          script.Origin().Initialized() || script.Owners().Initialized() || script.ParentProcess().Initialized();
      break;
    }
    case EkxPolicyTarget::Msi: {
      const auto& package = static_cast<const CkxShBufTargetMsi&>(target);
      setCommon(package);
      checks.arguments = &package.Arguments();
      checks.publishers = &package.Publishers();
      checks.hasOthers = package.Origin().Initialized() || package.Owners().Initialized() ||
                         package.ProductVersions().Initialized() || package.InstallerProperties().Initialized() ||
                         package.ParentProcess().Initialized();
      break;
    }
    case EkxPolicyTarget::Msu: {
      const auto& package = static_cast<const CkxShBufTargetMsu&>(target);
      setCommon(package);
      checks.publishers = &package.Publishers();
      checks.hasOthers =
          package.Origin().Initialized() || package.Owners().Initialized() || package.ParentProcess().Initialized();
      break;
    }
    case EkxPolicyTarget::Dll: {
      const auto& library = static_cast<const CkxShBufTargetDll&>(target);
      setCommon(library);
      checks.fields = &library.VersionFields();
      checks.publishers = &library.Publishers();
      checks.hasOthers = library.Origin().Initialized() || library.Owners().Initialized() ||
                         library.FileVersions().Initialized() || library.ProductVersions().Initialized();
      break;
    }
    case EkxPolicyTarget::Exclude:
      setCommon(static_cast<const CkxShBufTargetExclude&>(target));
      checks.isNameOnly = true;
      break;
    case EkxPolicyTarget::AppGroupLink:
      return AddGroup(static_cast<const CkxShBufTargetAppGroupLink&>(target).GroupId(), depth, out);
    case EkxPolicyTarget::ActiveX:
    case EkxPolicyTarget::Com:
    case EkxPolicyTarget::Url:
    case EkxPolicyTarget::FileSystemEntry:
    case EkxPolicyTarget::RegistryKey:
    case EkxPolicyTarget::Service:
    case EkxPolicyTarget::UsbDevice:
    case EkxPolicyTarget::OpticalDisc:
      return;
    default:
      out.isAskedAlways = true;
      return;
  }
  AddFile(target.TargetType(), checks, out);
}

/// A link is met by what a target of its group is met by. One to a group that is not there, by nothing.
void CkxSnapshotDemands::AddGroup(const GUID& id, unsigned depth, SkxSnapshotDemands& out) {
  const SkxReadGroup* const found = _groups.Find(id);
  if (depth == kMaxLinkDepth || (found == nullptr && !_groups.AreAllKnown())) out.isAskedAlways = true;
  if (found == nullptr || found->group == nullptr) return;
  for (const CkxShBufTarget& target : CkxNodes<CkxShBufTarget>(found->group->Targets())) {
    if (out.isAskedAlways) return;
    AddTarget(target, depth + 1, out);
  }
}

void CkxSnapshotDemands::AddFile(EkxPolicyTarget type, const SkxChecks& checks, SkxSnapshotDemands& out) {
  if (checks.isNameOnly && checks.HasHash()) return;  // never met
  out.takesAllOfAKind = out.takesAllOfAKind || checks.TakeAll();
  SkxSnapshotTarget target = {type, {}};
  if (checks.name->Initialized()) AddName(*checks.name, target);
  // Where a hash is compared before the folder is looked at, that the folder is another does not save the hashing.
  if (checks.location->Initialized() && !checks.HasHash()) AddFolder(*checks.location, target);
  if (checks.HasArguments()) {
    AddPieces(checks.arguments->Pattern(), checks.arguments->CompareAs(), EkxDemand::ArgumentsPiece, target);
  }
  AddHash(checks, target);
  AddFields(checks, target);
  AddPublishers(checks, target);
  if (out.targets.size() == kMaxTargets) {
    out.isAskedAlways = true;
    return;
  }
  out.targets.push_back(std::move(target));
}

void CkxSnapshotDemands::AddName(const CkxShBufPropFileName& name, SkxSnapshotTarget& target) {
  if (name.CompareAs() == EkxStrCompareAs::StrEquals) {
    return Add(target, EkxDemand::Name, {}, {KxSnapshotKey_Text(name.Pattern())});
  }
  AddPieces(name.Pattern(), name.CompareAs(), EkxDemand::NamePiece, target);
}

/// A pattern without a drive may also be met by the share that a drive stands for.
void CkxSnapshotDemands::AddFolder(const CkxShBufPropFileLocation& location, SkxSnapshotTarget& target) {
  if (KxWildcard_IsPattern(location.Pattern())) return;
  const std::vector<uint64_t> folders = KxSnapshotKey_Folders(location.Pattern());
  if (!folders.empty()) Add(target, EkxDemand::Folder, {}, {folders.back()});
}

/// Each piece is a way of its own: they are rarer or more common.
void CkxSnapshotDemands::AddPieces(CkxTextView pattern, EkxStrCompareAs compareAs, EkxDemand demand,
                                   SkxSnapshotTarget& target) {
  size_t pieces = 0;
  const auto addAll = [&](CkxTextView literal) {
    KxSnapshotKey_EachPiece(literal, [&](uint64_t piece) {
      if (++pieces <= kMaxPieces) Add(target, demand, {}, {piece});
    });
    return false;
  };
  if (compareAs == EkxStrCompareAs::StrContains || compareAs == EkxStrCompareAs::StrStartsWith) addAll(pattern);
  if (compareAs != EkxStrCompareAs::StrWildcard) return;
  KxText_AnyField(pattern, KXW('*'), [&](CkxTextView between) { return KxText_AnyField(between, KXW('?'), addAll); });
}

void CkxSnapshotDemands::AddHash(const SkxChecks& checks, SkxSnapshotTarget& target) {
  const CkxShBufPropFileName& name = *checks.name;
  if (!checks.HasHash() || name.HashAlgorithm().IsEmpty()) return;
  const bool isAskedFirst = checks.isOnly && !checks.HasArguments() && !checks.hasOthers &&
                            name.CompareAs() == EkxStrCompareAs::StrWildcard && TakesAll(name.Pattern()) &&
                            name.FileSize() == IkxPathProvider::kUnknownSize;
  Add(target, EkxDemand::Hash, name.HashAlgorithm(), {KxSnapshotKey_Text(name.Hash())}, isAskedFirst);
}

/// All of them have to match.
void CkxSnapshotDemands::AddFields(const SkxChecks& checks, SkxSnapshotTarget& target) {
  if (!checks.HasFields()) return;
  bool isFirst = checks.BeginsWithFacts();
  for (const CkxPropNode<CkxShBufPropFileVerInfo>& node : checks.fields->Elements()) {
    if (node.prop.Initialized() && node.prop.CompareAs() == EkxStrCompareAs::StrEquals) {
      Add(target, EkxDemand::VersionField, node.prop.Field(), {KxSnapshotKey_Text(node.prop.Pattern())}, isFirst);
    }
    isFirst = false;
  }
}

/// One of them has to match; one that is not set matches nothing.
void CkxSnapshotDemands::AddPublishers(const SkxChecks& checks, SkxSnapshotTarget& target) {
  if (checks.publishers == nullptr || !checks.publishers->Initialized()) return;
  std::vector<uint64_t> names;
  for (const CkxPropNode<CkxShBufPropPublisher>& node : checks.publishers->Elements()) {
    if (!node.prop.Initialized()) continue;
    const bool isExact = !node.prop.UnsignedOnly() && node.prop.CompareAs() == EkxStrCompareAs::StrEquals;
    if (!isExact || names.size() == kMaxPublishers) return;
    names.push_back(KxSnapshotKey_Text(node.prop.Pattern()));
  }
  if (names.empty()) return;
  Add(target, EkxDemand::Publisher, {}, std::move(names), checks.BeginsWithFacts() && !checks.HasFields());
}

void CkxSnapshotDemands::Add(SkxSnapshotTarget& target, EkxDemand demand, CkxTextView fact, std::vector<uint64_t> texts,
                             bool isAskedFirst) {
  std::optional<uint32_t> place;
  if (demand >= EkxDemand::ArgumentsPiece) {
    place = Fact(demand, target.type, fact);
    if (!place) return;
  }
  const bool isPiece = demand == EkxDemand::NamePiece || demand == EkxDemand::ArgumentsPiece;
  const uint64_t piece = isPiece ? texts.front() : 0;
  const uint64_t seed = KxSnapshotKey_Seed(demand, target.type, place.value_or(0));
  for (uint64_t& text : texts) text = KxSnapshotKey_Of(seed, text);
  target.options.push_back({demand, isAskedFirst, place, std::move(texts), piece});
}

/// Nothing when there are too many. Algorithms and fields are the same under names that differ by case, but a field is
/// asked for as the policy spells it.
std::optional<uint32_t> CkxSnapshotDemands::Fact(EkxDemand demand, EkxPolicyTarget type, CkxTextView name) {
  const auto isThis = [&](const SkxSnapshotFact& fact) {
    return fact.demand == demand && fact.type == type && KxText_Equals(fact.name, name, true);
  };
  const auto found = std::find_if(_facts.begin(), _facts.end(), isThis);
  const auto place = static_cast<uint32_t>(found - _facts.begin());
  if (found != _facts.end()) return place;
  if (_facts.size() == kMaxFacts) return std::nullopt;
  _facts.push_back({demand, type, name.ToString()});
  return place;
}
