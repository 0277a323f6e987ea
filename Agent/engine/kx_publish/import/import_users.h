// Whom an imported policy is for: the one place that knows how a document says that.
#pragma once

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/import/imported_rules.h"

/// Whether policies of a document name their users and groups: `"users": ["S-1-5-32-544"]`. Until they do, a rule that
/// is not for everybody is not expressed: rows of applicable policies are a user's own, and tell nothing of groups.
inline constexpr bool kKxPoliciesNameUsers = false;

/// Says it of a rule that cannot be expressed for that.
inline void KxImportUsers_Check(SkxImportedRule& rule) {
  if (!kKxPoliciesNameUsers && rule.user) {
    rule.Say(EkxImportStatus::NotExpressed, "it is for one user or group, which policies do not name");
  }
}

inline void KxImportUsers_Write(const std::optional<CkxSid>& user, nlohmann::ordered_json& policy) {
  if (kKxPoliciesNameUsers && user) policy["users"] = nlohmann::ordered_json::array({user->ToUtf8()});
}
