// What the author of a publication called things, which no record says: groups, alerts and targets by name, and where
// each was written. Kept beside an image as its names.json; whoever explains uses it, and no decision depends on it.
//
//   {"policies": {"7": {"document": "policies.jsonc", "pointer": "/policies/0", "targets": [{"id": "{…}", "name":
//   "Old"}]}},
//    "applicationGroups": {"{…}": {"name": "Games", "document": …, "pointer": …, "targets": […]}},
//    "alerts": {"{…}": {"name": "Why not", "document": …, "pointer": …}}}
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/document/document_names.h"
#include "Agent/engine/kx_publish/model/policy_model.h"

/// All texts are UTF-8.
struct SkxTargetName {
  GUID id{};
  std::string name;  ///< empty: has none
};

struct SkxAuthorName {
  std::string name;  ///< empty for a policy, whose record has it
  std::string document;
  std::string pointer;                 ///< in that document
  std::vector<SkxTargetName> targets;  ///< in order; of alerts none
};

/// One target among those of its policy or group.
struct SkxTargetPlace {
  const SkxAuthorName* owner;
  const SkxAuthorName* group;  ///< the same where that is a group, else null
  size_t index;
};

class CkxAuthorNames {
 public:
  CkxAuthorNames() = default;
  CkxAuthorNames(CkxAuthorNames&&) = default;
  CkxAuthorNames& operator=(CkxAuthorNames&&) = default;
  /// Of what was read from documents.
  explicit CkxAuthorNames(const SkxPublication& publication);

  /// Throws a `CkxDocumentFault` for what is no such document.
  static CkxAuthorNames Parse(const std::string& text);
  std::string Write() const;

  /// Null where nobody has said.
  const SkxAuthorName* Policy(uint32_t id) const;
  const SkxAuthorName* Group(const GUID& id) const;
  const SkxAuthorName* Alert(const GUID& id) const;

  /// The target of that id among those of the policy, else of any group. Nothing when several have the id: a name that
  /// may be another's is none.
  std::optional<SkxTargetPlace> Target(uint32_t policy, const GUID& id) const;

  /// Gives what was decoded from a record, which says no names, those that its author gave it and its targets.
  void GiveTo(SkxPolicyModel& policy) const;
  void GiveTo(SkxAppGroupModel& group) const;
  void GiveTo(SkxAlertModel& alert) const;

  bool IsEmpty() const { return _policies.empty() && _groups.empty() && _alerts.empty(); }

 private:
  using ByGuid = std::map<GUID, SkxAuthorName, SkxGuidLess>;

  void IndexGroupTargets();

  std::map<uint32_t, SkxAuthorName> _policies;
  ByGuid _groups;
  ByGuid _alerts;
  std::map<GUID, std::vector<SkxTargetPlace>, SkxGuidLess> _groupTargets;  // look into `_groups`
};
