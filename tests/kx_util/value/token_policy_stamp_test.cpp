#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/policy_result.h>

#include <cstring>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/token_security_attributes/token_security_attributes.h"
#include "tests/support/fake_token_attributes.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Every byte its own.
CkxTokenPolicyData Stamp() {
  unsigned char bytes[sizeof(SkxTokenPolicyData)];
  for (size_t i = 0; i < sizeof(bytes); ++i) bytes[i] = static_cast<unsigned char>(i + 1);
  CkxTokenPolicyData stamp;
  std::memcpy(static_cast<SkxTokenPolicyData*>(&stamp), bytes, sizeof(bytes));
  return stamp;
}

bool AreEqual(const SkxTokenPolicyData& a, const SkxTokenPolicyData& b) { return std::memcmp(&a, &b, sizeof(a)) == 0; }

TEST(TokenPolicyStamp, IsFourNumbersWithFlagsOfTheSystemsVersion) {
  SkxTokenAttribute expected = {KXW("ZOR://TPD"), 2, 0x41, {}};
  for (const uint64_t number : {0x0807060504030201u, 0x100F0E0D0C0B0A09u, 0x1817161514131211u, 0x00001E1D1C1B1A19u}) {
    expected.values.emplace_back().number = number;
  }
  EXPECT_EQ(Stamp().ToAttribute(false, 10), expected);
  EXPECT_EQ(Stamp().ToAttribute(false, 11), expected);
  expected.flags = 0x1;
  EXPECT_EQ(Stamp().ToAttribute(false, 6), expected);
  expected.flags = 0x20;
  EXPECT_EQ(Stamp().ToAttribute(true, 6), expected);
  EXPECT_EQ(Stamp().ToAttribute(true, 10), expected);

  expected.values[3].number |= 0xFFFF000000000000;  // beyond the record
  CkxTokenPolicyData read;
  EXPECT_TRUE(read.FromAttributes({{}, expected}));
  EXPECT_TRUE(AreEqual(read, Stamp()));
}

TEST(TokenPolicyStamp, OfAnotherFormIsRefusedAndLeavesTheRecord) {
  const CkxTraceCapture trace;
  CkxTokenPolicyData read = Stamp();
  SkxTokenAttribute attribute = {KXW("ZOR://TPD"), 2, 0x21, std::vector<SkxTokenAttribute::Value>(3)};
  EXPECT_FALSE(read.FromAttributes({attribute}));
  attribute.values.resize(4);
  attribute.type = 1;
  EXPECT_FALSE(read.FromAttributes({attribute}));
  attribute.name = KXW("ZOR://tpd");
  attribute.type = 2;
  EXPECT_FALSE(read.FromAttributes({attribute}));
  EXPECT_FALSE(read.FromAttributes({}));
  EXPECT_TRUE(AreEqual(read, Stamp()));
  const std::string scope = "KXT_ERROR CkxTokenPolicyData: ERROR:Unexpected Token policy data: ";
  EXPECT_THAT(trace.Texts(),
              ElementsAre(scope + "Type=2 (UINT64), Flags=0x00000021 (NON_INHERITABLE|MANDATORY) Count=3",
                          scope + "Type=1 (INT64), Flags=0x00000021 (NON_INHERITABLE|MANDATORY) Count=4"));
}

TEST(TokenPolicyStamp, GoesOntoATokenOfTheFakedSystemAndOffIt) {
  CkxFakeTokenAttributes fake;
  void* const token = reinterpret_cast<void*>(uintptr_t{0x1234});
  auto& attributes = fake.tokens[token];
  const CkxTraceCapture trace;
  CkxTokenPolicyData read;
  EXPECT_FALSE(read.GetFromToken(token));
  for (const uint32_t major : {10u, 6u}) {
    fake.version = {major, 2};
    EXPECT_TRUE(CkxTokenPolicyData().SetToToken(token, true));
    EXPECT_TRUE(Stamp().SetToToken(token, false));
    EXPECT_THAT(attributes, ElementsAre(Stamp().ToAttribute(false, major)));
    EXPECT_TRUE(read.GetFromToken(token) && AreEqual(read, Stamp()));
    EXPECT_TRUE(CkxTokenPolicyData::DeleteFromToken(token));
    EXPECT_THAT(attributes, IsEmpty());
  }
  EXPECT_THAT(trace.Texts(), IsEmpty());

  fake.version = {6, 1};  // has no such attributes: nothing is asked
  fake.queries = 0;
  EXPECT_FALSE(Stamp().SetToToken(token, false) || read.GetFromToken(token) ||
               CkxTokenPolicyData::DeleteFromToken(token) || read.GetFromToken(nullptr));
  EXPECT_EQ(fake.queries, 0);
  EXPECT_THAT(trace.Texts(), IsEmpty());

  fake.version = {10, 0};
  EXPECT_FALSE(Stamp().SetToToken(nullptr, false));
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR CkxTokenSecurityAttributes: ERROR: token is NULL",
                                         "KXT_ERROR CkxTokenPolicyData: ERROR: Failed to set token policy data"));
}

}  // namespace
