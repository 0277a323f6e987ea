#include "Agent/engine/kx_publish/lint/lint_conditions.h"

#include <kx_util/shared_policy_origin_props.h>
#include <kx_util/shared_policy_resource_props.h>

#include <algorithm>
#include <string_view>

#include "Common_CPP/util/text.h"

namespace {

using Bytes = std::span<const unsigned char>;

/// The address of a request: an empty pattern takes every address.
class AddressProp : public CkxShBufPropStr {};

SkxTextPattern TextPatternOf(const CkxShBufPropStr& prop) {
  return {prop.Pattern(), prop.CaseSensitive(), prop.CompareAs()};
}
SkxTextPattern NamePatternOf(const CkxShBufPropFileName& prop) { return {prop.Pattern(), false, prop.CompareAs()}; }
SkxFolderPattern FolderPatternOf(const CkxShBufPropFileLocation& prop) {
  return {prop.Pattern(), prop.WithSubfolders()};
}

bool AreSame(CkxTextView a, CkxTextView b) { return KxText_Equals(a, b, false); }

// ---- elements of lists

/// Whether `test` holds for an element of the list, a node each; for every one, of a list that is read in this way.
template <class List, class Test>
bool AnyElement(const List& list, Test test) {
  for (const auto& node : list) {
    if (test(node.prop)) return true;
  }
  return false;
}
template <class List, class Test>
bool AllElements(const List& list, Test test) {
  return !AnyElement(list, [&](const auto& element) { return !test(element); });
}

/// Of lists of which any element counts: whatever meets one of `narrower` meets one of `wider`.
template <class List, class Takes>
bool TakesAny(const List& wider, const List& narrower, Takes takes) {
  return AllElements(narrower, [&](const auto& narrow) {
    return AnyElement(wider, [&](const auto& wide) { return takes(wide, narrow); });
  });
}

/// Of lists of which every element counts: each of `wider` is asked for by `narrower` too.
template <class List, class Takes>
bool TakesEvery(const List& wider, const List& narrower, Takes takes) {
  return TakesAny(narrower, wider, [&](const auto& narrow, const auto& wide) { return takes(wide, narrow); });
}

/// Of a condition inside another: where `wider` does not ask, all is well.
template <class Prop>
bool TakesIfAsked(const Prop& wider, const Prop& narrower, CkxLintWork& work);

// ---- which of two properties takes more. Both are set.

bool Takes(const CkxShBufPropStr& wider, const CkxShBufPropStr& narrower, CkxLintWork& work) {
  return KxInclusion_OfTexts(TextPatternOf(wider), TextPatternOf(narrower), work);
}

/// Arguments that are to be equal are compared one by one, whatever is between them.
bool Takes(const CkxShBufPropArguments& wider, const CkxShBufPropArguments& narrower, CkxLintWork& work) {
  const bool isOneByOne = wider.CompareAs() == EkxStrCompareAs::StrEquals;
  if (isOneByOne != (narrower.CompareAs() == EkxStrCompareAs::StrEquals)) return false;
  if (!isOneByOne) return KxInclusion_OfTexts(TextPatternOf(wider), TextPatternOf(narrower), work);
  return (!wider.CaseSensitive() || narrower.CaseSensitive()) &&
         KxText_Equals(wider.Pattern(), narrower.Pattern(), wider.CaseSensitive());
}

bool Takes(const CkxShBufPropFileName& wider, const CkxShBufPropFileName& narrower, CkxLintWork& work) {
  const bool isSameContent =
      AreSame(wider.Hash(), narrower.Hash()) && KxText_Equals(wider.HashAlgorithm(), narrower.HashAlgorithm(), true) &&
      (wider.FileSize() == IkxPathProvider::kUnknownSize || wider.FileSize() == narrower.FileSize());
  return (wider.Hash().IsEmpty() || isSameContent) &&
         KxInclusion_OfTexts(NamePatternOf(wider), NamePatternOf(narrower), work);
}

bool Takes(const CkxShBufPropFileLocation& wider, const CkxShBufPropFileLocation& narrower, CkxLintWork& work) {
  return KxInclusion_OfDriveKinds(wider.LocationTypes(), narrower.LocationTypes()) &&
         KxInclusion_OfFolders(FolderPatternOf(wider), FolderPatternOf(narrower), work);
}

bool Takes(const CkxShBufPropSvcName& wider, const CkxShBufPropSvcName& narrower, CkxLintWork&) {
  return AreSame(wider.Name(), narrower.Name());
}

/// An infinite range takes what has no version too, any other does not; so from 0 on is no bound between them.
bool Takes(const CkxShBufPropVersionRange& wider, const CkxShBufPropVersionRange& narrower, CkxLintWork&) {
  const CkxVersionRange& wide = wider.Range();
  const CkxVersionRange& narrow = narrower.Range();
  if (wide.IsInfinite()) return true;
  if (narrow.IsInfinite()) return false;
  const bool isFromThere =
      wide.MinVersion().IsEmpty() || wide.MinVersion().ToQWORD() == 0 ||
      (!narrow.MinVersion().IsEmpty() && narrow.MinVersion().IsGreaterOrEqualThan(wide.MinVersion()));
  return isFromThere && (wide.MaxVersion().IsEmpty() ||
                         (!narrow.MaxVersion().IsEmpty() && narrow.MaxVersion().IsLessOrEqualThan(wide.MaxVersion())));
}

/// An element that is not set is never met.
bool TakesSigner(const CkxShBufPropPublisher& wider, const CkxShBufPropPublisher& narrower, CkxLintWork& work) {
  if (!narrower.Initialized()) return true;
  if (!wider.Initialized() || wider.UnsignedOnly() != narrower.UnsignedOnly()) return false;
  return wider.UnsignedOnly() || KxInclusion_OfTexts(TextPatternOf(wider), TextPatternOf(narrower), work);
}

bool Takes(const CkxShBufPropPublishers& wider, const CkxShBufPropPublishers& narrower, CkxLintWork& work) {
  return TakesAny(wider.Elements(), narrower.Elements(),
                  [&](const auto& wide, const auto& narrow) { return TakesSigner(wide, narrow, work); });
}

/// Here one that is not set is met by everything.
bool Takes(const CkxShBufPropFileOwners& wider, const CkxShBufPropFileOwners& narrower, CkxLintWork&) {
  return TakesAny(wider.Elements(), narrower.Elements(), [](const auto& wide, const auto& narrow) {
    return !wide.Initialized() || (narrow.Initialized() && wide.Owner().Equals(narrow.Owner()));
  });
}

bool Takes(const CkxShBufPropFileVerInfos& wider, const CkxShBufPropFileVerInfos& narrower, CkxLintWork& work) {
  return TakesEvery(wider.Elements(), narrower.Elements(), [&](const auto& wide, const auto& narrow) {
    return wide.Initialized() && narrow.Initialized() && KxText_Equals(wide.Field(), narrow.Field(), true) &&
           KxInclusion_OfTexts(TextPatternOf(wide), TextPatternOf(narrow), work);
  });
}

bool Takes(const CkxShBufPropFileMsiInfos& wider, const CkxShBufPropFileMsiInfos& narrower, CkxLintWork& work) {
  return TakesEvery(wider.Elements(), narrower.Elements(), [&](const auto& wide, const auto& narrow) {
    return wide.Initialized() && narrow.Initialized() && KxText_Equals(wide.Property(), narrow.Property(), true) &&
           KxInclusion_OfTexts(TextPatternOf(wide), TextPatternOf(narrow), work);
  });
}

bool Takes(const CkxShBufPropCapabilities& wider, const CkxShBufPropCapabilities& narrower, CkxLintWork&) {
  return AllElements(wider.Elements(), [&](const auto& wide) {
    return !wide.Initialized() || AnyElement(narrower.Elements(), [&](const auto& narrow) {
      return narrow.Initialized() && wide.Flag() == narrow.Flag() && AreSame(wide.Name(), narrow.Name());
    });
  });
}

// ---- where files come from

bool Takes(const CkxShBufPropDistributionService& wider, const CkxShBufPropDistributionService& narrower,
           CkxLintWork&) {
  return AreSame(wider.Name(), narrower.Name());
}

bool Takes(const CkxShBufPropPackage& wider, const CkxShBufPropPackage& narrower, CkxLintWork& work) {
  const auto named = [](const CkxShBufPropPackage& package) {
    return SkxTextPattern{package.Name(), false, EkxStrCompareAs::StrWildcard};
  };
  const auto isAny = [](const auto& publishers) { return AllElements(publishers, [](const auto&) { return false; }); };
  return (!wider.Flag() || narrower.Flag()) &&
         (wider.Name().IsEmpty() ||
          (!narrower.Name().IsEmpty() && KxInclusion_OfTexts(named(wider), named(narrower), work))) &&
         TakesIfAsked(wider.Versions(), narrower.Versions(), work) &&
         (isAny(wider.Publishers()) ||
          (!isAny(narrower.Publishers()) &&
           TakesAny(wider.Publishers(), narrower.Publishers(),
                    [&](const auto& wide, const auto& narrow) { return TakesSigner(wide, narrow, work); })));
}

bool Takes(const CkxShBufPropSpawnerProcess& wider, const CkxShBufPropSpawnerProcess& narrower, CkxLintWork&) {
  return wider.Mode() == narrower.Mode() && wider.AllCallers() == narrower.AllCallers();
}

bool Takes(const CkxShBufPropUserList& wider, const CkxShBufPropUserList& narrower, CkxLintWork&) {
  return TakesAny(wider.Elements(), narrower.Elements(),
                  [](const auto& wide, const auto& narrow) { return wide.Sid().Equals(narrow.Sid()); });
}

/// One that asks whether the file was there before looks at nothing else.
bool Takes(const CkxShBufPropFileOrigin& wider, const CkxShBufPropFileOrigin& narrower, CkxLintWork& work) {
  if (wider.Flag() || narrower.Flag()) return wider.Flag() && narrower.Flag();
  return (wider.MainSourceType() == 0 || wider.MainSourceType() == narrower.MainSourceType()) &&
         TakesIfAsked(wider.DistributionService(), narrower.DistributionService(), work) &&
         TakesIfAsked(wider.Location(), narrower.Location(), work) &&
         TakesIfAsked(wider.Package(), narrower.Package(), work) &&
         TakesIfAsked(wider.SpawnerProcess(), narrower.SpawnerProcess(), work) &&
         TakesIfAsked(wider.SourceAddress(), narrower.SourceAddress(), work) &&
         TakesIfAsked(wider.Users(), narrower.Users(), work);
}

template <class Prop>
bool TakesIfAsked(const Prop& wider, const Prop& narrower, CkxLintWork& work) {
  return !wider.Initialized() || (narrower.Initialized() && Takes(wider, narrower, work));
}

// ---- which are met whatever is asked about

bool IsAlwaysMet(const CkxShBufPropBase&) { return false; }
bool IsAlwaysMet(const AddressProp& prop) { return prop.Pattern().IsEmpty(); }
bool IsAlwaysMet(const CkxShBufPropVersionRange& prop) { return prop.Range().IsInfinite(); }
bool IsAlwaysMet(const CkxShBufPropFileVerInfos& prop) { return prop.Count() == 0; }
bool IsAlwaysMet(const CkxShBufPropFileMsiInfos& prop) { return prop.Count() == 0; }
bool IsAlwaysMet(const CkxShBufPropFileOwners& prop) {
  return AnyElement(prop.Elements(), [](const auto& element) { return !element.Initialized(); });
}
bool IsAlwaysMet(const CkxShBufPropCapabilities& prop) {
  return AllElements(prop.Elements(), [](const auto& element) { return !element.Initialized(); });
}

// ---- features, of those that many policies tell themselves apart by

void Demands(const CkxShBufPropBase&, const KxFeatureVisit&) {}
void Offers(const CkxShBufPropBase&, const KxFeatureVisit&) {}

void Demands(const CkxShBufPropStr& prop, const KxFeatureVisit& visit) {
  KxInclusion_Demands(TextPatternOf(prop), visit);
}
void Offers(const CkxShBufPropStr& prop, const KxFeatureVisit& visit) {
  KxInclusion_Offers(TextPatternOf(prop), visit);
}

void Demands(const CkxShBufPropFileName& prop, const KxFeatureVisit& visit) {
  if (!prop.Hash().IsEmpty()) visit(KxInclusion_WholeText(prop.Hash()));
  KxInclusion_Demands(NamePatternOf(prop), visit);
}
void Offers(const CkxShBufPropFileName& prop, const KxFeatureVisit& visit) {
  if (!prop.Hash().IsEmpty()) visit(KxInclusion_WholeText(prop.Hash()));
  KxInclusion_Offers(NamePatternOf(prop), visit);
}

void Demands(const CkxShBufPropFileLocation& prop, const KxFeatureVisit& visit) {
  KxInclusion_Demands(FolderPatternOf(prop), visit);
}
void Offers(const CkxShBufPropFileLocation& prop, const KxFeatureVisit& visit) {
  KxInclusion_Offers(FolderPatternOf(prop), visit);
}

/// Each element of the narrower list has to be taken by one of the wider: by the only one, where it is alone.
void Demands(const CkxShBufPropPublishers& prop, const KxFeatureVisit& visit) {
  if (prop.Count() != 1) return;
  for (const auto& node : prop.Elements()) {
    if (node.prop.Initialized() && !node.prop.UnsignedOnly()) Demands(node.prop, visit);
  }
}
void Offers(const CkxShBufPropPublishers& prop, const KxFeatureVisit& visit) {
  for (const auto& node : prop.Elements()) Offers(node.prop, visit);
}

// ---- conditions

/// Fields that are the same or tell nothing of each other.
class SameBytes : public IkxLintCondition {
 public:
  explicit SameBytes(Bytes bytes) : _bytes(bytes.begin(), bytes.end()) {}

