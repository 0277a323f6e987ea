// The file rules and signers of one code integrity policy, as conditions.
#pragma once

#include <map>

#include "Agent/engine/kx_publish/import/import_xml.h"
#include "Agent/engine/kx_publish/import/path_pattern.h"

/// Whose rule the attributes are read for: bounds of versions mean another thing where they deny, and what cannot be
/// compared makes a condition wider, which only a denial may be.
struct SkxAppControlUse {
  bool isAllow = false;
  bool hasPathProtection = false;  ///< paths allow only where nobody but administrators can write
};

class CkxAppControlRules {
 public:
  /// `root` must live as long.
  CkxAppControlRules(const SkxXmlNode& root, const SkxImportMachine& machine);

  /// By identifier; null when there is none. Of two with one identifier neither counts.
  const SkxXmlNode* FileRule(const std::string& id) const { return Find(_fileRules, id); }
  const SkxXmlNode* Signer(const std::string& id) const { return Find(_signers, id); }

  /// In the order of the document.
  const std::vector<const SkxXmlNode*>& FileRules() const { return _fileRulesInOrder; }
  const std::vector<const SkxXmlNode*>& Signers() const { return _signersInOrder; }

  /// What the node asks of files. What cannot be said is said to `rule`.
  KxFileConditions FileConditions(const SkxXmlNode& node, const SkxAppControlUse& use, SkxImportedRule& rule) const;
  KxFileConditions SignerConditions(const SkxXmlNode& node, const SkxAppControlUse& use, SkxImportedRule& rule) const;

  /// The identifier of a rule that denies the same file by its whole digest, where `node` has the digest of its pages;
  /// empty where there is none.
  std::string WholeHashBeside(const SkxXmlNode& node) const;

 private:
  using ById = std::map<std::string, const SkxXmlNode*>;
  static const SkxXmlNode* Find(const ById& byId, const std::string& id);
  static void Collect(const SkxXmlNode& root, const WCHAR* list, ById& byId, std::vector<const SkxXmlNode*>& inOrder);

  ById _fileRules;
  ById _signers;
  std::vector<const SkxXmlNode*> _fileRulesInOrder;
  std::vector<const SkxXmlNode*> _signersInOrder;
  std::map<std::string, std::string> _wholeHashes;  // by what the rule is and the beginning of its name
  const std::vector<SkxPathVariable> _variables;
};
