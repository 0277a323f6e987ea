#include "Agent/engine/kx_publish/import/applocker.h"

#include <algorithm>
#include <array>
#include <memory>

#include "Agent/engine/kx_publish/import/import_values.h"
#include "Common_CPP/util/text.h"

namespace {

using Status = EkxImportStatus;
using Kind = EkxImportedKind;

struct SkxCollectionKind {
  const WCHAR* type;
  SkxJudgedKind judged;
};

/// By the names of collections, with the files that each is about.
const std::vector<SkxCollectionKind>& CollectionKinds() {
  static const auto& kinds =
      *std::make_unique<std::vector<SkxCollectionKind>>(
           std::vector<SkxCollectionKind>{
               {KXW("Exe"), {.kind = Kind::Executable}},
               {KXW("Msi"), {.kind = Kind::Installer, .hasProperties = true}},
               {KXW("Script"),
                {.kind = Kind::Script,
                 .extensions = {KXW("*.ps1"), KXW("*.bat"), KXW("*.cmd"), KXW("*.vbs"), KXW("*.js")}}},
               {KXW("Dll"), {.kind = Kind::Library, .extensions = {KXW("*.dll"), KXW("*.ocx")}}},
               {KXW("Appx"), {.kind = Kind::AppPackage}},
           })
           .release();
  return kinds;
}

std::vector<SkxPathVariable> VariablesOf(const SkxImportMachine& machine) {
  const auto on = [&](const WCHAR* rest) { return SkxPathPattern{machine.systemDrive + rest, {}}; };
  return {
      {KXW("%OSDRIVE%"), {on(KXW(""))}},
      {KXW("%WINDIR%"), {on(KXW("\\Windows"))}},
      {KXW("%SYSTEM32%"), {on(KXW("\\Windows\\System32")), on(KXW("\\Windows\\SysWOW64"))}},
      {KXW("%PROGRAMFILES%"), {on(KXW("\\Program Files")), on(KXW("\\Program Files (x86)"))}},
      {KXW("%REMOVABLE%"), {{KXW("?:"), KXW("CDROM")}}},
      {KXW("%HOT%"), {{KXW("?:"), KXW("REMOVABLE")}}},
  };
}

/// Under which names an organisation signs, beside its own. A rule that names the organisation is about all of them.
struct SkxOrganisation {
  const WCHAR* name;
  std::array<const WCHAR*, 3> signers;
};
constexpr SkxOrganisation kOrganisations[] = {
    {KXW("MICROSOFT CORPORATION"),
     {KXW("Microsoft Windows"), KXW("Microsoft Windows Publisher"), KXW("Microsoft Dynamic Code Publisher")}},
};

constexpr const char* kSignersByName =
    "a signer is told by its common name alone, which stands for its organisation; its place is not compared";
constexpr const char* kHotDrives = "%HOT% is taken for drives that the system calls removable; some hard disks are not";
constexpr const char* kEmptyText = "a file without the text is not taken for one with an empty text";

/// One rule, being read: what cannot be said of it is said to it.
class CkxAppLockerRule {
 public:
  CkxAppLockerRule(const SkxImportMachine& machine, Kind kind, SkxImportedRule& rule)
      : _variables(VariablesOf(machine)), _kind(kind), _rule(rule) {}

  void Read(const SkxXmlNode& node) {
    ReadHead(node);
    const SkxXmlNode* const conditions = KxImportXml_Child(node, KXW("Conditions"));
    if (conditions == nullptr || conditions->children.size() != 1) {
      return Refuse("it has not exactly one condition");
    }
    _rule.conditions = ConditionsOf(*conditions);
    for (const SkxXmlNode& child : node.children) {
      if (KxText_Equals(child.name, KXW("Exceptions"), true)) {
        const KxFileConditions exceptions = ConditionsOf(child);
        _rule.exceptions.insert(_rule.exceptions.end(), exceptions.begin(), exceptions.end());
      } else if (&child != conditions) {
        Refuse("it has an element that is not known: " + KxText_ToUtf8(child.name));
      }
    }
  }

 private:
  void Refuse(const std::string& reason) { _rule.Say(Status::NotExpressed, reason); }

