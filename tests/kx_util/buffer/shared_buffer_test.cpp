#include <kx_util/shared_buffer.h>

#include <gtest/gtest.h>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "tests/support/record_bytes.h"

namespace {

// The key of the built-in seed is 0xB9: 2654435769 is 0x9E3779B9. So a stored byte is the plain one XOR 0x46.
constexpr unsigned char kMask = 0x46;

struct StringCase {
  const char* name;
  KxBytes bytes;
  bool read;
  size_t consumed;
  uint32_t byteCount;
  KxWString text;
};

void RunCases(const std::vector<StringCase>& cases,
              bool (CkxShBufString::*reader)(const unsigned char*&, unsigned long&)) {
  for (const StringCase& c : cases) {
    SCOPED_TRACE(c.name);
    CkxExactBytes in(c.bytes);
    CkxShBufString text;
    EXPECT_EQ((text.*reader)(in.cursor, in.remaining), c.read);
    EXPECT_EQ(in.Consumed(), c.consumed);
    EXPECT_EQ(in.remaining, c.bytes.size() - c.consumed);
    EXPECT_EQ(text.ByteCount(), c.byteCount);
    EXPECT_EQ(text.View().ToString(), c.text);
    EXPECT_EQ(text.IsEmpty(), c.text.empty());
    EXPECT_EQ(text.String() == nullptr, c.byteCount == 0);
    EXPECT_NE(text.SafeString(), nullptr);
  }
}

TEST(ShBufString, ReadsPlainText) {
  RunCases(
      {
          {"nothing there", {}, false, 0, 0, KXW("")},
          {"half a count", {2, 0, 0}, false, 0, 0, KXW("")},
          {"absent", {0, 0, 0, 0, 9}, true, 4, 0, KXW("")},
          {"with its NUL", {4, 0, 0, 0, 'a', 0, 0, 0, 9}, true, 8, 4, KXW("a")},
          {"without a NUL", {4, 0, 0, 0, 'a', 0, 'b', 0}, true, 8, 4, KXW("ab")},
          {"ends at its first NUL", {6, 0, 0, 0, 'a', 0, 0, 0, 'b', 0}, true, 10, 6, KXW("a")},
          {"only a NUL", {2, 0, 0, 0, 0, 0}, true, 6, 2, KXW("")},
          {"a lone last byte is no unit", {3, 0, 0, 0, 'a', 0, 'b'}, true, 7, 3, KXW("a")},
          {"one byte too long", {3, 0, 0, 0, 'a', 0}, false, 4, 0, KXW("")},
          {"far too long", {0xFF, 0xFF, 0xFF, 0xFF, 'a', 0}, false, 4, 0, KXW("")},
      },
      &CkxShBufString::FromBuffer);
}

TEST(ShBufString, ReadsObfuscatedText) {
  ASSERT_EQ(KxUtil_ObfuscationKey(), 0xB9);
  RunCases(
      {
          {"nothing there", {}, false, 0, 0, KXW("")},
          {"half a count", {0, 0, 0}, false, 0, 0, KXW("")},
          {"absent", {0, 0, 0, 0, 9}, true, 4, 0, KXW("")},
          {"with its NUL", {6, 0, 0, 0, 0x07, 0x46, 0x24, 0x46, 0x46, 0x46, 9}, true, 10, 6, KXW("Ab")},
          {"without a NUL", {4, 0, 0, 0, 0x07, 0x46, 0x24, 0x46}, true, 8, 4, KXW("Ab")},
          {"an odd last byte is dropped", {3, 0, 0, 0, 0x07, 0x46, 0x24}, true, 7, 3, KXW("A")},
          // Bytes beyond the end are stored zeros: 0x46 each once they are un-obfuscated.
          {"one byte beyond the end", {4, 0, 0, 0, 0x07, 0x46, 0x24}, true, 7, 4, {KXW('A'), 0x4662}},
          {"four bytes beyond the end", {4, 0, 0, 0}, true, 4, 4, {0x4646, 0x4646}},
          {"five bytes beyond the end", {5, 0, 0, 0}, false, 0, 0, KXW("")},
          {"far too long", {0xFF, 0xFF, 0xFF, 0xFF, 0x07, 0x46}, false, 0, 0, KXW("")},
      },
      &CkxShBufString::FromBufferAndUnObfuscate);
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

std::vector<KxBytes> wiped;
void RememberWiped(const unsigned char* bytes, size_t count) { wiped.emplace_back(bytes, bytes + count); }

class ShBufStringWipe : public testing::Test {
 protected:
  ShBufStringWipe() : _before(KxUtil_SetWipeHook(RememberWiped)) { wiped.clear(); }
  ~ShBufStringWipe() override { KxUtil_SetWipeHook(_before); }

  /// `count` bytes of obfuscated text.
  static CkxShBufString Secret(unsigned char count) {
    KxBytes record{count, 0, 0, 0};
    record.resize(4u + count, 0x11);
    CkxExactBytes in(record);
    CkxShBufString text;
    EXPECT_TRUE(text.FromBufferAndUnObfuscate(in.cursor, in.remaining));
    return text;
  }

 private:
  const KxWipeHook _before;
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
  struct {
    const char* name;
    KxBytes bytes;
    bool read;
    size_t consumed;
    KxBytes values;
  } const cases[] = {
      {"half a count", {1, 0, 0}, false, 0, {}},
      {"empty", {0, 0, 0, 0, 7}, true, 4, {}},
      {"three", {3, 0, 0, 0, 7, 8, 9, 10}, true, 7, {7, 8, 9}},
      {"second of three does not parse", {3, 0, 0, 0, 7, 0xFF, 9}, false, 6, {}},
      {"an element is missing", {3, 0, 0, 0, 7, 8}, false, 6, {}},
      {"more elements than bytes", {0xFF, 0xFF, 0xFF, 0xFF, 7, 8}, false, 6, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    {
      CkxShBufList list;
      CkxExactBytes before({2, 0, 0, 0, 1, 2});
      ASSERT_TRUE(list.FromBuffer(before.cursor, before.remaining, CountedNode::FromBuffer));
      CkxExactBytes in(c.bytes);
      EXPECT_EQ(list.FromBuffer(in.cursor, in.remaining, CountedNode::FromBuffer), c.read);
      EXPECT_EQ(in.Consumed(), c.consumed);
      EXPECT_EQ(list.Count(), c.values.size());
      EXPECT_EQ(list.GetHead() == nullptr, c.values.empty());
      KxBytes values;
      for (const CountedNode& node : CkxNodes<CountedNode>(list)) values.push_back(node.value);
      EXPECT_EQ(values, c.values);
      EXPECT_EQ(CountedNode::alive, static_cast<int>(c.values.size()));
    }
    EXPECT_EQ(CountedNode::alive, 0);
  }
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
  const KxBytes administrators{16, 0, 0, 0, 1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0};
  KxBytes longer = administrators;
  longer[0] = 100;
  longer.resize(104, 0xAA);
  struct {
    const char* name;
    KxBytes bytes;
    bool read;
    size_t consumed;
    const char* sid;
  } const cases[] = {
      {"half a count", {16, 0, 0}, false, 0, ""},
      {"a count of 0 is the null SID", {0, 0, 0, 0, 9}, true, 4, "S-1-0-0"},
      {"administrators", administrators, true, 20, "S-1-5-32-544"},
      {"bytes after the SID", longer, true, 104, "S-1-5-32-544"},
      {"three bytes beyond the end", {12, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 5, 18}, true, 13, "S-1-5-18"},
      {"five bytes beyond the end", {12, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0}, false, 0, ""},
      {"less than its layout says", {8, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 5}, true, 12, ""},
      {"no SID at all", {2, 0, 0, 0, 0xFF, 0xFF}, true, 6, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    CkxExactBytes in(c.bytes);
    CkxSid sid;
    EXPECT_EQ(CkxBufReader(in.cursor, in.remaining).Sid(sid), c.read);
    EXPECT_EQ(in.Consumed(), c.consumed);
    EXPECT_EQ(in.remaining, c.bytes.size() - c.consumed);
    EXPECT_EQ(sid.ToUtf8(), c.sid);
  }
}

}  // namespace
