#include "Agent/engine/kx_publish/document/document_users.h"

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/nearest.h"
#include "Common_CPP/security/sid.h"
#include "Common_CPP/util/text.h"

namespace {

std::string ReadSid(const nlohmann::json& value, const std::string& pointer) {
  const std::optional<CkxSid> sid = CkxSid::FromUtf8(KxJson_As<std::string>(value, pointer));
  if (!sid) throw CkxDocumentFault(pointer, "must be a SID, S-1-...");
  return sid->ToUtf8();
}

}  // namespace

void CkxDocumentUsers::ReadGroups(const nlohmann::json& document) {
  const auto groups = document.find("userGroups");
  if (groups == document.end()) return;
  const std::string pointer = KxJson_Pointer("", "userGroups");
  if (!groups->is_object()) throw CkxDocumentFault(pointer, "must be an object");
  for (const auto& [name, sids] : groups->items()) {
    const std::string place = KxJson_Pointer(pointer, name);
    const auto wide = KxJson_As<KxWString>(nlohmann::json(name), place);
    if (wide.empty() || CkxSid::FromUtf8(name)) throw CkxDocumentFault(place, "must have a name that is no SID");
    if (!sids.is_array()) throw CkxDocumentFault(place, "must be an array of SIDs");
    const auto [group, isNew] = _groups.try_emplace(wide);
    if (!isNew) throw CkxDocumentFault(place, "another document has users of this name");
    _groupNames.push_back(name);
    for (size_t i = 0; i < sids.size(); ++i) group->second.insert(ReadSid(sids[i], KxJson_Pointer(place, i)));
  }
}

std::set<std::string> CkxDocumentUsers::Sids(const std::vector<KxWString>& names, const std::string& pointer) const {
  std::set<std::string> sids;
  for (size_t i = 0; i < names.size(); ++i) {
    const auto group = _groups.find(names[i]);
    const std::optional<CkxSid> sid = CkxSid::FromUtf8(KxText_ToUtf8(names[i]));
    if (group != _groups.end()) {
      sids.insert(group->second.begin(), group->second.end());
    } else if (sid) {
      sids.insert(sid->ToUtf8());
    } else {
      throw CkxDocumentFault(KxJson_Pointer(pointer, i), "must be a name of userGroups or a SID" +
                                                             KxNearest_Question(KxText_ToUtf8(names[i]), _groupNames));
    }
  }
  return sids;
}

void CkxDocumentUsers::Take(SkxPolicyModel& policy) {
  SkxPolicyAudience& audience = _audiences.emplace_back();
  audience.policy = policy.id;
  _areNamed = _areNamed || policy.users || policy.notUsers;
  if (policy.users) audience.users = Sids(*policy.users, policy.source.pointer + "/users");
  if (policy.notUsers) audience.notUsers = Sids(*policy.notUsers, policy.source.pointer + "/notUsers");
  policy.users.reset();
  policy.notUsers.reset();
}

bool CkxDocumentUsers::Rows(const std::vector<SkxPolicyModel>& policies, SkxApplicableRows& rows,
                            SkxDocumentError& error) const {
  if (const std::optional<SkxAudienceClash> clash = KxUserRows_Clash(_audiences)) {
    const SkxSource& source = policies[clash->audience].source;
    error = {source.document, source.pointer + "/notUsers",
             "whoever is both " + clash->user + " and " + clash->notUser +
                 " would have the policy all the same: what users have by their groups adds up"};
    return false;
  }
  rows = KxUserRows_Of(_audiences);
  return true;
}
