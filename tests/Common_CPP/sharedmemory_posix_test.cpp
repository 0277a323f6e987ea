// Sections that are files: who is trusted, and what a reader keeps when one is replaced.
#include <fcntl.h>
#include <unistd.h>

#include <fstream>

#include "Common_CPP/file/runtime_folder_posix.h"
#include "Common_CPP/security/agent_trust.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/last_error.h"
#include "tests/support/mode_posix.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/user_scope_posix.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr const WCHAR* kSection = KXW("Global\\Section");
constexpr const char* kSectionFile = "Global%5CSection";

/// The same whether it is only read or held.
uint32_t OpenError() {
  CkxHeldSection held;
  const uint32_t heldError = held.Open(kSection) ? kKxErrorSuccess : KxLastError_Get();
  EXPECT_EQ(held.IsInForce(), heldError == kKxErrorSuccess);
  CkxSharedMemoryView view;
  const uint32_t error = view.Open(kSection) ? kKxErrorSuccess : KxLastError_Get();
  EXPECT_EQ(error, heldError);
  return error;
}

TEST(SharedMemoryPosix, AReaderKeepsItsBytesWhenTheSectionIsReplaced) {
  const CkxRuntimeFolderScope scope;
  CkxSharedMemoryPublication publication;
  for (const size_t oldSize : {size_t{10000}, size_t{262144}, size_t{262145}}) {  // the last two: copied, mapped
    Bytes old(oldSize, 1);
    old.back() = 3;
    ASSERT_TRUE(publication.Publish(kSection, old));
    CkxSharedMemoryView view;
    ASSERT_TRUE(view.Open(kSection));
    for (const size_t size : {size_t{0}, size_t{1}, size_t{20000}}) {
      ASSERT_TRUE(publication.Publish(kSection, Bytes(size, 2)));
      EXPECT_TRUE(Bytes(view.Bytes().begin(), view.Bytes().end()) == old);
      CkxSharedMemoryView current;
      ASSERT_TRUE(current.Open(kSection));
      EXPECT_EQ(current.Bytes().size(), size);
    }
  }
  EXPECT_EQ(scope.Folder().Count(), 1u) << "nothing is left beside";
}

TEST(SharedMemoryPosix, ModesDoNotDependOnTheUmask) {
  const CkxRuntimeFolderScope scope;
  const std::filesystem::path folder = scope.Folder().Path() / "made";
  setenv("KX_RUNTIME_DIR", (folder.string() + "/").c_str(), 1);
  for (const mode_t mask : {0u, 077u}) {
    const mode_t before = umask(mask);
    CkxSharedMemoryPublication publication;
    EXPECT_TRUE(publication.Publish(kSection, Bytes(1)));
    umask(before);
    EXPECT_EQ(KxTest_ModeOf(folder), 0755u);
    EXPECT_EQ(KxTest_ModeOf(folder / kSectionFile), 0444u);
    std::filesystem::remove_all(folder);
  }
}

TEST(SharedMemoryPosix, WhatOthersCouldWriteOrReplaceIsRefused) {
  const CkxRuntimeFolderScope scope;
  CkxSharedMemoryPublication publication;
  ASSERT_TRUE(publication.Publish(kSection, Bytes(1)));
  const std::string folder = scope.Folder().Path();
  const std::string file = folder + "/" + kSectionFile;
  const struct {
    const std::string& path;
    mode_t mode;
    bool isBelieved;
  } kCases[] = {{file, 0444, true},    {file, 0644, true},    {file, 0464, false},  {file, 0446, false},
                {file, 0666, false},   {file, 0400, true},    {folder, 0755, true}, {folder, 0777, false},
                {folder, 01777, true}, {folder, 0775, false}, {folder, 0700, true}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(testing::Message() << test.path << " of mode " << std::oct << test.mode);
    ASSERT_EQ(chmod(test.path.c_str(), test.mode), 0);
    EXPECT_EQ(OpenError(), test.isBelieved ? kKxErrorSuccess : kKxErrorAccessDenied);
    CkxSharedMemoryPublication again;
    EXPECT_TRUE(&test.path == &file || again.Publish(KXW("again"), Bytes(1)) == test.isBelieved);
  }
}

