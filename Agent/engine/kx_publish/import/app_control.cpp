#include "Agent/engine/kx_publish/import/app_control.h"

#include <algorithm>
#include <map>
#include <set>

#include "Agent/engine/kx_publish/import/app_control_rules.h"
#include "Common_CPP/util/text.h"

namespace {

using Status = EkxImportStatus;
using Kind = EkxImportedKind;

constexpr std::string_view kUserMode = "12";

/// Options that change what is allowed, and have no counterpart.
struct SkxOptionNote {
  std::string_view option;
  const char* note;
};
constexpr SkxOptionNote kOptionNotes[] = {
    {"Enabled:Intelligent Security Graph Authorization", "what has a good reputation is not allowed for that"},
    {"Enabled:Managed Installer", "what a managed installer brought is not allowed for that"},
    {"Required:EV Signers", "whether a signer of a driver has an extended validation is not looked at"},
    {"Enabled:Dynamic Code Security", "code that programs make while they run is not judged"},
    {"Required:Enforce Store Applications", "application packages are judged by rules for package families alone"},
};

std::vector<SkxJudgedKind> KindsOf(bool enforcesScripts) {
  std::vector<SkxJudgedKind> kinds = {
      {.kind = Kind::Executable}, {.kind = Kind::Library}, {.kind = Kind::AppPackage, .isByNameAlone = true}};
  if (!enforcesScripts) return kinds;
  kinds.push_back({.kind = Kind::Installer});
  kinds.push_back({.kind = Kind::Script,
                   .extensions = {KXW("*.ps1"), KXW("*.psm1"), KXW("*.vbs"), KXW("*.vbe"), KXW("*.js"), KXW("*.jse"),
                                  KXW("*.wsf"), KXW("*.wsh")}});
  return kinds;
}

bool IsNamed(const SkxXmlNode& node, CkxTextView name) { return KxText_Equals(node.name, name, true); }

std::string TextOf(const SkxXmlNode& root, CkxTextView child) {
  const SkxXmlNode* const node = KxImportXml_Child(root, child);
  return node != nullptr ? KxText_ToUtf8(node->text) : std::string();
}

/// Calls `visit(node)` for each child of that name of each list of that name.
template <class Visit>
void ForEachIn(const SkxXmlNode& parent, CkxTextView list, CkxTextView name, Visit visit) {
  for (const SkxXmlNode& child : parent.children) {
    if (!IsNamed(child, list)) continue;
    for (const SkxXmlNode& node : child.children) {
      if (IsNamed(node, name)) visit(node);
    }
  }
}

bool IsCondition(const SkxFileCondition& condition) {
  return condition.path || condition.hash || condition.packageName || !condition.signers.empty() ||
         !condition.texts.empty() || condition.AsksForVersion();
}

/// One file, being read.
class CkxAppControlFile {
 public:
  CkxAppControlFile(const SkxImportXml& xml, const SkxImportMachine& machine)
      : _file(xml.file), _root(xml.root), _rules(xml.root, machine) {
    ForEachIn(_root, KXW("Rules"), KXW("Rule"),
              [&](const SkxXmlNode& rule) { _options.insert(TextOf(rule, KXW("Option"))); });
  }

  const std::string& Name() const { return _file; }
  bool IsSupplement() const { return KxImportXml_Utf8(_root, KXW("PolicyType")) == "Supplemental Policy"; }
  std::string Id() const { return TextOf(_root, KXW("PolicyID")); }
  std::string BaseId() const { return TextOf(_root, KXW("BasePolicyID")); }
  bool IsAudit() const { return Has("Enabled:Audit Mode"); }
  bool EnforcesScripts() const { return !Has("Disabled:Script Enforcement"); }
  bool JudgesUserMode() const { return Has("Enabled:UMCI") || IsSupplement(); }

  /// The rules of the file, those that are not about what is judged here included, in the order of the document.
  std::vector<SkxImportedRule> Rules() {
    ForEachIn(_root, KXW("SigningScenarios"), KXW("SigningScenario"),
              [&](const SkxXmlNode& scenario) { ReadScenario(scenario); });
    for (const SkxXmlNode* const node : _rules.FileRules()) ListUnused(*node, IsNamed(*node, KXW("FileAttrib")));
    for (const SkxXmlNode* const node : _rules.Signers()) ListUnused(*node, false);
    ForEachIn(_root, KXW("ArtifactRules"), KXW("ArtifactRule"), [&](const SkxXmlNode& node) {
      NewRule(node, false).Say(Status::NotExpressed, "it is about catalogues and images of components");
    });
    return std::move(_read);
  }

