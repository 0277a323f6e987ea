// Signatures that are looked at here, where no system does it.
#include "Common_CPP/signature/signature.h"

#include "Common_CPP/file/file.h"
#include "tests/kx_util/target/signed_programs.h"

namespace {

class SignersPosix : public testing::Test {
 protected:
  CkxTestTrust _trust;
  const CkxTrustScope _scope{_trust};
};

TEST_F(SignersPosix, AreAsTheProgramWasSigned) { KxTest_ExpectSigners("signature/programs_not_for_wine.txt"); }

TEST_F(SignersPosix, OfScripts) {
  KxTest_ForRows<std::string, std::string, std::string>(
      "signature/scripts.txt", [](const auto& script, const auto& name, const auto& state) {
        EXPECT_EQ(KxTest_Signer(KxTest_Described(KxTest_Signed("scripts/" + script))), name + ": " + state);
      });
}

std::string SignerOf(const std::string& file) { return KxTest_Signer(KxTest_Described(KxTest_Signed(file))); }

TEST_F(SignersPosix, OfCatalogsThatListTheFile) {
  EXPECT_EQ(SignerOf("listed.txt"), ": unknown");
  ASSERT_TRUE(_trust.AddCatalogs(KxTest_Signed("catalogs").string<WCHAR>()));
  for (const char* listed : {"unsigned.exe", "without-table.exe", "listed.txt"}) {
    EXPECT_EQ(SignerOf(listed), "Harbor & Finch Ltd: valid") << listed;
  }
  EXPECT_EQ(SignerOf("changed.exe"), "Harbor & Finch Ltd: invalid") << "what it carries itself counts first";
  EXPECT_EQ(SignerOf("untrusted.exe"), "Foreign Vendor: untrustedRoot");
  EXPECT_EQ(SignerOf("roots.pem"), ": unknown");
}

TEST_F(SignersPosix, CatalogsAreJudgedLikeSignatures) {
  CkxTestTrust weak;
  ASSERT_TRUE(weak.AddCatalogs(KxTest_Signed("catalogs/weak.cat").string<WCHAR>()));
  CkxTestTrust changed;
  ASSERT_TRUE(changed.AddCatalogs(KxTest_Signed("changed.cat").string<WCHAR>()));
  EXPECT_EQ((CkxTrustScope(weak), SignerOf("listed.txt")), "Harbor & Finch Ltd: weak");
  EXPECT_EQ((CkxTrustScope(changed), SignerOf("listed.txt")), "Harbor & Finch Ltd: invalid");
  for (const char* none : {"bare.cat", "roots.pem", "missing.cat"}) {
    EXPECT_FALSE(weak.AddCatalogs(KxTest_Signed(none).string<WCHAR>())) << none;
  }
}

/// The signer of a program with another message in place of its own.
SkxSigners Look(const std::vector<unsigned char>& message) {
  CkxFileReader file;
  SkxFileStatus status;
  EXPECT_TRUE(file.Open(KxTest_Signed("valid-stamped.exe").string<WCHAR>()) && file.Status(status));
  std::optional<SkxPeSignature> program = KxPeSignature_Read(file, status.size);
  static const std::optional<std::vector<unsigned char>> digest = [&] {
    const SkxFileDigest wanted = {EkxHashAlgorithm::Sha256, true};
    return KxFileDigest_Read(file, status.size, program->covered, std::span(&wanted, 1), [](uint64_t) { return true; })
        .at(wanted);
  }();
  program->message = message;
  return KxSignature_Look(
      {file, CkxTextView(), &*program, [](EkxHashAlgorithm) { return digest; }, [](uint64_t) { return true; }});
}

std::vector<unsigned char> Message(const std::string& program) {
  CkxFileReader file;
  SkxFileStatus status;
  EXPECT_TRUE(file.Open(KxTest_Signed(program).string<WCHAR>()) && file.Status(status));
  return KxPeSignature_Read(file, status.size)->message;
}

/// Padding may follow the message, so that the cut of a few last bytes is none.
TEST_F(SignersPosix, AMessageThatEndsEarlyHasNoSigner) {
  const std::vector<unsigned char> whole = Message("valid-stamped.exe");
  ASSERT_EQ(Look(whole).first.status, EkxPublisherStatus::Valid);
  for (size_t size = 0; size + 8 < whole.size(); size += 3) {
    const SkxSigner signer = Look({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}).first;
    ASSERT_EQ(signer.status, EkxPublisherStatus::Invalid) << size;
    ASSERT_TRUE(signer.name.empty()) << size;
  }
}

/// What holds after a change is what nobody signed, such as the timestamp; never another name.
TEST_F(SignersPosix, AChangedMessageNamesNobodyElse) {
  const std::vector<unsigned char> whole = Message("valid-stamped.exe");
  size_t held = 0;
  for (size_t at = 0; at < whole.size(); at += 5) {
    std::vector<unsigned char> changed = whole;
    changed[at] ^= 1;
    const SkxSigner signer = Look(changed).first;
    if (signer.status != EkxPublisherStatus::Valid) continue;
    ++held;
    ASSERT_EQ(KxText_ToUtf8(signer.name), "Harbor & Finch Ltd") << at;
  }
  EXPECT_GT(held, 0u);
  EXPECT_LT(held, whole.size() / 5);
}

}  // namespace
