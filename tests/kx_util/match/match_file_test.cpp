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
  FakeFile(const WCHAR* path, int64_t size, const WCHAR* sha256) : _path(path), _size(size), _sha256(sha256) {}
  const WCHAR* GetPath() const override { return _path; }
  int64_t GetFileSize() const override { return _size; }
  int64_t GetModificationTime() const override { return 0; }
  void* GetAccessToken() const override { return nullptr; }
  const WCHAR* GetHashStringUsing(const WCHAR* algorithm) const override {
    ++hashed;
    return KxText_Equals(algorithm, KXW("SHA256"), true) ? _sha256 : nullptr;
  }
  bool GetHash(CkxUtilStr&, CkxUtilStr&) const override { return false; }

  mutable unsigned hashed = 0;

 private:
  const WCHAR* _path;
  int64_t _size;
  const WCHAR* _sha256;
};

TEST(MatchFilename, ComparesTheLastComponentWithoutCase) {
  using Text = std::optional<KxWString>;
  KxTest_ForRows<Text, Text, uint64_t, bool>(
      "match/file_names.txt", [](const auto& path, const auto& pattern, uint64_t mode, bool matches) {
        const CkxSimplePathProvider file(path ? path->c_str() : nullptr);
        const CkxTextView expected = pattern ? CkxTextView(*pattern) : CkxTextView();
        EXPECT_EQ(KxUtil_MatchFilename(file, expected, static_cast<EkxStrCompareAs>(mode)), matches);
      });
}

TEST(MatchHash, ChecksTheSizeBeforeItHashes) {
  using Text = std::optional<KxWString>;
  KxTest_ForRows<std::string, Text, Text, std::optional<uint64_t>, bool, uint64_t>(
      "match/hashes.txt",
      [](const auto&, const auto& algorithm, const auto& hash, const auto& size, bool matches, uint64_t hashed) {
        const auto orNull = [](const Text& text) { return text ? text->c_str() : nullptr; };
        const FakeFile file(KXW("C:\\a.exe"), 1001, KXW("SHA256##AbCd"));
        const int64_t expected = size ? static_cast<int64_t>(*size) : -1;
        EXPECT_EQ(KxUtil_MatchHash(file, orNull(algorithm), orNull(hash), expected), matches);
        EXPECT_EQ(file.hashed, hashed);
      });
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
  facts.versionInfo[KXW("Field")] = facts.msiProperties[KXW("Field")] = KXW(" Tool 2.1 ");
  const CkxTargetInfoFile file(facts, nullptr);
  const auto matches = [&](const WCHAR* field, CkxTextView pattern, bool caseSensitive) {
    const bool version = KxUtil_MatchFileVersionInfo(file, field, pattern, caseSensitive, StrEquals);
    EXPECT_EQ(KxUtil_MatchFileMsiInfo(file, field, pattern, caseSensitive, StrEquals), version);
    return version;
  };
  EXPECT_TRUE(matches(KXW("Field"), KXW("TOOL 2.1"), false));
  EXPECT_FALSE(matches(KXW("Field"), KXW("TOOL 2.1"), true));
  EXPECT_FALSE(matches(KXW("Another"), {}, false)) << "no field, whatever is asked of it";
}

}  // namespace
