#include "Common_CPP/util/byte_cursor.h"

#include <gtest/gtest.h>

#include <vector>

#include "Common_CPP/util/guid.h"

namespace {

/// One field of each kind, at odd addresses.
struct Record {
  uint8_t u8 = 0;
  uint16_t u16 = 0;
  uint32_t u32 = 0;
  uint64_t u64 = 0;
  int64_t i64 = 0;
  GUID guid{};
  bool flag = false;
  const unsigned char* bytes = nullptr;

  bool Read(CkxByteCursor in) {
    return in.U8(u8) && in.U16(u16) && in.U32(u32) && in.U64(u64) && in.I64(i64) && in.Guid(guid) && in.Flag(flag) &&
           in.Bytes(3, bytes);
  }
};

const std::vector<unsigned char> kRecord = {
    0x7F,                                                                    // u8
    0x34, 0x12,                                                              // u16
    0x78, 0x56, 0x34, 0x12,                                                  // u32
    0xF0, 0xDE, 0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12,                          // u64
    0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,                          // i64
    0x67, 0x45, 0x23, 0x01, 0xAB, 0x89, 0xEF, 0xCD, 0, 1, 2, 3, 4, 5, 6, 7,  // guid
    0x80,                                                                    // flag: any value but 0
    'x',  'y',  'z',                                                         // bytes
};
const size_t kFieldEnds[] = {1, 3, 7, 15, 23, 39, 40, 43};

TEST(ByteCursor, ReadsFieldsInPlaceAndConsumesThem) {
  const unsigned char* cursor = kRecord.data();
  unsigned long remaining = static_cast<unsigned long>(kRecord.size());
  Record record;
  ASSERT_TRUE(record.Read(CkxByteCursor(cursor, remaining)));
  EXPECT_EQ(record.u8, 0x7F);
  EXPECT_EQ(record.u16, 0x1234);
  EXPECT_EQ(record.u32, 0x12345678u);
  EXPECT_EQ(record.u64, 0x123456789ABCDEF0u);
  EXPECT_EQ(record.i64, -2);
  EXPECT_EQ(KxGuid_ToUtf8(record.guid), "{01234567-89AB-CDEF-0001-020304050607}");
  EXPECT_TRUE(record.flag);
  EXPECT_EQ(record.bytes, kRecord.data() + 40);
  EXPECT_EQ(cursor, kRecord.data() + kRecord.size());
  EXPECT_EQ(remaining, 0u);
}

TEST(ByteCursor, AShortFieldConsumesNothing) {
  for (size_t kept = 0; kept < kRecord.size(); ++kept) {
    const std::vector<unsigned char> exact(kRecord.begin(), kRecord.begin() + static_cast<std::ptrdiff_t>(kept));
    size_t wholeFields = 0;
    for (const size_t end : kFieldEnds) wholeFields = end <= kept ? end : wholeFields;

    const unsigned char* cursor = exact.data();
    unsigned long remaining = static_cast<unsigned long>(kept);
    EXPECT_FALSE(Record().Read(CkxByteCursor(cursor, remaining))) << kept;
    EXPECT_EQ(remaining, kept - wholeFields) << kept;
    EXPECT_EQ(cursor, exact.data() + wholeFields) << kept;
  }
}

TEST(ByteCursor, PeekConsumesNothingAndCountsDoNotWrap) {
  const unsigned char* cursor = kRecord.data() + 3;
  unsigned long remaining = 4;
  CkxByteCursor in(cursor, remaining);
  uint32_t value = 0;
  EXPECT_TRUE(in.PeekU32(value));
  EXPECT_EQ(value, 0x12345678u);
  EXPECT_EQ(in.Remaining(), 4u);

  const unsigned char* bytes = nullptr;
  EXPECT_FALSE(in.Bytes(5, bytes));
  EXPECT_FALSE(in.Bytes(SIZE_MAX, bytes));
  EXPECT_EQ(bytes, nullptr);
  EXPECT_TRUE(in.Bytes(4, bytes));
  EXPECT_FALSE(in.PeekU32(value));

  const unsigned char* none = nullptr;
  unsigned long claimed = 100;
  bool flag = true;
  EXPECT_FALSE(CkxByteCursor(none, claimed).Flag(flag)) << "no bytes, whatever the count says";
  EXPECT_TRUE(flag);
}

}  // namespace
