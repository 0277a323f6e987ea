// The notice is a file: what a waiter watches while there is none, and who may be told by it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include <cstdlib>

#include "Common_CPP/util/last_error.h"
#include "tests/support/notice_wait.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

constexpr const WCHAR* kName = KXW("Global\\Updated");
constexpr const char* kFile = "Global%5CUpdated.notice";

TEST(NamedNoticePosix, AWaiterMayComeBeforeTheFolders) {
  const CkxRuntimeFolderScope scope;
  const std::filesystem::path above = scope.Folder().Path() / "not" / "yet";
  setenv("KX_RUNTIME_DIR", (above / "there").c_str(), 1);
  const auto waiter = KxNotice_OpenWaiter(kName);
  ASSERT_NE(waiter, nullptr);
  std::thread publisher([&] {
    std::filesystem::create_directories(above);
    CkxNoticeSender(kName).Signal();
  });
  EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Told);
  publisher.join();
  EXPECT_TRUE(std::filesystem::exists(above / "there" / kFile));
}

TEST(NamedNoticePosix, AFolderThatGoesAndComesBackIsFound) {
  const CkxRuntimeFolderScope scope;
  const std::filesystem::path folder = scope.Folder().Path() / "kx";
  setenv("KX_RUNTIME_DIR", folder.c_str(), 1);
  CkxNoticeSender sender(kName);
  ASSERT_TRUE(sender.Signal());
  const auto waiter = KxNotice_OpenWaiter(kName);
  ASSERT_NE(waiter, nullptr);
  for (int i = 0; i < 3; ++i) {
    std::filesystem::remove_all(folder);
    EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Told) << "gone";
    ASSERT_TRUE(sender.Signal());
    EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Told) << "back";
  }
}

TEST(NamedNoticePosix, WhatElseHappensInTheFolderTellsNobody) {
  const CkxRuntimeFolderScope scope;
  const auto waiter = KxNotice_OpenWaiter(kName);
  ASSERT_NE(waiter, nullptr);
  std::thread other([&] {
    for (int i = 0; i < 100; ++i) scope.Folder().Write("other" + std::to_string(i), "x");
    waiter->Stop();
  });
  EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Stopped);
  other.join();
}

TEST(NamedNoticePosix, OthersCannotSignalInTheFile) {
  const CkxRuntimeFolderScope scope;
  const mode_t before = umask(077);
  EXPECT_TRUE(CkxNoticeSender(kName).Signal());
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat((scope.Folder().Path() / kFile).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0444u) << "but they can watch it, whatever the umask is";
}

/// Root has a folder of its own, so that root is somebody else for this.
TEST(NamedNoticePosix, WithoutAFolderInTheEnvironmentThereIsNothingToWaitOn) {
  if (std::filesystem::exists("/run/kx")) GTEST_SKIP() << "this machine has an agent's folder";
  const uid_t user = geteuid();
  const char* const given = getenv("XDG_RUNTIME_DIR");
  const std::string kept = given == nullptr ? "" : given;
  unsetenv("KX_RUNTIME_DIR");
  unsetenv("XDG_RUNTIME_DIR");
  if (user == 0) {
    ASSERT_EQ(seteuid(65534), 0);
  }
  EXPECT_EQ(KxNotice_OpenWaiter(kName), nullptr);
  EXPECT_EQ(KxLastError_Get(), kKxErrorFileNotFound);
  EXPECT_FALSE(CkxNoticeSender(kName).Signal());
  ASSERT_EQ(seteuid(user), 0);
  if (given != nullptr) setenv("XDG_RUNTIME_DIR", kept.c_str(), 1);
}

}  // namespace
