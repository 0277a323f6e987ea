// Who signed a program, as its description says, for programs that scripts/make-signed-programs has made.
#include <kx_util/target_info_file.h>

#include <gtest/gtest.h>

#include "Agent/engine/kx_util/target/publisher_status.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/signature/trust_store.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/temp_folder.h"

namespace {

std::filesystem::path PathOf(const std::string& file) { return std::filesystem::path(KX_SIGNED_PROGRAMS) / file; }

CkxTargetInfoFile Described(const std::filesystem::path& path) {
  return CkxTargetInfoFile(path.string<WCHAR>().c_str(), nullptr);
}

std::string Content(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

/// "NAME: state" as documents call it.
std::string Signer(const CkxTargetInfoFile& file, bool second) {
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
  const WCHAR* const name = file.GetPublisher(second, status);
  return (name != nullptr ? KxText_ToUtf8(name) : "") + ": " + KxPublisherStatus_Row(status).key;
}

class Signers : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(_trust.Add(PathOf("roots.pem").string<WCHAR>())); }
  CkxTrustStore _trust;
};

TEST_F(Signers, AreAsTheProgramWasSigned) {
  const CkxTrustScope scope(_trust);
  KxTest_ForRows<std::string, std::string, std::string, std::string, std::string, std::string>(
      "signature/programs.txt", [](const auto& program, const auto& name, const auto& state, const auto& second,
                                   const auto& secondState, const auto& other) {
        const CkxTargetInfoFile file = Described(PathOf(program + ".exe"));
        EXPECT_EQ(Signer(file, false), name + ": " + state);
        EXPECT_EQ(Signer(file, true), second + ": " + secondState);
        const bool isGood = state == "valid" || state == "weak";
        const std::string verdict = Content(PathOf(program + ".verdict"));
        EXPECT_EQ(isGood == (verdict == "good\n"), other == "same") << verdict;
      });
}

TEST_F(Signers, AreTrustedAsLongAsTheirRootsAre) {
  const auto valid = [] { return Signer(Described(PathOf("valid.exe")), false); };
  EXPECT_EQ(valid(), "Harbor & Finch Ltd: untrustedRoot");
  {
    const CkxTrustScope scope(_trust);
    EXPECT_EQ(valid(), "Harbor & Finch Ltd: valid");
  }
  EXPECT_EQ(valid(), "Harbor & Finch Ltd: untrustedRoot");
  CkxTrustStore empty;
  EXPECT_FALSE(empty.Add(PathOf("nothing").string<WCHAR>()));
  EXPECT_FALSE(empty.Add(PathOf("valid.exe").string<WCHAR>()));
  EXPECT_TRUE(empty.Add(PathOf("").string<WCHAR>())) << "a folder with certificates among other files";
}

std::string Digest(const std::string& program, const WCHAR* algorithm) {
  const CkxTargetInfoFile file = Described(PathOf(program + ".exe"));
  const WCHAR* const text = file.GetHashStringUsing(algorithm);
  return text != nullptr ? KxText_ToUtf8(text) : "none";
}

/// Signing, and what is not signed, leaves the digest as it was.
TEST_F(Signers, DigestOfWhatASignatureCovers) {
  constexpr const WCHAR* kName = KXW("authenticode-sha256");
  const std::string ofTheProgram = Digest("unsigned", kName);
  EXPECT_EQ(ofTheProgram + "\n", "AUTHENTICODE-SHA256##" + Content(PathOf("valid.digest")));
  for (const char* same : {"valid", "weak", "dual", "without-table", "changed-checksum", "revoked"}) {
    EXPECT_EQ(Digest(same, kName), ofTheProgram) << same;
    EXPECT_EQ(Digest(same, KXW("AUTHENTICODE-SHA1")), Digest("unsigned", KXW("AUTHENTICODE-SHA1"))) << same;
  }
  for (const char* other : {"changed", "appended", "empty-table", "slipped-in", "table-beyond"}) {
    EXPECT_NE(Digest(other, kName), ofTheProgram) << other;
  }
  EXPECT_EQ(Digest("roots", kName), "none");
  EXPECT_EQ(Digest("unsigned", KXW("AUTHENTICODE-MD5")), "none");
}

/// What is no program and may be signed in a way that nobody has looked for is not unsigned.
TEST_F(Signers, WhatIsNotLookedAtIsUnknown) {
  const CkxTempFolder folder;
  EXPECT_EQ(Signer(CkxTargetInfoFile(folder.Text("missing.exe").c_str(), nullptr), false), ": unknown");
  const uint64_t before = KxUtil_HashLimit();
  KxUtil_SetHashLimit(1000);
  EXPECT_EQ(Signer(Described(PathOf("valid.exe")), false), ": unknown");
  KxUtil_SetHashLimit(before);
}

TEST_F(Signers, OfAFileThatChangesMeanwhileAreNone) {
  const CkxTrustScope scope(_trust);
  const CkxTempFolder folder;
  const KxWString path = folder.Write("tool.exe", Content(PathOf("valid.exe")));
  const CkxTargetInfoFile file(path.c_str(), nullptr);
  EXPECT_GT(file.GetFileSize(), 0);
  folder.Write("tool.exe", Content(PathOf("valid-organization.exe")));
  const CkxEntryScope evaluation;
  EXPECT_EQ(Signer(file, false), ": unknown");
  EXPECT_EQ(KxFault_Current(), EkxEvaluationFault::TargetChanged);
  EXPECT_EQ(file.GetHashStringUsing(KXW("SHA256")), nullptr);
}

}  // namespace
