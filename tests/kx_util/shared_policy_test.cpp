#include <kx_util/shared_policy_kinds.h>
#include <kx_util/target_info_kinds.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "Agent/engine/kx_util/policy_com_reference.h"
#include "Common_CPP/access_token/access_token.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

CkxRecordBytes Header(uint32_t action) {
  CkxRecordBytes header;
  header.U32(0x22232425).SizeHere().U32(action).U32(7);  // id
  header.U8(1).Zeros(7);                                 // active
  header.U64(0x1A2B3C4D5E6F7081);                        // order
  return header.U8(0).Zeros(7);                          // implicit
}

/// A policy up to its alert links.
CkxRecordBytes Named(uint32_t action) {
  return Header(action).Obfuscated(u"Name").Text(u"{gp}").Text(u"{kx}").U32(5).U32(101);
}
CkxRecordBytes Plain(uint32_t action) { return Named(action).U32(0); }
CkxRecordBytes Alert(uint32_t trigger, unsigned type, unsigned char id) {
  return CkxRecordBytes().U32(trigger).U16(type).U16(0).Id(id);
}

CkxRecordBytes Target(uint32_t type, unsigned char id) {
  return CkxRecordBytes().U32(0x22232427).SizeHere().Id(id).U32(type);
}
CkxRecordBytes Url(unsigned char id, std::u16string_view pattern) {
  return Target(7, id).Set().Obfuscated(pattern).U8(0).U16(4);
}
CkxRecordBytes Exclude(unsigned char id, std::u16string_view name) {
  return Target(16, id).Unset().Set().Obfuscated(name).U16(1).Absent().Absent().U64(~uint64_t{0}).Absent();
}
CkxRecordBytes Link(unsigned char id, unsigned char group) { return Target(2, id).Id(group); }

/// A policy with `targets`, its automation on, and `tail` of its kind.
CkxRecordBytes With(uint32_t action, const std::vector<CkxRecordBytes>& targets, const CkxRecordBytes& tail = {}) {
  CkxRecordBytes record = Plain(action).U8(1).U32(static_cast<uint32_t>(targets.size()));
  for (const CkxRecordBytes& target : targets) record.Append(target);
  return record.Append(tail);
}

/// The fields that the kinds of policies with targets end with.
CkxRecordBytes Tail(uint32_t action) {
  switch (action) {
    case 4:
      return CkxRecordBytes().U8(1).U8(0).U8(1);
    case 6:
      return CkxRecordBytes().U8(1).U8(1).U8(0).U8(1).U8(0).U8(1).U8(0);
    case 11:
      return CkxRecordBytes().U8(1);
    case 12:
      return CkxRecordBytes().U16(0);
    default:
      return {};
  }
}

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
      {5, Plain(5).Bytes()},
      {7, Plain(7).Bytes()},
      {8, Plain(8).U32(77).Bytes()},
      {9, Plain(9).Append(Script()).Bytes()},
      {10, Plain(10).Obfuscated(u"<Configuration/>").Obfuscated(u"<Messages/>").Bytes(), 4},
  };
  for (const uint32_t action : {1u, 2u, 3u, 4u, 6u, 11u, 12u, 13u, 18u}) {
    kinds.push_back(
        {action, With(action, {Exclude(1, u"a.exe"), Url(2, u"http:*"), Link(3, 1)}, Tail(action)).Bytes()});
  }
  return kinds;
}

CkxShBufPolicyPtr Read(const CkxExactBytes& bytes, bool copy = false) {
  return CkxShBufPolicyPtr(CkxShBufPolicy::PolicyFromBuffer(bytes.As<SkxPolicyBufHeader>(), copy));
}

/// A policy with the record that it points into.
template <class Policy = CkxShBufPolicyWithTargets>
struct Held {
  explicit Held(const CkxRecordBytes& record) : bytes(record.Bytes()), policy(Read(bytes)) {}
  const Policy* operator->() const { return static_cast<const Policy*>(policy.get()); }

  CkxExactBytes bytes;
  CkxShBufPolicyPtr policy;
};

std::string DebugText(const CkxShBufPolicy& policy) {
  CkxUtilStr text;
  policy._AppendDebugMsg(text);
  return KxText_ToUtf8(text.View());
}