  std::vector<SkxImportNote> Notes() const {
    std::vector<SkxImportNote> notes;
    for (const SkxOptionNote& known : kOptionNotes) {
      if (Has(known.option)) notes.push_back({_file, std::string(known.option) + ": " + known.note});
    }
    if (_driverReferences != 0) {
      notes.push_back(
          {_file, "rules for kernel drivers: " + std::to_string(_driverReferences) + "; drivers are not judged here"});
    }
    if (_testReferences != 0) {
      notes.push_back({_file, "rules for test signing and for images of components: " +
                                  std::to_string(_testReferences) + "; neither is judged here"});
    }
    if (EnforcesScripts() && JudgesUserMode()) {
      notes.push_back(
          {_file, "scripts that are not allowed are blocked; the original lets some hosts run them restricted"});
    }
    return notes;
  }

 private:
  bool Has(std::string_view option) const { return _options.contains(std::string(option)); }

  SkxImportedRule& NewRule(const SkxXmlNode& node, bool isAllow) {
    SkxImportedRule& rule = _read.emplace_back();
    rule.file = _file;
    rule.id = KxImportXml_Utf8(node, KXW("ID"));
    const bool isSigner = IsNamed(node, KXW("Signer"));
    rule.name = KxImportXml_Utf8(node, isSigner ? KXW("Name") : KXW("FriendlyName"));
    rule.isAllow = isAllow;
    _listed.insert(&node);
    return rule;
  }

  void ReadScenario(const SkxXmlNode& scenario) {
    const bool isUserMode = KxImportXml_Utf8(scenario, KXW("Value")) == kUserMode;
    for (const SkxXmlNode& signers : scenario.children) {
      const bool isProduct = IsNamed(signers, KXW("ProductSigners"));
      if (isUserMode && isProduct) {
        ReadSigners(signers);
      } else {
        CountReferences(signers, isProduct);
      }
    }
  }

  /// Of the product signers of drivers, else of what is not judged in any scenario.
  void CountReferences(const SkxXmlNode& signers, bool isProduct) {
    if (IsNamed(signers, KXW("AppIDTags"))) return;
    for (const SkxXmlNode& list : signers.children) {
      (isProduct ? _driverReferences : _testReferences) += list.children.size();
      for (const SkxXmlNode& reference : list.children) {
        if (!isProduct) continue;
        _ofDrivers.insert(KxImportXml_Utf8(reference, KXW("RuleID")));
        _ofDrivers.insert(KxImportXml_Utf8(reference, KXW("SignerId")));
      }
    }
  }

  SkxAppControlUse UseOf(bool isAllow) const { return {isAllow, !Has("Disabled:Runtime FilePath Rule Protection")}; }

  void ReadSigners(const SkxXmlNode& product) {
    ForEachIn(product, KXW("FileRulesRef"), KXW("FileRuleRef"),
              [&](const SkxXmlNode& reference) { ReadFileRule(KxImportXml_Utf8(reference, KXW("RuleID"))); });
    ForEachIn(product, KXW("DeniedSigners"), KXW("DeniedSigner"),
              [&](const SkxXmlNode& node) { ReadSigner(node, false, KXW("ExceptAllowRule"), KXW("AllowRuleID")); });
    ForEachIn(product, KXW("AllowedSigners"), KXW("AllowedSigner"),
              [&](const SkxXmlNode& node) { ReadSigner(node, true, KXW("ExceptDenyRule"), KXW("DenyRuleID")); });
  }

  /// A reference to nothing is a rule that cannot be told.
  SkxImportedRule& Dangling(const std::string& id) {
    SkxImportedRule& rule = _read.emplace_back();
    rule.file = _file;
    rule.id = id;
    rule.Say(Status::NotExpressed, "it is referred to, and is not there or there twice");
    return rule;
  }

