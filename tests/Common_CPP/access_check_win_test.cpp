// Our own reading and walk against the system's, over a real token; only what the system and its stand-in do alike: no
// ACEs for the owner's rights, no denying for groups that only deny, no null DACL by its word; an owner that is not the
// token's; all that there is to have is asked for alone, and where the denying ACEs come first.
#include <gtest/gtest.h>

#include <random>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/user_scope.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/text.h"
#include "tests/support/naive_access_check.h"
#include "tests/support/trace_capture.h"

// After windows.h, which it does not include itself.
#include <sddl.h>

namespace {

constexpr SkxGenericMapping kMapping = {0x20001, 0x20002, 0x20004, 0xF0007};

CkxHandle Process() {
  CkxHandle token;
  EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, token.Receive()));
  return token;
}

CkxHandle Impersonation() {
  CkxHandle token;
  EXPECT_TRUE(DuplicateToken(Process().Get(), SecurityImpersonation, token.Receive()));
  return token;
}

std::vector<unsigned char> Information(HANDLE token, TOKEN_INFORMATION_CLASS kind) {
  DWORD size = 0;
  GetTokenInformation(token, kind, nullptr, 0, &size);
  std::vector<unsigned char> bytes(size);
  EXPECT_TRUE(GetTokenInformation(token, kind, bytes.data(), size, &size));
  return bytes;
}

CkxSid FromSystem(PSID sid) { return CkxSid::FromBytes(sid, GetLengthSid(sid)); }

/// The token's user, which counts unless it only denies, and its groups.
CkxSidList SidsOf(HANDLE token) {
  const std::vector<unsigned char> userBytes = Information(token, TokenUser);
  const std::vector<unsigned char> groupBytes = Information(token, TokenGroups);
  const auto& user = reinterpret_cast<const TOKEN_USER*>(userBytes.data())->User;
  const auto& groups = *reinterpret_cast<const TOKEN_GROUPS*>(groupBytes.data());
  const auto use = [](DWORD attributes, DWORD enabled) {
    if ((attributes & SE_GROUP_USE_FOR_DENY_ONLY) != 0) return EkxSidUse::DenyOnly;
    return enabled != 0 ? EkxSidUse::Enabled : EkxSidUse::None;
  };
  CkxSidList sids;
  sids.entries.push_back({FromSystem(user.Sid), use(user.Attributes, SE_GROUP_ENABLED)});
  for (DWORD i = 0; i < groups.GroupCount; ++i) {
    const SID_AND_ATTRIBUTES& group = groups.Groups[i];
    sids.entries.push_back({FromSystem(group.Sid), use(group.Attributes, group.Attributes & SE_GROUP_ENABLED)});
  }
  return sids;
}

/// What the system makes of a text; null when it takes it for none.
class SystemDescriptor {
 public:
  explicit SystemDescriptor(const KxWString& text) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &descriptor, nullptr)) {
      _descriptor = descriptor;
    }
  }
  ~SystemDescriptor() { LocalFree(_descriptor); }
  SystemDescriptor(const SystemDescriptor&) = delete;
  SystemDescriptor& operator=(const SystemDescriptor&) = delete;

  explicit operator bool() const { return _descriptor != nullptr; }

  /// 0 when denied.
  uint32_t Granted(HANDLE token, uint32_t desired) const {
    GENERIC_MAPPING mapping{kMapping.read, kMapping.write, kMapping.execute, kMapping.all};
    PRIVILEGE_SET privileges{};
    DWORD size = sizeof(privileges);
    DWORD granted = 0;
    BOOL status = FALSE;
    EXPECT_TRUE(AccessCheck(_descriptor, token, desired, &mapping, &privileges, &size, &granted, &status))
        << GetLastError();
    return status ? granted : 0;
  }

  /// Of the first ACE.
  uint32_t Mask() const { return First().Mask; }
  unsigned char Flags() const { return First().Header.AceFlags; }

  CkxSid Sid() const { return FromSystem(const_cast<DWORD*>(&First().SidStart)); }

 private:
  const ACCESS_ALLOWED_ACE& First() const {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL dacl = nullptr;
    void* ace = nullptr;
    EXPECT_TRUE(GetSecurityDescriptorDacl(_descriptor, &present, &dacl, &defaulted) && GetAce(dacl, 0, &ace));
    return *static_cast<const ACCESS_ALLOWED_ACE*>(ace);
  }

  PSECURITY_DESCRIPTOR _descriptor = nullptr;
};

/// Texts about the SIDs of a token and some that it does not have.
class Generator {
 public:
  explicit Generator(const CkxSidList& token) : _sids{L"SY", L"LS", L"S-1-5-21-9-9-9-9", L"WD", L"BU"} {
    for (const CkxSidList::Entry& entry : token.entries) {
      if (entry.use == EkxSidUse::Enabled) _sids.push_back(entry.sid.ToText());
    }
  }

