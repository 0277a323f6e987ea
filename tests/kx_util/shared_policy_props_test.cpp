#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/support/all_props.h"
#include "tests/support/read_prop.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <class Prop>
std::unique_ptr<CkxShBufPropBase> Make() {
  return std::make_unique<Prop>();
}

CkxRecordBytes Str(std::u16string_view pattern) { return CkxRecordBytes().Set().Obfuscated(pattern).U8(1).U16(2); }
CkxRecordBytes Publisher(std::u16string_view name, bool unsignedOnly) {
  return CkxRecordBytes().Set().Obfuscated(name).U8(0).U16(1).U8(unsignedOnly);
}
CkxRecordBytes VerInfo(std::u16string_view field, std::u16string_view text) {
  return CkxRecordBytes().Set().Obfuscated(text).U8(0).U16(1).Obfuscated(field);
}
CkxRecordBytes Location() { return CkxRecordBytes().Set().Obfuscated(u"C:\\T").U8(1).Text(u"FIXED,CDROM"); }
CkxRecordBytes Range() { return CkxRecordBytes().Set().U32(0x10002).U32(0x30004).U32(0x50006).U32(0x70008); }
CkxRecordBytes Capability() { return CkxRecordBytes().Set().Obfuscated(u"camera").U8(1); }
CkxRecordBytes Media() {
  return CkxRecordBytes().Set().Append(Str(u"USB")).Append(Str(u"V")).Unset().Append(Str(u"00"));
}
CkxRecordBytes Package() {
  return CkxRecordBytes().Set().U8(1).Obfuscated(u"Pkg").Append(Range()).U32(1).Append(Publisher(u"V", false));
}

CkxRecordBytes Origin() {
  CkxRecordBytes origin;
  origin.Set().U8(1).U32(3);                                           // flag, main source type
  origin.Set().Obfuscated(u"D").Append(Location()).Append(Package());  // distributor, location, package
  origin.Set().U8(0).U8(1);                                            // spawner
  return origin.Append(Str(u"http")).Set().U32(1).Set().Sid(18);       // address, users
}

using Maker = std::unique_ptr<CkxShBufPropBase> (*)();

template <class... Prop>
std::vector<Maker> MakersOf(KxTest_Props<Prop...>) {
  return {Make<Prop>...};
}

struct Kind {
  const char* name;
  KxBytes bytes;
  size_t slack = 0;  // bytes that may be missing at the end
  Maker make = nullptr;
};

/// Of an obfuscated text or a SID that ends a record, up to four bytes may not be there.
constexpr size_t kSlack = 4;

/// A record of each kind of property, all of its fields given, in the order of `KxTest_AllProps`.
std::vector<Kind> Kinds() {
  std::vector<Kind> kinds = {
      {"str", Str(u"ab").Bytes()},
      {"arguments", Str(u"ab").Bytes()},
      {"bitmask", CkxRecordBytes().Set().U32(6).U16(3).Bytes()},
      {"file name", CkxRecordBytes().Set().Obfuscated(u"a.exe").U16(1).Text(u"MD5").Text(u"MD5##00").U64(1000).Bytes()},
      {"file location", Location().Bytes()},
      {"service name", CkxRecordBytes().Set().Obfuscated(u"Spooler").Bytes(), kSlack},
      {"version range", Range().Bytes()},
      {"publisher", Publisher(u"V", true).Bytes()},
      {"publishers", CkxRecordBytes().Set().U32(2).Append(Publisher(u"V", false)).Unset().Bytes()},
      {"owner", CkxRecordBytes().Set().Sid(32, 544).Bytes(), kSlack},
      {"owners", CkxRecordBytes().Set().U32(2).Unset().Set().Sid(18).Bytes(), kSlack},
      {"version field", VerInfo(u"Company", u"V").Bytes(), kSlack},
      {"version fields", CkxRecordBytes().Set().U32(1).Append(VerInfo(u"Company", u"V")).Bytes(), kSlack},
      {"installer property", VerInfo(u"ProductCode", u"V").Bytes(), kSlack},
      {"installer properties", CkxRecordBytes().Set().U32(1).Append(VerInfo(u"ProductCode", u"V")).Bytes(), kSlack},
      {"parent process", CkxRecordBytes().Set().Id(1).U8(1).Id(2).U8(0).Bytes()},
      {"name and value", Str(u"Name").Obfuscated(u"1").Bytes(), kSlack},
      {"file-system path", CkxRecordBytes().Set().Obfuscated(u"C:\\T").U8(1).Bytes()},
      {"capability", Capability().Bytes()},
      {"capabilities", CkxRecordBytes().Set().U32(3).Append(Capability()).Unset().Append(Capability()).Bytes()},
      {"media", Media().Bytes()},
      {"list of media", CkxRecordBytes().Set().U32(2).Unset().Append(Media()).Bytes()},
      {"distribution service", CkxRecordBytes().Set().Obfuscated(u"D").Bytes(), kSlack},
      {"spawner process", CkxRecordBytes().Set().U8(1).U8(2).Bytes()},
      {"user or group", CkxRecordBytes().Set().Sid(18).Bytes(), kSlack},
      {"user list", CkxRecordBytes().Set().U32(1).Set().Sid(18).Bytes(), kSlack},
      {"package", Package().Bytes()},
      {"origin", Origin().Bytes(), kSlack},
  };
  const std::vector<Maker> makers = MakersOf(KxTest_AllProps());
  EXPECT_EQ(kinds.size(), makers.size());
  kinds.resize(std::min(kinds.size(), makers.size()));
  for (size_t i = 0; i < kinds.size(); ++i) kinds[i].make = makers[i];
  return kinds;
}

