// Who signed a program, as its description says.
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "tests/kx_util/target/signed_programs.h"

namespace {

class Signers : public testing::Test {
 protected:
  CkxTestTrust _trust;
};

TEST_F(Signers, AreAsTheProgramWasSigned) {
  const CkxTrustScope scope(_trust);
  KxTest_ExpectSigners("signature/programs.txt");
}

TEST_F(Signers, AreTrustedAsLongAsTheirRootsAre) {
  const auto valid = [] { return KxTest_Signer(KxTest_Described(KxTest_Signed("valid.exe"))); };
  EXPECT_EQ(valid(), "Harbor & Finch Ltd: untrustedRoot");
  {
    const CkxTrustScope scope(_trust);
    EXPECT_EQ(valid(), "Harbor & Finch Ltd: valid");
  }
  EXPECT_EQ(valid(), "Harbor & Finch Ltd: untrustedRoot");
  CkxTrustStore empty;
  EXPECT_FALSE(empty.Add(KxTest_Signed("nothing").string<WCHAR>()));
  EXPECT_FALSE(empty.Add(KxTest_Signed("valid.exe").string<WCHAR>()));
  EXPECT_TRUE(empty.Add(KxTest_Signed("").string<WCHAR>())) << "a folder with certificates among other files";
}

std::string Digest(const std::string& program, const WCHAR* algorithm) {
  const CkxTargetInfoFile file = KxTest_Described(KxTest_Signed(program + ".exe"));
  const WCHAR* const text = file.GetHashStringUsing(algorithm);
  return text != nullptr ? KxText_ToUtf8(text) : "none";
}

/// Signing, and what is not signed, leaves the digest as it was.
TEST_F(Signers, DigestOfWhatASignatureCovers) {
  constexpr const WCHAR* kName = KXW("authenticode-sha256");
  const std::string ofTheProgram = Digest("unsigned", kName);
  EXPECT_EQ(ofTheProgram + "\n", "AUTHENTICODE-SHA256##" + KxTest_Content(KxTest_Signed("valid.digest")));
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
  EXPECT_EQ(KxTest_Signer(CkxTargetInfoFile(folder.Text("missing.exe").c_str(), nullptr)), ": unknown");
  const uint64_t before = KxUtil_HashLimit();
  KxUtil_SetHashLimit(1000);
  EXPECT_EQ(KxTest_Signer(KxTest_Described(KxTest_Signed("valid.exe"))), ": unknown");
  KxUtil_SetHashLimit(before);
}

TEST_F(Signers, OfAFileThatChangesMeanwhileAreNone) {
  const CkxTrustScope scope(_trust);
  const CkxTempFolder folder;
  const KxWString path = folder.Write("tool.exe", KxTest_Content(KxTest_Signed("valid.exe")));
  const CkxTargetInfoFile file(path.c_str(), nullptr);
  EXPECT_GT(file.GetFileSize(), 0);
  folder.Write("tool.exe", KxTest_Content(KxTest_Signed("valid-organization.exe")));
  const CkxEntryScope evaluation;
  EXPECT_EQ(KxTest_Signer(file), ": unknown");
  EXPECT_EQ(KxFault_Current(), EkxEvaluationFault::TargetChanged);
  EXPECT_EQ(file.GetHashStringUsing(KXW("SHA256")), nullptr);
}

}  // namespace
