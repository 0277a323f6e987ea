#include "Agent/engine/kx_publish/suggest/suggestion.h"

#include <algorithm>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/model/derived_id.h"
#include "Agent/engine/kx_util/command/wildcard.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/crypto/file_digest.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr uint16_t kSameText = 1;
constexpr uint16_t kWithPlaceholders = 4;
constexpr const WCHAR* kProductName = KXW("ProductName");
constexpr const WCHAR* kProductVersion = KXW("ProductVersion");

/// The digests that a rule may rest on. Nobody should be let in by MD5.
constexpr const WCHAR* kDigests[] = {KXW("SHA256"), KXW("AUTHENTICODE-SHA256"), KXW("SHA384"), KXW("SHA512"),
                                     KXW("SHA1"),   KXW("AUTHENTICODE-SHA1")};

constexpr EkxPolicyTarget kTypes[] = {EkxPolicyTarget::Executable, EkxPolicyTarget::Script, EkxPolicyTarget::Msi,
                                      EkxPolicyTarget::Msu, EkxPolicyTarget::Dll};

// What is longer is no name that somebody gave, and no path that a system takes.
constexpr size_t kMaxNameUnits = 1024;
constexpr size_t kMaxPathUnits = 32767;
constexpr size_t kMaxTitleUnits = 200;

/// Whether a document can say the text.
bool IsUsable(CkxTextView text, size_t maxUnits = kMaxNameUnits) {
  return !text.IsEmpty() && text.Size() <= maxUnits && KxText_FromUtf8(KxText_ToUtf8(text)) == text.ToString();
}

bool IsFullPath(CkxTextView path) {
  const bool fromDrive = KxPath_DriveLetter(path) != 0 && path.Size() > 2 && KxPath_IsSeparator(path[2]);
  return fromDrive || (!path.IsEmpty() && KxPath_IsSeparator(path.Front()));
}

// Texts are compared without the white space around them, so no rule may ask for it.

CkxTextView FileNameOf(const CkxTargetInfoFile& file) { return KxText_Trim(KxPath_FileName(file.GetPath())); }

/// Null unless the signature holds by itself: of one that is weak, another signer would have to say the same.
CkxTextView PublisherOf(const CkxTargetInfoFile& file) {
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
  const CkxTextView publisher = file.GetPublisher(false, status);
  return status == EkxPublisherStatus::Valid ? KxText_Trim(publisher) : CkxTextView();
}

CkxTextView ProductOf(const CkxTargetInfoFile& file) {
  const bool isPackage = file.IsTargetType(EkxPolicyTarget::Msi);
  return KxText_Trim(isPackage ? file.GetMsiProperty(kProductName) : file.GetVersionInfo(kProductName));
}

/// That a rule about the product can ask for; empty for what has none.
SkxVersion VersionOf(const CkxTargetInfoFile& file) {
  switch (file.TargetType()) {
    case EkxPolicyTarget::Executable:
    case EkxPolicyTarget::Dll:
      return file.GetVersion();
    case EkxPolicyTarget::Msi:
      return SkxVersion::Parse(file.GetMsiProperty(kProductVersion));
    default:
      return SkxVersion();
  }
}

KxWString VersionText(const SkxVersion& version) {
  std::string text;
  for (unsigned char part = 0; part < 4; ++part) {
    text.append(part == 0 ? "" : ".").append(std::to_string(version.GetAt(part)));
  }
  return KxText_FromUtf8(text).value();
}

/// Without its last separator, unless that is the root.
KxWString FolderOf(CkxTextView path) {
  KxWString folder = KxPath_Folder(path).ToString();
  const bool isRoot = folder.size() <= 1 || (folder.size() == 3 && KxPath_DriveLetter(folder) != 0);
  if (!isRoot) folder.pop_back();
  return folder;
}

/// -1, 0 or 1, folded as names are compared.
int Compare(const KxWString& a, const KxWString& b) {
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    const WCHAR left = KxText_Fold(a[i]);
    const WCHAR right = KxText_Fold(b[i]);
    if (left != right) return left < right ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

template <class Test>
KxElements<Test> Named(const WCHAR* name, const KxWString& text) {
  Test test;
  test.name = name;
  test.pattern = text;
  test.compareAs = kSameText;
  return {test};
}

KxElements<SkxPublisherTest> SignedBy(const KxWString& publisher) {
  SkxPublisherTest test;
  test.pattern = publisher;
  test.compareAs = kSameText;
  return {test};
}

SkxFileNameTest CalledAs(const KxWString& name) {
  SkxFileNameTest test;
  test.pattern = name;
  test.compareAs = kSameText;
  return test;
}

SkxFileNameTest OfDigest(const KxWString& algorithm, const KxWString& text) {
  SkxFileNameTest test;
  test.pattern = KXW("*");
  test.compareAs = kWithPlaceholders;
  test.hashAlgorithm = algorithm;
  test.hash = text;
  return test;
}

}  // namespace