TEST(PolicyProps, EveryKindReadsItsRecordWholeAndNoShorterOne) {
  for (const Kind& kind : Kinds()) {
    SCOPED_TRACE(kind.name);
    KxBytes withMore = kind.bytes;
    withMore.push_back(0xEE);
    CkxExactBytes all(withMore);
    const auto prop = kind.make();
    ASSERT_TRUE(prop->FromBuffer(all.cursor, all.remaining));
    EXPECT_TRUE(prop->Initialized());
    EXPECT_EQ(all.Consumed(), kind.bytes.size()) << "a property takes its own bytes and none of the next";
    EXPECT_EQ(all.remaining, 1u);

    for (size_t count = 0; count < kind.bytes.size(); ++count) {
      CkxExactBytes part(kind.bytes, count);
      EXPECT_EQ(kind.make()->FromBuffer(part.cursor, part.remaining), count >= kind.bytes.size() - kind.slack) << count;
    }
  }
}

TEST(PolicyProps, OneThatIsNotSetIsOneByte) {
  for (const Kind& kind : Kinds()) {
    SCOPED_TRACE(kind.name);
    CkxExactBytes bytes({0, 1});
    const auto prop = kind.make();
    EXPECT_TRUE(prop->FromBuffer(bytes.cursor, bytes.remaining));
    EXPECT_FALSE(prop->Initialized());
    EXPECT_EQ(bytes.Consumed(), 1u);
  }
}

TEST(PolicyProps, FieldsLieInTheirOrder) {
  const auto str = KxTest_Read<CkxShBufPropStr>(Str(u"ab").Bytes());
  EXPECT_EQ(str->Pattern().ToString(), KXW("ab"));
  EXPECT_TRUE(str->CaseSensitive());
  EXPECT_EQ(str->CompareAs(), EkxStrCompareAs::StrStartsWith);

  const auto name = KxTest_Read<CkxShBufPropFileName>(
      CkxRecordBytes().Set().Obfuscated(u"a.exe").U16(4).Text(u"MD5").Text(u"MD5##00").U64(~uint64_t{0}).Bytes());
  EXPECT_EQ(name->Pattern().ToString(), KXW("a.exe"));
  EXPECT_EQ(name->CompareAs(), EkxStrCompareAs::StrWildcard);
  EXPECT_EQ(name->HashAlgorithm().ToString(), KXW("MD5"));
  EXPECT_EQ(name->Hash().ToString(), KXW("MD5##00"));
  EXPECT_EQ(name->FileSize(), -1);

  const auto parent = KxTest_Read<CkxShBufPropParentProcess>(CkxRecordBytes().Set().Id(1).U8(1).Id(2).U8(0).Bytes());
  EXPECT_EQ(parent->IncludedGroup().Data1, 1u);
  EXPECT_TRUE(parent->IncludedAnyAncestor());
  EXPECT_EQ(parent->ExcludedGroup().Data1, 2u);
  EXPECT_FALSE(parent->ExcludedAnyAncestor());

  const auto origin = KxTest_Read<CkxShBufPropFileOrigin>(Kinds().back().bytes);
  EXPECT_TRUE(origin->Flag());
  EXPECT_EQ(origin->MainSourceType(), 3u);
  EXPECT_EQ(origin->DistributionService().Name().ToString(), KXW("D"));
  EXPECT_EQ(origin->Location().LocationTypes().ToString(), KXW("FIXED,CDROM"));
  EXPECT_EQ(origin->Package().Name().ToString(), KXW("Pkg"));
  EXPECT_TRUE(origin->Package().Versions().Range().MaxVersion().IsEqual(5, 6, 7, 8));
  EXPECT_EQ((*origin->Package().Publishers().begin()).prop.Pattern().ToString(), KXW("V"));
  EXPECT_FALSE(origin->SpawnerProcess().AllCallers());
  EXPECT_EQ(origin->SpawnerProcess().Mode(), 1);
  EXPECT_EQ(origin->SourceAddress().Pattern().ToString(), KXW("http"));
  EXPECT_EQ((*origin->Users().Elements().begin()).prop.Sid().ToUtf8(), "S-1-5-18");
}

