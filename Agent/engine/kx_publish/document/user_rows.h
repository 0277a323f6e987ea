// Users that policies name, as the rows of applicable.json.
//
// Rows only add: a user has the policies of its own row and of the rows of its groups together, and "*" serves who has
// none of these. So every SID that any policy names has a row, with the policies of everybody in it too; and a policy
// that is not for somebody is missing in that row, which is enough only as long as nobody has another row beside it
// that gives the policy. Whoever is in a group that may have it and in one that may not would have it: what needs that
// is refused, unless both SIDs are accounts, of which a user has one.
#pragma once

#include <optional>
#include <set>

#include "Agent/engine/kx_publish/model/policy_model.h"

/// Whom a policy is for; SIDs in their canonical text.
struct SkxPolicyAudience {
  uint32_t policy = 0;
  std::optional<std::set<std::string>> users;  ///< none: everybody
  std::set<std::string> notUsers;
};

/// Who has both SIDs would have the policy, though it is not for the second.
struct SkxAudienceClash {
  size_t audience;  ///< index
  std::string user;
  std::string notUser;
};
std::optional<SkxAudienceClash> KxUserRows_Clash(const std::vector<SkxPolicyAudience>& audiences);

/// Of audiences without a clash. "*" is always there: without any row everybody would have every policy.
SkxApplicableRows KxUserRows_Of(const std::vector<SkxPolicyAudience>& audiences);

/// Whether `sid` is known to be a user's own and never a group's: of the system and its services, of a login elsewhere
/// than on Windows, and a domain's administrator and guest. Of most SIDs nobody can tell.
bool KxUserRows_IsAccount(const std::string& sid);