/// Each of these would have the name lead to something else than what was read, or let somebody else see to that.
TEST(SharedMemoryPosix, AHeldSectionIsInForceAsLongAsItsNameLeadsToItAndNobodyElseCouldHaveWrittenIt) {
  using std::filesystem::path;
  const struct {
    const char* name;
    bool staysInForce;
    void (*change)(const path& folder, const path& file);
  } kCases[] = {
      {"nothing", true, [](const path&, const path&) {}},
      {"touched", true, [](const path&, const path& file) { utimensat(AT_FDCWD, file.c_str(), nullptr, 0); }},
      {"taken away", false, [](const path&, const path& file) { std::filesystem::remove(file); }},
      {"another of the same bytes", false,
       [](const path&, const path& file) {
         CkxSharedMemoryPublication again;
         EXPECT_TRUE(again.Publish(kSection, Bytes(500, 1))) << file;
       }},
      {"a link to it", false,
       [](const path& folder, const path& file) {
         std::filesystem::rename(file, folder / "real");
         std::filesystem::create_symlink("real", file);
       }},
      {"written in place", false,
       [](const path&, const path& file) { std::fstream(file, std::ios::in | std::ios::out).seekp(7).put(2); }},
      {"longer", false, [](const path&, const path& file) { std::filesystem::resize_file(file, 501); }},
      {"shorter", false, [](const path&, const path& file) { std::filesystem::resize_file(file, 499); }},
      {"others may write it", false, [](const path&, const path& file) { chmod(file.c_str(), 0446); }},
      {"others may write beside it", false, [](const path& folder, const path&) { chmod(folder.c_str(), 0777); }},
      {"another folder with the same file", false,
       [](const path& folder, const path& file) {
         const path away = folder.string() + "-away";
         std::filesystem::rename(folder, away);
         std::filesystem::create_directory(folder);
         chmod(folder.c_str(), 0755);
         std::filesystem::create_hard_link(away / file.filename(), file);
         std::filesystem::remove_all(away);
       }},
  };
  for (const auto& test : kCases) {
    const CkxRuntimeFolderScope scope;
    const path folder = scope.Folder().Path();
    chmod(folder.c_str(), 0755);
    CkxSharedMemoryPublication publication;
    ASSERT_TRUE(publication.Publish(kSection, Bytes(500, 1)));
    CkxHeldSection held;
    ASSERT_TRUE(held.Open(kSection));
    test.change(folder, folder / kSectionFile);
    EXPECT_EQ(held.IsInForce(), test.staysInForce) << test.name;
    EXPECT_TRUE(Bytes(held.Bytes().begin(), held.Bytes().end()) == Bytes(500, 1)) << test.name;
  }
}

TEST(SharedMemoryPosix, TheSystemsFolderWinsWhereItIsRoots) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make one";
  const CkxTempFolder machine;
  ASSERT_EQ(chmod(machine.Path().c_str(), 0755), 0);
  const std::string system = machine.Path() / "run";
  const struct {
    const char* name;
    uid_t owner;  // of the system's folder; -1: it is not there
    uid_t user;
    const char* override;  // KX_RUNTIME_DIR
    std::string folder;
  } kCases[] = {
      {"root's, for a user", 0, 4241, nullptr, system},
      {"somebody else's", 4242, 4241, nullptr, "/users/kx"},
      {"the user's own", 4241, 4241, nullptr, "/users/kx"},
      {"not there", uid_t(-1), 4241, nullptr, "/users/kx"},
      {"root makes it", uid_t(-1), 0, nullptr, system},
      {"a developer says where", 0, 4241, "/elsewhere/", "/elsewhere"},
  };
  setenv("XDG_RUNTIME_DIR", "/users", 1);
  for (const auto& test : kCases) {
    std::filesystem::remove(system);
    if (test.owner != uid_t(-1)) {
      std::filesystem::create_directory(system);
      ASSERT_EQ(chown(system.c_str(), test.owner, 0), 0);
    }
    test.override != nullptr ? setenv("KX_RUNTIME_DIR", test.override, 1) : unsetenv("KX_RUNTIME_DIR");
    const CkxUserScope user(test.user);
    EXPECT_EQ(KxPosix_RuntimeFolder(system), test.folder) << test.name;
  }
  unsetenv("KX_RUNTIME_DIR");
  unsetenv("XDG_RUNTIME_DIR");
}

