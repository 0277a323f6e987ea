#include <gmock/gmock.h>
#include <kx_util/kx_util.h>

#include <algorithm>

#include "tests/support/data_rows.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using enum EkxStrCompareAs;

/// A file with one hash, which counts how often it is asked for that.
class FakeFile final : public IkxHashProvider {
 public:
  explicit FakeFile(const WCHAR* path, int64_t size = kUnknownSize, const WCHAR* sha256 = nullptr)
      : _path(path), _size(size), _sha256(sha256) {}
  const WCHAR* GetPath() const override { return _path; }
  int64_t GetFileSize() const override { return _size; }
  int64_t GetModificationTime() const override { return 0; }
  void* GetAccessToken() const override { return nullptr; }
  const WCHAR* GetHashStringUsing(const WCHAR* algorithm) const override {
    ++hashed;
    return KxText_Equals(algorithm, KXW("SHA256"), true) ? _sha256 : nullptr;
  }
  bool GetHash(CkxUtilStr&, CkxUtilStr&) const override { return false; }

  mutable int hashed = 0;

 private:
  const WCHAR* _path;
  int64_t _size;
  const WCHAR* _sha256;
};

TEST(MatchFilename, ComparesTheLastComponentWithoutCase) {
  struct {
    const WCHAR* path;
    const WCHAR* pattern;
    EkxStrCompareAs compareAs;
    bool matches;
  } const cases[] = {
      {KXW("C:\\Windows\\NotePad.EXE"), KXW("notepad.exe"), StrEquals, true},
      {KXW("C:\\Windows/notepad.exe"), KXW("notepad.exe"), StrEquals, true},
      {KXW("notepad.exe"), KXW("NOTE"), StrStartsWith, true},
      {KXW("C:\\Windows\\notepad.exe"), KXW("Windows"), StrContains, false},
      {KXW("C:\\Windows\\notepad.exe"), KXW("*\\*"), StrWildcard, false},
      {KXW("C:\\Windows\\notepad.exe"), nullptr, StrEquals, false},
      {KXW("C:\\Windows\\"), KXW("*"), StrWildcard, true},
      {KXW(""), KXW("*"), StrWildcard, false},
      {nullptr, nullptr, StrEquals, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(KxUtil_MatchFilename(FakeFile(c.path), c.pattern, c.compareAs), c.matches) << KxText_ToUtf8(c.path);
  }
}

TEST(MatchHash, ChecksTheSizeBeforeItHashes) {
  struct {
    const char* name;
    const WCHAR* algorithm;
    const WCHAR* hash;
    int64_t size;
    bool matches;
    int hashed;
  } const cases[] = {
      {"equal but for case", KXW("SHA256"), KXW("sha256##abcd"), -1, true, 1},
      {"equal, of that size", KXW("SHA256"), KXW("SHA256##ABCD"), 1001, true, 1},
      {"another size", KXW("SHA256"), KXW("SHA256##ABCD"), 1000, false, 0},
      {"another hash", KXW("SHA256"), KXW("SHA256##ABCE"), 1001, false, 1},
      {"hash without its algorithm", KXW("SHA256"), KXW("ABCD"), -1, false, 1},
      {"an algorithm it does not have", KXW("MD5"), KXW("MD5##ABCD"), -1, false, 1},
      {"no algorithm", nullptr, KXW("SHA256##ABCD"), -1, false, 0},
      {"no hash expected", KXW("SHA256"), nullptr, 1000, true, 0},
      {"an empty hash expected", nullptr, KXW(""), -1, true, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const FakeFile file(KXW("C:\\a.exe"), 1001, KXW("SHA256##AbCd"));
    EXPECT_EQ(KxUtil_MatchHash(file, c.algorithm, c.hash, c.size), c.matches);
    EXPECT_EQ(file.hashed, c.hashed);
  }
}

TEST(MatchHash, ComesAfterTheName) {
  const FakeFile file(KXW("C:\\a.exe"), 5, KXW("SHA256##AB"));
  const auto matches = [&](const WCHAR* name, const WCHAR* hash) {
    return KxUtil_MatchFilenameAndHash(file, name, StrWildcard, KXW("SHA256"), hash, -1);
  };
  EXPECT_FALSE(matches(KXW("b*"), KXW("SHA256##AB")));
  EXPECT_EQ(file.hashed, 0);
  EXPECT_TRUE(matches(KXW("a*"), KXW("SHA256##AB")));
  EXPECT_FALSE(matches(KXW("a*"), KXW("SHA256##AC")));
  EXPECT_TRUE(matches(KXW("a*"), nullptr));
}

TEST(MatchFileOwner, TakesEqualValidSidsOnly) {
  const CkxSid system = *CkxSid::FromUtf8("S-1-5-18");
  const auto owns = [](std::optional<CkxSid> owner, const CkxSid& expected) {
    SkxFileFacts facts;
    facts.owner = std::move(owner);
    return KxUtil_MatchFileOwner(CkxTargetInfoFile(facts, nullptr), expected);
  };
  EXPECT_TRUE(owns(system, system));
  EXPECT_FALSE(owns(system, *CkxSid::FromUtf8("S-1-5-19")));
  EXPECT_FALSE(owns(CkxSid(), CkxSid()));
  EXPECT_FALSE(owns(std::nullopt, system));
}

class FakePublisher final : public IkxPublisherProvider {
 public:
  struct Signer {
    const WCHAR* name;
    EkxPublisherStatus status;
  };
  FakePublisher(Signer first, Signer second) : _first(first), _second(second) {}
  const WCHAR* GetPublisher(bool secondSigner, EkxPublisherStatus& status) const override {
    asked += secondSigner ? "2" : "1";
    const Signer& signer = secondSigner ? _second : _first;
    status = signer.status;
    return signer.name;
  }

  mutable std::string asked;

 private:
  Signer _first, _second;
};

TEST(MatchPublisher, NeedsAValidSignerOrTwo) {
  constexpr std::string_view kStatuses[] = {"unknown",  "system",        "weak",    "invalid", "valid",
                                            "unsigned", "untrustedRoot", "expired", "revoked"};
  const auto signer = [&](const std::optional<KxWString>& name, const std::string& status) {
    const auto* const found = std::find(std::begin(kStatuses), std::end(kStatuses), status);
    EXPECT_NE(found, std::end(kStatuses)) << status;
    return FakePublisher::Signer{name ? name->c_str() : nullptr,
                                 static_cast<EkxPublisherStatus>(found - std::begin(kStatuses))};
  };
  using Name = std::optional<KxWString>;
  KxTest_ForRows<std::string, Name, std::string, Name, std::string, bool, std::string>(
      "match/publishers.txt", [&](const auto&, const auto& first, const auto& firstStatus, const auto& second,
                                  const auto& secondStatus, bool matches, const auto& asked) {
        const FakePublisher file(signer(first, firstStatus), signer(second, secondStatus));
        EXPECT_EQ(KxUtil_MatchPublisher(file, KXW("ACME*"), false, StrWildcard), matches);
        EXPECT_EQ(file.asked, asked);
        EXPECT_FALSE(KxUtil_MatchPublisher(file, KXW("ACME*"), true, StrWildcard));
      });
}

TEST(MatchPublisher, ANullPatternMatchesNothingAndTheTraceBracketsIt) {
  const CkxTraceCapture trace;
  const FakePublisher file({nullptr, EkxPublisherStatus::Valid}, {nullptr, EkxPublisherStatus::Valid});
  EXPECT_FALSE(KxUtil_MatchPublisher(file, {}, false, StrEquals));
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_TRACE KxUtil_MatchPublisher: _KxTlgMatchPublisherStartImpl",
                                         "KXT_TRACE KxUtil_MatchPublisher: _KxTlgMatchPublisherStopImpl"));
}

