// Attributes as a POSIX system keeps them: names that differ in case, files that change under a cached value, and
// limits of the file system.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <kx_util/ext_file_attributes.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <thread>

#include "Common_CPP/file/native_ea.h"
#include "tests/support/ea_folder.h"
#include "tests/support/temp_folder.h"
#include "tests/support/user_scope_posix.h"

namespace {

using Ea = CkxExtFileAttributes;
constexpr const char* kSigner = "$KERNEL.PURGE.KXSBJCN";

class PosixExtFileAttributes : public testing::Test {
 protected:
  void SetUp() override {
    const auto folder = KxTest_EaFolder();
    if (!folder) GTEST_SKIP() << "no file system here keeps attributes of 64 KiB";
    _folder.emplace(*folder);
    _path = _folder->Write("file", "content");
    Ea::SetDrvEaHelper(Ea::NativeDrvEaHelper());
  }
  void TearDown() override { Ea::SetDrvEaHelper(nullptr); }

  std::string Native() const { return (_folder->Path() / "file").string(); }
  void SetNative(const char* name, const std::string& value) const {
    ASSERT_EQ(setxattr(Native().c_str(), name, value.data(), value.size(), 0), 0) << name;
  }
  std::string GetNative(const char* name) const {
    char value[64];
    const ssize_t size = getxattr(Native().c_str(), name, value, sizeof(value));
    return size < 0 ? "(none)" : std::string(value, static_cast<size_t>(size));
  }
  std::string Value(const char* name) const {
    CkxFileFullEaInfo info;
    if (!Ea::GetFromFile(_path.c_str(), name, info)) return "(none)";
    return std::string(reinterpret_cast<const char*>(info.Value()), info.ValueLength());
  }
  size_t Count() const {
    Ea list;
    EXPECT_TRUE(list.LoadAllFromFile(_path.c_str()));
    size_t count = 0;
    CkxFileFullEaInfo info;
    for (Ea::POSITION at = list.GetHeadPosition(); at != nullptr && list.GetNext(at, info, false);) ++count;
    return count;
  }

  std::optional<CkxTempFolder> _folder;
  KxWString _path;
};

TEST_F(PosixExtFileAttributes, AreStoredInCapitalsAndFoundInAnyCase) {
  ASSERT_TRUE(Ea::SetToFile(_path.c_str(), "KxDrvSupData", "v", false));
  EXPECT_EQ(GetNative("user.KXDRVSUPDATA"), std::string("v", 2));
  SetNative("user.other", "small letters");
  EXPECT_EQ(Value("OTHER"), "small letters");
  ASSERT_TRUE(Ea::SetToFile(_path.c_str(), "Other", "new", false));
  EXPECT_EQ(GetNative("user.other"), "(none)") << "writing removes what has the same name";
  SetNative("user.OtHeR", "twice");
  EXPECT_EQ(Count(), 2u) << "each name once";
  EXPECT_TRUE(Ea::DeleteFromFile(_path.c_str(), "other"));
  EXPECT_EQ(GetNative("user.OtHeR") + GetNative("user.OTHER"), "(none)(none)");
}

/// Which of several spellings counts does not hang on the order in which they came, nor on whether one is asked for or
/// all are.
TEST_F(PosixExtFileAttributes, TheNameInCapitalsCounts) {
  for (const auto& [first, second] : {std::pair("user.TWICE", "user.twice"), {"user.Twice", "user.TWICE"}}) {
    SetNative(first, first);
    SetNative(second, second);
    EXPECT_EQ(Value("Twice"), "user.TWICE");
    Ea list;
    CkxFileFullEaInfo info;
    ASSERT_TRUE(list.LoadAllFromFile(_path.c_str()));
    ASSERT_TRUE(list.GetAt(list.GetHeadPosition(), info, false));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(info.Value()), info.ValueLength()), "user.TWICE");
    EXPECT_EQ(Count(), 1u);
    ASSERT_TRUE(Ea::DeleteAllFromFile(_path.c_str()));
  }
}