CkxTargetInfoPtr Program(const WCHAR* path, EkxPolicyTarget type = EkxPolicyTarget::Executable) {
  SkxFileFacts facts;
  facts.path = path;
  facts.targetType = static_cast<uint32_t>(type);
  return CkxTargetInfoPtr(new CkxTargetInfoFile(facts, nullptr));
}

TEST(Policy, OfEveryActionEitherAKindOrNothing) {
  constexpr struct {
    int32_t code;
    const WCHAR* name;
  } kActions[] = {
      {0, KXW("Invalid Policy Action")},
      {1, KXW("Run")},
      {2, KXW("Block")},
      {3, KXW("Elevate")},
      {4, KXW("Trust")},
      {5, KXW("Collect UAC")},
      {6, KXW("Run & Collect Events")},
      {7, KXW("Log Off")},
      {8, KXW("Computer Action")},
      {9, KXW("Run Script")},
      {10, KXW("Configuration")},
      {11, KXW("Set Security")},
      {12, KXW("Exclude")},
      {13, KXW("Software Distibutor")},
      {18, KXW("Developer Application")},
  };
  CkxTraceCapture trace;
  for (const auto& action : kActions) {
    EXPECT_EQ(CkxTextView(KxUtil_PolicyActionStr(EkxPolicyAction{action.code})).ToString(), action.name);
  }
  // Zeros are a body for every kind.
  for (int32_t code = -1; code <= 20; ++code) {
    const CkxExactBytes bytes(Header(static_cast<uint32_t>(code)).Zeros(64).Bytes());
    const bool accepted = (code >= 1 && code <= 13) || code == 18;
    EXPECT_EQ(Read(bytes) != nullptr, accepted) << code;
  }
  EXPECT_THAT(trace.Texts(), IsEmpty());
  for (const int32_t code : {14, 17, -1}) {
    EXPECT_EQ(CkxTextView(KxUtil_PolicyActionStr(EkxPolicyAction{code})).ToString(), KXW("Unknown Policy Action"));
  }
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR KxUtil_PolicyActionStr: ERROR: Unknown policy action 14",
                                         "KXT_ERROR KxUtil_PolicyActionStr: ERROR: Unknown policy action 17",
                                         "KXT_ERROR KxUtil_PolicyActionStr: ERROR: Unknown policy action -1"));
}

TEST(Policy, HasItsFieldsInOrder) {
  const CkxRecordBytes record =
      Named(3).U32(2).Append(Alert(26, 1, 11)).Append(Alert(9, 2, 12)).U8(1).U32(1).Append(Url(2, u"http:*"));
  const Held<> policy(record);
  ASSERT_NE(policy.policy, nullptr);
  EXPECT_EQ(policy->BufferSize(), record.Bytes().size());
  EXPECT_TRUE(policy->IsAction(EkxPolicyAction::Elevate));
  EXPECT_EQ(policy->Id(), 7u);
  EXPECT_TRUE(policy->Active());
  EXPECT_EQ(policy->Order(), 0x1A2B3C4D5E6F7081u);
  EXPECT_FALSE(policy->IsImplicit());
  EXPECT_EQ(CkxTextView(policy->Name()).ToString(), KXW("Name"));
  EXPECT_EQ(policy->GpId().ToString(), KXW("{gp}"));
  EXPECT_EQ(policy->KxGpoId().ToString(), KXW("{kx}"));
  EXPECT_EQ(policy->ReportUsageState(), 5u);
  EXPECT_EQ(policy->GuiType(), 101u);
  EXPECT_EQ(policy->Alerts().Count(), 2u);
  EXPECT_TRUE(policy->PolicyAutomation());
  EXPECT_EQ(policy->Targets().Count(), 1u);
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
        EXPECT_EQ(Read(part, copy) != nullptr, size >= kind.bytes.size() - kind.slack) << "of " << size << " bytes";
      }
      KxBytes bytes = kind.bytes;
      EXPECT_NE(Read(CkxExactBytes(bytes), copy), nullptr);
      bytes[4] = static_cast<unsigned char>(bytes[4] + 1);
      bytes.push_back(0);
      ASSERT_NE(bytes[4], 0);
      EXPECT_NE(Read(CkxExactBytes(bytes), copy), nullptr) << "a byte after the last field";
      bytes[0] = 0x26;
      EXPECT_EQ(Read(CkxExactBytes(bytes), copy), nullptr) << "the magic of groups";
    }
  }
}