  void ReadHead(const SkxXmlNode& node) {
    static constexpr const WCHAR* kKnown[] = {KXW("Id"), KXW("Name"), KXW("Description"), KXW("UserOrGroupSid"),
                                              KXW("Action")};
    _rule.id = KxImportXml_Utf8(node, KXW("Id"));
    _rule.name = KxImportXml_Utf8(node, KXW("Name"));
    RequireKnown(node, kKnown);
    const std::string action = KxImportXml_Utf8(node, KXW("Action"));
    if (action != "Allow" && action != "Deny") Refuse("its action is neither Allow nor Deny");
    _rule.isAllow = action == "Allow";
    const std::string user = KxImportXml_Utf8(node, KXW("UserOrGroupSid"));
    const std::optional<CkxSid> sid = CkxSid::FromUtf8(user);
    if (!sid) Refuse("whom it is for is no SID");
    if (sid && sid->ToUtf8() != "S-1-1-0") _rule.user = sid;
  }

  void RequireKnown(const SkxXmlNode& node, std::span<const WCHAR* const> known) {
    if (const SkxXmlAttribute* const other = KxImportXml_Unknown(node, known)) {
      Refuse("it has an attribute that is not known: " + KxText_ToUtf8(other->name));
    }
  }

  KxFileConditions ConditionsOf(const SkxXmlNode& list) {
    KxFileConditions conditions;
    for (const SkxXmlNode& node : list.children) {
      if (KxText_Equals(node.name, KXW("FilePathCondition"), true)) {
        ReadPath(node, conditions);
      } else if (KxText_Equals(node.name, KXW("FilePublisherCondition"), true)) {
        ReadPublisher(node, conditions);
      } else if (KxText_Equals(node.name, KXW("FileHashCondition"), true)) {
        ReadHashes(node, conditions);
      } else {
        Refuse("it has a condition or an exception that is not known: " + KxText_ToUtf8(node.name));
      }
    }
    return conditions;
  }

  void ReadPath(const SkxXmlNode& node, KxFileConditions& conditions) {
    static constexpr const WCHAR* kKnown[] = {KXW("Path")};
    RequireKnown(node, kKnown);
    if (_kind == Kind::AppPackage) return Refuse("application packages are not told by their path");
    const KxWString* const path = node.Attribute(KXW("Path"));
    if (path == nullptr || path->empty()) return Refuse("its path is missing");
    if (path->find(KXW('?')) != KxWString::npos) return Refuse("its path has a question mark, which no path has");
    std::string reason;
    const std::optional<std::vector<SkxPathPattern>> patterns = KxPathPattern_Expand(*path, _variables, reason);
    if (!patterns) return Refuse(reason);
    for (const SkxPathPattern& pattern : *patterns) {
      if (pattern.driveTypes == KXW("REMOVABLE")) _rule.Say(Status::Approximate, kHotDrives);
      SkxFileCondition& condition = conditions.emplace_back();
      if (pattern.glob != KXW("*")) condition.path = pattern;
    }
  }

  void ReadPublisher(const SkxXmlNode& node, KxFileConditions& conditions) {
    static constexpr const WCHAR* kKnown[] = {KXW("PublisherName"), KXW("ProductName"), KXW("BinaryName")};
    RequireKnown(node, kKnown);
    SkxFileCondition condition;
    if (!ReadSigners(node, condition)) return Refuse("its publisher has neither a common name nor an organisation");
    ReadVersions(node, condition);
    if (_kind == Kind::AppPackage) {
      ReadPackage(node, condition);
    } else {
      ReadTexts(node, condition);
    }
    conditions.push_back(std::move(condition));
  }

  bool ReadSigners(const SkxXmlNode& node, SkxFileCondition& condition) {
    const KxWString* const name = node.Attribute(KXW("PublisherName"));
    if (name == nullptr) return false;
    if (*name == KXW("*")) {
      condition.signers = {kKxAnySigner};
      return true;
    }
    std::optional<KxWString> signer = KxImportValue_NamePart(*name, KXW("CN"));
    const bool isCommonName = signer.has_value();
    if (!signer) signer = KxImportValue_NamePart(*name, KXW("O"));
    if (!signer) return false;
    if (signer->find(KXW('*')) != KxWString::npos) return false;
    _rule.Say(Status::Approximate, kSignersByName);
    condition.signers = {*signer};
    for (const SkxOrganisation& known : kOrganisations) {
      if (isCommonName || !KxText_Equals(known.name, *signer, false)) continue;
      condition.signers.insert(condition.signers.end(), known.signers.begin(), known.signers.end());
    }
    return true;
  }

