#include "Common_CPP/token_security_attributes/token_security_attributes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/util/text.h"
#include "tests/support/fake_token_attributes.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Marks = CkxTokenSecurityAttributes;

/// A handle of the system's, as far as anybody looks.
void* const kNativeToken = reinterpret_cast<void*>(uintptr_t{0x1234});

SkxTokenAttribute Numbers(const WCHAR* name, uint32_t flags, const std::vector<uint64_t>& numbers) {
  SkxTokenAttribute attribute = {name, KxTokenUInt64, flags, {}};
  for (const uint64_t number : numbers) attribute.values.emplace_back().number = number;
  return attribute;
}

std::vector<SkxTokenAttribute> Listed(void* token) {
  std::vector<SkxTokenAttribute> attributes;
  EXPECT_TRUE(Marks::List(token, attributes));
  return attributes;
}

TEST(TokenSecurityAttributes, AreAddedReplacedAndDeletedOnATokenOfTheFakedSystemAsOnOneOfOurs) {
  CkxFakeTokenAttributes fake;
  fake.tokens[kNativeToken] = {};
  CkxAccessToken object(*CkxSid::FromUtf8("S-1-5-21-1-2-3-1001"), {}, false);
  const SkxTokenAttribute other = Numbers(KXW("zor://tpd"), 0x20, {7});  // names differ by case
  for (void* const token : {kNativeToken, object.Handle()}) {
    EXPECT_TRUE(Marks::Delete(token, KXW("ZOR://TPD"))) << "one that is not there";
    EXPECT_TRUE(Marks::Set(token, other));
    for (const uint64_t number : {UINT64_MAX, uint64_t{0}}) {
      const SkxTokenAttribute mark = Numbers(KXW("ZOR://TPD"), 0x41, {number, 2, 3, 4});
      EXPECT_TRUE(Marks::Set(token, mark));
      EXPECT_THAT(Listed(token), ElementsAre(other, mark));
    }
    EXPECT_TRUE(Marks::Delete(token, KXW("ZOR://TPD")));
    EXPECT_THAT(Listed(token), ElementsAre(other));
  }
  EXPECT_THAT(fake.operations, ElementsAre(KxTokenAdd, KxTokenAdd, KxTokenReplace, KxTokenDelete));
}

TEST(TokenSecurityAttributes, OfEveryTypeAreListedWhateverTheirSize) {
  CkxFakeTokenAttributes fake;
  std::vector<SkxTokenAttribute>& attributes = fake.tokens[kNativeToken];
  EXPECT_THAT(Listed(kNativeToken), IsEmpty());
  attributes = {
      {KXW("i"), KxTokenInt64, 0, {{.number = uint64_t(-1), .bytes = {}}}},
      {KXW("s"), KxTokenString, 2, {{.text = KXW("a text"), .bytes = {}}, {}}},
      {KXW("f"), KxTokenFqbn, 0, {{.number = 5, .text = KXW("O=VENDOR\\APP"), .bytes = {}}}},
      {KXW("b"), KxTokenBoolean, 0, {{.number = 1, .bytes = {}}}},
      {KXW("o"), KxTokenOctetString, 0x80000000, {{.bytes = {1, 2, 3}}}},
      {KXW("sid"), KxTokenSid, 0x10, {{.bytes = {1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0}}}},
  };
  EXPECT_EQ(Listed(kNativeToken), attributes);
  attributes.push_back(Numbers(KXW("large"), 0, std::vector<uint64_t>(5000, 9)));
  fake.queries = 0;
  EXPECT_EQ(Listed(kNativeToken), attributes);
  EXPECT_EQ(fake.queries, 2) << "how large it is, then the answer";
}

TEST(TokenSecurityAttributes, ALostRaceIsTriedOnceMore) {
  CkxFakeTokenAttributes fake;
  const SkxTokenAttribute theirs = Numbers(KXW("A"), 0, {1});
  const SkxTokenAttribute ours = Numbers(KXW("A"), 0, {2});
  const auto theyAdd = [&](CkxFakeTokenAttributes::Attributes& attributes) { attributes = {theirs}; };
  const auto theyDelete = [](CkxFakeTokenAttributes::Attributes& attributes) { attributes.clear(); };
  auto& attributes = fake.tokens[kNativeToken];
  fake.before = theyAdd;
  EXPECT_TRUE(Marks::Set(kNativeToken, ours));
  EXPECT_THAT(attributes, ElementsAre(ours));
  fake.before = theyDelete;
  EXPECT_TRUE(Marks::Set(kNativeToken, ours));
  EXPECT_THAT(attributes, ElementsAre(ours));
  fake.before = theyDelete;
  EXPECT_TRUE(Marks::Delete(kNativeToken, KXW("A")));
  EXPECT_THAT(fake.operations, ElementsAre(KxTokenAdd, KxTokenReplace, KxTokenReplace, KxTokenAdd, KxTokenDelete));
}

