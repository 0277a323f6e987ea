#include "Agent/engine/kx_publish/import/app_control_rules.h"

#include <algorithm>
#include <memory>

#include "Agent/engine/kx_publish/import/file_condition.h"
#include "Agent/engine/kx_publish/import/import_values.h"
#include "Common_CPP/util/text.h"

namespace {

using Status = EkxImportStatus;

constexpr size_t kMaxText = 256;         // units of what is compared with a text of a file
constexpr size_t kMaxAttributes = 1024;  // of one signer
constexpr std::string_view kPageHash = "Hash Page ";
constexpr std::string_view kWholeHash = "Hash Sha";

struct SkxFileAttribute {
  const WCHAR* attribute;
  const WCHAR* versionField;
};
constexpr SkxFileAttribute kTextAttributes[] = {
    {KXW("FileName"), KXW("OriginalFilename")},
    {KXW("InternalName"), KXW("InternalName")},
    {KXW("FileDescription"), KXW("FileDescription")},
    {KXW("ProductName"), KXW("ProductName")},
};

std::vector<SkxPathVariable> AppControlVariables(const SkxImportMachine& machine) {
  const auto on = [&](const WCHAR* rest) { return SkxPathPattern{machine.systemDrive + rest, {}}; };
  return {
      {KXW("%OSDRIVE%"), {on(KXW(""))}},
      {KXW("%WINDIR%"), {on(KXW("\\Windows"))}},
      {KXW("%SYSTEM32%"), {on(KXW("\\Windows\\System32"))}},
  };
}

/// The beginning of the names of all hashes of one file; empty for other rules.
std::string HashStem(const SkxXmlNode& node, std::string_view mark) {
  const std::string name = KxImportXml_Utf8(node, KXW("FriendlyName"));
  const size_t at = name.find(mark);
  return at == std::string::npos ? std::string() : KxText_ToUtf8(node.name) + ' ' + name.substr(0, at);
}

/// One file rule, being read.
class CkxFileRuleReader {
 public:
  CkxFileRuleReader(const std::vector<SkxPathVariable>& variables, const SkxAppControlUse& use, SkxImportedRule& rule)
      : _variables(variables), _use(use), _rule(rule) {}

  KxFileConditions Read(const SkxXmlNode& node) {
    RequireKnown(node);
    ReadTexts(node);
    ReadVersions(node);
    ReadPackage(node);
    if (node.Attribute(KXW("FilePath")) != nullptr || node.Attribute(KXW("Hash")) != nullptr) _asksForSomething = true;
    if (!_asksForSomething && !_condition.packageName && !_condition.AsksForVersion()) Refuse("it asks for nothing");
    KxFileConditions conditions = {_condition};
    if (const KxWString* const path = node.Attribute(KXW("FilePath"))) conditions = AtPath(*path);
    if (const KxWString* const hash = node.Attribute(KXW("Hash"))) conditions = WithHash(*hash, std::move(conditions));
    return conditions;
  }

 private:
  void Refuse(const std::string& reason) { _rule.Say(Status::NotExpressed, reason); }

  void RequireKnown(const SkxXmlNode& node) {
    static constexpr const WCHAR* kKnown[] = {KXW("ID"),
                                              KXW("FriendlyName"),
                                              KXW("FileName"),
                                              KXW("InternalName"),
                                              KXW("ProductName"),
                                              KXW("FileDescription"),
                                              KXW("MinimumFileVersion"),
                                              KXW("MaximumFileVersion"),
                                              KXW("Hash"),
                                              KXW("PackageFamilyName"),
                                              KXW("FilePath")};
    if (const SkxXmlAttribute* const other = KxImportXml_Unknown(node, kKnown)) {
      Refuse("it asks for what no policy can: " + KxText_ToUtf8(other->name));
    }
    if (!node.children.empty()) Refuse("it has an element that is not known");
  }

  void ReadTexts(const SkxXmlNode& node) {
    for (const SkxFileAttribute& known : kTextAttributes) {
      const KxWString* const text = node.Attribute(known.attribute);
      if (text == nullptr) continue;
      _asksForSomething = true;
      if (*text == KXW("*")) continue;
      if (text->size() > kMaxText) Refuse("a text that it asks for is too long");
      if (text->find(KXW('*')) != KxWString::npos) Refuse("an asterisk is only a part of a name");
      _condition.texts.push_back({known.versionField, *text});
    }
  }

