#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/shared_policy_origin_props.h>

#include <functional>

#include "tests/support/read_prop.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

CkxRecordBytes Str(std::u16string_view pattern) { return CkxRecordBytes().Set().Obfuscated(pattern).U8(1).U16(2); }
SkxFileFacts Facts() {
  SkxFileFacts facts;
  facts.path = KXW("C:\\T\\a.exe");
  facts.size = 1000;
  facts.hashes = {{KXW("MD5"), KXW("00ff")}};
  facts.owner = CkxSid::FromUtf8("S-1-5-18");
  return facts;
}

struct MatchCase {
  const char* name;
  bool matches;
  std::function<bool(const CkxTargetInfoFile&)> match;
};

CkxRecordBytes ListHead(uint32_t count) { return CkxRecordBytes().Set().U32(count); }

template <class Prop>
auto Matcher(const CkxRecordBytes& record) {
  return [bytes = record.Bytes()](const CkxTargetInfoFile& file) { return KxTest_Read<Prop>(bytes)->Match(file); };
}

auto Publishers(const CkxRecordBytes& record) {
  return [bytes = record.Bytes()](const CkxTargetInfoFile& file) {
    return KxTest_Read<CkxShBufPropPublishers>(bytes)->Match(file, true);
  };
}

auto NameAndHash(std::u16string_view name, std::u16string_view hash, uint64_t size) {
  return [=](const CkxTargetInfoFile& file) {
    CkxRecordBytes record;
    record.Set().Obfuscated(name).U16(1).Text(u"MD5").Text(hash).U64(size);
    return KxTest_Read<CkxShBufPropFileName>(record.Bytes())->MatchFileNameAndHash(file);
  };
}

TEST(PolicyProps, MatchAgainstAFile) {
  const CkxRecordBytes unset = CkxRecordBytes().Unset();
  const MatchCase cases[] = {
      {"an empty list of owners", false, Matcher<CkxShBufPropFileOwners>(ListHead(0))},
      {"an owner that is not set is anyone", true, Matcher<CkxShBufPropFileOwners>(ListHead(1).Unset())},
      {"the null SID is nobody", false, Matcher<CkxShBufPropFileOwners>(ListHead(1).Set().Absent())},
      {"an empty list of publishers", false, Publishers(ListHead(0))},
      {"publishers that are not set", false, Publishers(ListHead(2).Unset(2))},
      {"a publisher that is not set", false, Matcher<CkxShBufPropPublisher>(unset)},
      {"a version field that is not set", false, Matcher<CkxShBufPropFileVerInfo>(unset)},
      {"an empty list of version fields", true, Matcher<CkxShBufPropFileVerInfos>(ListHead(0))},
      {"an installer property that is not set", false, Matcher<CkxShBufPropFileMsiInfo>(unset)},
      {"an origin that nobody recorded", false,
       Matcher<CkxShBufPropFileOrigin>(CkxRecordBytes().Set().U8(0).U32(0).Unset(6))},
      {"the empty name", false, NameAndHash(u"", u"md5##00FF", 1000)},
  };
  for (const MatchCase& c : cases) {
    const CkxTargetInfoFile file(Facts(), nullptr);
    EXPECT_EQ(c.match(file), c.matches) << c.name;
  }
}

TEST(PolicyProps, ANameThatComesWithAHashIsNotMatchedByNameAlone) {
  const CkxSimplePathProvider file(KXW("C:\\T\\A.exe"));
  const auto match = [&](std::u16string_view hash) {
    CkxRecordBytes record;
    record.Set().Obfuscated(u"a.EXE").U16(1).Absent().Text(hash).U64(0);
    return KxTest_Read<CkxShBufPropFileName>(record.Bytes())->MatchFileName(file);
  };
  EXPECT_TRUE(match(u"")) << "a hash of nothing but its terminator is none";
  EXPECT_FALSE(match(u"MD5##00"));
}

TEST(PolicyProps, PublishersOfAKindThatHasNoneAreAWarning) {
  const CkxTargetInfoFile file(Facts(), nullptr);
  CkxTraceCapture trace;
  EXPECT_TRUE(KxTest_Read<CkxShBufPropPublishers>({0})->Match(file, false));
  EXPECT_THAT(trace.Texts(), IsEmpty());
  EXPECT_FALSE(KxTest_Read<CkxShBufPropPublishers>(ListHead(0).Bytes())->Match(file, false));
  EXPECT_THAT(trace.Texts(),
              ElementsAre("KXT_WARNING CkxShBufPropPublishers:  CkxShBufPropPublishers::Match. WARNING: This type of "
                          "object is not allowed for matching by publishers"));
}

TEST(PolicyProps, TextsAndNumbersMatch) {
  EXPECT_TRUE(KxTest_Read<CkxShBufPropStr>(Str(u"ab").Bytes())->Match(KXW("abc")));
  EXPECT_FALSE(KxTest_Read<CkxShBufPropStr>(Str(u"ab").Bytes())->Match(KXW("Abc")));
  EXPECT_FALSE(KxTest_Read<CkxShBufPropStr>(Str(u"ab").Bytes())->Match(CkxTextView()));
  EXPECT_TRUE(KxTest_Read<CkxShBufPropStr>({0})->Match(CkxTextView()));
  const auto bits = KxTest_Read<CkxShBufPropBitmask>(CkxRecordBytes().Set().U32(6).U16(3).Bytes());
  EXPECT_TRUE(bits->Match(4));
  EXPECT_FALSE(bits->Match(9));
  const auto service = KxTest_Read<CkxShBufPropSvcName>(CkxRecordBytes().Set().Obfuscated(u"spooler").Bytes());
  EXPECT_TRUE(service->Match(KXW("Netlogon/Spooler")));
  EXPECT_FALSE(service->Match(KXW("Netlogon")));
  EXPECT_TRUE(KxTest_Read<CkxShBufPropSvcName>({0})->Match(KXW("")));
}

}  // namespace