TEST(SharedMemoryPosix, TheOwnUserIsBelievedInItsOwnFolderAndNowhereElse) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  constexpr uid_t kUser = 4241;
  const struct {
    const char* name;
    uid_t folder, section;
    bool refused;  // as in a build that is not a developer's
    uint32_t error;
  } kCases[] = {
      {"root's in root's", 0, 0, true, kKxErrorSuccess},
      {"its own in its own", kUser, kUser, false, kKxErrorSuccess},
      {"its own in its own, not a developer's build", kUser, kUser, true, kKxErrorAccessDenied},
      {"its own in root's", 0, kUser, false, kKxErrorAccessDenied},
      {"a stranger's in root's", 0, 4242, false, kKxErrorAccessDenied},
      {"root's in a stranger's", 4242, 0, false, kKxErrorAccessDenied},
      {"root's in its own, not a developer's build", kUser, 0, true, kKxErrorAccessDenied},
  };
  for (const auto& test : kCases) {
    const CkxRuntimeFolderScope scope;
    CkxSharedMemoryPublication publication;
    ASSERT_TRUE(publication.Publish(kSection, Bytes(1)));
    const std::string folder = scope.Folder().Path();
    ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
    ASSERT_EQ(chown((folder + "/" + kSectionFile).c_str(), test.section, 0), 0);
    ASSERT_EQ(chown(folder.c_str(), test.folder, 0), 0);
    KxTrust_RefuseOwnUser(test.refused);
    {
      const CkxUserScope user(kUser);
      EXPECT_EQ(OpenError(), test.error) << test.name;
    }
    KxTrust_RefuseOwnUser(false);
  }
}

TEST(SharedMemoryPosix, WhatIsNoFileIsNoSection) {
  const CkxRuntimeFolderScope scope;
  const std::filesystem::path file = scope.Folder().Path() / kSectionFile;
  scope.Folder().Write("elsewhere", "x");
  std::filesystem::create_symlink("elsewhere", file);
  EXPECT_EQ(OpenError(), kKxErrorGenFailure) << "a link";
  std::filesystem::remove(file);
  ASSERT_EQ(mkfifo(file.c_str(), 0444), 0);
  EXPECT_EQ(OpenError(), kKxErrorAccessDenied) << "a pipe";
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  EXPECT_EQ(OpenError(), kKxErrorAccessDenied) << "a folder";
  setenv("KX_RUNTIME_DIR", (scope.Folder().Path() / "missing").c_str(), 1);
  EXPECT_EQ(OpenError(), kKxErrorFileNotFound) << "nothing, in no folder";
}

TEST(SharedMemoryPosix, ANameIsAsLongAsAFileNameAllows) {
  const CkxRuntimeFolderScope scope;
  CkxSharedMemoryPublication publication;
  EXPECT_TRUE(publication.Publish(KxWString(200, KXW('n')), Bytes(1)));
  EXPECT_FALSE(publication.Publish(KxWString(201, KXW('n')), Bytes(1)));
  EXPECT_FALSE(publication.Publish(KxWString(67, KXW('.')), Bytes(1)));
  EXPECT_FALSE(publication.Publish(KxWString(100000, KXW('n')), Bytes(1)));
}

}  // namespace