/// More names and longer values than most files have.
TEST_F(PosixExtFileAttributes, ManyAndLongOnesAreFound) {
  constexpr size_t kNames = 40;
  const std::string longName(200, 'n');
  for (size_t i = 0; i < kNames; ++i) SetNative(("user." + longName + std::to_string(i)).c_str(), std::to_string(i));
  EXPECT_EQ(Count(), kNames);
  EXPECT_EQ(Value((longName + "39").c_str()), "39");
  for (const size_t bytes : {size_t{2047}, size_t{2048}, size_t{2049}, size_t{65'535}}) {
    SetNative("user.LONG", std::string(bytes, 'x'));
    EXPECT_EQ(Value("long"), std::string(bytes, 'x'));
  }
}

TEST_F(PosixExtFileAttributes, PassOverWhatIsNoAttributeOfOurs) {
  SetNative("user.with:colon", "x");
  SetNative("user.\xC3\xA9", "x");
  SetNative("user.empty", "");
  EXPECT_EQ(Count(), 0u);
  EXPECT_EQ(Ea::GetEaSize(_path.c_str()), 0u);
  EXPECT_EQ(Value("empty"), "(none)");
  SetNative("user.LARGE", std::string(65'536, 'x'));
  long status = 0;
  Ea list;
  EXPECT_FALSE(list.LoadAllFromFile(_path.c_str(), &status)) << "what no record holds: no half list";
  EXPECT_EQ(status, kKxStatusEaTooLarge);
  EXPECT_TRUE(Ea::DeleteFromFile(_path.c_str(), "large"));
  EXPECT_EQ(GetNative("user.with:colon"), "x");
}

TEST_F(PosixExtFileAttributes, FollowThePathAndTakeFolders) {
  std::filesystem::create_symlink("file", _folder->Path() / "link");
  std::filesystem::create_directory(_folder->Path() / "folder");
  ASSERT_TRUE(Ea::SetToFile(_folder->Text("link").c_str(), "N", "v", false));
  EXPECT_EQ(Value("N"), std::string("v", 2));
  EXPECT_TRUE(Ea::SetToFile(_folder->Text("folder").c_str(), "N", "v", false));
  EXPECT_GT(Ea::GetEaSize(_folder->Text("folder").c_str()), 0u);
}

/// What makes a cached value outdated, whatever is put back afterwards; and what does not.
TEST_F(PosixExtFileAttributes, AKernelAttributeIsGoneOnceTheFileHasChanged) {
  const timespec before[2] = {{1'600'000'000, 0}, {1'600'000'000, 5}};
  const auto write = [&](const char* content) { _folder->Write("file", content); };
  const auto setTime = [&] { utimensat(AT_FDCWD, Native().c_str(), before, 0); };
  struct {
    const char* what;
    bool isKept;
    std::function<void()> change;
  } const kCases[] = {
      {"nothing", true, [] {}},
      {"reading", true, [&] { EXPECT_EQ(_folder->Read("file").size(), 7u); }},
      {"more content", false, [&] { write("content and more"); }},
      {"other content, the same size and time", false,
       [&] {
         write("CONTENT");
         setTime();
       }},
      {"its time", false, [&] { setTime(); }},
      {"an attribute", false, [&] { SetNative("user.other", "x"); }},
      {"another file in its place, with its attributes", false,
       [&] {
         const std::string mark = GetNative("user.$KERNEL:MARK");
         std::filesystem::remove(_folder->Path() / "file");
         write("content");
         setTime();
         SetNative("user.$KERNEL.PURGE.KXSBJCN", "signer");
         SetNative("user.$KERNEL:MARK", mark);
       }},
      {"its mark", false, [&] { SetNative("user.$KERNEL:MARK", std::string(48, '\xFF')); }},
      {"its mark cut", false, [&] { SetNative("user.$KERNEL:MARK", "short"); }},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.what);
    write("content");
    setTime();
    ASSERT_TRUE(Ea::SetToFile(_path.c_str(), kSigner, "signer", false));
    EXPECT_EQ(Value(kSigner), std::string("signer", 7));
    EXPECT_EQ(Count(), 1u + (GetNative("user.other") != "(none)" ? 1u : 0u));
    std::this_thread::sleep_for(std::chrono::milliseconds(30));  // past what setting the mark may have taken
    row.change();
    EXPECT_EQ(Value(kSigner) != "(none)", row.isKept);
    EXPECT_EQ(GetNative("user.$KERNEL.PURGE.KXSBJCN") != "(none)", true) << "stale, and still there";
    ASSERT_TRUE(Ea::SetToFile(_path.c_str(), "$KERNEL.PURGE.KXFH", "hash", false));
    EXPECT_EQ(Value(kSigner) != "(none)", row.isKept) << "a stale one does not come back with a new mark";
    EXPECT_TRUE(Ea::DeleteFromFileByPrefix(_path.c_str(), "$KERNEL."));
    EXPECT_EQ(GetNative("user.$KERNEL:MARK"), "(none)") << "with the last of them";
  }
}

TEST_F(PosixExtFileAttributes, StaleOnesAreDeletedToo) {
  Ea::SetDrvEaHelper(nullptr);
  SetNative("user.$KERNEL.PURGE.KXFH", "without a mark");
  EXPECT_EQ(Value("$KERNEL.PURGE.KXFH"), "(none)");
  EXPECT_EQ(Count(), 0u);
  EXPECT_TRUE(Ea::DeleteFromFileByPrefix(_path.c_str(), "$KERNEL.PURGE."));
  EXPECT_EQ(GetNative("user.$KERNEL.PURGE.KXFH"), "(none)");
}

TEST_F(PosixExtFileAttributes, TheHelperTakesKernelNamesAlone) {
  const int file = open(Native().c_str(), O_RDONLY);
  const auto helper = Ea::NativeDrvEaHelper();
  CkxFileFullEaInfo info;
  ASSERT_TRUE(info.Set("PLAIN", "v", 0));
  void* const handle = reinterpret_cast<void*>(intptr_t{file});
  EXPECT_EQ(helper(handle, info.Record(), info.Size()), kKxStatusInvalidEaName);
  EXPECT_EQ(helper(handle, info.Record(), 5), kKxStatusEaListInconsistent);
  EXPECT_EQ(GetNative("user.PLAIN"), "(none)");
  close(file);
}

TEST_F(PosixExtFileAttributes, OfAReadOnlyFileAreItsOwnersToChange) {
  const auto mode = [&] {
    struct stat status {};
    EXPECT_EQ(stat(Native().c_str(), &status), 0);
    return status.st_mode & 07777;
  };
  constexpr uid_t kSomebody = 65'534;
  std::optional<CkxUserScope> somebody;
  if (geteuid() == 0) {  // who may write whatever the mode says
    ASSERT_EQ(chmod(_folder->Path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(Native().c_str(), 0444), 0);
    somebody.emplace(kSomebody);
    long status = 0;
    EXPECT_FALSE(Ea::SetToFile(_path.c_str(), "N", "v", true, &status)) << "another user's file";
    EXPECT_EQ(status, kKxStatusAccessDenied);
    somebody.reset();
    ASSERT_EQ(chown(Native().c_str(), kSomebody, static_cast<gid_t>(-1)), 0);
    somebody.emplace(kSomebody);
  }
  ASSERT_EQ(chmod(Native().c_str(), 0444), 0);
  EXPECT_FALSE(Ea::SetToFile(_path.c_str(), "N", "v", false));
  EXPECT_TRUE(Ea::SetToFile(_path.c_str(), "N", "v", true));
  EXPECT_EQ(mode(), 0444u);
  EXPECT_EQ(Value("N"), std::string("v", 2));
  EXPECT_TRUE(Ea::DeleteAllFromFile(_path.c_str(), true));
  EXPECT_EQ(mode(), 0444u);
  EXPECT_EQ(Count(), 0u);
}

TEST_F(PosixExtFileAttributes, SayWhyTheSystemRefuses) {
  const std::string longest(251, 'N');  // with "user." one more than the system's 255
  long status = 0;
  EXPECT_FALSE(Ea::SetToFile(_path.c_str(), longest.c_str(), "v", false, &status));
  EXPECT_EQ(status, kKxStatusInvalidEaName);
  EXPECT_TRUE(Ea::SetToFile(_path.c_str(), longest.substr(1).c_str(), "v", false, &status));
  EXPECT_FALSE(Ea::SetToFile(KXW("/dev/null"), "N", "v", false, &status));
  EXPECT_EQ(status, kKxStatusAccessDenied);
  EXPECT_FALSE(Ea::SetToFile(KXW("/proc/version"), "N", "v", false, &status));
  EXPECT_TRUE(status == kKxStatusEasNotSupported || status == kKxStatusAccessDenied) << std::hex << status;
}

}  // namespace
