#include "Common_CPP/ole/compound_file.h"

#include <gtest/gtest.h>

#include "tests/support/compound_file.h"
#include "tests/support/memory_source.h"

namespace {

constexpr uint64_t kLimit = 16 * 1024 * 1024;

/// Bytes that tell where in which stream they are.
KxBytes Content(size_t size) {
  KxBytes bytes(size);
  for (size_t at = 0; at < size; ++at) bytes[at] = static_cast<unsigned char>(at * 7 + at / 256 + size);
  return bytes;
}

constexpr size_t kSizes[] = {0, 1, 64, 65, 4095, 4096, 4097, 70'000};

std::u16string NameOf(size_t size) {
  const std::string digits = std::to_string(size);
  return u"Stream of " + std::u16string(digits.begin(), digits.end());
}

CkxTestCompound WithStreams(size_t sector, std::span<const size_t> sizes) {
  CkxTestCompound compound(sector, 0xC1084);
  for (const size_t size : sizes) compound.Stream(NameOf(size), Content(size));
  return compound;
}

std::optional<KxBytes> ReadStream(const CkxCompoundFile& file, size_t size, uint64_t limit = kLimit) {
  const std::u16string name = NameOf(size);
  const auto entry = file.Find(file.Root(), KxWString(name.begin(), name.end()));
  return entry ? file.Read(*entry, limit) : std::nullopt;
}

TEST(CompoundFile, ReadsStreamsOfEverySize) {
  for (const size_t sector : {512u, 4096u}) {
    const CkxMemorySource source(WithStreams(sector, kSizes).Bytes());
    const std::optional<CkxCompoundFile> file = CkxCompoundFile::Open(source);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->Root().classId.Data1, 0xC1084u);
    for (const size_t size : kSizes) {
      EXPECT_EQ(ReadStream(*file, size), Content(size)) << size;
      EXPECT_EQ(ReadStream(*file, size, size), Content(size)) << size;
      if (size != 0) {
        EXPECT_FALSE(ReadStream(*file, size, size - 1)) << size;
      }
    }
    EXPECT_TRUE(file->Find(file->Root(), KXW("STREAM OF 65")));
    EXPECT_FALSE(file->Find(file->Root(), KXW("Stream of 66")));
    const auto children = file->Children(file->Root());
    ASSERT_TRUE(children);
    ASSERT_EQ(children->size(), std::size(kSizes));
    EXPECT_EQ(children->front().name, KxWString(KXW("Stream of 0")));
    EXPECT_EQ(children->back().name, KxWString(KXW("Stream of 70000")));
    EXPECT_FALSE(file->Read(file->Root(), kLimit)) << "no stream";
  }
}

TEST(CompoundFile, ReadsWhatNeedsMoreTablesThanTheHeaderTells) {
  constexpr size_t kSize = 8'000'000;
  const CkxMemorySource source(WithStreams(512, {{kSize}}).Bytes());
  const std::optional<CkxCompoundFile> file = CkxCompoundFile::Open(source);
  ASSERT_TRUE(file);
  EXPECT_EQ(ReadStream(*file, kSize), Content(kSize));
}

TEST(CompoundFile, LongStreamsAreReadPieceByPiece) {
  constexpr size_t kSize = 1'000'000;
  const CkxMemorySource source(WithStreams(512, {{kSize}}).Bytes());
  const std::optional<CkxCompoundFile> file = CkxCompoundFile::Open(source);
  ASSERT_TRUE(file);
  const SkxCompoundEntry stream = file->Children(file->Root())->front();
  KxBytes together;
  size_t pieces = 0;
  EXPECT_TRUE(file->ReadEach(stream, [&](std::span<const unsigned char> piece) {
    together.insert(together.end(), piece.begin(), piece.end());
    ++pieces;
    return piece.size() <= 256 * 1024;
  }));
  EXPECT_EQ(together, Content(kSize));
  EXPECT_EQ(pieces, 4u);
  pieces = 0;
  EXPECT_FALSE(file->ReadEach(stream, [&](std::span<const unsigned char>) { return ++pieces < 2; }));
  EXPECT_EQ(pieces, 2u);
}

TEST(CompoundFile, ACutFileHasTheStreamsThatAreLeftOrNone) {
  constexpr size_t kFew[] = {70, 5000};
  const KxBytes whole = WithStreams(512, kFew).Bytes();
  for (size_t size = 0; size < whole.size(); ++size) {
    const CkxMemorySource source(whole.data(), size);
    const std::optional<CkxCompoundFile> file = CkxCompoundFile::Open(source);
    for (const size_t stream : kFew) {
      const std::optional<KxBytes> read = file ? ReadStream(*file, stream) : std::nullopt;
      ASSERT_TRUE(!read || read == Content(stream)) << size;
    }
  }
}

void SetU32(KxBytes& bytes, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<unsigned char>(value >> (8 * i));
}

TEST(CompoundFile, RefusesHeadersThatAreNone) {
  const KxBytes whole = WithStreams(512, kSizes).Bytes();
  const struct {
    size_t at;
    uint32_t value;
  } kFaults[] = {{0, 0xE011CFD1},  {24, 0x0004003E}, {24, 0x0005003E}, {28, 0x0009FEFF}, {28, 0x000CFFFE},
                 {28, 0x0000FFFE}, {28, 0xFFFFFFFE}, {32, 7},          {44, 0x8001},     {44, 0xFFFFFFFF},
                 {44, 200},        {44, 0},          {48, 0xFFFFFFFF}, {48, 0x7FFFFFFF}, {48, 1000},
                 {48, 2},          {56, 64},         {76, 0x00FFFFFF}};
  for (const auto& fault : kFaults) {
    KxBytes broken = whole;
    SetU32(broken, fault.at, fault.value);
    EXPECT_FALSE(CkxCompoundFile::Open(CkxMemorySource(broken))) << fault.at << " " << fault.value;
  }
}

/// The sector of the allocation table, of a file that has one.
size_t TableAt(const KxBytes& file) { return 512 + 512 * (file[76] + 256u * file[77]); }

TEST(CompoundFile, LoopsEnd) {
  constexpr size_t kFew[] = {70, 5000};
  CkxTestCompound made = WithStreams(512, kFew);
  const KxBytes whole = made.Bytes();
  const size_t table = TableAt(whole);
  const auto opened = [](const KxBytes& bytes, const auto& check) {
    const CkxMemorySource source(bytes);
    check(CkxCompoundFile::Open(source));
    EXPECT_LT(source.bytesRead, 8u * 1024 * 1024);
  };
  {
    KxBytes looping = whole;  // the directory is its own next sector
    SetU32(looping, table, 0);
    opened(looping, [](const auto& file) { EXPECT_FALSE(file); });
  }
  {
    KxBytes looping = whole;  // the first sector of the large stream, which stands behind the directory
    SetU32(looping, table + 4, 1);
    opened(looping, [](const auto& file) {
      ASSERT_TRUE(file);
      EXPECT_EQ(ReadStream(*file, 5000)->size(), 5000u);
      EXPECT_EQ(ReadStream(*file, 70), Content(70));
    });
  }
  {
    KxBytes looping = whole;  // to the left and to the right of itself
    for (const size_t side : {68u, 72u}) SetU32(looping, made.EntryAt(1) + side, 1);
    opened(looping, [](const auto& file) {
      ASSERT_TRUE(file);
      EXPECT_FALSE(file->Children(file->Root()));
      EXPECT_FALSE(ReadStream(*file, 5000));
      EXPECT_EQ(ReadStream(*file, 70), Content(70));
    });
  }
}

/// What is in the directory, but not in the tree, is not in the storage.
TEST(CompoundFile, FindsWhatTheTreeLeadsToAlone) {
  constexpr size_t kFew[] = {1, 65, 70};
  CkxTestCompound made = WithStreams(512, kFew);
  KxBytes bytes = made.Bytes();
  SetU32(bytes, made.EntryAt(1) + 72, 3);  // past the second
  const CkxMemorySource source(bytes);
  const auto file = CkxCompoundFile::Open(source);
  ASSERT_TRUE(file);
  EXPECT_TRUE(ReadStream(*file, 1));
  EXPECT_FALSE(ReadStream(*file, 65));
  EXPECT_EQ(ReadStream(*file, 70), Content(70));
  EXPECT_EQ(file->Children(file->Root())->size(), 2u);
}

TEST(CompoundFile, PromisesOfMuchCostLittle) {
  const KxBytes whole = WithStreams(512, kSizes).Bytes();
  for (const uint32_t absurd : {0u, 0x7FFFu, 0x8000u, 0x3FFFFFu, 0xFFFFFFF0u}) {
    for (const size_t at : {44u, 48u, 60u, 64u, 68u, 72u, 76u}) {
      KxBytes broken = whole;
      SetU32(broken, at, absurd);
      const CkxMemorySource source(broken, uint64_t{2} * 1024 * 1024 * 1024);
      const auto file = CkxCompoundFile::Open(source);
      for (const size_t size : kSizes) {
        if (file) ReadStream(*file, size);
      }
      EXPECT_LT(source.bytesRead, 64u * 1024 * 1024) << at << " " << absurd;
    }
  }
}

TEST(CompoundFile, NoByteLeadsAstray) {
  constexpr size_t kFew[] = {70, 5000};
  const KxBytes whole = WithStreams(512, kFew).Bytes();
  size_t same = 0, refused = 0;
  for (size_t at = 0; at < whole.size(); ++at) {
    for (const int change : {0x01, 0x80, 0xFF}) {
      KxBytes broken = whole;
      broken[at] ^= static_cast<unsigned char>(change);
      const CkxMemorySource source(broken);
      const auto file = CkxCompoundFile::Open(source);
      const auto read = file ? ReadStream(*file, 5000) : std::nullopt;
      ASSERT_LT(source.bytesRead, 64u * 1024) << at;
      ++(read == Content(5000) ? same : refused);
    }
  }
  EXPECT_GT(same, 1000u);
  EXPECT_GT(refused, 100u);
}

}  // namespace
