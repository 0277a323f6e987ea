// Rows say what the policies said of their users, or it is refused.
#include "Agent/engine/kx_publish/document/user_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/applicable_rules.h"
#include "Common_CPP/access_token/access_token.h"

namespace {

using Sids = std::set<std::string>;

constexpr const char* kLoginAnn = "S-1-22-1-1001";  // accounts
constexpr const char* kLoginBob = "S-1-22-1-1002";
constexpr const char* kLoginCid = "S-1-22-1-1003";
constexpr const char* kStaffGroup = "S-1-22-2-50";  // groups
constexpr const char* kGuestGroup = "S-1-22-2-60";

/// The rule itself, of one who is `user` and in `groups`.
bool IsFor(const SkxPolicyAudience& audience, const Sids& who) {
  const auto any = [&](const Sids& sids) {
    return std::any_of(sids.begin(), sids.end(), [&](const std::string& sid) { return who.contains(sid); });
  };
  return (!audience.users || any(*audience.users)) && !any(audience.notUsers);
}

/// What rows give `user` in `groups`, as whoever decides reads them.
std::set<uint32_t> Given(const SkxApplicableRows& rows, const std::string& user, const Sids& groups) {
  const CkxApplicableRules rules(KxApplicable_Write(rows));
  std::vector<CkxSid> sids;
  for (const std::string& group : groups) sids.push_back(CkxSid::FromUtf8(group).value());
  CkxAccessToken token(CkxSid::FromUtf8(user).value(), sids, false);
  const auto answer = rules.For(token.Handle());
  return answer == nullptr ? std::set<uint32_t>{0} : std::set<uint32_t>(answer->Ids().begin(), answer->Ids().end());
}

TEST(UserRows, GiveWhatPoliciesSayOrAreRefused) {
  std::mt19937 random(7);
  const std::vector<std::string> kSids = {kLoginAnn, kLoginBob, kStaffGroup, kGuestGroup};
  const auto some = [&] {
    Sids sids;
    for (const std::string& sid : kSids) {
      if (random() % 4 == 0) sids.insert(sid);
    }
    return sids;
  };
  int said = 0;
  int refused = 0;
  for (int round = 0; round < 3000; ++round) {
    std::vector<SkxPolicyAudience> audiences(1 + random() % 3);
    for (size_t i = 0; i < audiences.size(); ++i) {
      audiences[i].policy = static_cast<uint32_t>(i + 1);
      if (random() % 2 == 0) audiences[i].users = some();
      if (random() % 3 == 0) audiences[i].notUsers = some();
    }
    bool differs = false;
    const SkxApplicableRows rows = KxUserRows_Of(audiences);
    for (const char* const user : {kLoginAnn, kLoginBob, kLoginCid}) {
      for (const Sids& groups : {Sids{}, Sids{kStaffGroup}, Sids{kGuestGroup}, Sids{kStaffGroup, kGuestGroup}}) {
        Sids who = groups;
        who.insert(user);
        std::set<uint32_t> expected;
        for (const SkxPolicyAudience& audience : audiences) {
          if (IsFor(audience, who)) expected.insert(audience.policy);
        }
        differs = differs || Given(rows, user, groups) != expected;
      }
    }
    const bool isRefused = KxUserRows_Clash(audiences).has_value();
    EXPECT_EQ(isRefused, differs) << "round " << round;
    ++(isRefused ? refused : said);
  }
  EXPECT_GT(said, 500);
  EXPECT_GT(refused, 500);
}

TEST(UserRows, TellAccounts) {
  for (const char* const account : {"S-1-5-18", "S-1-5-20", kLoginAnn, "S-1-5-21-1-2-3-500"}) {
    EXPECT_TRUE(KxUserRows_IsAccount(account)) << account;
  }
  for (const char* const other :
       {"S-1-5-21-1-2-3-1001", "S-1-5-32-544", kStaffGroup, "S-1-5-21-1-2-500", "S-1-5-180", ""}) {
    EXPECT_FALSE(KxUserRows_IsAccount(other)) << other;
  }
}

TEST(UserRows, OfDocuments) {
  const std::string policy = R"("name": "P", "action": "run")";
  const auto with = [&](const std::string& rest) {
    return R"({"userGroups": {"Team": ["s-1-0x16-1-1001", "S-1-22-2-50"], "None": []}, "policies": [{"id": 1, )" +
           policy + "}, {\"id\": 2, " + policy + rest;
  };
  const std::pair<std::string, SkxApplicableRows> kSaid[] = {
      {with("}]}"), {}},
      {with(R"(, "users": ["Team"]}]})"), {{"*", {1}}, {kLoginAnn, {1, 2}}, {kStaffGroup, {1, 2}}}},
      {with(R"(, "users": ["None"]}]})"), {{"*", {1}}}},
      {with(R"(, "users": []}]})"), {{"*", {1}}}},
      {with(R"(, "notUsers": ["S-1-22-1-1001", "S-1-22-2-50"]}]})"),
       {{"*", {1, 2}}, {kLoginAnn, {1}}, {kStaffGroup, {1}}}},
      {with(R"(, "users": ["S-1-22-1-1001", "S-1-22-1-1002"], "notUsers": ["S-1-22-1-1002"]}]})"),
       {{"*", {1}}, {kLoginAnn, {1, 2}}, {kLoginBob, {1}}}},
  };
  for (const auto& [text, rows] : kSaid) {
    const SkxDocumentText document{"d", text};
    SkxPublication publication;
    SkxDocumentError error;
    EXPECT_TRUE(KxPolicyDocument_Read({&document, 1}, publication, error)) << text << error.Text();
    EXPECT_EQ(publication.applicable, rows) << text;
  }
  const std::pair<std::string, const char*> kRefused[] = {
      {with(R"(, "users": ["Taem"]}]})"), "d: /policies/1/users/0: must be a name of userGroups or a SID"},
      {with(R"(, "users": "Team"}]})"), "d: /policies/1/users: must be an array"},
      {with(R"(, "users": ["Team"], "notUsers": ["S-1-22-2-60"]}]})"), "d: /policies/1/notUsers: whoever is both"},
      {with(R"(, "notUsers": ["Team"]}], "applicable": {}})"), "d: /applicable: policies name their users"},
      {R"({"userGroups": {"S-1-5-18": []}})", "d: /userGroups/S-1-5-18: must have a name that is no SID"},
      {R"({"userGroups": {"": []}})", "d: /userGroups/: must have a name"},
      {R"({"userGroups": {"A": ["me"]}})", "d: /userGroups/A/0: must be a SID"},
      {R"({"userGroups": {"A": {}}})", "d: /userGroups/A: must be an array"},
      {R"({"userGroups": []})", "d: /userGroups: must be an object"},
  };
  for (const auto& [text, fault] : kRefused) {
    const SkxDocumentText document{"d", text};
    SkxPublication publication;
    SkxDocumentError error;
    EXPECT_FALSE(KxPolicyDocument_Read({&document, 1}, publication, error)) << text;
    EXPECT_EQ(error.Text().substr(0, std::string(fault).size()), fault);
  }
}

}  // namespace
