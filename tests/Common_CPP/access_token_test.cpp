#include "Common_CPP/access_token/access_token.h"

#include <gtest/gtest.h>

namespace {

CkxSid Sid(const char* text) { return CkxSid::FromUtf8(text).value_or(CkxSid()); }

constexpr const char* kAlice = "S-1-5-21-10-20-30-1001";
constexpr const char* kStaff = "S-1-5-21-10-20-30-513";
constexpr const char* kAdministrators = "S-1-5-32-544";

void* Pointer(intptr_t value) { return reinterpret_cast<void*>(value); }

TEST(AccessToken, FactsAnswerAsRecorded) {
  CkxAccessToken alice(Sid(kAlice), {Sid("S-1-1-0"), Sid(kStaff)}, false);
  CkxAccessToken root(Sid("S-1-5-18"), {Sid(kAdministrators)}, true);
  const struct {
    const char* name;
    CkxAccessToken& token;
    const char* sid;
    bool member;
  } kCases[] = {
      {"the user", alice, kAlice, true},
      {"a group", alice, kStaff, true},
      {"the first group", alice, "S-1-1-0", true},
      {"a group of others", alice, kAdministrators, false},
      {"another user of the domain", alice, "S-1-5-21-10-20-30-1002", false},
      {"an administrator's group", root, kAdministrators, true},
      {"no implied groups", root, "S-1-1-0", false},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(KxToken_IsMember(test.token.Handle(), Sid(test.sid)), test.member) << test.name;
  }
  for (CkxAccessToken* token : {&alice, &root}) {
    EXPECT_FALSE(KxToken_IsMember(token->Handle(), CkxSid())) << "a SID that is not valid equals nothing";
    EXPECT_TRUE(KxToken_User(token->Handle())->Equals(token->User()));
    bool opened = false;
    EXPECT_EQ(KxToken_IsAdministrator(token->Handle(), &opened), token == &root);
    EXPECT_TRUE(opened);
  }
}

TEST(AccessToken, HandlesAreToldFromFacts) {
  CkxAccessToken token(Sid(kAlice), {}, false);
  EXPECT_EQ(CkxAccessToken::FromHandle(token.Handle()), &token);
  EXPECT_EQ(CkxAccessToken::FromHandle(nullptr), nullptr);
  EXPECT_EQ(CkxAccessToken::FromHandle(&token), nullptr);
  // The system's handles, and its pseudo handles for the process, its thread and their tokens.
  // Of a handle the system leaves its lowest two bits to the caller.
  for (const intptr_t handle : {4, 5, 6, 7, 0x1F8, 0x1F9, 0x7FFFFFFF, -1, -2, -4, -5, -6, -7}) {
    EXPECT_EQ(CkxAccessToken::FromHandle(Pointer(handle)), nullptr) << handle;
  }
}

TEST(AccessToken, NullIsTheCaller) {
  const std::optional<CkxSid> user = KxToken_User(nullptr);
  ASSERT_TRUE(user && user->IsValid());
  EXPECT_TRUE(KxToken_IsMember(nullptr, *user));
  EXPECT_TRUE(KxToken_IsMember(nullptr, Sid("S-1-1-0")));
  EXPECT_TRUE(KxToken_IsMember(nullptr, Sid("S-1-5-32-545")));
  EXPECT_FALSE(KxToken_IsMember(nullptr, Sid(kAlice)));
  EXPECT_FALSE(KxToken_IsMember(nullptr, CkxSid()));
  bool opened = false;
  const bool administrator = KxToken_IsAdministrator(nullptr, &opened);
  EXPECT_TRUE(opened);
  EXPECT_TRUE(administrator || !KxToken_IsMember(nullptr, Sid(kAdministrators)));
}

TEST(AccessToken, ATokenThatIsNoneAnswersNothing) {
  void* const bad = Pointer(0x7FFF0BAD0);
  EXPECT_FALSE(KxToken_User(bad));
  EXPECT_FALSE(KxToken_IsMember(bad, Sid("S-1-1-0")));
  bool opened = true;
  EXPECT_FALSE(KxToken_IsAdministrator(bad, &opened));
  EXPECT_FALSE(opened);
}

TEST(AccessToken, NotEveryTokenIsImpersonated) {
  CkxAccessToken facts(Sid(kAlice), {}, false);
  const CkxSid before = KxToken_User(nullptr).value();
  for (void* token : {static_cast<void*>(nullptr), facts.Handle(), Pointer(0x7FFF0BAD0)}) {
    const CkxImpersonationScope scope(token);
    EXPECT_TRUE(KxToken_User(nullptr).value_or(CkxSid()).Equals(before));
  }
}

}  // namespace
