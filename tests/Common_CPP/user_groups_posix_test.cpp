#include "Common_CPP/access_token/user_groups.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/account_posix.h"

namespace {

bool Has(const std::vector<CkxSid>& groups, const CkxSid& sid) {
  return std::any_of(groups.begin(), groups.end(), [&](const CkxSid& group) { return group.Equals(sid); });
}

TEST(UserGroups, AreThoseOfTheAccount) {
  const passwd* const account = getpwuid(geteuid());
  if (account == nullptr) GTEST_SKIP() << "the user of this process has no account";
  const auto own = KxUser_Groups(KxToken_User(nullptr).value());
  ASSERT_TRUE(own);
  EXPECT_TRUE(Has(*own, KxPosixAccount_GroupSid(account->pw_gid)));
  EXPECT_TRUE(Has(*own, *CkxSid::FromUtf8("S-1-1-0")));
  EXPECT_EQ(Has(*own, *CkxSid::FromUtf8("S-1-5-32-544")), geteuid() == 0);

  const auto root = KxUser_Groups(*CkxSid::FromUtf8("S-1-5-18"));
  ASSERT_TRUE(root);
  EXPECT_TRUE(Has(*root, *CkxSid::FromUtf8("S-1-5-32-544")));
}

TEST(UserGroups, OfStrangersAreNone) {
  for (const char* const stranger : {"S-1-5-21-1-2-3-1001", "S-1-22-1-4294967296", "S-1-22-2-0"}) {
    const auto groups = KxUser_Groups(*CkxSid::FromUtf8(stranger));
    ASSERT_TRUE(groups) << stranger;
    EXPECT_TRUE(groups->empty()) << stranger;
  }
  const auto numbered = KxUser_Groups(*CkxSid::FromUtf8("S-1-22-1-4294967294"));  // an account that nobody has
  ASSERT_TRUE(numbered);
  EXPECT_FALSE(Has(*numbered, *CkxSid::FromUtf8("S-1-5-32-544")));
}

}  // namespace