  // A denial with a minimum alone is of that version and those below: so it is documented by its use, as the version
  // that the fault of a program was last in.
  void ReadVersions(const SkxXmlNode& node) {
    std::optional<uint64_t> minimum = Version(node, KXW("MinimumFileVersion"));
    std::optional<uint64_t> maximum = Version(node, KXW("MaximumFileVersion"));
    if (!_use.isAllow && minimum && !maximum) {
      _rule.Say(Status::Approximate, "a denial with a minimum version alone is taken for that version and all below");
      std::swap(minimum, maximum);
    }
    _condition.minVersion = minimum.value_or(0);
    _condition.maxVersion = maximum.value_or(SkxFileCondition::kNoMaximum);
    if (_condition.minVersion > _condition.maxVersion) Refuse("its lowest version is above its highest");
  }

  std::optional<uint64_t> Version(const SkxXmlNode& node, CkxTextView attribute) {
    const KxWString* const text = node.Attribute(attribute);
    if (text == nullptr) return std::nullopt;
    const std::optional<uint64_t> version = KxImportValue_Version(*text);
    if (!version) Refuse("a bound of its versions is no version");
    return version;
  }

  /// "Name_publisher": the second part is a digest of who published it.
  void ReadPackage(const SkxXmlNode& node) {
    const KxWString* const family = node.Attribute(KXW("PackageFamilyName"));
    if (family == nullptr) return;
    const size_t end = family->rfind(KXW('_'));
    if (end == KxWString::npos || end == 0) return Refuse("its package family is no name with a publisher");
    _rule.Say(_use.isAllow ? Status::NotExpressed : Status::Approximate,
              "the publisher of a package family is told by a digest, which cannot be compared");
    _condition.packageName = family->substr(0, end);
  }

  KxFileConditions AtPath(const KxWString& path) {
    std::string reason;
    const std::optional<std::vector<SkxPathPattern>> patterns = KxPathPattern_Expand(path, _variables, reason);
    if (!patterns) {
      Refuse(reason);
      return {};
    }
    if (_use.isAllow && _use.hasPathProtection) {
      _rule.Say(Status::Approximate, "whether only administrators can write at its path is not looked at");
    }
    KxFileConditions conditions;
    for (const SkxPathPattern& pattern : *patterns) {
      conditions.push_back(_condition);
      if (pattern.glob != KXW("*")) conditions.back().path = pattern;
    }
    return conditions;
  }

  /// Of a program what its signature covers. Of other files also their whole content, which no digest of the other kind
  /// equals.
  KxFileConditions WithHash(const KxWString& text, KxFileConditions conditions) {
    const size_t digits = text.size();
    const std::optional<KxWString> hex = digits == 40 || digits == 64 ? KxImportValue_Hex(text, digits) : std::nullopt;
    if (!hex) {
      Refuse("its hash is neither of SHA-1 nor of SHA-256");
      return conditions;
    }
    KxFileConditions hashed;
    for (const WCHAR* const prefix : {KXW("AUTHENTICODE-"), KXW("")}) {
      for (SkxFileCondition condition : conditions) {
        condition.hash = {prefix + KxWString(digits == 40 ? KXW("SHA1") : KXW("SHA256")), *hex};
        condition.isOfNoProgram = *prefix == 0;
        hashed.push_back(std::move(condition));
      }
    }
    return hashed;
  }

  const std::vector<SkxPathVariable>& _variables;
  const SkxAppControlUse& _use;
  SkxImportedRule& _rule;
  SkxFileCondition _condition;
  bool _asksForSomething = false;  // if only for any name
};

}  // namespace

CkxAppControlRules::CkxAppControlRules(const SkxXmlNode& root, const SkxImportMachine& machine)
    : _variables(AppControlVariables(machine)) {
  Collect(root, KXW("FileRules"), _fileRules, _fileRulesInOrder);
  Collect(root, KXW("Signers"), _signers, _signersInOrder);
  for (const SkxXmlNode* const node : _fileRulesInOrder) {
    const std::string stem = HashStem(*node, kWholeHash);
    if (!stem.empty()) _wholeHashes.try_emplace(stem, KxImportXml_Utf8(*node, KXW("ID")));
  }
}