  void ReadVersions(const SkxXmlNode& node, SkxFileCondition& condition) {
    static constexpr const WCHAR* kKnown[] = {KXW("LowSection"), KXW("HighSection")};
    const SkxXmlNode* const range = KxImportXml_Child(node, KXW("BinaryVersionRange"));
    if (node.children.size() != (range != nullptr ? 1U : 0U)) return Refuse("its publisher has elements not known");
    if (range == nullptr) return;
    RequireKnown(*range, kKnown);
    const auto bound = [&](CkxTextView attribute, uint64_t open) {
      const KxWString* const text = range->Attribute(attribute);
      if (text == nullptr || *text == KXW("*")) return open;
      const std::optional<uint64_t> version = KxImportValue_Version(*text);
      if (!version) Refuse("a bound of its versions is no version");
      return version.value_or(open);
    };
    condition.minVersion = bound(KXW("LowSection"), 0);
    condition.maxVersion = bound(KXW("HighSection"), SkxFileCondition::kNoMaximum);
    if (condition.minVersion > condition.maxVersion) Refuse("its lowest version is above its highest");
  }

  void ReadPackage(const SkxXmlNode& node, SkxFileCondition& condition) {
    const std::optional<KxWString> name = AskedText(node, KXW("ProductName"));
    if (name) condition.packageName = *name;
    if (name && name->empty()) Refuse("its package has no name");
    if (AskedText(node, KXW("BinaryName"))) Refuse("it is about one program of an application package");
  }

  void ReadTexts(const SkxXmlNode& node, SkxFileCondition& condition) {
    const std::optional<KxWString> product = AskedText(node, KXW("ProductName"));
    const std::optional<KxWString> binary = AskedText(node, KXW("BinaryName"));
    if (_kind == Kind::Script && (product || binary || condition.AsksForVersion())) {
      return Refuse("it asks for a product, a name or a version, which scripts do not have");
    }
    if (_kind == Kind::Installer && binary) return Refuse("it asks for the original name of an installer package");
    if (product) condition.texts.push_back({KXW("ProductName"), *product});
    if (binary) condition.texts.push_back({KXW("OriginalFilename"), *binary});
    const bool asksForNone = (product && product->empty()) || (binary && binary->empty());
    if (asksForNone) _rule.Say(Status::Approximate, kEmptyText);
  }

  /// Nothing for "*", which is any.
  std::optional<KxWString> AskedText(const SkxXmlNode& node, CkxTextView attribute) {
    const KxWString* const text = node.Attribute(attribute);
    if (text == nullptr) {
      Refuse(KxText_ToUtf8(attribute) + " of its publisher is missing");
      return std::nullopt;
    }
    if (*text == KXW("*")) return std::nullopt;
    if (text->find(KXW('*')) != KxWString::npos) Refuse("an asterisk is only a part of " + KxText_ToUtf8(attribute));
    return *text;
  }

  void ReadHashes(const SkxXmlNode& node, KxFileConditions& conditions) {
    if (_kind == Kind::AppPackage) return Refuse("application packages are not told by their hash");
    if (node.children.empty()) Refuse("it names no hash");
    for (const SkxXmlNode& child : node.children) ReadHash(child, conditions);
  }

  /// Of a program what its signature covers; of other files that, or the whole content.
  void ReadHash(const SkxXmlNode& node, KxFileConditions& conditions) {
    const std::string type = KxImportXml_Utf8(node, KXW("Type"));
    const KxWString* const data = node.Attribute(KXW("Data"));
    const bool isKnown = KxText_Equals(node.name, KXW("FileHash"), true) && (type == "SHA256" || type == "SHA256Flat");
    std::optional<KxWString> hex;
    if (data != nullptr && KxText_StartsWith(*data, KXW("0x"), false)) {
      hex = KxImportValue_Hex(CkxTextView(*data).Part(2), 64);
    }
    if (!isKnown || !hex) return Refuse("a hash of it is none of SHA-256");
    const bool isProgram = _kind == Kind::Executable || _kind == Kind::Library;
    if (type == "SHA256") conditions.emplace_back().hash = {KXW("AUTHENTICODE-SHA256"), *hex};
    if (type == "SHA256Flat" || !isProgram) conditions.emplace_back().hash = {KXW("SHA256"), *hex};
  }

  const std::vector<SkxPathVariable> _variables;
  const Kind _kind;
  SkxImportedRule& _rule;
};

bool IsRule(const SkxXmlNode& node) {
  constexpr const WCHAR* kRules[] = {KXW("FilePathRule"), KXW("FilePublisherRule"), KXW("FileHashRule")};
  return std::any_of(std::begin(kRules), std::end(kRules),
                     [&](const WCHAR* name) { return KxText_Equals(node.name, name, true); });
}

/// Which of the modes of several collections of a kind counts.
enum class CollectionMode { NotConfigured, Audit, Enforced };

class CkxAppLockerPolicy {
 public:
  CkxAppLockerPolicy(const SkxImportMachine& machine, SkxImportedPolicy& policy) : _machine(machine), _policy(policy) {}

