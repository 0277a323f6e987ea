#include <kx_util/secret_provider.h>

#include <gmock/gmock.h>

#include <algorithm>

#include "Agent/engine/kx_util/attribute/secret_provider.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"
#include "tests/support/wipe_capture.h"

namespace {

using Bytes = std::vector<unsigned char>;
using std::filesystem::perms;

Bytes KeyOf(unsigned char n, size_t size = 20) { return Bytes(size, n); }
Bytes SecretBytes(const CkxSecret& secret) { return {secret.Bytes().begin(), secret.Bytes().end()}; }

/// Key `number`, or none.
Bytes Key(const IkxSecretProvider& provider, unsigned number) {
  CkxSecret key;
  return provider.Key(number, key) ? SecretBytes(key) : Bytes();
}

/// A file that its owner alone can read, with the separator behind its folder where it has no name.
KxWString WriteSecret(const CkxTempFolder& folder, const char* name, const std::string& content) {
  const KxWString path = folder.Write(name, content);
  std::filesystem::permissions(folder.Path() / name, perms::owner_read | perms::owner_write);
  return path;
}

TEST(Secret, IsWipedWhereverItGoes) {
  const CkxWipeCapture wiped;
  {
    CkxSecret first;
    ASSERT_TRUE(first.Assign(KeyOf(1, 3)));
    CkxSecret second(std::move(first));
    EXPECT_TRUE(first.IsEmpty());  // NOLINT(bugprone-use-after-move): is what is asked
    EXPECT_EQ(SecretBytes(second), KeyOf(1, 3));
    ASSERT_TRUE(second.Assign(KeyOf(2, 4)));
    EXPECT_EQ(SecretBytes(second), KeyOf(2, 4));
  }
  EXPECT_EQ(CkxWipeCapture::left, (std::vector<Bytes>{KeyOf(0, 3), KeyOf(0, 4)}));
}

TEST(FileSecretProvider, TakesFilesOfTheRightSize) {
  const CkxTempFolder folder;
  const std::pair<size_t, bool> kKeys[] = {{0, false}, {1, false},   {15, false},
                                           {16, true}, {4096, true}, {4097, false}};
  for (const auto& [size, isKey] : kKeys) {
    SCOPED_TRACE(size);
    const KxWString path = WriteSecret(folder, "secret", std::string(size, 'k'));
    CkxFileSecretProvider provider;
    EXPECT_EQ(provider.ReadKey(path.c_str()), isKey ? EkxSecretStatus::Taken : EkxSecretStatus::WrongSize);
    EXPECT_EQ(Key(provider, 0), isKey ? KeyOf('k', size) : Bytes());
    EXPECT_EQ(Key(provider, 1), Bytes());
    const bool isPhrase = size >= 1 && size <= 4096;
    EXPECT_EQ(provider.ReadPassPhrase(path.c_str()), isPhrase ? EkxSecretStatus::Taken : EkxSecretStatus::WrongSize);
    CkxSecret phrase;
    EXPECT_EQ(provider.PassPhrase(phrase), isPhrase);
    EXPECT_EQ(SecretBytes(phrase), isPhrase ? KeyOf('k', size) : Bytes());
  }
  CkxFileSecretProvider provider;
  EXPECT_EQ(provider.ReadKey(folder.Text("missing").c_str()), EkxSecretStatus::Unreadable);
  EXPECT_EQ(provider.ReadKey(KXW("")), EkxSecretStatus::Unreadable);
}

/// What is read is wiped, whether it is taken or not.
TEST(FileSecretProvider, LeavesNothingBehind) {
  const CkxTempFolder folder;
  const CkxWipeCapture wiped;
  {
    CkxFileSecretProvider provider;
    provider.ReadKey(WriteSecret(folder, "short", "short").c_str());
    provider.ReadKey(WriteSecret(folder, "key", std::string(20, 'k')).c_str());
  }
  EXPECT_EQ(CkxWipeCapture::left, (std::vector<Bytes>{KeyOf(0, 4097), KeyOf(0, 4097), KeyOf(0, 20)}));
}

TEST(SystemSecretProvider, KeepsTheKeysBefore) {
  const CkxTempFolder folder;
  const CkxSystemSecretProvider system(folder.Text("").c_str());
  EXPECT_EQ(Key(system, 0), Bytes());
  EXPECT_FALSE(system.StoreKey(KeyOf(1, 15)));
  EXPECT_FALSE(system.StorePassPhrase({}));
  for (unsigned char n = 1; n <= kKxMaxKeys + 2; ++n) {
    ASSERT_TRUE(system.StoreKey(KeyOf(n)));
    for (unsigned number = 0; number < kKxMaxKeys; ++number) {
      EXPECT_EQ(Key(system, number), number < n ? KeyOf(static_cast<unsigned char>(n - number)) : Bytes());
    }
  }
  EXPECT_EQ(Key(system, kKxMaxKeys), Bytes());
  ASSERT_TRUE(system.StorePassPhrase(KeyOf('p', 1)));
  CkxSecret phrase;
  EXPECT_TRUE(system.PassPhrase(phrase));
  EXPECT_EQ(SecretBytes(phrase), KeyOf('p', 1));
  EXPECT_EQ(folder.Count(), kKxMaxKeys + 1) << "and nothing beside them";
}

/// A host may replace the provider while somebody asks it.
TEST(InstalledProvider, LivesAsLongAsSomebodyHasIt) {
  auto provider = std::make_shared<CkxFileSecretProvider>();
  const std::weak_ptr<CkxFileSecretProvider> watched = provider;
  const auto before = KxUtil_SetSecretProvider(std::move(provider));
  auto asked = KxSecrets_Installed();
  EXPECT_EQ(asked, watched.lock());
  EXPECT_EQ(KxUtil_SetSecretProvider(nullptr), watched.lock());
  EXPECT_FALSE(watched.expired());
  asked.reset();
  EXPECT_TRUE(watched.expired());

  const CkxTraceCapture trace;
  EXPECT_EQ(KxSecrets_Installed(), nullptr);
  EXPECT_THAT(trace.Texts(),
              testing::ElementsAre("KXT_ERROR IkxSecretProvider: ERROR: No provider of secrets is installed"));
  KxUtil_SetSecretProvider(before);
}

}  // namespace
