#include "Agent/engine/kx_publish/import/import_targets.h"

#include "Agent/engine/kx_publish/document/policy_fields.h"
#include "Agent/engine/kx_publish/import/path_pattern.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr uint16_t kEquals = static_cast<uint16_t>(EkxStrCompareAs::StrEquals);
constexpr uint16_t kWildcards = static_cast<uint16_t>(EkxStrCompareAs::StrWildcard);

/// A name or a hash, or both.
std::optional<SkxFileNameTest> FileNameTest(const KxWString& name, const std::optional<SkxImportedHash>& hash) {
  if (name.empty() && !hash) return std::nullopt;
  SkxFileNameTest test;
  test.pattern = name.empty() ? KXW("*") : name;
  test.compareAs = KxDefaultCompareAs(test.pattern);
  if (hash) {
    test.hashAlgorithm = hash->algorithm;
    test.hash = hash->algorithm + KXW("##") + hash->hex;
  }
  return test;
}

std::optional<KxElements<SkxPublisherTest>> PublisherTests(const std::vector<KxWString>& signers) {
  if (signers.empty()) return std::nullopt;
  KxElements<SkxPublisherTest> tests;
  for (const KxWString& signer : signers) {
    SkxPublisherTest& test = tests.emplace_back().emplace();
    test.pattern = signer;
    test.compareAs = signer == kKxAnySigner ? kWildcards : kEquals;
  }
  return tests;
}

template <class Test>
std::optional<KxElements<Test>> NamedTextTests(const std::vector<SkxNamedText>& texts) {
  if (texts.empty()) return std::nullopt;
  KxElements<Test> tests;
  for (const SkxNamedText& text : texts) {
    Test& test = tests.emplace_back().emplace();
    test.name = text.name;
    test.pattern = KxText_Trim(text.text).ToString();  // as the texts of files are compared
    test.compareAs = kEquals;
  }
  return tests;
}

std::optional<SkxVersionBounds> VersionTest(const SkxFileCondition& condition) {
  if (!condition.AsksForVersion()) return std::nullopt;
  SkxVersionBounds bounds;
  if (condition.minVersion != 0) bounds.min = condition.minVersion;
  bounds.max = condition.maxVersion;  // the greatest is open in both
  return bounds;
}

bool IsProgram(EkxImportedKind kind) { return kind == EkxImportedKind::Executable || kind == EkxImportedKind::Library; }

/// Whether things of the kind have what is asked for.
bool CanMeet(const SkxFileCondition& condition, const SkxJudgedKind& kind) {
  const bool asksForResource = !condition.texts.empty() || condition.AsksForVersion();
  if (kind.kind == EkxImportedKind::AppPackage) {
    const bool asksForFile = condition.path || condition.hash || !condition.texts.empty() || condition.isOfNoProgram;
    return !asksForFile && (condition.packageName || !kind.isByNameAlone);
  }
  if (condition.packageName) return false;
  if (IsProgram(kind.kind)) return !condition.isOfNoProgram;
  return !asksForResource || kind.hasProperties;
}

SkxTargetBody PackageTarget(const SkxFileCondition& condition) {
  SkxAppPackageTarget target;
  target.packageVersion = VersionTest(condition);
  if (condition.packageName) {
    SkxTextTest& test = target.packageName.emplace();
    test.pattern = *condition.packageName;
    test.compareAs = kEquals;
  }
  target.publishers = PublisherTests(condition.signers);
  return target;
}

/// What all files can be asked for.
template <class Target>
Target FileTarget(const SkxFileCondition& condition, const SkxFilePlace& place) {
  Target target;
  target.location = place.location;
  target.fileName = FileNameTest(place.fileName, condition.hash);
  target.publishers = PublisherTests(condition.signers);
  return target;
}

template <class Target>
SkxTargetBody ProgramTarget(const SkxFileCondition& condition, const SkxFilePlace& place) {
  auto target = FileTarget<Target>(condition, place);
  target.fileVersion = VersionTest(condition);
  target.versionFields = NamedTextTests<SkxVersionFieldTest>(condition.texts);
  return target;
}

SkxTargetBody InstallerTarget(const SkxFileCondition& condition, const SkxFilePlace& place) {
  auto target = FileTarget<SkxMsiTarget>(condition, place);
  target.productVersion = VersionTest(condition);
  target.installerProperties = NamedTextTests<SkxInstallerPropertyTest>(condition.texts);
  return target;
}

SkxTargetBody TargetAt(const SkxFileCondition& condition, EkxImportedKind kind, const SkxFilePlace& place) {
  switch (kind) {
    case EkxImportedKind::Executable:
      return ProgramTarget<SkxExeTarget>(condition, place);
    case EkxImportedKind::Library:
      return ProgramTarget<SkxDllTarget>(condition, place);
    case EkxImportedKind::Script:
      return FileTarget<SkxScriptTarget>(condition, place);
    case EkxImportedKind::Installer:
      return InstallerTarget(condition, place);
    case EkxImportedKind::AppPackage:
      break;
  }
  return PackageTarget(condition);
}

/// A place that no name is asked for in, by the names of files that are judged.
std::vector<SkxFilePlace> OfJudgedNames(const SkxFilePlace& place, const SkxFileCondition& condition,
                                        const SkxJudgedKind& kind) {
  if (kind.extensions.empty() || condition.hash || !place.fileName.empty()) return {place};
  std::vector<SkxFilePlace> places;
  for (const WCHAR* const extension : kind.extensions) places.push_back({place.location, extension});
  return places;
}

}  // namespace

std::vector<SkxTargetBody> KxImportTargets_Of(const SkxFileCondition& condition, const SkxJudgedKind& kind) {
  if (!CanMeet(condition, kind)) return {};
  const std::vector<SkxFilePlace> places =
      condition.path ? KxPathPattern_Places(*condition.path) : std::vector<SkxFilePlace>(1);
  std::vector<SkxTargetBody> targets;
  for (const SkxFilePlace& place : places) {
    for (const SkxFilePlace& named : OfJudgedNames(place, condition, kind)) {
      targets.push_back(TargetAt(condition, kind.kind, named));
    }
  }
  return targets;
}

std::vector<SkxTargetBody> KxImportTargets_OfAll(const SkxJudgedKind& kind) {
  return kind.isByNameAlone ? std::vector<SkxTargetBody>() : KxImportTargets_Of({}, kind);
}
