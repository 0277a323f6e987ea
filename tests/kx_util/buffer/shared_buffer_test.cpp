#include <kx_util/shared_buffer.h>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "tests/support/data_rows.h"
#include "tests/support/wipe_capture.h"

namespace {

// The key of the built-in seed is 0xB9: 2654435769 is 0x9E3779B9. So a stored byte is the plain one XOR 0x46.
constexpr unsigned char kMask = 0x46;

TEST(ShBufString, ReadsPlainAndObfuscatedText) {
  ASSERT_EQ(KxUtil_ObfuscationKey(), 0xB9);
  KxTest_ForRows<std::string, bool, KxBytes, bool, uint64_t, uint64_t, KxWString>(
      "records/texts.txt", [](const auto&, bool isObfuscated, const auto& bytes, bool isRead, uint64_t consumed,
                              uint64_t byteCount, const auto& expected) {
        CkxExactBytes in(bytes);
        CkxShBufString text;
        EXPECT_EQ(isObfuscated ? text.FromBufferAndUnObfuscate(in.cursor, in.remaining)
                               : text.FromBuffer(in.cursor, in.remaining),
                  isRead);
        EXPECT_EQ(in.Consumed(), consumed);
        EXPECT_EQ(in.remaining, bytes.size() - consumed);
        EXPECT_EQ(text.ByteCount(), byteCount);
        EXPECT_EQ(text.View().ToString(), expected);
        EXPECT_EQ(text.IsEmpty(), expected.empty());
        EXPECT_EQ(text.String() == nullptr, byteCount == 0);
        EXPECT_NE(text.SafeString(), nullptr);
      });
}

TEST(ShBufString, UnObfuscatesEveryLengthAtEveryAddress) {
  for (size_t count = 1; count <= 70; ++count) {
    for (const size_t shift : {0u, 1u, 7u}) {
      KxBytes record(shift, 0xEE);
      record.insert(record.end(), {static_cast<unsigned char>(count), 0, 0, 0});
      KxWString plain;
      for (size_t i = 0; i < count; ++i) {
        const auto byte = static_cast<unsigned char>(i * 37 + 1);
        record.push_back(byte ^ kMask);
        if (i % 2 == 1) plain += static_cast<WCHAR>(byte << 8 | static_cast<unsigned char>((i - 1) * 37 + 1));
      }
      CkxExactBytes in(record);
      in.cursor += shift;
      in.remaining -= static_cast<unsigned long>(shift);
      CkxShBufString text;
      ASSERT_TRUE(text.FromBufferAndUnObfuscate(in.cursor, in.remaining));
      ASSERT_EQ(KxWStringView(text.String(), count / 2), plain) << count << " bytes at " << shift;
      ASSERT_EQ(text.String()[count / 2], 0);
    }
  }
}

TEST(ShBufString, ANullCursorIsAShortField) {
  const unsigned char* cursor = nullptr;
  unsigned long remaining = 100;
  CkxShBufString text;
  CkxShBufList list;
  EXPECT_FALSE(text.FromBuffer(cursor, remaining));
  EXPECT_FALSE(text.FromBufferAndUnObfuscate(cursor, remaining));
  EXPECT_FALSE(list.FromBuffer(cursor, remaining, nullptr));
  EXPECT_EQ(remaining, 100u);
}

class ShBufStringWipe : public testing::Test {
 protected:
  /// `count` bytes of obfuscated text.
  static CkxShBufString Secret(unsigned char count) {
    KxBytes record{count, 0, 0, 0};
    record.resize(4u + count, 0x11);
    CkxExactBytes in(record);
    CkxShBufString text;
    EXPECT_TRUE(text.FromBufferAndUnObfuscate(in.cursor, in.remaining));
    return text;
  }

