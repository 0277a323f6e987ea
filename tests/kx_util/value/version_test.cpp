// Beside what tests/data/match/numbers.txt says of versions as texts.
#include <kx_util/version.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(Version, PartsAndWordsAreOneNumber) {
  const SkxVersion version(uint16_t{1}, uint16_t{2}, uint16_t{3}, uint16_t{0xFFFF});
  EXPECT_EQ(version.MostSignificant(), 0x00010002u);
  EXPECT_EQ(version.LeastSignificant(), 0x0003FFFFu);
  EXPECT_EQ(SkxVersion(version.ToQWORD()).ToQWORD(), 0x000100020003FFFFu);
  const uint16_t parts[] = {1, 2, 3, 0xFFFF, 0, 0};
  for (unsigned char i = 0; i < 6; ++i) EXPECT_EQ(version.GetAt(i), parts[i]) << int{i};
  EXPECT_EQ(version.GetAt(255), 0);
  EXPECT_TRUE(version.IsEqual(1, 2, 3, 0xFFFF));
}

TEST(Version, OrderIsThatOfTheWords) {
  const std::vector<SkxVersion> ascending = {SkxVersion(0, 0),          SkxVersion(0, 0xFFFFFFFF), SkxVersion(1, 0),
                                             SkxVersion(0x7FFFFFFF, 1), SkxVersion(0x80000000, 0), SkxVersion()};
  for (size_t i = 0; i < ascending.size(); ++i) {
    for (size_t j = 0; j < ascending.size(); ++j) {
      SCOPED_TRACE(std::to_string(i) + " and " + std::to_string(j));
      const SkxVersion& a = ascending[i];
      const SkxVersion& b = ascending[j];
      EXPECT_EQ(a.IsEqual(b), i == j);
      EXPECT_EQ(a.IsLessThan(b), i < j);
      EXPECT_EQ(a.IsLessOrEqualThan(b.MostSignificant(), b.LeastSignificant()), i <= j);
      EXPECT_EQ(a.IsGreaterThan(b), i > j);
      EXPECT_EQ(a.IsGreaterOrEqualThan(b.MostSignificant(), b.LeastSignificant()), i >= j);
    }
  }
}

TEST(VersionRange, IsSixteenBytes) {
  const std::vector<unsigned char> golden = {2, 0, 1, 0, 4, 0, 3, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  CkxVersionRange range;
  range.FromString(KXW("1.2.3.4"), nullptr);
  std::vector<unsigned char> written(16);
  unsigned char* out = written.data();
  unsigned long room = 16;
  ASSERT_TRUE(range.ToBuffer(out, room));
  EXPECT_EQ(written, golden);
  EXPECT_EQ(room, 0u);

  // Too little for both bounds: the minimum is taken, or given, all the same.
  for (unsigned long size = 0; size <= 16; ++size) {
    const unsigned long left = size < 8 ? size : size < 16 ? size - 8 : 0;
    const unsigned char* cursor = golden.data();
    unsigned long remaining = size;
    CkxVersionRange read;
    EXPECT_EQ(read.FromBuffer(cursor, remaining), size == 16) << size;
    EXPECT_EQ(remaining, left);
    EXPECT_EQ(cursor - golden.data(), static_cast<std::ptrdiff_t>(size - left));
    EXPECT_EQ(read.MinVersion().IsEmpty(), size < 8);
    EXPECT_TRUE(read.MaxVersion().IsEmpty());

    out = written.data();
    room = size;
    EXPECT_EQ(range.ToBuffer(out, room), size == 16) << size;
    EXPECT_EQ(room, left);
  }
}

}  // namespace
