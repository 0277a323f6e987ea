#include <kx_util/shared_policy_target_users.h>

#include <gtest/gtest.h>

#include "Common_CPP/access_token/access_token.h"
#include "tests/kx_util/policy/held_policy.h"
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

/// Counted without a terminator.
CkxRecordBytes Unterminated(std::u16string_view text) {
  CkxRecordBytes record;
  record.U32(static_cast<uint32_t>(text.size() * 2));
  for (const char16_t unit : text) record.U16(unit);
  return record;
}

/// Tokens by a letter each: a standard user of a staff, one who is an administrator, a guest, the anonymous user and
/// the system.
struct Tokens {
  static constexpr std::string_view kAll = "uagns";

  CkxAccessToken user{Sid("S-1-5-21-1-2-3-1001"), {Sid("S-1-5-21-1-2-3-2000"), Sid("S-1-5-32-545")}, false};
  CkxAccessToken administrator{Sid("S-1-5-21-1-2-3-1002"), {}, true};
  CkxAccessToken guest{Sid("S-1-5-21-1-2-3-501"), {Sid("S-1-5-32-546")}, false};
  CkxAccessToken anonymous{Sid("S-1-5-7"), {}, false};
  CkxAccessToken system{Sid("S-1-5-18"), {}, true};

  void* Of(char letter) {
    CkxAccessToken* const tokens[] = {&user, &administrator, &guest, &anonymous, &system};
    return tokens[kAll.find(letter)]->Handle();
  }
};

TEST(TargetUsers, AreThoseWhomTheDescriptorLetsRead) {
  const struct {
    const char* name;
    CkxRecordBytes record;
    std::string_view byImpersonation, otherwise;  // who is in scope
  } cases[] = {
      {"marker", CkxRecordBytes().Text(u"KxNoUsers"), "", "uagns"},
      {"more behind its terminator", CkxRecordBytes().Text(std::u16string_view(u"KxNoUsers\0D:", 12)), "", "uagns"},
      {"ends with its counted bytes", Unterminated(u"KxNoUsers"), "", "uagns"},
      {"longer", CkxRecordBytes().Text(u"KxNoUsersX"), "", ""},
      {"shorter", CkxRecordBytes().Text(u"KxNoUser"), "", ""},
      {"small letters", CkxRecordBytes().Text(u"kxnousers"), "", ""},
      {"absent", CkxRecordBytes().Absent(), "", ""},
      {"empty", CkxRecordBytes().Text(u""), "", ""},
      {"a user", CkxRecordBytes().Text(u"D:(A;;GR;;;S-1-5-21-1-2-3-1001)"), "u", "u"},
      {"all but a user", CkxRecordBytes().Text(u"D:(D;;GR;;;S-1-5-21-1-2-3-1001)(A;;GA;;;WD)"), "ags", "ags"},
      {"a deny too late", CkxRecordBytes().Text(u"D:(A;;GA;;;WD)(D;;GA;;;S-1-5-21-1-2-3-1001)"), "uags", "uags"},
      {"users, where they are listed", CkxRecordBytes().Text(u"D:(A;;GR;;;BU)"), "u", "u"},
      {"everyone", CkxRecordBytes().Text(u"D:(A;;GR;;;WD)"), "uags", "uags"},
      {"anonymous", CkxRecordBytes().Text(u"D:(A;;GR;;;AN)"), "n", "n"},
      {"rights with the bit", CkxRecordBytes().Text(u"D:(A;;LC;;;BU)(A;;FA;;;BA)(A;;KW;;;BG)(A;;0x4;;;AN)"), "uagns",
       "uagns"},
      {"rights without it", CkxRecordBytes().Text(u"D:(A;;GWGX;;;WD)(A;;FR;;;WD)(A;;0xFFFFFFB;;;WD)"), "", ""},
      {"owner and group do not count", CkxRecordBytes().Text(u"O:BUG:BUD:(A;;RCWD;;;BU)"), "", ""},
      {"the system owns it", CkxRecordBytes().Text(u"O:BUD:(A;;GR;;;OW)"), "s", "s"},
      {"no access control", CkxRecordBytes().Text(u"O:BA"), "uagns", "uagns"},
      {"without a terminator", Unterminated(u"D:(A;;GR;;;BU)"), "u", "u"},
      {"malformed", CkxRecordBytes().Text(u"D:(A;;GR;;;BU)x"), "", ""},
      {"of a domain", CkxRecordBytes().Text(u"D:(A;;GA;;;DU)(A;;GA;;;WD)"), "", ""},
  };
  Tokens tokens;
  const CkxTraceCapture quiet;
  for (const auto& c : cases) {
    const Users read(c.record);
    std::string byImpersonation;
    std::string otherwise;
    for (const char letter : Tokens::kAll) {
      if (read.users.IsApplicableToUserByImpToken(tokens.Of(letter))) byImpersonation += letter;
      if (read.users.IsApplicableToUserOC(tokens.Of(letter))) otherwise += letter;
    }
    EXPECT_EQ(byImpersonation, c.byImpersonation) << c.name;
    EXPECT_EQ(otherwise, c.otherwise) << c.name;
    EXPECT_EQ(read.users.IsEmpty(), c.otherwise != c.byImpersonation) << c.name << ": of the marker alone";
  }
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

TEST(TargetUsers, LimitAnExclusion) {
  const std::pair<const char16_t*, std::string_view> cases[] = {
      {u"D:(A;;GR;;;BU)", "u"}, {u"KxNoUsers", "uagns"}, {u"", "uagns"}, {u"D:(A", ""}};
  Tokens tokens;
  const CkxTraceCapture quiet;
  for (const auto& [users, excluded] : cases) {
    const CkxRecordBytes target = Target(16, 1).Unset().Append(FileName(u"a.exe")).Text(users);
    const CkxHeldPolicy<CkxShBufPolicyExclude> policy(PolicyWith(12, {target}, PolicyTail(12)));
    ASSERT_NE(policy.policy, nullptr);
    std::string found;
    for (const char letter : Tokens::kAll) {
      if (policy->IsExcludedTarget(CkxSimplePathProvider(KXW("C:\\A.exe"), tokens.Of(letter)))) found += letter;
      EXPECT_FALSE(policy->IsExcludedTarget(CkxSimplePathProvider(KXW("C:\\b.exe"), tokens.Of(letter))));
    }
    EXPECT_EQ(found, excluded);
  }
}

}  // namespace
