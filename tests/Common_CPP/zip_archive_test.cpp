#include "Common_CPP/zip/zip_archive.h"

#include <gtest/gtest.h>

#include "tests/support/memory_source.h"
#include "tests/support/zip_bytes.h"

namespace {

constexpr size_t kZipLimit = 4096;

std::string ReadFile(const KxBytes& archive, std::string_view name, size_t limit = kZipLimit) {
  const CkxMemorySource source(archive);
  const auto opened = CkxZipArchive::Open(source, archive.size());
  if (!opened) return "no archive";
  const auto bytes = opened->Read(name, limit);
  return bytes ? std::string(bytes->begin(), bytes->end()) : "none";
}

/// "abc", a hundred times, as another program packs it.
const KxBytes kPackedTimes100 = {0x4B, 0x4C, 0x4A, 0x4E, 0x1C, 0x45, 0xC4, 0x21, 0x00};

std::string Times100(std::string_view text) {
  std::string all;
  for (int i = 0; i < 100; ++i) all += text;
  return all;
}

CkxTestZip Small(bool isLarge) {
  CkxTestZip zip(isLarge);
  zip.File("first.txt", CkxTestZip::Bytes("one"));
  zip.File("Dir/Packed.txt", CkxTestZip::Bytes(Times100("abc")), kPackedTimes100, {.method = 8, .nameInFile = {}});
  return zip.File("empty", {});
}

TEST(ZipArchive, GivesItsFiles) {
  for (const bool isLarge : {false, true}) {
    for (const char* const comment : {"", "a comment", "PK\5\6 in a comment, which is no end of any archive"}) {
      const KxBytes archive = Small(isLarge).Archive(comment);
      EXPECT_EQ(ReadFile(archive, "first.txt"), "one");
      EXPECT_EQ(ReadFile(archive, "dir/packed.TXT"), Times100("abc"));
      EXPECT_EQ(ReadFile(archive, "empty"), "");
      EXPECT_EQ(ReadFile(archive, "first"), "none");
      EXPECT_EQ(ReadFile(archive, "first.txt", 3), "one");
      EXPECT_EQ(ReadFile(archive, "first.txt", 2), "none");
      EXPECT_EQ(ReadFile(archive, "Dir/Packed.txt", 299), "none");
    }
  }
}

TEST(ZipArchive, RefusesWhatReadersTakeDifferently) {
  const KxBytes one = CkxTestZip::Bytes("one");
  EXPECT_EQ(ReadFile(CkxTestZip().File("a", one).File("A", one).Archive(), "a"), "none");
  EXPECT_EQ(ReadFile(CkxTestZip().File("a", one, one, {.nameInFile = "b"}).Archive(), "a"), "none");
  EXPECT_EQ(ReadFile(CkxTestZip().File("a", one, one, {.flags = 1, .nameInFile = {}}).Archive(), "a"), "none");
  EXPECT_EQ(ReadFile(CkxTestZip().File("a", one, one, {.method = 12, .nameInFile = {}}).Archive(), "a"), "none");
  EXPECT_EQ(ReadFile(CkxTestZip().File("a", one, {1, 2}, {}).Archive(), "a"), "none") << "sizes differ";
  for (const size_t size : {size_t{299}, size_t{301}}) {
    const KxBytes claimed(size, 'a');
    EXPECT_EQ(
        ReadFile(CkxTestZip().File("a", claimed, kPackedTimes100, {.method = 8, .nameInFile = {}}).Archive(), "a"),
        "none");
  }
}

/// A cut archive has no end, and a change in what is read of a file does not pass for it.
TEST(ZipArchive, IsWholeOrNone) {
  for (const bool isLarge : {false, true}) {
    const KxBytes whole = Small(isLarge).Archive();
    for (size_t size = 0; size < whole.size(); ++size) {
      ASSERT_EQ(ReadFile(KxBytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)), "first.txt"),
                "no archive")
          << size;
    }
    size_t same = 0;
    for (size_t at = 0; at < whole.size(); ++at) {
      for (const unsigned change : {0x01u, 0x20u, 0x80u, 0xFFu}) {
        KxBytes changed = whole;
        changed[at] ^= static_cast<unsigned char>(change);
        const std::string read = ReadFile(changed, "Dir/Packed.txt");
        ASSERT_TRUE(read == Times100("abc") || read == "none" || read == "no archive") << at;
        if (read == Times100("abc")) ++same;
      }
    }
    EXPECT_GT(same, 100u);
    EXPECT_GT(4 * whole.size() - same, 300u) << "those that belong to the file";
  }
}

}  // namespace
