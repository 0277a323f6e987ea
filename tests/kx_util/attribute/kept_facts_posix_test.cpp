// Digests and signers that are kept with a file: believed for the file as it is, and for no other.
#include "Agent/engine/kx_util/attribute/kept_facts.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <kx_util/ext_file_attributes.h>
#include <kx_util/target_info_file.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <chrono>
#include <functional>
#include <thread>

#include "Common_CPP/util/text.h"
#include "tests/support/ea_folder.h"
#include "tests/support/secret_scope.h"
#include "tests/support/temp_folder.h"

namespace {

using Ea = CkxExtFileAttributes;
constexpr const char* kDigestEa = "user.$KERNEL.PURGE.KXFH";

class KeptFacts : public testing::Test {
 protected:
  void SetUp() override {
    const auto folder = KxTest_EaFolder();
    if (!folder) GTEST_SKIP() << "no file system here keeps attributes of 64 KiB";
    _folder.emplace(*folder);
    _path = _folder->Write("file", "content");
    ASSERT_EQ(chmod(Native().c_str(), 0644), 0);
  }
  void TearDown() override { Ea::SetDrvEaHelper(nullptr); }

  std::string Native(const char* name = "file") const { return (_folder->Path() / name).string(); }

  /// Digests of what the file is not, which only who has kept them can tell.
  static KxFileDigests MadeUp() { return {{{EkxHashAlgorithm::Sha256, false}, std::vector<unsigned char>(32, 0xAB)}}; }

  void Keep(const std::optional<SkxSigners>& signers = std::nullopt) const {
    CkxFileReader file;
    SkxFileStatus status;
    ASSERT_TRUE(file.Open(_path) && file.Status(status));
    Ea::SetDrvEaHelper(Ea::NativeDrvEaHelper());
    CkxKeptFacts(file, status).Keep(MadeUp(), signers);
    Ea::SetDrvEaHelper(nullptr);                                 // nobody else keeps anything
    std::this_thread::sleep_for(std::chrono::milliseconds(10));  // what changes at once may not be told apart
  }

  /// Whether a live description takes what is kept for the file's digest.
  bool IsBelieved(const char* name = "file") const {
    const CkxTargetInfoFile file((_folder->Path() / name).u16string().c_str(), nullptr);
    return KxText_ToUtf8(file.GetHashStringUsing(KXW("SHA256"))).starts_with("SHA256##ABABABAB");
  }

  std::string Attribute(const char* name = kDigestEa) const {
    char value[512];
    const ssize_t size = getxattr(Native().c_str(), name, value, sizeof(value));
    return size < 0 ? "" : std::string(value, static_cast<size_t>(size));
  }

