// Signatures of installer packages that are looked at here, where no system does it.
#include "Common_CPP/crypto/file_digest.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/signature/msi_signature_posix.h"
#include "tests/kx_util/target/signed_programs.h"
#include "tests/support/compound_file.h"
#include "tests/support/memory_source.h"

namespace {

bool AnyNumber(uint64_t) { return true; }

class PackageSigners : public testing::Test {
 protected:
  CkxTestTrust _trust;
  const CkxTrustScope _scope{_trust};
};

TEST_F(PackageSigners, AreAsThePackageWasSigned) { KxTest_ExpectSigners("signature/packages.txt", ".msi"); }

KxBytes Content(const std::string& package) {
  const std::string content = KxTest_Content(KxTest_Signed("packages/" + package + ".msi"));
  return KxBytes(content.begin(), content.end());
}

std::string DigestOf(const KxBytes& content, EkxHashAlgorithm algorithm = EkxHashAlgorithm::Sha256) {
  const CkxMemorySource source(content);
  const auto signature = CkxMsiSignature::Read(source, content.size());
  const auto digest = signature ? signature->Digest(algorithm, AnyNumber) : std::nullopt;
  return digest ? KxText_ToUtf8(KxHash_Hexadecimal(*digest)) : "none";
}

TEST_F(PackageSigners, DigestsAreThoseThatAnotherProgramComputes) {
  for (const char* package : {"small", "small-directory", "large", "large-directory", "nested", "nested-directory",
                              "changed", "changed-class", "changed-class-directory", "changed-time-directory",
                              "changed-case-directory", "changed-name-directory", "changed-digest"}) {
    EXPECT_EQ(DigestOf(Content(package)) + "\n",
              KxTest_Content(KxTest_Signed("packages/" + std::string(package) + ".digest")))
        << package;
  }
  EXPECT_EQ(DigestOf(Content("weak"), EkxHashAlgorithm::Sha1) + "\n",
            KxTest_Content(KxTest_Signed("packages/weak.digest")));
}

/// The streams of a package by their names.
std::vector<std::pair<std::u16string, KxBytes>> StreamsOf(const std::string& package) {
  const CkxMemorySource source(Content(package));
  const auto file = CkxCompoundFile::Open(source);
  std::vector<std::pair<std::u16string, KxBytes>> streams;
  const auto entries = file->Children(file->Root()).value();
  for (const SkxCompoundEntry& entry : entries) {
    streams.emplace_back(std::u16string(entry.name.begin(), entry.name.end()), file->Read(entry, entry.size).value());
  }
  return streams;
}

/// Of a package with these streams, in a file that is laid out in another way.
std::string SignerOfPackageOf(const std::vector<std::pair<std::u16string, KxBytes>>& streams) {
  CkxTestCompound made(4096, 0xC1084);
  for (const auto& [name, content] : streams) made.Stream(name, content);
  const CkxTempFolder folder;
  const KxBytes bytes = made.Bytes();
  folder.Write("made.msi", std::string(bytes.begin(), bytes.end()));
  return KxTest_Signer(KxTest_Described(folder.Path() / "made.msi"));
}

TEST_F(PackageSigners, HoldForTheStreamsAndForNothingElse) {
  for (const char* package : {"small", "large", "small-directory"}) {
    const auto whole = StreamsOf(package);
    ASSERT_EQ(SignerOfPackageOf(whole), "Harbor & Finch Ltd: valid") << package;
    for (size_t i = 0; i < whole.size(); ++i) {
      const bool isSignature = whole[i].first[0] == 5 && whole[i].first != u"\5SummaryInformation";
      auto without = whole;
      without.erase(without.begin() + static_cast<std::ptrdiff_t>(i));
      const bool isCovered = !isSignature && !whole[i].second.empty();
      if (isCovered) {
        EXPECT_EQ(SignerOfPackageOf(without), "Harbor & Finch Ltd: invalid") << package << " " << i;
        auto changed = whole;
        changed[i].second[changed[i].second.size() / 2] ^= 1;
        EXPECT_EQ(SignerOfPackageOf(changed), "Harbor & Finch Ltd: invalid") << package << " " << i;
      } else if (whole[i].first == u"\5DigitalSignature") {
        EXPECT_EQ(SignerOfPackageOf(without), ": unsigned") << package;
      }
    }
    auto more = whole;
    more.emplace_back(u"More", KxBytes{1});
    EXPECT_EQ(SignerOfPackageOf(more), "Harbor & Finch Ltd: invalid") << package;
  }
  auto withoutDirectory = StreamsOf("small-directory");
  std::erase_if(withoutDirectory, [](const auto& stream) { return stream.first == u"\5MsiDigitalSignatureEx"; });
  EXPECT_EQ(SignerOfPackageOf(withoutDirectory), "Harbor & Finch Ltd: invalid");
}

TEST_F(PackageSigners, ACutPackageHoldsNever) {
  const KxBytes whole = Content("small");
  const std::string digest = DigestOf(whole);
  ASSERT_EQ(digest.size(), 64u);
  for (size_t size = 0; size < whole.size() - 512; size += 7) {
    const CkxMemorySource source(whole.data(), size);
    const auto signature = CkxMsiSignature::Read(source, size);
    const bool isThere = signature && !signature->Message().empty();
    const auto cut = isThere ? signature->Digest(EkxHashAlgorithm::Sha256, AnyNumber) : std::nullopt;
    ASSERT_FALSE(cut && KxText_ToUtf8(KxHash_Hexadecimal(*cut)) == digest) << size;
  }
}

/// Streams that share their bytes would be hashed over and over.
TEST_F(PackageSigners, AreNotSoughtInMoreThanTheFileHolds) {
  CkxTestCompound made(512, 0xC1084);
  made.Stream(u"\5DigitalSignature", KxBytes(10)).Stream(u"a", KxBytes(5000)).Stream(u"b", KxBytes(5000));
  KxBytes bytes = made.Bytes();
  EXPECT_EQ(DigestOf(bytes).size(), 64u);
  const size_t size = made.EntryAt(1) + 120;
  ASSERT_EQ(bytes[size] + 256u * bytes[size + 1], 5000u);
  bytes[size + 2] = 1;
  EXPECT_EQ(DigestOf(bytes), "none");
}

TEST_F(PackageSigners, AreOfInstallerPackagesAlone) {
  CkxTestCompound document(512, 0x20906);
  document.Stream(u"\5DigitalSignature", KxBytes(10));
  const CkxMemorySource source(document.Bytes());
  EXPECT_FALSE(CkxMsiSignature::Read(source, 100'000));
  for (const uint32_t kind : {0xC1084u, 0xC1086u, 0xC1082u}) {
    CkxTestCompound made(512, kind);
    const CkxMemorySource package(made.Stream(u"a", KxBytes(10)).Bytes());
    const auto signature = CkxMsiSignature::Read(package, 100'000);
    ASSERT_TRUE(signature) << kind;
    EXPECT_FALSE(signature->IsSigned());
  }
}

}  // namespace
