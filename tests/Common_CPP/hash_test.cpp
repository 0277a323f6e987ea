#include "Common_CPP/crypto/file_digest.h"

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/temp_folder.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr EkxHashAlgorithm kAll[] = {EkxHashAlgorithm::Md5, EkxHashAlgorithm::Sha1, EkxHashAlgorithm::Sha256,
                                     EkxHashAlgorithm::Sha384, EkxHashAlgorithm::Sha512};

std::string HashOfFile(CkxTextView path, EkxHashAlgorithm algorithm) {
  const std::optional<KxWString> text = KxFileDigest_OfPath(path, algorithm);
  return text ? KxText_ToUtf8(*text) : "nothing";
}

TEST(Hash, PublishedDigestsByName) {
  const CkxTempFolder folder;
  const KxWString abc = folder.Write("abc", "abc");
  const KxWString nothing = folder.Write("nothing", "");
  size_t count = 0;
  KxTest_ForRows<KxWString, std::string, std::string>(
      "hash/digests.txt", [&](const auto& name, const auto& ofAbc, const auto& ofNothing) {
        const SkxFileDigestName* const known = KxFileDigest_Named(name);
        ASSERT_TRUE(known != nullptr);
        ASSERT_EQ(known->digest, SkxFileDigest{kAll[count++]});
        EXPECT_EQ(KxWString(known->name), name);
        EXPECT_EQ(HashOfFile(abc, known->digest.algorithm), ofAbc);
        EXPECT_EQ(HashOfFile(nothing, known->digest.algorithm), ofNothing);
        EXPECT_EQ(ofAbc.size(), known->bytes * 2);
      });
  EXPECT_EQ(count, std::size(kAll));
  EXPECT_EQ(KxFileDigest_Named(KXW("sha256")), KxFileDigest_Named(KXW("SHA256")));
  EXPECT_TRUE(KxFileDigest_Named(KXW("Authenticode-sha1"))->digest.isAuthenticode);
  for (const WCHAR* unknown : {KXW(""), KXW("SHA"), KXW("SHA2567"), KXW("SHA-256"), KXW("AUTHENTICODE-MD5")}) {
    EXPECT_EQ(KxFileDigest_Named(unknown), nullptr) << KxText_ToUtf8(unknown);
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

std::string Text(const Bytes& digest) { return KxText_ToUtf8(KxHash_Hexadecimal(digest)); }

/// A file is as long as it was when it was opened; several algorithms are computed as it is read.
TEST(Hash, OfTheFileAsLongAsItWas) {
  constexpr SkxFileDigest kTwo[] = {{EkxHashAlgorithm::Sha256}, {EkxHashAlgorithm::Md5}};
  const CkxTempFolder folder;
  CkxFileReader file;
  ASSERT_TRUE(file.Open(folder.Write("file", "abcd")));
  const KxFileDigests both = KxFileDigest_Read(file, 3, {}, kTwo, MayRead);
  ASSERT_EQ(both.size(), 2u);
  for (const SkxFileDigest& digest : kTwo) {
    EXPECT_EQ(Text(both.at(digest)), HashOfFile(folder.Write("beginning", "abc"), digest.algorithm));
  }
  EXPECT_EQ(KxFileDigest_Read(file, 0, {}, kTwo, MayReadNothing).size(), 2u) << "no block is read";
  EXPECT_TRUE(KxFileDigest_Read(file, 5, {}, kTwo, MayRead).empty()) << "it has become shorter";
  EXPECT_TRUE(KxFileDigest_Read(file, 3, {}, kTwo, MayReadNothing).empty());
}

/// What is left out may begin, end and lie anywhere in the blocks that a file is read in.
TEST(Hash, OfTheBytesThatAreCovered) {
  constexpr SkxFileDigest kCovered[] = {{EkxHashAlgorithm::Sha256, true}, {EkxHashAlgorithm::Sha256}};
  constexpr size_t kBlock = 256 * 1024;
  std::string content(3 * kBlock + 5, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7 + i / 251);
  const CkxTempFolder folder;
  CkxFileReader file;
  ASSERT_TRUE(file.Open(folder.Write("file", content)));
  using Ranges = std::vector<SkxCoveredBytes::Range>;
  for (const Ranges& leftOut : {Ranges{}, Ranges{{0, 1}}, Ranges{{10, 14}, {20, 28}}, Ranges{{kBlock - 2, kBlock + 2}},
                                Ranges{{kBlock, 2 * kBlock}}, Ranges{{5, 3 * kBlock}},
                                Ranges{{3, 4}, {2 * kBlock, content.size()}}, Ranges{{0, content.size()}}}) {
    std::string rest = content;
    for (auto range = leftOut.rbegin(); range != leftOut.rend(); ++range)
      rest.erase(static_cast<size_t>(range->begin), static_cast<size_t>(range->end - range->begin));
    rest.append(3, '\0');
    const KxFileDigests digests = KxFileDigest_Read(file, content.size(), {leftOut, 3}, kCovered, MayRead);
    EXPECT_EQ(Text(digests.at(kCovered[0])), HashOfFile(folder.Write("rest", rest), EkxHashAlgorithm::Sha256));
    EXPECT_EQ(Text(digests.at(kCovered[1])), HashOfFile(folder.Text("file"), EkxHashAlgorithm::Sha256));
  }
}

TEST(Hash, NoFileNoHash) {
  const CkxTempFolder folder;
  EXPECT_EQ(HashOfFile(folder.Text("missing"), EkxHashAlgorithm::Sha1), "nothing");
  EXPECT_EQ(HashOfFile(folder.Path().string<WCHAR>(), EkxHashAlgorithm::Sha1), "nothing") << "a folder";
}

}  // namespace