  const CkxWipeCapture capture;
  const std::vector<KxBytes>& wiped = capture.left;
};

TEST_F(ShBufStringWipe, AnEndedStringLeavesZeros) {
  {
    const CkxShBufString even = Secret(22);
    const CkxShBufString odd = Secret(9);
    EXPECT_TRUE(wiped.empty());
  }
  EXPECT_EQ(wiped, (std::vector<KxBytes>{KxBytes(9, 0), KxBytes(22, 0)}));
}

TEST_F(ShBufStringWipe, MovingHandsTheCopyOn) {
  CkxShBufString text = Secret(10);
  const KxWString before = text.View().ToString();
  {
    CkxShBufString other = Secret(6);
    other = std::move(text);
    EXPECT_EQ(wiped, std::vector<KxBytes>{KxBytes(6, 0)});
    EXPECT_EQ(other.View().ToString(), before);
    EXPECT_EQ(text.String(), nullptr);  // NOLINT(bugprone-use-after-move): left empty
  }
  EXPECT_EQ(wiped, (std::vector<KxBytes>{KxBytes(6, 0), KxBytes(10, 0)}));
}

TEST_F(ShBufStringWipe, CopiesBorrowSoThatATextIsWipedOnceAndWithItsOwner) {
  const KxBytes ten(10, 0);
  {
    CkxShBufString owner = Secret(10);
    {
      CkxShBufString copy = owner;
      CkxShBufString copyOfCopy;
      copyOfCopy = copy;
      EXPECT_EQ(copyOfCopy.String(), owner.String());
      EXPECT_EQ(copyOfCopy.ByteCount(), owner.ByteCount());
      owner = copy;             // back to where it came from
      owner = std::move(copy);  // likewise
      CkxExactBytes plain({2, 0, 0, 0, 'x', 0});
      ASSERT_TRUE(copyOfCopy.FromBuffer(plain.cursor, plain.remaining));
    }
    EXPECT_TRUE(wiped.empty());
    CkxShBufString other = Secret(6);
    other = owner;
    EXPECT_EQ(wiped, std::vector<KxBytes>{KxBytes(6, 0)}) << "what it held goes, as ever";
    CkxShBufString taker = std::move(owner);
    EXPECT_EQ(taker.String(), other.String()) << "the owner is another one now";
  }
  EXPECT_EQ(wiped, (std::vector<KxBytes>{KxBytes(6, 0), ten}));
}

TEST_F(ShBufStringWipe, ReadingAgainWipesFirst) {
  CkxShBufString text = Secret(8);
  CkxExactBytes plain({2, 0, 0, 0, 'x', 0});
  ASSERT_TRUE(text.FromBuffer(plain.cursor, plain.remaining));
  EXPECT_EQ(wiped, std::vector<KxBytes>{KxBytes(8, 0)});
  EXPECT_EQ(text.View().ToString(), KXW("x"));

  CkxShBufString other = Secret(4);
  CkxExactBytes empty({0, 0, 0, 0});
  ASSERT_TRUE(other.FromBufferAndUnObfuscate(empty.cursor, empty.remaining));
  EXPECT_EQ(wiped.size(), 2u);
  EXPECT_EQ(other.String(), nullptr);

  CkxShBufString kept = Secret(4);
  CkxExactBytes tooShort({99, 0, 0, 0});
  EXPECT_FALSE(kept.FromBufferAndUnObfuscate(tooShort.cursor, tooShort.remaining));
  EXPECT_EQ(wiped.size(), 2u);
}

/// A node of one byte; the byte 0xFF cannot be read.
struct CountedNode : CkxShBufList::CkxNode {
  explicit CountedNode(unsigned char byte) : value(byte) { ++alive; }
  ~CountedNode() override { --alive; }
  CountedNode(const CountedNode&) = delete;
  CountedNode& operator=(const CountedNode&) = delete;
  const unsigned char value;
  static inline int alive = 0;

  static CkxNode* FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
    uint8_t byte = 0;
    if (!CkxByteCursor(cursor, remaining).U8(byte) || byte == 0xFF) return nullptr;
    return new CountedNode(byte);
  }
};

