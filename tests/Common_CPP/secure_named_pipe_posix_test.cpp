// Channels that are local sockets: where they lie, who holds a name, and who is trusted.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <limits.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"
#include "Common_CPP/security/agent_trust.h"
#include "Common_CPP/sharedmemory/publisher_lock.h"
#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/last_error.h"
#include "tests/support/mode_posix.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"
#include "tests/support/user_scope_posix.h"

namespace {

constexpr const WCHAR* kPipe = KXW("a/\u00FC_-9");
constexpr const char* kSocket = "a%2F%C3%BC_-9.sock";
constexpr uid_t kOtherUser = 4241;

EkxPipeResult Connect(CkxTextView name) {
  CkxSecurePipe pipe;
  return KxSecurePipe_Connect(name, {}, CkxDeadline::After(10000), pipe);
}

TEST(SecureNamedPipePosix, ASocketThatAllMayConnectToWhateverTheUmask) {
  const CkxRuntimeFolderScope scope;
  const std::filesystem::path socket = scope.Folder().Path() / kSocket;
  for (const mode_t mask : {0u, 077u}) {
    const mode_t before = umask(mask);
    CkxSecurePipeListener listener;
    EXPECT_TRUE(listener.Listen(kPipe));
    umask(before);
    EXPECT_EQ(KxTest_ModeOf(socket), 0666u);
  }
  EXPECT_FALSE(std::filesystem::exists(socket)) << "gone with its server";
}

TEST(SecureNamedPipePosix, ANameHasOneServer) {
  const CkxRuntimeFolderScope scope;
  CkxSecurePipeListener second;
  {
    CkxSecurePipeListener first;
    ASSERT_TRUE(first.Listen(kPipe));
    EXPECT_FALSE(second.Listen(kPipe));
    EXPECT_EQ(KxLastError_Get(), 170u);
    EXPECT_EQ(Connect(kPipe), EkxPipeResult::Done) << "the first is as it was";
  }
  EXPECT_TRUE(second.Listen(kPipe));
}

TEST(SecureNamedPipePosix, WhatAKilledServerLeftIsNoServerAndNoObstacle) {
  const CkxRuntimeFolderScope scope;
  const std::filesystem::path socket = scope.Folder().Path() / kSocket;
  {
    CkxSecurePipeListener killed;
    ASSERT_TRUE(killed.Listen(kPipe));
    std::filesystem::rename(socket, scope.Folder().Path() / "kept");
  }
  std::filesystem::rename(scope.Folder().Path() / "kept", socket);
  EXPECT_EQ(Connect(kPipe), EkxPipeResult::Failed);
  EXPECT_EQ(KxLastError_Get(), kKxErrorFileNotFound);
  CkxSecurePipeListener listener;
  ASSERT_TRUE(listener.Listen(kPipe));
  EXPECT_EQ(Connect(kPipe), EkxPipeResult::Done);
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
  ASSERT_TRUE(listener.Listen(kPipe));
  ASSERT_EQ(chmod(scope.Folder().Path().c_str(), 0777), 0);
  EXPECT_EQ(Connect(kPipe), EkxPipeResult::Failed);
  EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  EXPECT_FALSE(CkxSecurePipeListener().Listen(KXW("other")));
}

TEST(SecureNamedPipePosix, AStrangerIsServedButDoesNotServe) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be another user";
  const CkxRuntimeFolderScope scope;
  CkxSecurePipeListener roots;
  ASSERT_TRUE(roots.Listen(kPipe));
  {
    const CkxUserScope stranger(kOtherUser);
    EXPECT_EQ(Connect(kPipe), EkxPipeResult::Done) << "root serves everyone";
  }
  CkxSecurePipe client;
  ASSERT_TRUE(roots.Accept(client));
  EXPECT_EQ(client.Peer()->user.ToUtf8(), "S-1-22-1-4241");

  // In a sticky folder a stranger may have a name of its own; here one that it made in a folder of its own.
  ASSERT_EQ(chmod(scope.Folder().Path().c_str(), 01777), 0);
  const std::filesystem::path own = scope.Folder().Path() / "own";
  std::filesystem::create_directory(own);
  ASSERT_EQ(chown(own.c_str(), kOtherUser, kOtherUser), 0);
  setenv("KX_RUNTIME_DIR", own.c_str(), 1);
  CkxSecurePipeListener strangers;
  {
    const CkxUserScope stranger(kOtherUser);
    ASSERT_TRUE(strangers.Listen(KXW("theirs")));
    EXPECT_EQ(Connect(KXW("theirs")), EkxPipeResult::Done) << "by themselves, in a folder of their own";
    KxTrust_RefuseOwnUser(true);
    EXPECT_EQ(Connect(KXW("theirs")), EkxPipeResult::Failed) << "and by nobody in a build that is not a developer's";
    KxTrust_RefuseOwnUser(false);
  }
  std::filesystem::rename(own / "theirs.sock", scope.Folder().Path() / "theirs.sock");
  setenv("KX_RUNTIME_DIR", scope.Folder().Path().c_str(), 1);
  EXPECT_EQ(Connect(KXW("theirs")), EkxPipeResult::WrongPeer) << "not even root trusts them";
  EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  {
    const CkxUserScope stranger(kOtherUser);
    EXPECT_EQ(Connect(KXW("theirs")), EkxPipeResult::WrongPeer) << "nor do they themselves in root's folder";
    EXPECT_FALSE(CkxSecurePipeListener().Listen(KXW("theirs"))) << "where the lock would be a stranger's";
  }
}