  bool ReadFile(const SkxImportXml& xml, std::string& fault) {
    _file = xml.file;
    const bool isCollection = KxText_Equals(xml.root.name, KXW("RuleCollection"), true);
    if (!isCollection && !KxText_Equals(xml.root.name, KXW("AppLockerPolicy"), true)) {
      fault = xml.file + ": is no AppLocker policy: its root is neither AppLockerPolicy nor RuleCollection";
      return false;
    }
    if (isCollection) {
      ReadCollection(xml.root);
    } else {
      for (const SkxXmlNode& child : xml.root.children) ReadCollection(child);
    }
    return true;
  }

  /// Rules of a collection that says nothing of enforcement are enforced.
  void Finish() {
    for (size_t i = 0; i < _policy.sets.size(); ++i) _policy.sets[i].isAudit = _modes[i] == CollectionMode::Audit;
  }

 private:
  void Note(const std::string& text) { _policy.notes.push_back({_file, text}); }

  void ReadCollection(const SkxXmlNode& node) {
    const KxWString* const type = node.Attribute(KXW("Type"));
    const auto& kinds = CollectionKinds();
    const auto kind = std::find_if(kinds.begin(), kinds.end(), [&](const SkxCollectionKind& known) {
      return type != nullptr && KxText_Equals(known.type, *type, false);
    });
    if (!KxText_Equals(node.name, KXW("RuleCollection"), true)) {
      return Note("an element is not known and left out: " + KxText_ToUtf8(node.name));
    }
    const size_t set = SetOf(kind != kinds.end() ? &*kind : nullptr);
    ReadMode(node, set);
    for (const SkxXmlNode& child : node.children) {
      if (!IsRule(child)) {
        Note("an element of a collection is not known and left out: " + KxText_ToUtf8(child.name));
        continue;
      }
      SkxImportedRule& rule = _policy.sets[set].rules.emplace_back();
      rule.file = _file;
      CkxAppLockerRule(_machine, kind != kinds.end() ? kind->judged.kind : Kind::Executable, rule).Read(child);
      if (kind == kinds.end()) rule.Say(Status::NotExpressed, "its collection is of a type that is not known");
    }
  }

  /// Collections of types that are not known judge nothing.
  size_t SetOf(const SkxCollectionKind* kind) {
    const std::string name = kind != nullptr ? KxText_ToUtf8(kind->type) : "another collection";
    for (size_t i = 0; i < _policy.sets.size(); ++i) {
      if (_policy.sets[i].name == name) return i;
    }
    SkxImportedSet& set = _policy.sets.emplace_back();
    set.name = name;
    if (kind != nullptr) set.kinds = {kind->judged};
    _modes.push_back(CollectionMode::NotConfigured);
    return _policy.sets.size() - 1;
  }

  void ReadMode(const SkxXmlNode& node, size_t set) {
    const std::string text = KxImportXml_Utf8(node, KXW("EnforcementMode"));
    CollectionMode mode = CollectionMode::NotConfigured;
    if (text == "Enabled") {
      mode = CollectionMode::Enforced;
    } else if (text == "AuditOnly") {
      mode = CollectionMode::Audit;
    } else if (!text.empty() && text != "NotConfigured") {
      mode = CollectionMode::Enforced;
      Note("the mode of collection " + _policy.sets[set].name + " is not known, and taken as enforced: " + text);
    }
    const bool isMixed = (mode == CollectionMode::Audit && _modes[set] == CollectionMode::Enforced) ||
                         (mode == CollectionMode::Enforced && _modes[set] == CollectionMode::Audit);
    if (isMixed)
      Note("collection " + _policy.sets[set].name +
           " is audited in one place and enforced in another: taken as enforced");
    _modes[set] = std::max(_modes[set], mode);
  }

  const SkxImportMachine& _machine;
  SkxImportedPolicy& _policy;
  std::vector<CollectionMode> _modes;  // one a set
  std::string _file;
};

}  // namespace

bool KxAppLocker_Read(const std::vector<SkxImportXml>& files, const SkxImportMachine& machine,
                      SkxImportedPolicy& policy, std::string& fault) {
  CkxAppLockerPolicy reader(machine, policy);
  for (const SkxImportXml& file : files) {
    if (!reader.ReadFile(file, fault)) return false;
  }
  reader.Finish();
  return true;
}
