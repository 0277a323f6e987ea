#include "Common_CPP/crypto/hash.h"

#include <gtest/gtest.h>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"
#include "tests/support/temp_folder.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct SkxVector {
  EkxHashAlgorithm algorithm;
  const char* name;
  const char* ofAbc;      // the published digests of "abc"
  const char* ofNothing;  // and of no bytes
};

constexpr SkxVector kVectors[] = {
    {EkxHashAlgorithm::Md5, "MD5", "900150983CD24FB0D6963F7D28E17F72", "D41D8CD98F00B204E9800998ECF8427E"},
    {EkxHashAlgorithm::Sha1, "SHA1", "A9993E364706816ABA3E25717850C26C9CD0D89D",
     "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709"},
    {EkxHashAlgorithm::Sha256, "SHA256", "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD",
     "E3B0C44298FC1C149AFBF4C8996FB92427AE41E4649B934CA495991B7852B855"},
    {EkxHashAlgorithm::Sha384, "SHA384",
     "CB00753F45A35E8BB5A03D699AC65007272C32AB0EDED1631A8B605A43FF5BED8086072BA1E7CC2358BAECA134C825A7",
     "38B060A751AC96384CD9327EB1B1E36A21FDB71114BE07434C0CC7BF63F6E1DA274EDEBFE76F65FBD51AD2F14898B95B"},
    {EkxHashAlgorithm::Sha512, "SHA512",
     "DDAF35A193617ABACC417349AE20413112E6FA4E89A97EA20A9EEEE64B55D39A"
     "2192992A274FC1A836BA3C23A3FEEBBD454D4423643CE80E2A9AC94FA54CA49F",
     "CF83E1357EEFB8BDF1542850D66D8007D620E4050B5715DC83F4A921D36CE9CE"
     "47D0D13C5D85F2B0FF8318D2877EEC2F63B931BD47417A81A538327AF927DA3E"},
};

std::string HashOfFile(CkxTextView path, EkxHashAlgorithm algorithm) {
  const std::optional<KxWString> text = KxHash_OfFile(path, algorithm);
  return text ? KxText_ToUtf8(*text) : "nothing";
}

TEST(Hash, PublishedDigests) {
  const CkxTempFolder folder;
  const KxWString abc = folder.Write("abc", "abc");
  const KxWString nothing = folder.Write("nothing", "");
  for (const SkxVector& vector : kVectors) {
    SCOPED_TRACE(vector.name);
    EXPECT_EQ(HashOfFile(abc, vector.algorithm), vector.ofAbc);
    EXPECT_EQ(HashOfFile(nothing, vector.algorithm), vector.ofNothing);
  }
}

TEST(Hash, Names) {
  for (const SkxVector& vector : kVectors) {
    SCOPED_TRACE(vector.name);
    EXPECT_EQ(KxText_ToUtf8(KxHash_Name(vector.algorithm)), vector.name);
    EXPECT_EQ(KxHash_FromName(*KxText_FromUtf8(vector.name)), vector.algorithm);
  }
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
    for (const SkxVector& vector : kVectors) {
      SCOPED_TRACE(vector.name);
      const std::optional<Bytes> whole = KxHash_OfBytes(bytes, vector.algorithm);
      ASSERT_TRUE(whole);

      CkxHasher hasher(vector.algorithm);
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
      EXPECT_EQ(HashOfFile(folder.Write("content", content), vector.algorithm), text);
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
  EXPECT_EQ(KxText_ToUtf8(both.at(EkxHashAlgorithm::Sha256)), kVectors[2].ofAbc);
  EXPECT_EQ(KxText_ToUtf8(both.at(EkxHashAlgorithm::Md5)), kVectors[0].ofAbc);
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
