#include "Common_CPP/file/file.h"

#include <cerrno>
#include <filesystem>
#include <limits>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/temp_folder.h"

namespace {

std::span<const unsigned char> AsBytes(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

std::string AsText(const std::optional<std::vector<unsigned char>>& bytes) {
  return bytes ? std::string(bytes->begin(), bytes->end()) : "nothing";
}

TEST(File, ReadsByPosition) {
  const CkxTempFolder folder;
  CkxFileReader opened;
  ASSERT_TRUE(opened.Open(folder.Write("digits", "0123456789")));
  CkxFileReader reader = std::move(opened);

  // Beyond the end, beyond 32 bits, beyond what a signed number holds, and what the system takes for the current place.
  for (const uint64_t offset : {uint64_t{3}, uint64_t{0}, uint64_t{8}, uint64_t{10}, uint64_t{1000}, uint64_t{1} << 32,
                                uint64_t{INT64_MAX}, UINT64_MAX - 1, UINT64_MAX}) {
    for (const size_t wanted : {0u, 4u, 10u}) {
      std::vector<unsigned char> bytes(wanted);
      const std::optional<size_t> count = reader.ReadAt(offset, bytes);
      ASSERT_TRUE(count) << offset;
      bytes.resize(*count);
      EXPECT_EQ(AsText(bytes), offset < 10 ? std::string("0123456789").substr(offset, wanted) : "") << offset;
    }
  }

  std::vector<unsigned char> one(1);
  EXPECT_FALSE(opened.ReadAt(0, one)) << "the reader that was moved from";
}

TEST(File, OpensOnlyRegularFiles) {
  const CkxTempFolder folder;
  const KxWString file = folder.Write("file", "x");
  const struct {
    const char* name;
    KxWString path;
    uint32_t error;
    const char* words;
  } kCases[] = {
      {"missing", folder.Text("missing"), kKxErrorFileNotFound, "no such file or folder"},
      {"folder", folder.Path().string<WCHAR>(), kKxErrorAccessDenied, "it is a folder"},
      {"a NUL does not cut the name", file + WCHAR{0} + KXW(".txt"), kKxErrorFileNotFound, "no such file or folder"},
      {"empty", KxWString(), kKxErrorFileNotFound, "no such file or folder"},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    KxLastError_Set(kKxErrorSuccess);
    CkxFileReader reader;
    EXPECT_FALSE(reader.Open(test.path));
    EXPECT_EQ(KxLastError_Get(), test.error);
    EXPECT_FALSE(reader.OpenForFacts(test.path));
    EXPECT_EQ(KxLastError_Get(), test.error);
    KxLastError_Set(kKxErrorSuccess);
    EXPECT_FALSE(KxFile_Status(test.path));
    EXPECT_EQ(KxLastError_Get(), test.error);
    EXPECT_EQ(KxFile_WhyRefused(test.path), test.words);
  }
}

/// Whoever tells: the thread's last error, or the standard library in the numbers of either category.
TEST(File, RefusalsHaveWords) {
  KxLastError_Set(kKxErrorAccessDenied);
  EXPECT_EQ(KxFile_WhyRefused(KXW("no/such/file")), "no permission");
  KxLastError_Set(4711);
  EXPECT_EQ(KxError_Words(), "error 4711");
  EXPECT_EQ(KxError_Words(std::make_error_code(std::errc::permission_denied)), "no permission");
  EXPECT_EQ(KxError_Words(std::error_code(EPERM, std::generic_category())), "no permission");
  EXPECT_EQ(KxError_Words(std::error_code(4711, std::generic_category())), "error 4711");
  std::error_code error;
  std::filesystem::directory_iterator(std::filesystem::path("no/such/folder"), error);
  EXPECT_EQ(KxError_Words(error), "no such file or folder");
}

TEST(File, StatusTellsSizeTimeAndIdentity) {
  const CkxTempFolder folder;
  const KxWString path = folder.Write("file", "12345");
  folder.Write("other", "12345");
  std::filesystem::create_hard_link(folder.Path() / "file", folder.Path() / "link");
  const std::chrono::sys_seconds time(std::chrono::seconds(1000000000));  // 2001-09-09 01:46:40 UTC
  std::filesystem::last_write_time(folder.Path() / "file", std::chrono::file_clock::from_sys(time));

  const std::optional<SkxFileStatus> status = KxFile_Status(path);
  const std::optional<SkxFileStatus> link = KxFile_Status(folder.Text("link"));
  const std::optional<SkxFileStatus> other = KxFile_Status(folder.Text("other"));
  ASSERT_TRUE(status && link && other);
  EXPECT_EQ(status->size, 5u);
  EXPECT_EQ(status->modificationTime, 126444736000000000);
  EXPECT_EQ(status->identity, link->identity);
  EXPECT_NE(status->identity, other->identity);

  CkxFileReader reader;
  SkxFileStatus open;
  ASSERT_TRUE(reader.Open(path) && reader.Status(open));
  EXPECT_EQ(open.size, status->size);
  EXPECT_EQ(open.modificationTime, status->modificationTime);
  EXPECT_EQ(open.identity, status->identity);
}

TEST(File, ReadAllKeepsToItsLimit) {
  const CkxTempFolder folder;
  const std::string large(3 * 1024 * 1024 + 1, 'L');  // more than it reads at once
  for (const std::string& content : {std::string(), std::string("12345"), large}) {
    const KxWString path = folder.Write("file", content);
    EXPECT_TRUE(AsText(KxFile_ReadAll(path, content.size())) == content);
    EXPECT_TRUE(AsText(KxFile_ReadAll(path, std::numeric_limits<uint64_t>::max())) == content);
    EXPECT_EQ(KxFile_ReadAll(path, content.size() - 1).has_value(), content.empty()) << content.size();
  }
}

TEST(File, ReplaceAllLeavesNothingBeside) {
  const CkxTempFolder folder;
  // A name as long as the systems allow, and one beyond ASCII.
  const std::filesystem::path names[] = {"policies.xml", std::string(250, 'n'),
                                         std::filesystem::path(u"Gr\u00fc\u00dfe")};
  for (const std::filesystem::path& name : names) {
    ASSERT_TRUE(KxFile_ReplaceAll(folder.Text(name), AsBytes("new")));
    EXPECT_EQ(folder.Read(name), "new");
    ASSERT_TRUE(KxFile_ReplaceAll(folder.Text(name), AsBytes("")));
    EXPECT_EQ(folder.Read(name), "");
  }
  EXPECT_EQ(folder.Count(), std::size(names));
}

TEST(File, AFailedReplaceChangesNothing) {
  const CkxTempFolder folder;
  folder.Write("file", "old");
  std::filesystem::create_directory(folder.Path() / "folder");
  std::filesystem::create_directory(folder.Path() / "folder" / "full");
  const std::string content = "new";
  for (const char* name : {"folder", "missing/file", "file/below"}) {
    KxLastError_Set(kKxErrorSuccess);
    EXPECT_FALSE(KxFile_ReplaceAll(folder.Text(name), AsBytes(content))) << name;
    EXPECT_NE(KxLastError_Get(), kKxErrorSuccess) << name;
  }
  EXPECT_FALSE(KxFile_ReplaceAll(folder.Text("file") + WCHAR{0} + KXW("x"), AsBytes(content)));
  EXPECT_EQ(folder.Read("file"), "old");
  EXPECT_EQ(folder.Count(), 2u);
}

TEST(File, ANewFileIsOwnedByItsWriter) {
  const CkxTempFolder folder;
  CkxFileReader reader;
  EXPECT_FALSE(reader.OpenForFacts(folder.Text("missing")));
  EXPECT_FALSE(reader.Owner());
  ASSERT_TRUE(reader.OpenForFacts(folder.Write("file", "")));
  const std::optional<CkxSid> owner = reader.Owner();
  ASSERT_TRUE(owner);
  EXPECT_TRUE(KxToken_IsMember(nullptr, *owner)) << owner->ToUtf8();
}

TEST(File, AccountNames) {
  KxTest_ForRows<std::string, std::string>("security/accounts.txt", [](const auto& sid, const auto& name) {
    EXPECT_EQ(KxText_ToUtf8(KxSid_AccountName(*CkxSid::FromUtf8(sid))), name);
  });
  EXPECT_TRUE(KxSid_AccountName(CkxSid()).empty());
}

/// "nothing" for no path at all.
std::string FullPath(const std::filesystem::path& path) {
  const std::optional<KxWString> full = KxFile_FullPath(path.string<WCHAR>());
  return full ? KxText_ToUtf8(*full) : "nothing";
}

TEST(File, AFullPathIsAbsoluteAndNormal) {
  const std::filesystem::path here = std::filesystem::current_path();
  const CkxTempFolder folder;
  const std::filesystem::path far = folder.Path();
  const struct {
    const char* name;
    std::filesystem::path path;
    std::filesystem::path full;
  } kCases[] = {
      {"a name", "x.exe", here / "x.exe"},
      {"below", std::filesystem::path("a") / "." / "b" / ".." / "x.exe", here / "a" / "x.exe"},
      {"beside", std::filesystem::path("..") / "x.exe", here.parent_path() / "x.exe"},
      {"absolute", far / "x.exe", far / "x.exe"},
      {"absolute, roundabout", far / "none" / ".." / "." / "x.exe", far / "x.exe"},
      {"beyond ASCII", std::filesystem::path(u"\u00E4\u0416.exe"), here / std::filesystem::path(u"\u00E4\u0416.exe")},
      {"longer than a buffer of the usual size", far / std::string(200, 'a') / std::string(200, 'b'),
       far / std::string(200, 'a') / std::string(200, 'b')},
  };
  for (const auto& test : kCases) EXPECT_EQ(FullPath(test.path), KxText_ToUtf8(test.full.string<WCHAR>())) << test.name;
  EXPECT_EQ(FullPath(""), "nothing");
  EXPECT_FALSE(KxFile_FullPath(KxWString(KXW("a")) + WCHAR{0} + KXW("b")));
}

}  // namespace
