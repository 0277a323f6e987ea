// Whose a secret's file may be, where files have modes.
#include <gmock/gmock.h>
#include <kx_util/secret_provider.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Common_CPP/security/agent_trust.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"

namespace {

const std::string kContent(32, 'k');

TEST(SecretFile, IsItsOwnersAlone) {
  const CkxTempFolder folder;
  const CkxSystemSecretProvider system(folder.Text("").c_str());
  const KxWString path = folder.Write("signing.key", kContent);
  CkxSecret key;
  for (mode_t mode = 0; mode <= 077; ++mode) {  // of the group, and everybody
    SCOPED_TRACE(mode);
    ASSERT_EQ(chmod((folder.Path() / "signing.key").c_str(), 0400 | mode), 0);
    const bool othersRead = (mode & 044) != 0;
    CkxFileSecretProvider named;
    CkxTraceCapture trace;
    EXPECT_EQ(named.ReadKey(path.c_str()), othersRead ? EkxSecretStatus::NotOwnersAlone : EkxSecretStatus::Taken);
    EXPECT_EQ(trace.Lines().size(), othersRead ? 1u : 0u);
    EXPECT_EQ(system.Key(0, key), mode == 0) << "nor may others write it";
  }
}

TEST(SecretFile, OfTheSystemIsNoLinkAndNoPipe) {
  const CkxTempFolder folder;
  const CkxSystemSecretProvider system(folder.Text("").c_str());
  const std::filesystem::path name = folder.Path() / "signing.key";
  const KxWString real = folder.Write("real", kContent);
  ASSERT_EQ(chmod((folder.Path() / "real").c_str(), 0600), 0);
  ASSERT_EQ(symlink("real", name.c_str()), 0);
  CkxSecret key;
  EXPECT_FALSE(system.Key(0, key));
  CkxFileSecretProvider named;
  EXPECT_EQ(named.ReadKey(folder.Text("signing.key").c_str()), EkxSecretStatus::Taken) << "whoever names it knows it";

  ASSERT_EQ(unlink(name.c_str()), 0);
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  EXPECT_FALSE(system.Key(0, key));
  EXPECT_EQ(named.ReadKey(folder.Text("signing.key").c_str()), EkxSecretStatus::NotOwnersAlone);
}

TEST(SecretFile, OfTheSystemIsTheAgents) {
  const CkxTempFolder folder;
  const CkxSystemSecretProvider system(folder.Text("").c_str());
  ASSERT_TRUE(system.StoreKey(std::vector<unsigned char>(16, 'k')));
  const char* const name = "signing.key";
  CkxSecret key;
  EXPECT_TRUE(system.Key(0, key));
  const bool before = KxTrust_RefuseOwnUser(true);
  EXPECT_EQ(system.Key(0, key), geteuid() == 0);
  if (geteuid() == 0) {
    ASSERT_EQ(chown((folder.Path() / name).c_str(), 65534, 65534), 0);
    EXPECT_FALSE(system.Key(0, key)) << "root can read it, but somebody else's it is";
  }
  KxTrust_RefuseOwnUser(before);
}

}  // namespace
