#include "Common_CPP/crypto/hash.h"

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/temp_folder.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr EkxHashAlgorithm kAll[] = {EkxHashAlgorithm::Md5, EkxHashAlgorithm::Sha1, EkxHashAlgorithm::Sha256,
                                     EkxHashAlgorithm::Sha384, EkxHashAlgorithm::Sha512};

std::string HashOfFile(CkxTextView path, EkxHashAlgorithm algorithm) {
  const std::optional<KxWString> text = KxHash_OfFile(path, algorithm);
  return text ? KxText_ToUtf8(*text) : "nothing";
}

TEST(Hash, PublishedDigestsByName) {
  const CkxTempFolder folder;
  const KxWString abc = folder.Write("abc", "abc");
  const KxWString nothing = folder.Write("nothing", "");
  size_t count = 0;
  KxTest_ForRows<KxWString, std::string, std::string>(
      "hash/digests.txt", [&](const auto& name, const auto& ofAbc, const auto& ofNothing) {
        const std::optional<EkxHashAlgorithm> algorithm = KxHash_FromName(name);
        ASSERT_EQ(algorithm, kAll[count++]);
        EXPECT_EQ(KxWString(KxHash_Name(*algorithm)), name);
        EXPECT_EQ(HashOfFile(abc, *algorithm), ofAbc);
        EXPECT_EQ(HashOfFile(nothing, *algorithm), ofNothing);
      });
  EXPECT_EQ(count, std::size(kAll));
  EXPECT_EQ(KxHash_FromName(KXW("sha256")), EkxHashAlgorithm::Sha256);
  for (const WCHAR* unknown : {KXW(""), KXW("SHA"), KXW("SHA2567"), KXW("SHA-256")}) {
    EXPECT_FALSE(KxHash_FromName(unknown)) << KxText_ToUtf8(unknown);
  }
}

TEST(Hash, HoweverTheBytesCome) {
  // Sizes around the hash's own blocks and the blocks that a file is read in.
  const CkxTempFolder folder;
  for (const size_t size :
       {size_t{1}, size_t{63}, size_t{64}, size_t{65}, size_t{65535}, size_t{65536}, size_t{65537}, size_t{131072}}) {
    SCOPED_TRACE(size);
    std::string content(size, '\0');
    for (size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 7 + i / 251);
    const Bytes bytes(content.begin(), content.end());
    for (const EkxHashAlgorithm algorithm : kAll) {
      const std::optional<Bytes> whole = KxHash_OfBytes(bytes, algorithm);
      ASSERT_TRUE(whole);

      CkxHasher hasher(algorithm);
      const std::span<const unsigned char> all(bytes);
      for (size_t at = 0, step = 1; at < size; at += step, step = step * 3 + 1) {
        ASSERT_TRUE(hasher.Update(all.subspan(at, std::min(step, size - at))));
      }
      Bytes digest;
      ASSERT_TRUE(hasher.Finish(digest));
      EXPECT_EQ(digest, *whole);

      std::string text;
      for (const unsigned char byte : *whole) {
        text += "0123456789ABCDEF"[byte >> 4];
        text += "0123456789ABCDEF"[byte & 15];
      }
      EXPECT_EQ(HashOfFile(folder.Write("content", content), algorithm), text);
    }
  }
}

TEST(Hash, AfterTheEndNothingMoreIsTaken) {
  CkxHasher hasher(EkxHashAlgorithm::Sha256);
  Bytes digest;
  ASSERT_TRUE(hasher.Finish(digest));
  EXPECT_EQ(digest.size(), 32u);
  const Bytes more(1);
  EXPECT_FALSE(hasher.Update(more));
  EXPECT_FALSE(hasher.Finish(digest));
}

bool MayRead(uint64_t) { return true; }
bool MayReadNothing(uint64_t) { return false; }

/// A file is as long as it was when it was opened; several algorithms are computed as it is read.
TEST(Hash, OfTheFileAsLongAsItWas) {
  constexpr EkxHashAlgorithm kTwo[] = {EkxHashAlgorithm::Sha256, EkxHashAlgorithm::Md5};
  const CkxTempFolder folder;
  CkxFileReader file;
  ASSERT_TRUE(file.Open(folder.Write("file", "abcd")));
  const KxHashTexts both = KxHash_OfFile(file, 3, kTwo, MayRead);
  ASSERT_EQ(both.size(), 2u);
  for (const EkxHashAlgorithm algorithm : kTwo) {
    EXPECT_EQ(KxText_ToUtf8(both.at(algorithm)), HashOfFile(folder.Write("beginning", "abc"), algorithm));
  }
  EXPECT_EQ(KxHash_OfFile(file, 0, kTwo, MayReadNothing).size(), 2u) << "no block is read";
  EXPECT_TRUE(KxHash_OfFile(file, 5, kTwo, MayRead).empty()) << "it has become shorter";
  EXPECT_TRUE(KxHash_OfFile(file, 3, kTwo, MayReadNothing).empty());
}

TEST(Hash, NoFileNoHash) {
  const CkxTempFolder folder;
  EXPECT_EQ(HashOfFile(folder.Text("missing"), EkxHashAlgorithm::Sha1), "nothing");
  EXPECT_EQ(HashOfFile(folder.Path().string<WCHAR>(), EkxHashAlgorithm::Sha1), "nothing") << "a folder";
}

}  // namespace