bool CkxSuggestion::IsLess::operator()(const Rule& a, const Rule& b) const {
  if (std::tie(a.way, a.type) != std::tie(b.way, b.type)) return std::tie(a.way, a.type) < std::tie(b.way, b.type);
  const int first = Compare(a.first, b.first);
  return first != 0 ? first < 0 : Compare(a.second, b.second) < 0;
}

std::optional<CkxSuggestion::Rule> CkxSuggestion::ProductRule(const CkxTargetInfoFile& file) {
  const CkxTextView publisher = PublisherOf(file);
  if (!IsUsable(publisher) || VersionOf(file).IsEmpty()) return std::nullopt;
  const CkxTextView product = ProductOf(file);
  if (!IsUsable(product)) return std::nullopt;
  return Rule{Way::Product, file.TargetType(), publisher.ToString(), product.ToString()};
}

std::optional<CkxSuggestion::Rule> CkxSuggestion::SignedNameRule(const CkxTargetInfoFile& file) {
  const CkxTextView publisher = PublisherOf(file);
  if (!IsUsable(publisher) || !IsUsable(FileNameOf(file))) return std::nullopt;
  return Rule{Way::SignedName, file.TargetType(), publisher.ToString(), FileNameOf(file).ToString()};
}

std::optional<CkxSuggestion::Rule> CkxSuggestion::DigestRule(const CkxTargetInfoFile& file) {
  for (const WCHAR* const algorithm : kDigests) {
    const CkxTextView text = file.GetHashStringUsing(algorithm);
    const size_t digits = KxFileDigest_Named(algorithm)->bytes * 2;
    const bool isWhole = text.Size() == CkxTextView(algorithm).Size() + 2 + digits;  // a recorded one may be anything
    if (!text.IsNull() && isWhole) return Rule{Way::Digest, file.TargetType(), algorithm, text.ToString()};
  }
  return std::nullopt;
}

/// As the place is judged, "." and the like resolved. A folder with placeholders in its name would stand for others.
std::optional<CkxSuggestion::Rule> CkxSuggestion::PlaceRule(const CkxTargetInfoFile& file) {
  const CkxTextView spelled = file.GetPath();
  if (!IsUsable(spelled, kMaxPathUnits)) return std::nullopt;
  const KxWString path = KxPath_Normalized(spelled).value_or(spelled.ToString());
  const KxWString folder = FolderOf(path);
  if (!IsFullPath(path) || KxWildcard_IsPattern(folder)) return std::nullopt;
  return Rule{Way::Place, file.TargetType(), folder, FileNameOf(file).ToString()};
}

std::optional<CkxSuggestion::Rule> CkxSuggestion::RuleOf(const CkxTargetInfo& target) {
  if (!target.IsTargetInfoFile()) return std::nullopt;
  const auto& file = static_cast<const CkxTargetInfoFile&>(target);
  if (std::find(std::begin(kTypes), std::end(kTypes), file.TargetType()) == std::end(kTypes)) return std::nullopt;
  if (FileNameOf(file).IsEmpty()) return std::nullopt;  // which every rule about files looks at
  for (const auto ruleOf : {ProductRule, SignedNameRule, DigestRule, PlaceRule}) {
    std::optional<Rule> rule = ruleOf(file);
    if (rule) return rule;
  }
  return std::nullopt;
}