  void ReadFileRule(const std::string& id) {
    const SkxXmlNode* const node = _rules.FileRule(id);
    if (node == nullptr) {
      Dangling(id);
      return;
    }
    if (_listed.contains(node)) return;
    const bool isAllow = IsNamed(*node, KXW("Allow"));
    SkxImportedRule& rule = NewRule(*node, isAllow);
    const std::string whole = _rules.WholeHashBeside(*node);
    if (!whole.empty()) {
      rule.Say(Status::Approximate,
               "its hash is one of pages of a file, which " + whole + " tells by its whole digest");
    } else if (isAllow || IsNamed(*node, KXW("Deny"))) {
      rule.conditions = _rules.FileConditions(*node, UseOf(isAllow), rule);
    } else {
      rule.Say(Status::NotExpressed, "a rule of its kind has no documented meaning");
    }
  }

  void ReadSigner(const SkxXmlNode& reference, bool isAllow, CkxTextView exceptions, CkxTextView exceptionId) {
    const std::string id = KxImportXml_Utf8(reference, KXW("SignerId"));
    const SkxXmlNode* const node = _rules.Signer(id);
    if (node == nullptr) {
      Dangling(id);
      return;
    }
    if (!_signers.insert({node, isAllow}).second) {
      NewRule(*node, isAllow).Say(Status::NotExpressed, "its signer is referred to twice");
      return;
    }
    SkxImportedRule& rule = NewRule(*node, isAllow);
    rule.conditions = _rules.SignerConditions(*node, UseOf(isAllow), rule);
    for (const SkxXmlNode& child : reference.children) {
      ReadException(child, exceptions, KxImportXml_Utf8(child, exceptionId), rule);
    }
  }

  /// What cannot be excepted from an allowance must not be allowed; what cannot be excepted from a denial is denied.
  void ReadException(const SkxXmlNode& child, CkxTextView element, const std::string& id, SkxImportedRule& rule) {
    const SkxXmlNode* const node = IsNamed(child, element) ? _rules.FileRule(id) : nullptr;
    SkxImportedRule read;
    KxFileConditions conditions;
    if (node != nullptr) conditions = _rules.FileConditions(*node, {!rule.isAllow, false}, read);
    if (node != nullptr && read.status == Status::Exact) {
      rule.exceptions.insert(rule.exceptions.end(), conditions.begin(), conditions.end());
    } else {
      rule.Say(rule.isAllow ? Status::NotExpressed : Status::Approximate, "its exception " + id + " cannot be told");
    }
  }

  /// File attributes are parts of signers.
  void ListUnused(const SkxXmlNode& node, bool isPart) {
    if (isPart || _listed.contains(&node)) return;
    SkxImportedRule& rule = NewRule(node, IsNamed(node, KXW("Allow")));
    rule.Say(Status::NotExpressed, IsForDrivers(node)
                                       ? "it is about kernel drivers, which are not judged here"
                                       : "nothing in user mode refers to it, so that it decides about no file");
  }

  bool IsForDrivers(const SkxXmlNode& rule) const { return _ofDrivers.contains(KxImportXml_Utf8(rule, KXW("ID"))); }

  const std::string _file;
  const SkxXmlNode& _root;
  const CkxAppControlRules _rules;
  std::set<std::string> _options;
  std::vector<SkxImportedRule> _read;
  std::set<const SkxXmlNode*> _listed;
  std::set<std::pair<const SkxXmlNode*, bool>> _signers;  // allowed or denied already
  std::set<std::string> _ofDrivers;                       // identifiers
  size_t _driverReferences = 0;
  size_t _testReferences = 0;
};

/// Whether the rule allows whatever is judged.
bool AllowsAll(const SkxImportedRule& rule) {
  const auto isOpen = [](const SkxFileCondition& condition) { return !IsCondition(condition); };
  return rule.isAllow && rule.status != Status::NotExpressed && rule.exceptions.empty() &&
         std::any_of(rule.conditions.begin(), rule.conditions.end(), isOpen);
}

/// Several policies as one set. What runs must be allowed by each base policy, which an order can say as long as all
/// but one only deny.
class CkxAppControlPolicy {
 public:
  explicit CkxAppControlPolicy(SkxImportedPolicy& policy) : _policy(policy) { _set.name = "App Control"; }

