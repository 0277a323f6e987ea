// The caller's own token where the system has users, groups and no tokens.
#include <grp.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "Common_CPP/access_token/access_token.h"

namespace {

bool IsMember(const std::string& sid) { return KxToken_IsMember(nullptr, CkxSid::FromUtf8(sid).value_or(CkxSid())); }

bool IsUser(const std::string& sid) { return KxToken_User(nullptr).value_or(CkxSid()).ToUtf8() == sid; }

TEST(AccessTokenPosix, TheProcessIsItsUserAndItsGroups) {
  const bool root = geteuid() == 0;
  EXPECT_TRUE(IsUser(root ? "S-1-5-18" : "S-1-22-1-" + std::to_string(geteuid())));
  EXPECT_TRUE(IsMember("S-1-22-2-" + std::to_string(getegid())));
  EXPECT_FALSE(IsMember("S-1-22-2-4294967294"));
  EXPECT_EQ(IsMember("S-1-5-32-544"), root);
  EXPECT_EQ(KxToken_IsAdministrator(nullptr), root);
}

TEST(AccessTokenPosix, TheEffectiveUserCounts) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become someone else";
  const auto asSomeoneElse = [] {
    const gid_t groups[] = {4343, 4344};
    const bool ready = setgroups(2, groups) == 0 && setegid(4242) == 0 && seteuid(4241) == 0;
    const bool right = IsUser("S-1-22-1-4241") && IsMember("S-1-22-2-4242") && IsMember("S-1-22-2-4344") &&
                       !IsMember("S-1-22-2-0") && !IsMember("S-1-5-32-544") && !IsMember("S-1-5-18") &&
                       !KxToken_IsAdministrator(nullptr);
    _exit(ready && right ? 0 : 1);
  };
  EXPECT_EXIT(asSomeoneElse(), testing::ExitedWithCode(0), "");
}

}  // namespace
