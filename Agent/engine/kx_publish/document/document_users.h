// The users that documents name, as they are read: "userGroups" of all documents, "users" and "notUsers" of policies.
// For policy_document.cpp. Faults are `CkxDocumentFault`s at the place of the value.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/document/user_rows.h"

class CkxDocumentUsers {
 public:
  /// Those of one document. A name belongs to one list of all documents.
  void ReadGroups(const nlohmann::json& document);

  /// Whom `policy`, which was just read, is for; once all groups are known. The names are taken out of the policy.
  void Take(SkxPolicyModel& policy);

  /// Whether any policy has said so. Else it is for who asks to say what applies to whom.
  bool AreNamed() const { return _areNamed; }

  /// False, with the place of what rows cannot say.
  bool Rows(const std::vector<SkxPolicyModel>& policies, SkxApplicableRows& rows, SkxDocumentError& error) const;

 private:
  std::set<std::string> Sids(const std::vector<KxWString>& names, const std::string& pointer) const;

  std::map<KxWString, std::set<std::string>> _groups;
  std::vector<std::string> _groupNames;       // of `_groups`, in UTF-8
  std::vector<SkxPolicyAudience> _audiences;  // in the order of the policies
  bool _areNamed = false;
};