  KxWString Descriptor(const WCHAR* head, bool denyFirst) {
    KxWString allows;
    KxWString denies;
    KxWString& others = denyFirst ? denies : allows;
    for (unsigned left = Below(6); left != 0; --left) {
      const bool deny = Below(3) == 0;
      (deny ? others : allows) += (deny ? L"(D;" : L"(A;") + Rest();
    }
    return head + (L"D:" + AnyOf({L"", L"P", L"AI", L"PAI"})) + denies + allows;
  }

  uint32_t Desired() {
    constexpr uint32_t kBits[] = {1, 2, 4, 0x10000, 0x20000, 0x40000};
    uint32_t desired = kBits[Below(std::size(kBits))];
    if (Below(3) == 0) desired |= kBits[Below(std::size(kBits))];
    return desired;
  }

 private:
  unsigned Below(size_t end) { return static_cast<unsigned>(_random() % end); }
  KxWString AnyOf(const std::vector<KxWString>& texts) { return texts[Below(texts.size())]; }

  KxWString Rest() {
    return AnyOf({L"", L"", L"CI", L"OICI", L"IO", L"CIIO", L"ID"}) + L";" + Rights() + L";;;" + AnyOf(_sids) + L")";
  }

  KxWString Rights() {
    if (Below(4) == 0) return AnyOf({L"0x7", L"0x60000", L"5", L"06", L""});
    KxWString rights;
    for (unsigned left = 1 + Below(3); left != 0; --left) {
      rights += AnyOf({L"GA", L"GR", L"GW", L"GX", L"CC", L"DC", L"LC", L"RC", L"WD", L"SD", L"FA", L"FR", L"KW"});
    }
    return rights;
  }

  std::mt19937 _random{4711};
  std::vector<KxWString> _sids;
};

TEST(AccessCheckWin, TheSystemDecidesAsWeDo) {
  const CkxHandle token = Impersonation();
  const CkxSidList sids = SidsOf(token.Get());
  Generator generate(sids);
  constexpr unsigned kRounds = 600;
  unsigned granted = 0;
  for (unsigned round = 0; round < kRounds; ++round) {
    const bool all = round % 4 == 0;
    const KxWString text = generate.Descriptor(L"O:SYG:SY", all);
    const uint32_t desired = all ? MAXIMUM_ALLOWED : generate.Desired();
    SCOPED_TRACE(KxText_ToUtf8(text) + " for " + std::to_string(desired));
    const SystemDescriptor system(text);
    ASSERT_TRUE(system);
    SkxSecurityDescriptor own;
    ASSERT_TRUE(KxSddl_Parse(text, own).IsOk());
    uint32_t bits = 0;
    KxAccess_Check(own, sids, desired, kMapping, &bits);
    EXPECT_EQ(bits, system.Granted(token.Get(), desired));
    granted += bits != 0 ? 1 : 0;
  }
  EXPECT_GT(granted, kRounds / 10);
  EXPECT_LT(granted, kRounds * 9 / 10);
}

TEST(AccessCheckWin, AScopeIsTheSameForATokenAndForItsFacts) {
  const CkxHandle token = Impersonation();
  const CkxHandle primary = Process();
  const CkxSidList sids = SidsOf(token.Get());
  std::vector<CkxSid> groups;
  for (const CkxSidList::Entry& entry : sids.entries) {
    if (entry.use == EkxSidUse::Enabled) groups.push_back(entry.sid);
  }
  CkxAccessToken facts(sids.entries.front().sid, groups, false);
  Generator generate(sids);
  constexpr unsigned kRounds = 200;
  unsigned inScope = 0;
  for (unsigned round = 0; round < kRounds; ++round) {
    // Owner and group say nothing here, and may be missing.
    const KxWString text = generate.Descriptor(round % 2 == 0 ? L"" : L"O:BUG:BU", false);
    SCOPED_TRACE(KxText_ToUtf8(text));
    const bool expected = KxUserScope_Contains(text, facts.Handle());
    EXPECT_EQ(KxUserScope_ContainsImpersonated(text, facts.Handle()), expected);
    EXPECT_EQ(KxUserScope_ContainsImpersonated(text, token.Get()), expected);
    for (void* any : {token.Get(), primary.Get(), GetCurrentProcess(), static_cast<void*>(nullptr)}) {
      EXPECT_EQ(KxUserScope_Contains(text, any), expected) << any;
    }
    inScope += expected ? 1 : 0;
  }
  EXPECT_GT(inScope, kRounds / 10);
  EXPECT_LT(inScope, kRounds * 9 / 10);
}