TEST(ShBufList, ReadsElementsInOrderOrNone) {
  KxTest_ForRows<std::string, KxBytes, bool, uint64_t, KxBytes>(
      "records/lists.txt", [](const auto&, const auto& bytes, bool isRead, uint64_t consumed, const auto& expected) {
        {
          CkxShBufList list;
          CkxExactBytes before({2, 0, 0, 0, 1, 2});
          ASSERT_TRUE(list.FromBuffer(before.cursor, before.remaining, CountedNode::FromBuffer));
          CkxExactBytes in(bytes);
          EXPECT_EQ(list.FromBuffer(in.cursor, in.remaining, CountedNode::FromBuffer), isRead);
          EXPECT_EQ(in.Consumed(), consumed);
          EXPECT_EQ(list.Count(), expected.size());
          EXPECT_EQ(list.GetHead() == nullptr, expected.empty());
          KxBytes values;
          for (const CountedNode& node : CkxNodes<CountedNode>(list)) values.push_back(node.value);
          EXPECT_EQ(values, expected);
          EXPECT_EQ(CountedNode::alive, static_cast<int>(expected.size()));
        }
        EXPECT_EQ(CountedNode::alive, 0);
      });
}

TEST(ShBufList, CopiesShareNodesThatTheirOwnerDestroys) {
  const auto read = [](CkxShBufList& list, const KxBytes& bytes) {
    CkxExactBytes in(bytes);
    return list.FromBuffer(in.cursor, in.remaining, CountedNode::FromBuffer);
  };
  CkxShBufList owner;
  ASSERT_TRUE(read(owner, {2, 0, 0, 0, 7, 8}));
  CkxShBufList other;
  ASSERT_TRUE(read(other, {1, 0, 0, 0, 9}));
  {
    CkxShBufList copy = owner;
    EXPECT_EQ(copy.GetHead(), owner.GetHead());
    EXPECT_EQ(copy.Count(), 2u);
    owner = copy;
    EXPECT_EQ(CountedNode::alive, 3) << "assigned back to their owner the nodes stay its own";
    other = copy;
    EXPECT_EQ(CountedNode::alive, 2) << "what a list owned goes when it is assigned to";
    ASSERT_TRUE(read(copy, {1, 0, 0, 0, 5}));
    EXPECT_EQ(CountedNode::alive, 3) << "reading replaces the copy alone";
  }
  EXPECT_EQ(CountedNode::alive, 2);
  owner = CkxShBufList();
  EXPECT_EQ(CountedNode::alive, 0);
  EXPECT_EQ(owner.Count(), 0u);
  CkxExactBytes in({1, 0, 0, 0, 5});
  EXPECT_FALSE(owner.FromBuffer(in.cursor, in.remaining, nullptr)) << "nobody reads the elements";
}

TEST(ShBufList, ALongListIsReleasedWithoutDeepCalls) {
  constexpr uint32_t kCount = 300000;
  KxBytes bytes(4 + kCount, 1);
  std::memcpy(bytes.data(), &kCount, sizeof(kCount));
  {
    CkxExactBytes in(bytes);
    CkxShBufList list;
    ASSERT_TRUE(list.FromBuffer(in.cursor, in.remaining, CountedNode::FromBuffer));
    EXPECT_EQ(list.Count(), kCount);
  }
  EXPECT_EQ(CountedNode::alive, 0);
}

TEST(BufReader, ReadsCountedSids) {
  KxTest_ForRows<std::string, KxBytes, bool, uint64_t, std::string>(
      "records/sids.txt", [](const auto&, const auto& bytes, bool isRead, uint64_t consumed, const auto& expected) {
        CkxExactBytes in(bytes);
        CkxSid sid;
        EXPECT_EQ(CkxBufReader(in.cursor, in.remaining).Sid(sid), isRead);
        EXPECT_EQ(in.Consumed(), consumed);
        EXPECT_EQ(in.remaining, bytes.size() - consumed);
        EXPECT_EQ(sid.ToUtf8(), expected);
      });
}

}  // namespace