  bool Add(CkxAppControlFile& file, std::string& fault) {
    std::vector<SkxImportedRule> rules = file.Rules();
    for (SkxImportNote& note : file.Notes()) _policy.notes.push_back(std::move(note));
    if (!file.JudgesUserMode()) {
      _policy.notes.push_back({file.Name(), "the policy is about drivers alone: user mode is not enabled in it"});
      for (SkxImportedRule& rule : rules) rule.Say(Status::NotExpressed, "user mode is not enabled in its policy");
    }
    const bool isBase = !file.IsSupplement() && file.JudgesUserMode();
    _basePolicies[file.Name()] = file.IsSupplement() ? file.BaseId() : IdOf(file);
    if (isBase && !AddBase(file, rules, fault)) return false;
    if (file.IsSupplement()) LeaveDenialsOut(rules);
    std::move(rules.begin(), rules.end(), std::back_inserter(_set.rules));
    return true;
  }

  void Finish() {
    // Where one base policy restricts, what the others allow without restriction is theirs alone.
    for (SkxImportedRule& rule : _set.rules) {
      if (!_restricting.empty() && rule.isAllow && _open.contains(_basePolicies[rule.file])) {
        rule.conditions.clear();
      }
    }
    _policy.sets.push_back(std::move(_set));
  }

 private:
  bool AddBase(CkxAppControlFile& file, const std::vector<SkxImportedRule>& rules, std::string& fault) {
    if (_hasBase && file.IsAudit() != _set.isAudit) {
      fault = file.Name() + ": one policy is audited and another enforced, which no order of policies can say together";
      return false;
    }
    if (_hasBase && file.EnforcesScripts() != _enforcesScripts) {
      fault = file.Name() + ": one policy judges scripts and another does not: import each by itself";
      return false;
    }
    const bool isOpen = std::any_of(rules.begin(), rules.end(), AllowsAll);
    if (isOpen) {
      _open.insert(IdOf(file));
    } else if (_restricting.empty()) {
      _restricting = file.Name();
    } else {
      fault = file.Name() + ": it and " + _restricting +
              " each allow only some files, which no order of policies can say together: import each by itself";
      return false;
    }
    _hasBase = true;
    _set.isAudit = file.IsAudit();
    _enforcesScripts = file.EnforcesScripts();
    _set.kinds = KindsOf(_enforcesScripts);
    return true;
  }

  static std::string IdOf(const CkxAppControlFile& file) { return file.Id().empty() ? file.Name() : file.Id(); }

  static void LeaveDenialsOut(std::vector<SkxImportedRule>& rules) {
    for (SkxImportedRule& rule : rules) {
      if (!rule.isAllow) rule.Say(Status::NotExpressed, "a supplement cannot deny");
    }
  }

  SkxImportedPolicy& _policy;
  SkxImportedSet _set;
  bool _hasBase = false;
  bool _enforcesScripts = false;
  std::string _restricting;
  std::set<std::string> _open;                       // base policies that allow all that they do not deny
  std::map<std::string, std::string> _basePolicies;  // by file
};

/// A supplement belongs to the one base policy that allows only some files.
bool CheckSupplements(const std::vector<CkxAppControlFile>& files, std::string& fault) {
  for (const CkxAppControlFile& file : files) {
    if (!file.IsSupplement()) continue;
    const auto isBase = [&](const CkxAppControlFile& other) {
      return !other.IsSupplement() && !other.Id().empty() && other.Id() == file.BaseId();
    };
    if (std::any_of(files.begin(), files.end(), isBase)) continue;
    fault = file.Name() + ": the policy that it supplements, " + file.BaseId() + ", is not among the files";
    return false;
  }
  return true;
}

}  // namespace

bool KxAppControl_Read(const std::vector<SkxImportXml>& files, const SkxImportMachine& machine,
                       SkxImportedPolicy& policy, std::string& fault) {
  std::vector<CkxAppControlFile> opened;
  for (const SkxImportXml& xml : files) {
    if (!KxText_Equals(xml.root.name, KXW("SiPolicy"), true)) {
      fault = xml.file + ": is no App Control policy: its root is not SiPolicy";
      return false;
    }
    opened.emplace_back(xml, machine);
  }
  if (!CheckSupplements(opened, fault)) return false;
  CkxAppControlPolicy together(policy);
  for (CkxAppControlFile& file : opened) {
    if (!together.Add(file, fault)) return false;
  }
  together.Finish();
  return true;
}
