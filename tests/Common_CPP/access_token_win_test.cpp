// Real tokens: the thread's before the process's, groups that only deny, and impersonation that ends as it began.
#include <gtest/gtest.h>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/util/handle_win.h"

namespace {

CkxSid Sid(const char* text) { return CkxSid::FromUtf8(text).value_or(CkxSid()); }

CkxHandle ProcessToken() {
  CkxHandle token;
  EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, token.Receive()));
  return token;
}

/// The process's token in which `sid` may only deny.
CkxHandle WithoutGroup(const CkxSid& sid) {
  const CkxHandle token = ProcessToken();
  SID_AND_ATTRIBUTES denied{const_cast<unsigned char*>(sid.Bytes()), 0};
  CkxHandle restricted;
  EXPECT_TRUE(CreateRestrictedToken(token.Get(), 0, 1, &denied, 0, nullptr, 0, nullptr, restricted.Receive()));
  return restricted;
}

bool ThreadHasToken() {
  CkxHandle token;
  return OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive());
}

TEST(AccessTokenWin, AHandleAnswersAsTheCallerDoes) {
  const CkxHandle token = ProcessToken();
  const CkxSid user = KxToken_User(nullptr).value();
  for (void* handle : {token.Get(), GetCurrentProcess()}) {
    EXPECT_TRUE(KxToken_User(handle).value_or(CkxSid()).Equals(user)) << handle;
    EXPECT_TRUE(KxToken_IsMember(handle, user)) << handle;
    bool opened = false;
    EXPECT_EQ(KxToken_IsAdministrator(handle, &opened), KxToken_IsAdministrator(nullptr)) << handle;
    EXPECT_TRUE(opened) << handle;
  }
}

TEST(AccessTokenWin, AGroupThatOnlyDeniesIsNoMembership) {
  const CkxSid users = Sid("S-1-5-32-545");
  const CkxHandle restricted = WithoutGroup(users);
  EXPECT_TRUE(KxToken_IsMember(nullptr, users));
  EXPECT_FALSE(KxToken_IsMember(restricted.Get(), users));
  EXPECT_TRUE(KxToken_IsMember(restricted.Get(), Sid("S-1-1-0")));

  const CkxHandle demoted = WithoutGroup(Sid("S-1-5-32-544"));
  EXPECT_FALSE(KxToken_IsMember(demoted.Get(), Sid("S-1-5-32-544")));
}

TEST(AccessTokenWin, ScopesRunTheThreadAsTheTokenAndNest) {
  const CkxSid users = Sid("S-1-5-32-545");
  const CkxHandle full = ProcessToken();
  const CkxHandle restricted = WithoutGroup(users);
  ASSERT_FALSE(ThreadHasToken());
  {
    const CkxImpersonationScope outer(restricted.Get());
    EXPECT_TRUE(ThreadHasToken());
    EXPECT_FALSE(KxToken_IsMember(nullptr, users)) << "the thread's token counts";
    {
      const CkxImpersonationScope inner(full.Get());
      EXPECT_TRUE(KxToken_IsMember(nullptr, users));
      const CkxImpersonationScope none(nullptr);
      EXPECT_TRUE(KxToken_IsMember(nullptr, users));
    }
    EXPECT_FALSE(KxToken_IsMember(nullptr, users)) << "the outer scope's token is back";
  }
  EXPECT_FALSE(ThreadHasToken());
}

TEST(AccessTokenWin, WhatCannotBeImpersonatedLeavesTheThread) {
  const CkxHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  CkxHandle queryOnly;
  ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, queryOnly.Receive()));
  for (HANDLE handle : {event.Get(), queryOnly.Get()}) {
    SetLastError(1234);
    const CkxImpersonationScope scope(handle);
    EXPECT_FALSE(ThreadHasToken());
  }
}

}  // namespace