  bool IsAlwaysMet() const override { return false; }
  bool Takes(const IkxLintCondition& narrower, CkxLintWork&) const override {
    const auto* const other = dynamic_cast<const SameBytes*>(&narrower);
    return other != nullptr && _bytes == other->_bytes;
  }
  void Demands(const KxFeatureVisit& visit) const override { visit(std::hash<std::string_view>()(_bytes)); }
  void Offers(const KxFeatureVisit& visit) const override { Demands(visit); }

 private:
  const std::string _bytes;
};

template <class Prop>
class PropertyCondition : public IkxLintCondition {
 public:
  bool Read(Bytes bytes) {
    const unsigned char* cursor = bytes.data();
    auto remaining = static_cast<unsigned long>(bytes.size());
    return _prop.FromBuffer(cursor, remaining) && _prop.Initialized();
  }

  bool IsAlwaysMet() const override { return ::IsAlwaysMet(_prop); }
  bool Takes(const IkxLintCondition& narrower, CkxLintWork& work) const override {
    const auto* const other = dynamic_cast<const PropertyCondition*>(&narrower);
    return other != nullptr && ::Takes(_prop, other->_prop, work);
  }
  void Demands(const KxFeatureVisit& visit) const override { ::Demands(_prop, visit); }
  void Offers(const KxFeatureVisit& visit) const override { ::Offers(_prop, visit); }