TEST(SecureNamedPipePosix, ASquattedLockIsRefusedByName) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  const CkxRuntimeFolderScope scope;
  const std::filesystem::path lock = scope.Folder().Path() / "n.lock";
  scope.Folder().Write("n.lock", "");
  ASSERT_EQ(chown(lock.c_str(), kOtherUser, kOtherUser), 0);
  CkxTraceCapture trace;
  EXPECT_FALSE(CkxSecurePipeListener().Listen(KXW("n")));
  EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  CkxPublisherLock publisher;
  EXPECT_FALSE(publisher.Acquire(KXW("n")));
  EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  EXPECT_THAT(trace.Texts(), testing::Each(testing::HasSubstr("[n.lock] may be somebody else's")));
  EXPECT_EQ(trace.Texts().size(), 2u);
}

/// A name that is given up and taken again all the time: who has a lock on a file that is gone keeps nobody off.
TEST(SecureNamedPipePosix, APublisherLockHasOneHolder) {
  const CkxRuntimeFolderScope scope;
  std::atomic<int> holders = 0;
  std::atomic<int> acquired = 0;
  std::atomic<bool> shared = false;
  std::vector<std::thread> publishers;
  for (int i = 0; i < 4; ++i) {
    publishers.emplace_back([&] {
      for (int round = 0; round < 3000; ++round) {
        CkxPublisherLock lock;
        if (!lock.Acquire(KXW("n"))) continue;
        if (++holders != 1) shared = true;
        ++acquired;
        std::this_thread::yield();
        --holders;
      }
    });
  }
  for (std::thread& publisher : publishers) publisher.join();
  EXPECT_GT(acquired, 0);
  EXPECT_FALSE(shared);
}

/// Files that the client may open and others, as root sees them all.
TEST(SecureNamedPipePosix, AServerOpensFilesWithItsClientsRights) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can act as somebody else";
  const CkxRuntimeFolderScope scope;
  ASSERT_EQ(chmod(scope.Folder().Path().c_str(), 0755), 0);
  const struct {
    const char* name;
    uid_t user;
    gid_t group;
    mode_t mode;
    bool opens;
  } kFiles[] = {{"theirs", kOtherUser, 0, 0400, true},
                {"roots", 0, 0, 0400, false},
                {"everybodys", 0, 0, 0444, true},
                {"the server's group's", 0, 4242, 0440, false}};
  const auto opens = [&](const char* name) {
    return static_cast<bool>(CkxDescriptor(open((scope.Folder().Path() / name).c_str(), O_RDONLY | O_CLOEXEC)));
  };
  for (const auto& file : kFiles) {
    scope.Folder().Write(file.name, "x");
    const std::string path = scope.Folder().Path() / file.name;
    ASSERT_EQ(chown(path.c_str(), file.user, file.group), 0);
    ASSERT_EQ(chmod(path.c_str(), file.mode), 0);
  }
  CkxSecurePipeListener listener;
  ASSERT_TRUE(listener.Listen(kPipe));
  CkxSecurePipe client;
  {
    const CkxUserScope stranger(kOtherUser);
    ASSERT_EQ(KxSecurePipe_Connect(kPipe, {}, CkxDeadline::After(10000), client), EkxPipeResult::Done);
  }
  CkxSecurePipe server;
  ASSERT_TRUE(listener.Accept(server));
  gid_t groups[NGROUPS_MAX];
  const int groupCount = getgroups(NGROUPS_MAX, groups);
  const gid_t another = 4242;
  ASSERT_EQ(syscall(SYS_setgroups, 1, &another), 0) << "of this thread alone";
  {
    const CkxActAsClient acting(server);
    ASSERT_TRUE(acting);
    for (const auto& file : kFiles) EXPECT_EQ(opens(file.name), file.opens) << file.name;
    bool elsewhere = false;
    std::thread([&] { elsewhere = opens("roots"); }).join();
    EXPECT_FALSE(elsewhere) << "a thread inherits it";
  }
  for (const auto& file : kFiles) EXPECT_TRUE(opens(file.name)) << file.name << ", as before";
  EXPECT_EQ(syscall(SYS_setgroups, groupCount, groups), 0);
}

}  // namespace