TEST(MatchFileFields, NeedTheField) {
  SkxFileFacts facts;
  facts.versionInfo[KXW("CompanyName")] = KXW(" Acme Ltd ");
  facts.msiProperties[KXW("ProductName")] = KXW("Tool 2.1");
  const CkxTargetInfoFile file(facts, nullptr);
  const auto version = [&](const WCHAR* field, const WCHAR* pattern, bool caseSensitive, EkxStrCompareAs mode) {
    return KxUtil_MatchFileVersionInfo(file, field, pattern, caseSensitive, mode);
  };
  const auto msi = [&](const WCHAR* field, const WCHAR* pattern, bool caseSensitive, EkxStrCompareAs mode) {
    return KxUtil_MatchFileMsiInfo(file, field, pattern, caseSensitive, mode);
  };
  EXPECT_TRUE(version(KXW("CompanyName"), KXW("acme ltd"), false, StrEquals));
  EXPECT_FALSE(version(KXW("CompanyName"), KXW("acme ltd"), true, StrEquals));
  EXPECT_FALSE(version(KXW("ProductName"), KXW("*"), false, StrWildcard));
  EXPECT_FALSE(version(KXW("ProductName"), nullptr, false, StrEquals));
  EXPECT_TRUE(msi(KXW("ProductName"), KXW("TOOL*"), false, StrWildcard));
  EXPECT_FALSE(msi(KXW("ProductName"), KXW("TOOL*"), true, StrWildcard));
  EXPECT_FALSE(msi(KXW("Manufacturer"), KXW("*"), false, StrWildcard));
  EXPECT_FALSE(msi(KXW("Manufacturer"), nullptr, false, StrEquals));
}

TEST(MatchFilePublisher, WhatIsNotThereHasNone) {
  EXPECT_FALSE(KxUtil_MatchFilePublisher(KXW("no such file.exe"), KXW("*"), false, StrWildcard));
  EXPECT_FALSE(KxUtil_MatchFilePublisher(KXW("System"), KXW("*"), false, StrWildcard));
  EXPECT_FALSE(KxUtil_MatchFilePublisher(nullptr, {}, false, StrEquals));
}

}  // namespace