  CkxSecretScope _secrets;
  std::optional<CkxTempFolder> _folder;
  KxWString _path;
};

TEST_F(KeptFacts, AreBelievedUntilSomethingIsDifferent) {
  const std::pair<const char*, std::function<void()>> changes[] = {
      {"other content", [&] { _folder->Write("file", "CONTENT"); }},
      {"other content of the same time",
       [&] {
         struct stat before {};
         ASSERT_EQ(stat(Native().c_str(), &before), 0);
         _folder->Write("file", "CONTENT");
         const timespec times[] = {before.st_atim, before.st_mtim};
         ASSERT_EQ(utimensat(AT_FDCWD, Native().c_str(), times, 0), 0);
       }},
      {"others may write it", [&] { ASSERT_EQ(chmod(Native().c_str(), 0664), 0); }},
      {"a byte of the attribute",
       [&] {
         std::string kept = Attribute();
         kept[kept.find("AB")] = 'B';
         ASSERT_EQ(setxattr(Native().c_str(), kDigestEa, kept.data(), kept.size(), 0), 0);
       }},
      {"a shorter attribute",
       [&] {
         const std::string kept = Attribute();
         ASSERT_EQ(setxattr(Native().c_str(), kDigestEa, kept.data(), kept.size() - 1, 0), 0);
       }},
  };
  for (const auto& [name, change] : changes) {
    _path = _folder->Write("file", "content");
    ASSERT_EQ(chmod(Native().c_str(), 0644), 0);
    EXPECT_FALSE(IsBelieved());
    Keep();
    EXPECT_TRUE(IsBelieved()) << Attribute();
    change();
    EXPECT_FALSE(IsBelieved()) << name;
  }
}

TEST_F(KeptFacts, AreBelievedByTheKeyAlone) {
  Keep();
  EXPECT_TRUE(IsBelieved());
  {
    const CkxSecretScope another({"fedcba9876543210"});
    EXPECT_FALSE(IsBelieved());
  }
  {
    const CkxSecretScope rotated({"fedcba9876543210", "0123456789abcdef"});
    EXPECT_TRUE(IsBelieved());
  }
  const auto provider = KxUtil_SetSecretProvider(nullptr);
  EXPECT_FALSE(IsBelieved());
  Keep();
  KxUtil_SetSecretProvider(provider);
}

TEST_F(KeptFacts, AreOfTheirFileAlone) {
  Keep();
  _folder->Write("other", "content");
  ASSERT_EQ(chmod(Native("other").c_str(), 0644), 0);
  for (const char* const name : {kDigestEa, "user.$KERNEL:MARK"}) {
    char value[512];
    const ssize_t size = getxattr(Native().c_str(), name, value, sizeof(value));
    ASSERT_GT(size, 0) << name;
    ASSERT_EQ(setxattr(Native("other").c_str(), name, value, static_cast<size_t>(size), 0), 0);
  }
  EXPECT_TRUE(IsBelieved());
  EXPECT_FALSE(IsBelieved("other"));
}

TEST_F(KeptFacts, ArePutThereByADescription) {
  const auto describe = [&] { CkxTargetInfoFile(_path.c_str(), nullptr).GetHashStringUsing(KXW("SHA1")); };
  describe();
  EXPECT_EQ(Attribute(), "") << "without a driver";
  Ea::SetDrvEaHelper(Ea::NativeDrvEaHelper());
  describe();
  EXPECT_NE(Attribute().find("SHA1##040F06FD774092478D450774F5BA30C5DA78ACC8\n"), std::string::npos);
}

TEST_F(KeptFacts, SayWhoSigned) {
  const SkxSigners signers = {{KXW("Vendor \u00FC"), EkxPublisherStatus::Valid},
                              {KXW(""), EkxPublisherStatus::Unsigned}};
  Keep(signers);
  CkxFileReader file;
  SkxFileStatus status;
  ASSERT_TRUE(file.Open(_path) && file.Status(status));
  const std::optional<SkxSigners> kept = CkxKeptFacts(file, status).Signers();
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->first.name, signers.first.name);
  EXPECT_EQ(kept->first.status, signers.first.status);
  EXPECT_EQ(kept->second.status, signers.second.status);

  EkxPublisherStatus told = EkxPublisherStatus::Unknown;
  const CkxTargetInfoFile described(_path.c_str(), nullptr);
  EXPECT_EQ(KxText_ToUtf8(described.GetPublisher(false, told)), "Vendor \xC3\xBC");
  const std::string before = Attribute("user.$KERNEL.PURGE.KXSBJCN");
  Ea::SetDrvEaHelper(Ea::NativeDrvEaHelper());
  {
    const CkxTargetInfoFile asked(_path.c_str(), nullptr);
    asked.GetPublisher(false, told);
    asked.GetHashStringUsing(KXW("SHA512"));
  }
  Ea::SetDrvEaHelper(nullptr);
  EXPECT_NE(Attribute().find("SHA512##"), std::string::npos);
  EXPECT_EQ(Attribute("user.$KERNEL.PURGE.KXSBJCN"), before) << "no younger for being read";

  const CkxTrustStore roots;
  const CkxTrustScope scope(roots);
  const CkxTargetInfoFile withOtherRoots(_path.c_str(), nullptr);
  EXPECT_EQ(withOtherRoots.GetPublisher(false, told), nullptr);
}

}  // namespace