TEST(Policy, ARecordThatReachesPastItsBytesFails) {
  const KxBytes record = With(2, {Url(2, u"http:*")}).Zeros(1).Bytes();
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
  std::string answers = DebugText(policy);
  if (!policy.WithTargets()) return answers;
  const auto& withTargets = static_cast<const CkxShBufPolicyWithTargets&>(policy);
  for (const CkxTargetInfoPtr& target :
       {Program(KXW("C:\\a.exe")), CkxTargetInfoPtr(new CkxTargetInfoElevator(2, KXW("http://x"), nullptr))}) {
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
        const CkxShBufPolicyPtr inPlace = Read(bytes, false);
        const CkxShBufPolicyPtr copy = Read(bytes, true);
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
      copy = Read(bytes, true);
      before = Answers(*copy);
      std::fill_n(bytes.Data(), bytes.remaining, static_cast<unsigned char>(0xCC));
    }
    EXPECT_EQ(Answers(*copy), before);
  }
  const Held<CkxShBufPolicyElevateOnDemand> inPlace(With(4, {}, Tail(4)));
  EXPECT_EQ(reinterpret_cast<const unsigned char*>(&inPlace->Params()),
            inPlace.bytes.cursor + inPlace.bytes.remaining - 3);
}

TEST(Policy, AlertLinks) {
  EXPECT_EQ(Held<>(Named(1).U32(2).Zeros(47)).policy, nullptr) << "one byte too few";
  EXPECT_EQ(Held<>(Named(1).U32(0x0AAAAAAB).Zeros(64)).policy, nullptr) << "a count whose bytes do not fit in 32 bits";

  const Held<CkxShBufPolicy> policy(
      Named(5).U32(3).Append(Alert(9, 2, 11)).Append(Alert(9, 1, 12)).Append(Alert(8, 1, 13)));
  SkxPolicyAlertLink link = {};
  const auto found = [&](uint32_t trigger) {
    return policy->FindAlertLink(EkxAlertTrigger{trigger}, link) ? uint32_t{link.alertId.Data1} : 0;
  };
  const auto foundOfType = [&](uint32_t trigger, EkxAlertType type) {
    return policy->FindAlertLink(EkxAlertTrigger{trigger}, type, link) ? uint32_t{link.alertId.Data1} : 0;
  };
  EXPECT_EQ(found(9), 11u) << "the first of two";
  EXPECT_EQ(found(8), 13u);
  EXPECT_EQ(found(1), 0u);
  EXPECT_EQ(foundOfType(9, EkxAlertType::Dialog), 12u);
  EXPECT_EQ(foundOfType(8, EkxAlertType::Balloon), 0u);
}

TEST(Policy, TheAnswerNamesThePolicyAndTheTarget) {
  const Held<> policy(With(2, {Exclude(4, u"b.exe"), Exclude(5, u"a.exe"), Exclude(6, u"a.exe")}));
  const CkxTargetInfoPtr target = Program(KXW("C:\\A.EXE"));
  CkxRecordingObserver observer;
  const CkxEvaluationObserverScope watching(observer);
  SkxTriggerPolicyShortInfo info;
  EXPECT_FALSE(policy->IsApplicableToAnyTarget(*target, info));
  ASSERT_TRUE(policy->IsApplicableTarget(*target, info));
  EXPECT_THAT(observer.lines,
              ElementsAre("check fileName: equals b.exe / A.EXE", "target 16 4 did not match", "target 16 5 matched"));
  EXPECT_EQ(uint32_t{info.PolicyId}, 7u);
  EXPECT_EQ(EkxPolicyAction{info.PolicyAction}, EkxPolicyAction::Block);
  EXPECT_EQ(KxText_ToUtf8(CkxTextView::FromBytes(info.GpId, sizeof(info.GpId))), "{gp}");
  EXPECT_EQ(KxText_ToUtf8(CkxTextView::FromBytes(info.KxGpoId, sizeof(info.KxGpoId))), "{kx}");
  EXPECT_EQ(uint32_t{info.GuiType}, 101u);
  EXPECT_EQ(uint32_t{info.ReportUsageState}, 5u);
  EXPECT_EQ(info.PolicyAutomation, 1);
  EXPECT_EQ(EkxPolicyTarget{info.TargetType}, EkxPolicyTarget::Exclude);
  EXPECT_EQ(uint32_t{info.PolicyTargetId.Data1}, 5u);
}

