#include <kx_util/shared_policy_kinds.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "Agent/engine/kx_util/policy/policy_com_reference.h"
#include "Common_CPP/util/text.h"
#include "tests/kx_util/policy/held_policy.h"
#include "tests/support/trace_capture.h"

namespace {

using namespace kx_test_records;
using testing::ElementsAre;
using testing::IsEmpty;

CkxRecordBytes Script() {
  return CkxRecordBytes().Id(9).Obfuscated(u"one").U32(3).U8('a').U8('b').U8('c').Obfuscated(u"two").Absent().Text(
      u"5");
}

TEST(Policy, OfEveryActionEitherAKindOrNothing) {
  CkxTraceCapture trace;
  std::string names;
  for (const int32_t code : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 18}) {
    names += KxText_ToUtf8(KxUtil_PolicyActionStr(EkxPolicyAction{code})) + "|";
  }
  EXPECT_EQ(names,
            "Invalid Policy Action|Run|Block|Elevate|Trust|Collect UAC|Run & Collect Events|Log Off|Computer Action|"
            "Run Script|Configuration|Set Security|Exclude|Software Distibutor|Developer Application|");
  // Zeros are a body for every kind.
  for (int32_t code = -1; code <= 20; ++code) {
    const CkxExactBytes bytes(PolicyHeader(static_cast<uint32_t>(code)).Zeros(64).Bytes());
    const bool accepted = (code >= 1 && code <= 13) || code == 18;
    EXPECT_EQ(KxTest_ReadPolicy(bytes) != nullptr, accepted) << code;
  }
  EXPECT_THAT(trace.Texts(), IsEmpty());
  for (const int32_t code : {14, 17, -1}) {
    EXPECT_EQ(CkxTextView(KxUtil_PolicyActionStr(EkxPolicyAction{code})).ToString(), KXW("Unknown Policy Action"));
  }
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR KxUtil_PolicyActionStr: ERROR: Unknown policy action 14",
                                         "KXT_ERROR KxUtil_PolicyActionStr: ERROR: Unknown policy action 17",
                                         "KXT_ERROR KxUtil_PolicyActionStr: ERROR: Unknown policy action -1"));
}

TEST(Policy, AlertLinks) {
  EXPECT_EQ(CkxHeldPolicy<>(NamedPolicy(1).U32(2).Zeros(47)).policy, nullptr) << "one byte too few";
  EXPECT_EQ(CkxHeldPolicy<>(NamedPolicy(1).U32(0x0AAAAAAB).Zeros(64)).policy, nullptr)
      << "a count whose bytes do not fit in 32 bits";

  const CkxHeldPolicy<CkxShBufPolicy> policy(
      Policy(5, {AlertLink(9, 2, 11), AlertLink(9, 1, 12), AlertLink(8, 1, 13)}));
  SkxPolicyAlertLink link = {};
  ASSERT_TRUE(policy->FindAlertLink(EkxAlertTrigger{9}, link));
  EXPECT_EQ(uint32_t{link.alertId.Data1}, 11u) << "the first of two";
  EXPECT_TRUE(static_cast<const CkxShBufPolicyCollectUacUsage&>(*policy.policy).ShouldSendUacUsage(nullptr));
}

TEST(Policy, IsReadInPlaceAndSaysSoInLinesOfTheSystem) {
  const CkxHeldPolicy<CkxShBufPolicyElevateOnDemand> policy(PolicyWith(4, {Url(1, u"*")}, PolicyTail(4)));
  EXPECT_EQ(reinterpret_cast<const unsigned char*>(&policy->Params()),
            policy.bytes.cursor + policy.bytes.remaining - 3);
  EXPECT_EQ(KxTest_DebugText(*policy.policy),
            "Policy id:\t7\r\nName:\tName\r\nOrder:\t0x1A2B3C4D5E6F7081\r\nImplicit:\tNo\r\nGpId:\t{gp}\r\n"
            "KxGpoId:\t{kx}\r\nAction:\t4\r\nActive:\tYes\r\nGUI Type:\t101\r\nReportUsageState:\t5\r\n"
            "No alerts\r\nPolicyAutomation Enabled: Yes\r\n\r\n1 targets\r\n\r\n  Target: URL: *\r\n"
            "Shell Extension:\tYes\r\nReplace non-admin UAC:\tNo\r\nReplace admin UAC:\tYes\r\n");
}

TEST(Policy, AScriptIsReadWholeAndCopied) {
  const CkxHeldPolicy<CkxShBufPolicyRunScript> policy(Policy(9).Append(Script()));
  ASSERT_NE(policy.policy, nullptr);
  CkxShBufEmbeddedScript copy;
  EXPECT_EQ(copy.ScriptId().Data1, 0u);
  copy = policy->Script();
  for (const CkxShBufEmbeddedScript* script : {&policy->Script(), static_cast<const CkxShBufEmbeddedScript*>(&copy)}) {
    EXPECT_EQ(script->ScriptId().Data1, 9u);
    EXPECT_EQ(script->FirstText().View().ToString(), KXW("one"));
    EXPECT_EQ(script->FirstData().ByteCount(), 3u);
    EXPECT_EQ(script->SecondText().View().ToString(), KXW("two"));
    EXPECT_EQ(script->SecondData().ByteCount(), 0u);
    EXPECT_EQ(script->ThirdData().View().ToString(), KXW("5"));
  }
  EXPECT_NE(copy.FirstText().String(), policy->Script().FirstText().String()) << "each owns what it wipes";
}

TEST(Policy, TheFirstInitialisesComAndTheLastUninitialisesIt) {
  constexpr int32_t kUntouched = -77;
  const CkxExactBytes good(Policy(5).Bytes());
  const CkxExactBytes bad(Policy(8).Bytes());
  ASSERT_EQ(CkxShBufPolicy::_m_ComRefCounter, 0u) << "nothing else keeps a policy";

  for (int round = 0; round < 2; ++round) {
    CkxShBufPolicy::_m_hRes = kUntouched;
    CkxShBufPolicyPtr first = KxTest_ReadPolicy(good);
    EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, 1u);
    const int32_t result = CkxShBufPolicy::_m_hRes;
    EXPECT_NE(result, kUntouched);

    CkxShBufPolicy::_m_hRes = kUntouched;
    CkxShBufPolicyPtr second = KxTest_ReadPolicy(good);
    EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, 2u);
    EXPECT_EQ(KxTest_ReadPolicy(bad), nullptr);
    EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, 2u) << "a policy that did not come to be";
    first.reset();
    {
      const CkxPolicyComReference reference;
      EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, 2u);
    }
    EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, 1u);
    EXPECT_EQ(CkxShBufPolicy::_m_hRes, kUntouched) << "only the first initialises";
    CkxShBufPolicy::_m_hRes = result;  // by which the last knows that there is something to undo
    second.reset();
    EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, 0u);
  }

  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&good] {
      for (int round = 0; round < 2000; ++round) KxTest_ReadPolicy(good);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, 0u);
}

}  // namespace
