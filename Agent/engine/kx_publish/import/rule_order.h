// Rules of a set as policies in order, of which the first that applies decides.
//
//   denied by rules without exceptions
//   for each deny rule with exceptions: what is allowed of its exceptions, then what it denies
//   allowed by rules without exceptions
//   for each allow rule with exceptions: its exceptions are denied, since no rule before allows them; then what it
//   allows whatever is left is denied
//
// An exception says that its rule does not apply, not that no other does. So a rule whose exceptions another one is
// about comes behind that; where two would each have to come behind the other, or what an exception leaves to others
// cannot be said, the rule is made stricter, or left out, and says so.
#pragma once

#include "Agent/engine/kx_publish/import/imported_rules.h"

struct SkxOrderedPolicy {
  enum class Part { Rule, Exceptions, Default };

  bool isAllow = false;
  Part part = Part::Rule;
  SkxImportedRule* rule = nullptr;  ///< where it comes from; null for the default. Belongs to the set
  std::optional<CkxSid> user;
  KxFileConditions conditions;  ///< of the default none, which is everything
};

/// Says of rules what becomes of them. The answer lives as long as `set`. A set without rules judges nothing.
std::vector<SkxOrderedPolicy> KxRuleOrder_Policies(SkxImportedSet& set);