 private:
  Prop _prop;
};

template <class Prop>
std::unique_ptr<IkxLintCondition> MakeCondition(Bytes bytes) {
  auto condition = std::make_unique<PropertyCondition<Prop>>();
  if (condition->Read(bytes)) return condition;
  return std::make_unique<SameBytes>(bytes);
}

/// Fields of one name are of one property, whatever the kind of target.
struct ConditionKind {
  std::string_view field;
  std::unique_ptr<IkxLintCondition> (*make)(Bytes bytes);
};
constexpr ConditionKind kConditionKinds[] = {
    {"arguments", MakeCondition<CkxShBufPropArguments>},
    {"capabilities", MakeCondition<CkxShBufPropCapabilities>},
    {"classId", MakeCondition<CkxShBufPropStr>},
    {"fileName", MakeCondition<CkxShBufPropFileName>},
    {"fileVersion", MakeCondition<CkxShBufPropVersionRange>},
    {"installerProperties", MakeCondition<CkxShBufPropFileMsiInfos>},
    {"location", MakeCondition<CkxShBufPropFileLocation>},
    {"origin", MakeCondition<CkxShBufPropFileOrigin>},
    {"owners", MakeCondition<CkxShBufPropFileOwners>},
    {"packageName", MakeCondition<CkxShBufPropStr>},
    {"packageVersion", MakeCondition<CkxShBufPropVersionRange>},
    {"productVersion", MakeCondition<CkxShBufPropVersionRange>},
    {"publishers", MakeCondition<CkxShBufPropPublishers>},
    {"serviceName", MakeCondition<CkxShBufPropSvcName>},
    {"sourceAddress", MakeCondition<CkxShBufPropStr>},
    {"url", MakeCondition<AddressProp>},
    {"versionFields", MakeCondition<CkxShBufPropFileVerInfos>},
};

}  // namespace

std::unique_ptr<IkxLintCondition> KxLint_Condition(std::string_view field, std::span<const unsigned char> bytes) {
  const auto* const kind = std::find_if(std::begin(kConditionKinds), std::end(kConditionKinds),
                                        [&](const ConditionKind& one) { return one.field == field; });
  if (kind != std::end(kConditionKinds)) return kind->make(bytes);
  return std::make_unique<SameBytes>(bytes);
}