SkxFileFacts Facts() {
  SkxFileFacts facts;
  facts.path = KXW("C:\\T\\a.exe");
  facts.size = 1000;
  facts.hashes = {{KXW("MD5"), KXW("00ff")}};
  facts.owner = CkxSid::FromUtf8("S-1-5-18");
  facts.signers = {{KXW("Vendor"), EkxPublisherStatus::Valid}};
  facts.versionInfo = {{KXW("CompanyName"), KXW("Vendor")}, {KXW("Language"), KXW("en")}};
  facts.msiProperties = {{KXW("ProductCode"), KXW("{1}")}};
  return facts;
}

struct MatchCase {
  const char* name;
  bool matches;
  std::function<bool(const CkxTargetInfoFile&)> match;
};

CkxRecordBytes List(uint32_t count) { return CkxRecordBytes().Set().U32(count); }

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
      {"no owner asked for", true, Matcher<CkxShBufPropFileOwners>(unset)},
      {"an empty list of owners", false, Matcher<CkxShBufPropFileOwners>(List(0))},
      {"another owner", false, Matcher<CkxShBufPropFileOwners>(List(1).Set().Sid(32, 544))},
      {"another owner or this one", true, Matcher<CkxShBufPropFileOwners>(List(2).Set().Sid(32, 544).Set().Sid(18))},
      {"an owner that is not set is anyone", true, Matcher<CkxShBufPropFileOwners>(List(1).Unset())},
      {"the null SID is nobody", false, Matcher<CkxShBufPropFileOwners>(List(1).Set().Absent())},
      {"no publisher asked for", true, Publishers(unset)},
      {"an empty list of publishers", false, Publishers(List(0))},
      {"publishers that are not set", false, Publishers(List(2).Unset(2))},
      {"the second publisher", true,
       Publishers(List(2).Append(Publisher(u"Else", false)).Append(Publisher(u"vendor", false)))},
      {"unsigned only", false, Publishers(List(1).Append(Publisher(u"", true)))},
      {"a publisher that is not set", false, Matcher<CkxShBufPropPublisher>(unset)},
      {"a version field that is not set", false, Matcher<CkxShBufPropFileVerInfo>(unset)},
      {"an empty list of version fields", true, Matcher<CkxShBufPropFileVerInfos>(List(0))},
      {"both version fields", true,
       Matcher<CkxShBufPropFileVerInfos>(
           List(2).Append(VerInfo(u"CompanyName", u"vendor")).Append(VerInfo(u"Language", u"EN")))},
      {"one version field of two", false,
       Matcher<CkxShBufPropFileVerInfos>(
           List(2).Append(VerInfo(u"CompanyName", u"vendor")).Append(VerInfo(u"Language", u"de")))},
      {"a version field that the file lacks", false,
       Matcher<CkxShBufPropFileVerInfos>(List(1).Append(VerInfo(u"Comments", u"")))},
      {"an installer property that is not set", false, Matcher<CkxShBufPropFileMsiInfo>(unset)},
      {"an installer property", true,
       Matcher<CkxShBufPropFileMsiInfos>(List(1).Append(VerInfo(u"ProductCode", u"{1}")))},
      {"another installer property", false,
       Matcher<CkxShBufPropFileMsiInfos>(List(1).Append(VerInfo(u"ProductCode", u"{2}")))},
      {"no origin asked for", true, Matcher<CkxShBufPropFileOrigin>(unset)},
      {"an origin that nobody recorded", false,
       Matcher<CkxShBufPropFileOrigin>(CkxRecordBytes().Set().U8(0).U32(0).Unset(6))},
      {"name, hash and size", true, NameAndHash(u"A.EXE", u"md5##00FF", 1000)},
      {"any size", true, NameAndHash(u"A.EXE", u"md5##00FF", ~uint64_t{0})},
      {"another size", false, NameAndHash(u"A.EXE", u"md5##00FF", 1001)},
      {"another name", false, NameAndHash(u"b.exe", u"md5##00FF", 1000)},
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

TEST(PolicyProps, UnsignedOnlyTakesAFileWithoutASigner) {
  SkxFileFacts facts = Facts();
  facts.signers.clear();
  const CkxTargetInfoFile file(facts, nullptr);
  EXPECT_TRUE(KxTest_Read<CkxShBufPropPublisher>(Publisher(u"", true).Bytes())->Match(file));
}

TEST(PolicyProps, PublishersOfAKindThatHasNoneAreAWarning) {
  const CkxTargetInfoFile file(Facts(), nullptr);
  CkxTraceCapture trace;
  EXPECT_TRUE(KxTest_Read<CkxShBufPropPublishers>({0})->Match(file, false));
  EXPECT_THAT(trace.Texts(), IsEmpty());
  EXPECT_FALSE(KxTest_Read<CkxShBufPropPublishers>(List(0).Bytes())->Match(file, false));
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
