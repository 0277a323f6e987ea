#include <kx_util/shared_policy_kinds.h>
#include <kx_util/target_info_kinds.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "Agent/engine/kx_util/policy/policy_com_reference.h"
#include "Common_CPP/util/text.h"
#include "tests/kx_util/policy/held_policy.h"
#include "tests/support/section_source.h"
#include "tests/support/trace_capture.h"

namespace {

using namespace kx_test_records;
using testing::ElementsAre;
using testing::IsEmpty;

CkxRecordBytes Script() {
  return CkxRecordBytes().Id(9).Obfuscated(u"one").U32(3).U8('a').U8('b').U8('c').Obfuscated(u"two").Absent().Text(
      u"5");
}

struct Kind {
  uint32_t action;
  KxBytes bytes;
  size_t slack = 0;  // of an obfuscated text that ends a record, up to four bytes may not be there
};

/// A record of each kind, those with targets with a link, an address and an exclusion.
std::vector<Kind> Kinds() {
  std::vector<Kind> kinds = {
      {5, Policy(5).Bytes()},
      {7, Policy(7).Bytes()},
      {8, Policy(8).U32(77).Bytes()},
      {9, Policy(9).Append(Script()).Bytes()},
      {10, Policy(10).Obfuscated(u"<Configuration/>").Obfuscated(u"<Messages/>").Bytes(), 4},
  };
  for (const uint32_t action : {1u, 2u, 3u, 4u, 6u, 11u, 12u, 13u, 18u}) {
    kinds.push_back(
        {action,
         PolicyWith(action, {Exclude(1, u"a.exe"), Url(2, u"http:*"), Link(3, 1)}, PolicyTail(action)).Bytes()});
  }
  return kinds;
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

TEST(Policy, OnlyAWholeRecordIsOne) {
  EXPECT_EQ(CkxShBufPolicy::PolicyFromBuffer(nullptr, false), nullptr);
  for (const Kind& kind : Kinds()) {
    SCOPED_TRACE(kind.action);
    for (const bool copy : {false, true}) {
      for (size_t size = 8; size < kind.bytes.size(); ++size) {
        CkxExactBytes part(kind.bytes, size);
        part.Data()[4] = static_cast<unsigned char>(size);
        part.Data()[5] = static_cast<unsigned char>(size >> 8);
        EXPECT_EQ(KxTest_ReadPolicy(part, copy) != nullptr, size >= kind.bytes.size() - kind.slack)
            << "of " << size << " bytes";
      }
      KxBytes bytes = kind.bytes;
      EXPECT_NE(KxTest_ReadPolicy(CkxExactBytes(bytes), copy), nullptr);
      bytes[4] = static_cast<unsigned char>(bytes[4] + 1);
      bytes.push_back(0);
      ASSERT_NE(bytes[4], 0);
      EXPECT_NE(KxTest_ReadPolicy(CkxExactBytes(bytes), copy), nullptr) << "a byte after the last field";
      bytes[0] = 0x26;
      EXPECT_EQ(KxTest_ReadPolicy(CkxExactBytes(bytes), copy), nullptr) << "the magic of groups";
    }
  }
}

TEST(Policy, ARecordThatReachesPastItsBytesFails) {
  const KxBytes record = PolicyWith(2, {Url(2, u"http:*")}).Zeros(1).Bytes();
  CkxExactBytes whole(record);
  CkxShBufPolicyBlock policy;
  EXPECT_TRUE(policy.FromBuffer(whole.cursor, whole.remaining));
  EXPECT_EQ(whole.remaining, 1u);
  CkxExactBytes part(record, record.size() - 1);
  EXPECT_FALSE(CkxShBufPolicyBlock().FromBuffer(part.cursor, part.remaining));
  const unsigned char* nothing = nullptr;
  unsigned long remaining = 100;
  EXPECT_FALSE(CkxShBufPolicyBlock().FromBuffer(nothing, remaining));
}

/// What a policy says and answers, as one text.
std::string Answers(const CkxShBufPolicy& policy) {
  std::string answers = KxTest_DebugText(policy);
  if (!policy.WithTargets()) return answers;
  const auto& withTargets = static_cast<const CkxShBufPolicyWithTargets&>(policy);
  for (const CkxTargetInfoPtr& target :
       {KxTest_Program(KXW("C:\\a.exe")), CkxTargetInfoPtr(new CkxTargetInfoElevator(2, KXW("http://x"), nullptr))}) {
    SkxTriggerPolicyShortInfo info;
    answers += withTargets.IsApplicableTarget(*target, info) ? "yes" : "no";
    answers.append(reinterpret_cast<const char*>(&info), sizeof(info));
  }
  return answers + (withTargets.HasRealTargets() ? "yes" : "no");
}

TEST(Policy, AnyByteMayBeWrongAndACopyAnswersAsTheRecordDoes) {
  const CkxSectionSource empty;
  const CkxPolicySourceScope scope(empty);
  for (const Kind& kind : Kinds()) {
    SCOPED_TRACE(kind.action);
    size_t read = 0;
    for (size_t at = 0; at < kind.bytes.size(); ++at) {
      if (at >= 4 && at < 8) continue;  // whoever hands out a record vouches for its size
      for (const unsigned mask : {0x01u, 0x80u, 0xFFu}) {
        CkxExactBytes bytes(kind.bytes);
        bytes.Data()[at] = static_cast<unsigned char>(bytes.Data()[at] ^ mask);
        const CkxShBufPolicyPtr inPlace = KxTest_ReadPolicy(bytes, false);
        const CkxShBufPolicyPtr copy = KxTest_ReadPolicy(bytes, true);
        ASSERT_EQ(inPlace == nullptr, copy == nullptr) << at;
        if (inPlace == nullptr) continue;
        ++read;
        EXPECT_EQ(Answers(*inPlace), Answers(*copy)) << at;
      }
    }
    EXPECT_GT(read, 60u) << "ids, flags and texts may say anything";
  }
}

TEST(Policy, ACopyOutlivesItsRecordAndElseItPointsIntoIt) {
  for (const Kind& kind : Kinds()) {
    SCOPED_TRACE(kind.action);
    CkxShBufPolicyPtr copy;
    std::string before;
    {
      CkxExactBytes bytes(kind.bytes);
      copy = KxTest_ReadPolicy(bytes, true);
      before = Answers(*copy);
      std::fill_n(bytes.Data(), bytes.remaining, static_cast<unsigned char>(0xCC));
    }
    EXPECT_EQ(Answers(*copy), before);
  }
  const CkxHeldPolicy<CkxShBufPolicyElevateOnDemand> inPlace(PolicyWith(4, {}, PolicyTail(4)));
  EXPECT_EQ(reinterpret_cast<const unsigned char*>(&inPlace->Params()),
            inPlace.bytes.cursor + inPlace.bytes.remaining - 3);
}

TEST(Policy, AlertLinks) {
  EXPECT_EQ(CkxHeldPolicy<>(NamedPolicy(1).U32(2).Zeros(47)).policy, nullptr) << "one byte too few";
  EXPECT_EQ(CkxHeldPolicy<>(NamedPolicy(1).U32(0x0AAAAAAB).Zeros(64)).policy, nullptr)
      << "a count whose bytes do not fit in 32 bits";

  const CkxHeldPolicy<CkxShBufPolicy> policy(
      Policy(5, {AlertLink(9, 2, 11), AlertLink(9, 1, 12), AlertLink(8, 1, 13)}));
  SkxPolicyAlertLink link = {};
  const auto found = [&](uint32_t trigger) {
    return policy->FindAlertLink(EkxAlertTrigger{trigger}, link) ? uint32_t{link.alertId.Data1} : 0;
  };
  EXPECT_EQ(found(9), 11u) << "the first of two";
  EXPECT_EQ(found(8), 13u);
  EXPECT_EQ(found(1), 0u);
}

TEST(Policy, CollectsUacUsageOfEverybody) {
  EXPECT_TRUE(CkxHeldPolicy<CkxShBufPolicyCollectUacUsage>(Policy(5))->ShouldSendUacUsage(nullptr));
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
