#include <kx_util/shared_policy_target_users.h>

#include <gtest/gtest.h>

#include "Common_CPP/access_token/access_token.h"
#include "tests/kx_util/policy/held_policy.h"
#include "tests/support/data_rows.h"
#include "tests/support/trace_capture.h"

namespace {

using namespace kx_test_records;

CkxSid Sid(const char* text) { return CkxSid::FromUtf8(text).value_or(CkxSid()); }

/// The field as it lies in a record.
struct Users {
  explicit Users(const CkxRecordBytes& record) : bytes(record.Bytes()) {
    EXPECT_TRUE(users.FromBuffer(bytes.cursor, bytes.remaining));
    EXPECT_EQ(bytes.remaining, 0u);
  }

  CkxExactBytes bytes;
  CkxShBufTargetUsers users;
};

/// Tokens by a letter each, as tests/data/security/target_users.txt says.
struct Tokens {
  static constexpr std::string_view kAll = "uagnso";

  CkxAccessToken user{Sid("S-1-5-21-1-2-3-1001"), {Sid("S-1-5-21-1-2-3-2000"), Sid("S-1-5-32-545")}, false};
  CkxAccessToken administrator{Sid("S-1-5-21-1-2-3-1002"), {}, true};
  CkxAccessToken guest{Sid("S-1-5-21-1-2-3-501"), {Sid("S-1-5-32-546")}, false};
  CkxAccessToken anonymous{Sid("S-1-5-7"), {}, false};
  CkxAccessToken system{Sid("S-1-5-18"), {}, true};
  CkxAccessToken nobody{Sid("S-1-0-0"), {}, false};

  void* Of(char letter) {
    CkxAccessToken* const tokens[] = {&user, &administrator, &guest, &anonymous, &system, &nobody};
    return tokens[kAll.find(letter)]->Handle();
  }
};

TEST(TargetUsers, AreThoseWhomTheDescriptorLetsRead) {
  Tokens tokens;
  const CkxTraceCapture quiet;
  KxTest_ForRows<std::string, KxBytes, std::string, std::string>(
      "security/target_users.txt", [&](const auto&, auto& bytes, auto& byImpersonation, auto& otherwise) {
        const Users read(CkxRecordBytes().Append(bytes));
        std::string inScope;
        std::string taken;
        for (const char letter : Tokens::kAll) {
          if (read.users.IsApplicableToUserByImpToken(tokens.Of(letter))) inScope += letter;
          if (read.users.IsApplicableToUserOC(tokens.Of(letter))) taken += letter;
        }
        EXPECT_EQ(inScope, byImpersonation);
        EXPECT_EQ(taken, otherwise);
        EXPECT_EQ(read.users.IsEmpty(), otherwise != byImpersonation) << "of the marker alone";
      });
}

TEST(TargetUsers, WithoutATokenTheCallerIsAskedAbout) {
  const std::string caller = KxToken_User(nullptr).value().ToUtf8();
  const auto text = [](const std::string& sddl) {
    return CkxRecordBytes().Text(std::u16string(sddl.begin(), sddl.end()));
  };
  const Users own(text("D:(A;;GR;;;" + caller + ")"));
  const Users others(text("D:(D;;GR;;;" + caller + ")(A;;GR;;;WD)"));
  EXPECT_TRUE(own.users.IsApplicableToUserOC(nullptr));
  EXPECT_FALSE(others.users.IsApplicableToUserOC(nullptr));
  EXPECT_FALSE(own.users.IsApplicableToUserByImpToken(nullptr)) << "a null token is nobody's";

  void* const none = reinterpret_cast<void*>(0x7FFF0BAD0);
  EXPECT_FALSE(own.users.IsApplicableToUserOC(none));
  EXPECT_FALSE(own.users.IsApplicableToUserByImpToken(none));
}

}  // namespace