bool CkxSuggestion::Add(const CkxTargetInfo& target) {
  const CkxEntryScope asking;  // until its end a fault stays noted: what could not be had is not what there is not
  if (!asking.IsOpen()) throw std::bad_alloc();
  std::optional<Rule> rule = RuleOf(target);
  const EkxEvaluationFault fault = KxFault_Current();
  if (fault == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  if (fault != EkxEvaluationFault::None) throw CkxDocumentFault("", std::string(KxUtil_FaultText(fault)));
  if (!rule) {
    ++_leftOut;
    return false;
  }
  const auto& file = static_cast<const CkxTargetInfoFile&>(target);
  KxWString name = FileNameOf(file).ToString();
  const SkxVersion version = VersionOf(file);
  Seen& seen = _rules[*rule];
  if (seen.count++ == 0) {
    seen.rule = *std::move(rule);
    seen.fileName = std::move(name);
    seen.least = version;
  } else {
    if (rule->Key() < seen.rule.Key()) seen.rule = *std::move(rule);
    if (name < seen.fileName) seen.fileName = std::move(name);
    if (version.IsLessThan(seen.least)) seen.least = version;
  }
  ++_added;
  return true;
}

template <class Body>
Body CkxSuggestion::BodyOf(const Seen& seen) {
  const Rule& rule = seen.rule;
  Body body;
  switch (rule.way) {
    case Way::Product:
      body.publishers = SignedBy(rule.first);
      if constexpr (requires { body.versionFields; }) {
        body.versionFields = Named<SkxVersionFieldTest>(kProductName, rule.second);
        body.fileVersion.emplace().min = seen.least.ToQWORD();
      } else if constexpr (requires { body.installerProperties; }) {
        body.installerProperties = Named<SkxInstallerPropertyTest>(kProductName, rule.second);
        body.productVersion.emplace().min = seen.least.ToQWORD();
      }
      break;
    case Way::SignedName:
      body.publishers = SignedBy(rule.first);
      body.fileName = CalledAs(rule.second);
      break;
    case Way::Digest:
      body.fileName = OfDigest(rule.first, rule.second);
      break;
    case Way::Place:
      body.location.emplace().pattern = rule.first;
      body.fileName = CalledAs(rule.second);
      break;
  }
  return body;
}

SkxTargetBody CkxSuggestion::TargetOf(const Seen& seen) {
  switch (seen.rule.type) {
    case EkxPolicyTarget::Script:
      return BodyOf<SkxScriptTarget>(seen);
    case EkxPolicyTarget::Msi:
      return BodyOf<SkxMsiTarget>(seen);
    case EkxPolicyTarget::Msu:
      return BodyOf<SkxMsuTarget>(seen);
    case EkxPolicyTarget::Dll:
      return BodyOf<SkxDllTarget>(seen);
    default:
      return BodyOf<SkxExeTarget>(seen);
  }
}

/// "Vendor: Product from 1.2.0.0 on (seen 3 times)".
KxWString CkxSuggestion::NameOf(const Seen& seen) {
  const Rule& rule = seen.rule;
  KxWString title = rule.first + KXW(": ") + rule.second;
  if (rule.way == Way::Product) title += KXW(" from ") + VersionText(seen.least) + KXW(" on");
  if (rule.way == Way::Digest) title = seen.fileName + KXW(" by its ") + rule.first;
  if (rule.way == Way::Place) title = rule.second + KXW(" in ") + rule.first;
  KxWString shown = KxText_FromUtf8(KxText_Printable(title)).value();
  if (shown.size() > kMaxTitleUnits) {
    shown.resize(kMaxTitleUnits);
    if (shown.back() >= 0xD800 && shown.back() < 0xDC00) shown.pop_back();  // half of a character
    shown += KXW("...");
  }
  const std::string times = seen.count == 1 ? " (seen once)" : " (seen " + std::to_string(seen.count) + " times)";
  return shown + KxText_FromUtf8(times).value();
}

SkxPublication CkxSuggestion::Publication(const SkxPolicyKind& kind) const {
  SkxPublication publication;
  for (const auto& [key, seen] : _rules) {
    SkxPolicyModel& policy = publication.policies.emplace_back();
    policy.action = kind.action;
    policy.params = kind.params();
    policy.id = static_cast<uint32_t>(publication.policies.size());
    policy.order = policy.id;
    policy.name = NameOf(seen);
    policy.targets.push_back({KxDerivedId("policy/" + std::to_string(policy.id) + "/target/0"), TargetOf(seen)});
  }
  return publication;
}

const SkxPolicyKind* KxSuggestion_Kind(const char* key) {
  const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::key, key);
  const bool isAboutPrograms = kind != nullptr && kind->withTargets && kind->action != EkxPolicyAction::SetSecurity &&
                               kind->action != EkxPolicyAction::Exclude;
  return isAboutPrograms ? kind : nullptr;
}