TEST(AccessCheckWin, TheThreadsTokenIsAskedBeforeTheProcesss) {
  const CkxSid users = CkxSid::FromUtf8("S-1-5-32-545").value();
  SID_AND_ATTRIBUTES denied{const_cast<unsigned char*>(users.Bytes()), 0};
  CkxHandle restricted;
  ASSERT_TRUE(CreateRestrictedToken(Process().Get(), 0, 1, &denied, 0, nullptr, 0, nullptr, restricted.Receive()));
  EXPECT_TRUE(KxUserScope_Contains(L"D:(A;;GR;;;BU)", nullptr));
  EXPECT_FALSE(KxUserScope_Contains(L"D:(A;;GR;;;BU)", restricted.Get()));
  const CkxImpersonationScope scope(restricted.Get());
  EXPECT_FALSE(KxUserScope_Contains(L"D:(A;;GR;;;BU)", nullptr));
  EXPECT_TRUE(KxUserScope_Contains(L"D:(A;;GR;;;WD)", nullptr));
}

TEST(AccessCheckWin, WhatCannotBeAskedIsInNoScopeAndSaysWhy) {
  const CkxHandle token = Impersonation();
  const CkxHandle primary = Process();
  const CkxHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  const struct {
    const char* name;
    bool (*ask)(CkxTextView sddl, void* token);
    const WCHAR* sddl;
    void* token;
    std::string line;
  } kCases[] = {
      {"null impersonation token", KxUserScope_ContainsImpersonated, L"D:(A;;GR;;;WD)", nullptr, ""},
      {"primary token", KxUserScope_ContainsImpersonated, L"D:(A;;GR;;;WD)", primary.Get(),
       "ERROR: The access check failed. LastError=1309"},
      {"no token", KxUserScope_Contains, L"D:(A;;GR;;;WD)", event.Get(),
       "ERROR: The token cannot be opened. LastError=6"},
      {"malformed", KxUserScope_Contains, L"D:(A;;ZZ;;;WD)", token.Get(),
       "ERROR: Malformed security descriptor [D:(A;;ZZ;;;WD)] LastError=1336"},
      {"malformed, impersonated", KxUserScope_ContainsImpersonated, L"D:(", token.Get(),
       "ERROR: Malformed security descriptor [D:(] LastError=1705"},
  };
  for (const auto& c : kCases) {
    CkxTraceCapture trace;
    EXPECT_FALSE(c.ask(c.sddl, c.token)) << c.name;
    const std::vector<CkxTraceCapture::Line> lines = trace.Lines();
    EXPECT_EQ(lines.empty() ? "" : lines.front().message, c.line) << c.name;
    EXPECT_LE(lines.size(), 1u) << c.name;
  }
}

TEST(AccessCheckWin, LettersMeanWhatTheyMeanToTheSystem) {
  unsigned sids = 0;
  unsigned rights = 0;
  unsigned flags = 0;
  const auto parse = [](const KxWString& text, SkxSecurityDescriptor& own) { return KxSddl_Parse(text, own).fault; };
  for (unsigned pair = 0; pair < 26 * 26; ++pair) {
    const KxWString letters = {static_cast<WCHAR>(L'A' + pair / 26), static_cast<WCHAR>(L'A' + pair % 26)};
    SCOPED_TRACE(KxText_ToUtf8(letters));
    SkxSecurityDescriptor own;
    const KxWString sid = L"D:(A;;GA;;;" + letters + L")";
    if (const SystemDescriptor system(sid); system) {
      const bool ofDomain = system.Sid().ToUtf8().starts_with("S-1-5-21-");
      EXPECT_EQ(parse(sid, own), ofDomain ? EkxSddlFault::DomainSid : EkxSddlFault::None);
      EXPECT_TRUE(ofDomain || (own.aces.size() == 1 && own.aces.front().sid.Equals(system.Sid())));
      ++sids;
    }
    const bool isLabels = letters == L"NW" || letters == L"NR" || letters == L"NX";
    const KxWString right = L"D:(A;;" + letters + L";;;WD)";
    if (const SystemDescriptor system(right); system && !isLabels) {
      EXPECT_EQ(parse(right, own), EkxSddlFault::None);
      EXPECT_EQ(own.aces.empty() ? 0 : own.aces.front().mask, system.Mask());
      ++rights;
    }
    const KxWString flag = L"D:(A;" + letters + L";GA;;;WD)";
    if (const SystemDescriptor system(flag); system) {
      EXPECT_EQ(parse(flag, own), EkxSddlFault::None);
      EXPECT_EQ(own.aces.empty() ? 0 : own.aces.front().flags, system.Flags());
      ++flags;
    }
  }
  EXPECT_GE(sids, 40u);
  EXPECT_GE(rights, 25u);
  EXPECT_GE(flags, 7u);
}

}  // namespace
