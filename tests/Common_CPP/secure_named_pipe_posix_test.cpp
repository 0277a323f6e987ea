// Channels that are local sockets: where they lie, who holds a name, and who is trusted.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"
#include "Common_CPP/util/last_error.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

constexpr const WCHAR* kName = KXW("a/\u00FC_-9");
constexpr const char* kSocket = "a%2F%C3%BC_-9.sock";
constexpr uid_t kStranger = 4241;

EkxPipeResult Connect(CkxTextView name) {
  CkxSecurePipe pipe;
  return KxSecurePipe_Connect(name, {}, CkxDeadline::After(10000), pipe);
}

mode_t ModeOf(const std::filesystem::path& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

/// This process as another user, until the end of the scope. Root alone can.
class CkxUserScope {
 public:
  explicit CkxUserScope(uid_t user) { EXPECT_EQ(seteuid(user), 0); }
  ~CkxUserScope() { EXPECT_EQ(seteuid(0), 0); }
  CkxUserScope(const CkxUserScope&) = delete;
  CkxUserScope& operator=(const CkxUserScope&) = delete;
};

TEST(SecureNamedPipePosix, ASocketThatAllMayConnectToWhateverTheUmask) {
  const CkxRuntimeFolderScope scope;
  const std::filesystem::path socket = scope.Folder().Path() / kSocket;
  for (const mode_t mask : {0u, 077u}) {
    const mode_t before = umask(mask);
    CkxSecurePipeListener listener;
    EXPECT_TRUE(listener.Listen(kName));
    umask(before);
    EXPECT_EQ(ModeOf(socket), 0666u);
  }
  EXPECT_FALSE(std::filesystem::exists(socket)) << "gone with its server";
}

TEST(SecureNamedPipePosix, ANameHasOneServer) {
  const CkxRuntimeFolderScope scope;
  CkxSecurePipeListener second;
  {
    CkxSecurePipeListener first;
    ASSERT_TRUE(first.Listen(kName));
    EXPECT_FALSE(second.Listen(kName));
    EXPECT_EQ(KxLastError_Get(), 170u);
    EXPECT_EQ(Connect(kName), EkxPipeResult::Done) << "the first is as it was";
  }
  EXPECT_TRUE(second.Listen(kName));
}

TEST(SecureNamedPipePosix, WhatAKilledServerLeftIsNoServerAndNoObstacle) {
  const CkxRuntimeFolderScope scope;
  const std::filesystem::path socket = scope.Folder().Path() / kSocket;
  {
    CkxSecurePipeListener killed;
    ASSERT_TRUE(killed.Listen(kName));
    std::filesystem::rename(socket, scope.Folder().Path() / "kept");
  }
  std::filesystem::rename(scope.Folder().Path() / "kept", socket);
  EXPECT_EQ(Connect(kName), EkxPipeResult::Failed);
  EXPECT_EQ(KxLastError_Get(), kKxErrorFileNotFound);
  CkxSecurePipeListener listener;
  ASSERT_TRUE(listener.Listen(kName));
  EXPECT_EQ(Connect(kName), EkxPipeResult::Done);
}

TEST(SecureNamedPipePosix, TheLongestNameInAFolderBeyondASocketsAddress) {
  const CkxRuntimeFolderScope scope;
  const std::filesystem::path folder = scope.Folder().Path() / std::string(200, 'f');
  setenv("KX_RUNTIME_DIR", folder.c_str(), 1);
  const KxWString name(64, KXW('n'));
  CkxSecurePipeListener listener;
  ASSERT_TRUE(listener.Listen(name));
  EXPECT_TRUE(std::filesystem::exists(folder / (std::string(64, 'n') + ".sock")));
  EXPECT_EQ(Connect(name), EkxPipeResult::Done);
}

TEST(SecureNamedPipePosix, AFolderInWhichOthersCouldReplaceIsRefused) {
  const CkxRuntimeFolderScope scope;
  CkxSecurePipeListener listener;
  ASSERT_TRUE(listener.Listen(kName));
  ASSERT_EQ(chmod(scope.Folder().Path().c_str(), 0777), 0);
  EXPECT_EQ(Connect(kName), EkxPipeResult::Failed);
  EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  EXPECT_FALSE(CkxSecurePipeListener().Listen(KXW("other")));
}

TEST(SecureNamedPipePosix, AStrangerIsServedButDoesNotServe) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be another user";
  const CkxRuntimeFolderScope scope;
  CkxSecurePipeListener roots;
  ASSERT_TRUE(roots.Listen(kName));
  {
    const CkxUserScope stranger(kStranger);
    EXPECT_EQ(Connect(kName), EkxPipeResult::Done) << "root serves everyone";
  }
  CkxSecurePipe client;
  ASSERT_TRUE(roots.Accept(client));
  EXPECT_EQ(client.Peer()->user.ToUtf8(), "S-1-22-1-4241");

  // In a sticky folder a stranger may have a name of its own.
  ASSERT_EQ(chmod(scope.Folder().Path().c_str(), 01777), 0);
  CkxSecurePipeListener strangers;
  {
    const CkxUserScope stranger(kStranger);
    ASSERT_TRUE(strangers.Listen(KXW("theirs")));
    EXPECT_EQ(Connect(KXW("theirs")), EkxPipeResult::Done) << "by themselves";
  }
  EXPECT_EQ(Connect(KXW("theirs")), EkxPipeResult::WrongPeer) << "not even root trusts them";
  EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
}

}  // namespace