void CkxAppControlRules::Collect(const SkxXmlNode& root, const WCHAR* list, ById& byId,
                                 std::vector<const SkxXmlNode*>& inOrder) {
  const SkxXmlNode* const nodes = KxImportXml_Child(root, list);
  if (nodes == nullptr) return;
  for (const SkxXmlNode& node : nodes->children) {
    inOrder.push_back(&node);
    const auto [entry, isNew] = byId.try_emplace(KxImportXml_Utf8(node, KXW("ID")), &node);
    if (!isNew) entry->second = nullptr;
  }
}

const SkxXmlNode* CkxAppControlRules::Find(const ById& byId, const std::string& id) {
  const auto found = byId.find(id);
  return found != byId.end() ? found->second : nullptr;
}

std::string CkxAppControlRules::WholeHashBeside(const SkxXmlNode& node) const {
  const std::string stem = HashStem(node, kPageHash);
  const auto found = stem.empty() ? _wholeHashes.end() : _wholeHashes.find(stem);
  return found != _wholeHashes.end() ? found->second : std::string();
}

KxFileConditions CkxAppControlRules::FileConditions(const SkxXmlNode& node, const SkxAppControlUse& use,
                                                    SkxImportedRule& rule) const {
  const bool isOfPages = KxImportXml_Utf8(node, KXW("FriendlyName")).find(kPageHash) != std::string::npos;
  if (isOfPages && node.Attribute(KXW("Hash")) != nullptr) {
    rule.Say(Status::NotExpressed, "its hash is one of pages of a file, which are not computed");
    return {};
  }
  return CkxFileRuleReader(_variables, use, rule).Read(node);
}

KxFileConditions CkxAppControlRules::SignerConditions(const SkxXmlNode& node, const SkxAppControlUse& use,
                                                      SkxImportedRule& rule) const {
  SkxFileCondition signedBy;
  KxFileConditions attributes;
  bool hasAttributes = false;
  // What is not compared makes the rule apply to more.
  const auto leaveOut = [&](const std::string& what) {
    rule.Say(use.isAllow ? Status::NotExpressed : Status::Approximate, what + " of its signer is not compared");
  };
  if (node.Attribute(KXW("SignTimeAfter")) != nullptr) leaveOut("the time of the signature");
  for (const SkxXmlNode& child : node.children) {
    const std::string name = KxText_ToUtf8(child.name);
    if (name == "CertPublisher") {
      const KxWString* const publisher = child.Attribute(KXW("Value"));
      if (publisher != nullptr) signedBy.signers.push_back(KxText_Trim(*publisher).ToString());
    } else if (name == "FileAttribRef") {
      hasAttributes = true;
      const std::string id = KxImportXml_Utf8(child, KXW("RuleID"));
      const SkxXmlNode* const attribute = FileRule(id);
      SkxImportedRule unused;
      if (attributes.size() > kMaxAttributes) continue;
      const KxFileConditions conditions =
          attribute != nullptr ? FileConditions(*attribute, use, unused) : KxFileConditions();
      const bool isSaid = attribute != nullptr && unused.status != Status::NotExpressed;
      if (isSaid) attributes.insert(attributes.end(), conditions.begin(), conditions.end());
      for (const std::string& reason : unused.reasons)
        rule.Say(Status::Approximate, std::string(id).append(": ").append(reason));
      if (!isSaid) rule.Say(Status::Approximate, "what its signer signs as " + id + " is left out");
    } else if (name == "CertEKU" || name == "CertIssuer" || name == "CertOemID") {
      leaveOut(name);
    } else if (name != "CertRoot" && name != "ArtifactRuleRef") {
      leaveOut(name + ", which is not known,");
    }
  }
  if (attributes.size() > kMaxAttributes) {
    rule.Say(Status::NotExpressed, "its signer signs too many files");
    return {};
  }
  if (signedBy.signers.size() != 1 || signedBy.signers[0].empty() ||
      signedBy.signers[0].find(KXW('*')) != KxWString::npos) {
    rule.Say(Status::NotExpressed,
             "its signer is told by a certificate authority alone; here signers are told by their own name");
    return {};
  }
  rule.Say(Status::Approximate, "its signer is told by name alone; which authority certified it is not compared");
  if (!hasAttributes) return {signedBy};
  if (attributes.empty()) rule.Say(Status::NotExpressed, "nothing of what its signer signs can be told");
  for (SkxFileCondition& attribute : attributes) attribute.signers = signedBy.signers;
  return attributes;
}
