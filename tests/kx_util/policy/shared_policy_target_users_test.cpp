#include <kx_util/shared_policy_target_users.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Common_CPP/access_token/access_token.h"
#include "tests/kx_util/policy/held_policy.h"
#include "tests/support/recording_observer.h"
#include "tests/support/trace_capture.h"

namespace {

using namespace kx_test_records;
using testing::ElementsAre;
using testing::IsEmpty;

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

TEST(TargetUsers, TheMarkerIsItsTenUnits) {
  constexpr std::u16string_view kMore(u"KxNoUsers\0D:", 12);
  const struct {
    const char* name;
    CkxRecordBytes record;
    bool isEmpty;
  } cases[] = {
      {"marker", CkxRecordBytes().Text(u"KxNoUsers"), true},
      {"more behind the terminator", CkxRecordBytes().Text(kMore), true},
      {"ends with its counted bytes", Unterminated(u"KxNoUsers"), true},
      {"a longer text", CkxRecordBytes().Text(u"KxNoUsersX"), false},
      {"a shorter text", CkxRecordBytes().Text(u"KxNoUser"), false},
      {"small letters", CkxRecordBytes().Text(u"kxnousers"), false},
      {"absent", CkxRecordBytes().Absent(), false},
      {"empty", CkxRecordBytes().Text(u""), false},
  };
  for (const auto& c : cases) {
    const Users read(c.record);
    EXPECT_EQ(read.users.IsEmpty(), c.isEmpty) << c.name;
    // Of the texts here only the marker says yes to anybody, and to one of the questions alone.
    CkxAccessToken system(Sid("S-1-5-18"), {}, true);
    CkxTraceCapture trace;
    EXPECT_EQ(read.users.IsApplicableToUserOC(system.Handle()), c.isEmpty) << c.name;
    EXPECT_FALSE(read.users.IsApplicableToUserByImpToken(system.Handle())) << c.name;
  }
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
      {"absent", CkxRecordBytes().Absent(), "", ""},
      {"empty", CkxRecordBytes().Text(u""), "", ""},
      {"a user", CkxRecordBytes().Text(u"D:(A;;GR;;;S-1-5-21-1-2-3-1001)"), "u", "u"},
      {"all but a user", CkxRecordBytes().Text(u"D:(D;;GR;;;S-1-5-21-1-2-3-1001)(A;;GA;;;WD)"), "ags", "ags"},
      {"a deny too late", CkxRecordBytes().Text(u"D:(A;;GA;;;WD)(D;;GA;;;S-1-5-21-1-2-3-1001)"), "uags", "uags"},
      {"a group", CkxRecordBytes().Text(u"D:(A;;GR;;;S-1-5-21-1-2-3-2000)"), "u", "u"},
      {"users, where they are listed", CkxRecordBytes().Text(u"D:(A;;GR;;;BU)"), "u", "u"},
      {"administrators", CkxRecordBytes().Text(u"D:(A;;GA;;;BA)"), "as", "as"},
      {"authenticated users", CkxRecordBytes().Text(u"D:(A;;GR;;;AU)"), "uas", "uas"},
      {"everyone", CkxRecordBytes().Text(u"D:(A;;GR;;;WD)"), "uags", "uags"},
      {"anonymous", CkxRecordBytes().Text(u"D:(A;;GR;;;AN)"), "n", "n"},
      {"rights with the bit", CkxRecordBytes().Text(u"D:(A;;LC;;;BU)(A;;FA;;;BA)(A;;KW;;;BG)(A;;0x4;;;AN)"), "uagns",
       "uagns"},
      {"rights without it", CkxRecordBytes().Text(u"D:(A;;GWGX;;;WD)(A;;FR;;;WD)(A;;0xFFFFFFB;;;WD)"), "", ""},
      {"owner and group do not count", CkxRecordBytes().Text(u"O:BUG:BUD:(A;;RCWD;;;BU)"), "", ""},
      {"the system owns it", CkxRecordBytes().Text(u"O:BUD:(A;;GR;;;OW)"), "s", "s"},
      {"no access", CkxRecordBytes().Text(u"D:"), "", ""},
      {"no access control", CkxRecordBytes().Text(u"O:BA"), "uagns", "uagns"},
      {"without a terminator", Unterminated(u"D:(A;;GR;;;BU)"), "u", "u"},
      {"malformed", CkxRecordBytes().Text(u"D:(A;;GR;;;BU)x"), "", ""},
      {"of a domain", CkxRecordBytes().Text(u"D:(A;;GA;;;DU)(A;;GA;;;WD)"), "", ""},
  };
  Tokens tokens;
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

TEST(TargetUsers, AFaultIsTold) {
  const Users read(CkxRecordBytes().Text(u"D:(A;;GQ;;;WD)"));
  Tokens tokens;
  CkxTraceCapture trace;
  EXPECT_FALSE(read.users.IsApplicableToUserOC(tokens.Of('u')));
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR KxUserScope: ERROR: Malformed security descriptor "
                                         "[D:(A;;GQ;;;WD)] at 6: unknown right"));
}