TEST(Policy, AppliesToTargetsByItsKind) {
  const CkxTargetInfoPtr file = Program(KXW("C:\\a.exe"), EkxPolicyTarget::Script);
  const CkxTargetInfoPtr request(new CkxTargetInfoElevator(2, KXW("http://x"), nullptr));
  const std::vector<CkxRecordBytes> none;
  const std::vector<CkxRecordBytes> both = {Exclude(1, u"a.exe"), Url(2, u"http:*")};
  const std::vector<CkxRecordBytes> other = {Exclude(1, u"b.exe"), Url(2, u"ftp:*")};
  const CkxRecordBytes ofOtherKind = CkxRecordBytes().U16(1);
  const struct {
    const char* name;
    CkxRecordBytes record;
    bool toFile;
    bool toRequest;
  } cases[] = {
      {"run", With(1, both), true, true},
      {"block without targets", With(2, none), false, false},
      {"elevate what does not match", With(3, other), false, false},
      {"developer application", With(18, both), true, true},
      {"trust", With(4, both, Tail(4)), true, false},
      {"trust without targets", With(4, none, Tail(4)), true, false},
      {"trust what does not match", With(4, other, Tail(4)), false, false},
      {"collect events", With(6, both, Tail(6)), true, true},
      {"collect events without targets", With(6, none, Tail(6)), true, true},
      {"collect events of what does not match", With(6, other, Tail(6)), false, false},
      {"exclude", With(12, both, Tail(12)), true, false},
      {"exclude from something else", With(12, both, ofOtherKind), false, false},
      {"set security", With(11, both, Tail(11)), false, false},
      {"software distributor", With(13, both), false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Held<> policy(c.record);
    ASSERT_NE(policy.policy, nullptr);
    for (const bool isFile : {true, false}) {
      SkxTriggerPolicyShortInfo info;
      EXPECT_EQ(policy->IsApplicableTarget(isFile ? *file : *request, info), isFile ? c.toFile : c.toRequest) << isFile;
      EXPECT_EQ(info.IsEmpty(), !(isFile ? c.toFile : c.toRequest));
      if (info.IsEmpty() || policy->Targets().Count() != 0) continue;
      EXPECT_EQ(EkxPolicyTarget{info.TargetType}, isFile ? EkxPolicyTarget::Script : request->TargetType());
      EXPECT_TRUE(policy->IsApplicableToAnyTarget(*file, info));
    }
  }
}

TEST(Policy, AWalkPutsTheTargetsOfAGroupInThePlaceOfItsLink) {
  const auto group = [](unsigned char id, const std::vector<CkxRecordBytes>& targets) {
    CkxRecordBytes record =
        CkxRecordBytes().U32(0x22232426).SizeHere().Id(id).U32(static_cast<uint32_t>(targets.size()));
    for (const CkxRecordBytes& target : targets) record.Append(target);
    return record.Bytes();
  };
  CkxSectionSource source;
  source.Publish(EkxPolicySection::AppGroups, {group(1, {}), group(2, {Url(21, u"*"), Exclude(22, u"a.exe")}),
                                               group(3, {Link(31, 2), Url(32, u"*")})});
  const CkxPolicySourceScope scope(source);

  const struct {
    const char* name;
    std::vector<CkxRecordBytes> targets;
    std::vector<uint32_t> visited;
    bool excludesA;
  } cases[] = {
      {"no targets", {}, {}, false},
      {"an empty group", {Link(1, 1)}, {}, false},
      {"a group that is not there", {Link(1, 9)}, {}, false},
      {"a group between targets", {Url(1, u"*"), Link(2, 2), Exclude(3, u"b.exe")}, {1, 21, 22, 3}, true},
      {"a group in a group", {Link(1, 3), Url(2, u"*")}, {21, 22, 32, 2}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Held<CkxShBufPolicyExclude> policy(With(12, c.targets, Tail(12)));
    std::vector<uint32_t> visited;
    policy->EnumTargets(
        [](const CkxShBufTarget& target, void* ids) {
          static_cast<std::vector<uint32_t>*>(ids)->push_back(target.TargetId().Data1);
          return true;
        },
        &visited);
    EXPECT_EQ(visited, c.visited);
    EXPECT_EQ(policy->HasRealTargets(), !c.visited.empty());
    EXPECT_EQ(policy->HasTargetOfType(EkxPolicyTarget::Url), !c.visited.empty());
    EXPECT_EQ(policy->HasTargetOfType(EkxPolicyTarget::Exclude), c.excludesA);
    EXPECT_FALSE(policy->HasTargetOfType(EkxPolicyTarget::Executable));
    EXPECT_EQ(policy->IsExcludedTarget(CkxSimplePathProvider(KXW("C:\\A.exe"))), c.excludesA);
    EXPECT_FALSE(policy->IsExcludedTarget(CkxSimplePathProvider(KXW("C:\\c.exe"))));
  }

  const Held<> linked(With(1, {Link(2, 2)}));
  CkxRecordingObserver observer;
  const CkxEvaluationObserverScope watching(observer);
  SkxTriggerPolicyShortInfo info;
  EXPECT_TRUE(linked->IsApplicableTarget(*Program(KXW("C:\\a.exe")), info));
  EXPECT_EQ(uint32_t{info.PolicyTargetId.Data1}, 22u) << "the group's target, not the link";
  EXPECT_FALSE(linked->IsApplicableTarget(*Program(KXW("C:\\b.exe")), info));
  EXPECT_THAT(
      observer.lines,
      ElementsAre("check kind: request for an address / Executable file", "target 7 21 did not match",
                  "target 16 22 matched", "target 2 2 matched", "check kind: request for an address / Executable file",
                  "target 7 21 did not match", "check fileName: equals a.exe / b.exe", "target 16 22 did not match",
                  "check group: a target of {00000002-0000-0000-0000-000000000002} / none of them matches",
                  "target 2 2 did not match"));
}

TEST(Policy, ActsByTheClassOfTheUser) {
  const CkxSid user = *CkxSid::FromUtf8("S-1-5-21-1-2-3-1001");
  CkxAccessToken administrator(user, {}, true);
  CkxAccessToken standardUser(user, {}, false);

  for (const bool admin : {false, true}) {
    SCOPED_TRACE(admin);
    void* const token = admin ? administrator.Handle() : standardUser.Handle();
    void* const otherToken = admin ? standardUser.Handle() : administrator.Handle();

    const Held<CkxShBufPolicyNormalRun> run(Named(1).U32(1).Append(Alert(admin ? 27 : 26, 1, 1)).U8(0).U32(0));
    EXPECT_TRUE(run->ShouldReplaceUAC(admin) && run->ShouldReplaceUAC(token));
    EXPECT_FALSE(run->ShouldReplaceUAC(!admin) || run->ShouldReplaceUAC(otherToken));

    const Held<CkxShBufPolicyElevateOnDemand> trust(With(4, {}, CkxRecordBytes().U8(0).U8(!admin).U8(admin)));
    EXPECT_TRUE(trust->ShouldReplaceUAC(admin) && trust->ShouldReplaceUAC(token));
    EXPECT_FALSE(trust->ShouldReplaceUAC(!admin) || trust->ShouldReplaceUAC(otherToken));
    EXPECT_FALSE(trust->ShellExtensionEnabled());

    const Held<CkxShBufPolicyZeroTouch> watch(With(6, {}, CkxRecordBytes().U8(0).U8(admin).U8(!admin).Zeros(4)));
    EXPECT_TRUE(watch->IsApplicableToUser(token));
    EXPECT_FALSE(watch->IsApplicableToUser(otherToken));
  }
  EXPECT_TRUE(Held<CkxShBufPolicyZeroTouch>(With(6, {}, CkxRecordBytes().U8(0).U8(1).U8(1).Zeros(4)))
                  ->IsApplicableToUser(nullptr))
      << "the caller is the one or the other";
}

TEST(Policy, KindsWithoutTargets) {
  const Held<CkxShBufPolicyConfiguration> configuration(Plain(10).Obfuscated(u"<C/>").Obfuscated(u"<M/>"));
  EXPECT_FALSE(configuration->WithTargets());
  EXPECT_EQ(CkxTextView(configuration->ConfigurationXml()).ToString(), KXW("<C/>"));
  EXPECT_EQ(CkxTextView(configuration->MessagesXml()).ToString(), KXW("<M/>"));
  EXPECT_EQ(Held<CkxShBufPolicyCompAction>(Plain(8).U32(77))->ComputerAction(), 77u);
  EXPECT_TRUE(Held<CkxShBufPolicyCollectUacUsage>(Plain(5))->ShouldSendUacUsage(nullptr));
  EXPECT_FALSE(Held<CkxShBufPolicySetSecurity>(With(11, {}, CkxRecordBytes().U8(0)))->AllowAccess());
  EXPECT_EQ(Held<CkxShBufPolicyExclude>(With(12, {}, CkxRecordBytes().U16(0x102)))->ExcludeType(), 0x102);
}

TEST(Policy, AScriptIsReadWholeAndCopied) {
  const Held<CkxShBufPolicyRunScript> policy(Plain(9).Append(Script()));
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

TEST(Policy, DebugTexts) {
  constexpr const char* kBase =
      "Policy id:\t7\r\nName:\tName\r\nOrder:\t0x1A2B3C4D5E6F7081\r\nImplicit:\tNo\r\nGpId:\t{gp}\r\n"
      "KxGpoId:\t{kx}\r\nAction:\t%d\r\nActive:\tYes\r\nGUI Type:\t101\r\nReportUsageState:\t5\r\n";
  constexpr const char* kTarget = "PolicyAutomation Enabled: Yes\r\n\r\n1 targets\r\n\r\n  Target: URL: *\r\n";
  const std::vector<CkxRecordBytes> one = {Url(1, u"*")};
  const struct {
    int action;
    CkxRecordBytes record;
    std::string rest;
  } cases[] = {
      {7, Named(7).U32(2).Append(Alert(26, 1, 11)).Append(Alert(9, 2, 12)),
       "\r\n2 Alerts\r\n   {0000000B-0000-0000-0000-00000000000B} Trigger 26, Type 1\r\n"
       "   {0000000C-0000-0000-0000-00000000000C} Trigger 9, Type 2\r\n"},
      {1, With(1, {}), "No alerts\r\nNo targets\r\n"},
      {2, With(2, one), std::string("No alerts\r\n") + kTarget},
      {4, With(4, {}, Tail(4)),
       "No alerts\r\nNo targets\r\nShell Extension:\tYes\r\nReplace non-admin UAC:\tNo\r\nReplace admin UAC:\tYes\r\n"},
      {6, With(6, one, Tail(6)),
       std::string("No alerts\r\n") + kTarget +
           "\r\nAllowUserReq:\tYes\r\nMonitor:\tAdmins=Yes StdUsers=No\r\nUseHeuristics:\tYes\r\n"
           "TriggeredByUser:\tNo\r\nsuppressNonAdminUAC:\tYes\r\nsuppressAdminUAC:\tNo\r\n"},
      {8, Plain(8).U32(77), "No alerts\r\nComputer Action:\t77\r\n"},
      {11, With(11, {}, Tail(11)), "No alerts\r\nNo targets\r\nSecurity Action:\tAllow access\r\n"},
      {12, With(12, {}, CkxRecordBytes().U16(3)), "No alerts\r\nNo targets\r\nExclude type: 3\r\n"},
  };
  for (const auto& c : cases) {
    std::string expected = kBase;
    expected.replace(expected.find("%d"), 2, std::to_string(c.action));
    EXPECT_EQ(DebugText(*Held<>(c.record).policy), expected + c.rest) << c.action;
  }
  const Held<> bare(Header(5).Zeros(24));
  EXPECT_THAT(DebugText(*bare.policy),
              testing::HasSubstr("Name:\t\r\nOrder:\t0x1A2B3C4D5E6F7081\r\nImplicit:\tNo\r\nGpId:\t\r\n"));
}

TEST(Policy, EachKeepsComInitialised) {
  const unsigned before = CkxShBufPolicy::_m_ComRefCounter;
  {
    const CkxExactBytes good(Plain(5).Bytes());
    const CkxExactBytes bad(Plain(8).Bytes());
    const CkxShBufPolicyPtr policy = Read(good);
    EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, before + 1);
    EXPECT_GE(CkxShBufPolicy::_m_hRes, 0);
    EXPECT_EQ(Read(bad), nullptr);
    EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, before + 1) << "a policy that did not come to be";
    const CkxPolicyComReference reference;
    EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, before + 2);
  }
  EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, before);

  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      const CkxExactBytes bytes(Plain(5).Bytes());
      for (int round = 0; round < 2000; ++round) Read(bytes);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(CkxShBufPolicy::_m_ComRefCounter, before);
}

}  // namespace
