#include "Agent/engine/kx_publish/document/user_rows.h"

#include <algorithm>

#include "Agent/engine/kx_publish/document/applicable_document.h"

namespace {

using Sids = std::set<std::string>;

Sids AllNamed(const std::vector<SkxPolicyAudience>& audiences) {
  Sids all;
  for (const SkxPolicyAudience& audience : audiences) {
    if (audience.users) all.insert(audience.users->begin(), audience.users->end());
    all.insert(audience.notUsers.begin(), audience.notUsers.end());
  }
  return all;
}

bool IsInRow(const SkxPolicyAudience& audience, const std::string& sid) {
  return !audience.notUsers.contains(sid) && (!audience.users || audience.users->contains(sid));
}

bool MayBeTheSameUsers(const std::string& a, const std::string& b) {
  return !KxUserRows_IsAccount(a) || !KxUserRows_IsAccount(b);
}

}  // namespace

std::optional<SkxAudienceClash> KxUserRows_Clash(const std::vector<SkxPolicyAudience>& audiences) {
  const Sids all = AllNamed(audiences);
  for (size_t i = 0; i < audiences.size(); ++i) {
    if (audiences[i].notUsers.empty()) continue;
    for (const std::string& user : all) {
      if (!IsInRow(audiences[i], user)) continue;
      for (const std::string& notUser : audiences[i].notUsers) {
        if (MayBeTheSameUsers(user, notUser)) return SkxAudienceClash{i, user, notUser};
      }
    }
  }
  return std::nullopt;
}

SkxApplicableRows KxUserRows_Of(const std::vector<SkxPolicyAudience>& audiences) {
  SkxApplicableRows rows;
  std::vector<uint32_t>& everybody = rows[kKxEverybodyKey];
  for (const SkxPolicyAudience& audience : audiences) {
    if (!audience.users) everybody.push_back(audience.policy);
  }
  for (const std::string& sid : AllNamed(audiences)) {
    std::vector<uint32_t>& row = rows[sid];
    for (const SkxPolicyAudience& audience : audiences) {
      if (IsInRow(audience, sid)) row.push_back(audience.policy);
    }
  }
  return rows;
}

bool KxUserRows_IsAccount(const std::string& sid) {
  static constexpr std::string_view kServices[] = {"S-1-5-18", "S-1-5-19", "S-1-5-20"};
  if (std::find(std::begin(kServices), std::end(kServices), sid) != std::end(kServices)) return true;
  if (sid.starts_with("S-1-22-1-")) return true;
  const bool isOfDomain = sid.starts_with("S-1-5-21-") && std::count(sid.begin(), sid.end(), '-') == 7;
  return isOfDomain && (sid.ends_with("-500") || sid.ends_with("-501"));
}