// Wherever an exclusion is asked: of a policy of its own, of any policy, and with somebody watching.
TEST(TargetUsers, LimitAnExclusion) {
  const struct {
    const char* name;
    CkxRecordBytes users;
    std::string_view excluded;
    std::string ending;  // what is told of the administrator when they are not
  } cases[] = {
      {"users", CkxRecordBytes().Text(u"D:(A;;GR;;;BU)"), "u", "check users: D:(A;;GR;;;BU) / S-1-5-21-1-2-3-1002"},
      {"administrators", CkxRecordBytes().Text(u"D:(A;;GR;;;BA)"), "as", ""},
      {"marker", CkxRecordBytes().Text(u"KxNoUsers"), "uagns", ""},
      {"absent", CkxRecordBytes().Absent(), "uagns", ""},
      {"empty", CkxRecordBytes().Text(u""), "uagns", ""},
      {"malformed", CkxRecordBytes().Text(u"D:(A"), "", "check users: D:(A / S-1-5-21-1-2-3-1002"},
  };
  Tokens tokens;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const CkxRecordBytes target = Target(16, 1).Unset().Append(FileName(u"a.exe")).Append(c.users);
    const CkxHeldPolicy<CkxShBufPolicyExclude> policy(PolicyWith(12, {target}, PolicyTail(12)));
    ASSERT_NE(policy.policy, nullptr);
    const auto& exclusion = static_cast<const CkxShBufTarget&>(*policy->Targets().GetHead());
    std::string excluded;
    std::string matched;
    for (const char letter : Tokens::kAll) {
      SkxFileFacts facts;
      facts.path = KXW("C:\\a.exe");
      if (policy->IsExcludedTarget(CkxSimplePathProvider(KXW("C:\\A.exe"), tokens.Of(letter)))) excluded += letter;
      if (exclusion.MatchTarget(CkxTargetInfoFile(facts, tokens.Of(letter)))) matched += letter;
      EXPECT_FALSE(policy->IsExcludedTarget(CkxSimplePathProvider(KXW("C:\\b.exe"), tokens.Of(letter))));
    }
    EXPECT_EQ(excluded, c.excluded);
    EXPECT_EQ(matched, c.excluded);

    CkxRecordingObserver observer;
    const CkxEvaluationObserverScope watching(observer);
    policy->IsExcludedTarget(CkxSimplePathProvider(KXW("C:\\a.exe"), tokens.Of('a')));
    EXPECT_EQ(observer.lines.empty() ? "" : observer.lines.front(), c.ending);
  }
}

// The scope is the costly part: another name or folder never reaches it.
TEST(TargetUsers, AreAskedAboutLast) {
  const CkxRecordBytes target =
      Target(16, 1).Set().Obfuscated(u"C:\\Apps").U8(0).Absent().Append(FileName(u"a.exe")).Text(u"D:(A");
  const CkxHeldPolicy<CkxShBufPolicyExclude> policy(PolicyWith(12, {target}, PolicyTail(12)));
  ASSERT_NE(policy.policy, nullptr);
  Tokens tokens;
  CkxTraceCapture trace;
  for (const WCHAR* path : {KXW("C:\\Apps\\b.exe"), KXW("C:\\Other\\a.exe")}) {
    EXPECT_FALSE(policy->IsExcludedTarget(CkxSimplePathProvider(path, tokens.Of('u'))));
  }
  EXPECT_THAT(trace.Texts(), IsEmpty());
  EXPECT_FALSE(policy->IsExcludedTarget(CkxSimplePathProvider(KXW("C:\\Apps\\a.exe"), tokens.Of('u'))));
  EXPECT_EQ(trace.Texts().size(), 1u);
}

}  // namespace