TEST(TokenSecurityAttributes, WhatFailsSaysWhy) {
  CkxFakeTokenAttributes fake;
  fake.tokens[kNativeToken] = {};
  CkxTraceCapture trace;
  std::vector<SkxTokenAttribute> attributes;
  EXPECT_FALSE(Marks::Set(nullptr, {}));
  EXPECT_FALSE(Marks::List(nullptr, attributes));
  EXPECT_FALSE(Marks::Delete(nullptr, KXW("A")));
  EXPECT_FALSE(Marks::List(reinterpret_cast<void*>(uintptr_t{0x10}), attributes));
  EXPECT_FALSE(Marks::Set(kNativeToken, Numbers(KXW("A"), 0, {})));
  EXPECT_FALSE(Marks::Set(kNativeToken, Numbers(KxWString(32768, KXW('a')).c_str(), 0, {1})));
  const std::string scope = "KXT_ERROR CkxTokenSecurityAttributes: ERROR: ";
  EXPECT_THAT(trace.Texts(), ElementsAre(scope + "token is NULL", scope + "token is NULL", scope + "token is NULL",
                                         scope + "Failed to query token security attributes. Status=0xC0000008",
                                         scope + "Failed to change token security attribute [A]. Status=0xC000000D",
                                         scope + "The name of a token security attribute is too long"));
}

TEST(TokenSecurityAttributes, AnAnswerThatLeadsOutOfItselfIsRefused) {
  CkxFakeTokenAttributes fake;
  fake.tokens[kNativeToken] = {Numbers(KXW("A"), 0, {1, 2}),
                               {KXW("f"), KxTokenFqbn, 0, {{.number = 5, .text = KXW("O=V"), .bytes = {}}}}};
  const CkxTraceCapture quiet;
  const size_t head = sizeof(SkxTokenListRecord);
  const struct {
    const char* what;
    size_t at;
    uint64_t value;
    size_t bytes;
  } damages[] = {
      {"version", 0, 2, 2},
      {"count of attributes", 4, 1000, 4},
      {"attributes before it", 8, 0x10, 8},
      {"attributes behind it", 8, UINT64_MAX - 8, 8},
      {"half a unit of a name", head, 1, 2},
      {"name", head + 8, 0, 8},
      {"count of values", head + 24, 0x20000000, 4},
      {"values", head + 32, 1, 8},
      {"values of the second", head + 40 + 32, 1, 8},
  };
  for (const auto& damage : damages) {
    fake.damage = [&](std::vector<unsigned char>& answer) {
      std::memcpy(answer.data() + damage.at, &damage.value, damage.bytes);
    };
    std::vector<SkxTokenAttribute> attributes = {{}};
    EXPECT_FALSE(Marks::List(kNativeToken, attributes)) << damage.what;
    EXPECT_EQ(attributes.size(), 1u);
  }
  fake.damage = nullptr;
  EXPECT_EQ(Listed(kNativeToken), fake.tokens[kNativeToken]);
}

TEST(TokenSecurityAttributes, AreDescribedForMessages) {
  const auto described = [](uint16_t type, uint32_t flags, size_t count) {
    return KxText_ToUtf8(Marks::Description({KXW("A"), type, flags, std::vector<SkxTokenAttribute::Value>(count)}));
  };
  EXPECT_EQ(described(2, 0x41, 4), "Type=2 (UINT64), Flags=0x00000041 (NON_INHERITABLE|COMPARE_IGNORE) Count=4");
  EXPECT_EQ(described(16, 0, 0), "Type=16 (OCTET_STRING), Flags=0x00000000 (0) Count=0");
  EXPECT_EQ(described(7, 0x10020, 1), "Type=7 (UNKNOWN), Flags=0x00010020 (MANDATORY|0x00010000) Count=1");
  EXPECT_EQ(described(1, 0x3E, 1),
            "Type=1 (INT64), Flags=0x0000003E "
            "(VALUE_CASE_SENSITIVE|USE_FOR_DENY_ONLY|DISABLED_BY_DEFAULT|DISABLED|MANDATORY) Count=1");
}

TEST(TokenSecurityAttributes, ADuplicateHasAllAndANewProcessThoseThatAreInherited) {
  CkxAccessToken token(*CkxSid::FromUtf8("S-1-5-21-1-2-3-1001"), {*CkxSid::FromUtf8("S-1-1-0")}, true);
  const SkxTokenAttribute kept = Numbers(KXW("kept"), KxTokenMandatory, {1});
  const SkxTokenAttribute own = Numbers(KXW("own"), KxTokenNonInheritable | KxTokenCompareIgnore, {2});
  ASSERT_TRUE(Marks::Set(token.Handle(), own) && Marks::Set(token.Handle(), kept));
  const auto duplicate = token.Duplicate();
  const auto started = duplicate->OfNewProcess();
  EXPECT_THAT(Listed(duplicate->Handle()), ElementsAre(own, kept));
  EXPECT_THAT(Listed(started->Handle()), ElementsAre(kept));
  EXPECT_TRUE(started->IsAdministrator() && started->User().Equals(token.User()) && started->Groups().size() == 1);
  EXPECT_TRUE(Marks::Delete(duplicate->Handle(), KXW("own")));
  EXPECT_EQ(Listed(token.Handle()).size(), 2u);
}

}  // namespace
