// Other modules call virtual operations by their place in the table, and some read fields by their place in the object:
// a declaration that moves breaks them without a word from the compiler.
//
// A pointer to a member function shows its place. By the Itanium C++ ABI, which every compiler but Microsoft's follows
// on x86-64, it is two words: for a virtual function one more than the byte offset in the table, and the adjustment of
// `this`. Two slots belong to a destructor: the complete and the deleting one.
#include <kx_util/file_src_process.h>
#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy_kinds.h>
#include <kx_util/shared_policy_target_security.h>
#include <kx_util/target_info_kinds.h>

#include <gtest/gtest.h>

#include "tests/kx_util/policy/held_policy.h"

namespace {

using namespace kx_test_records;

constexpr bool kShowsSlots = sizeof(void(CkxShBufPolicy::*)()) == 2 * sizeof(void*);
constexpr int kNotVirtual = -1;
constexpr int kDestructor = 2;  // slots

template <class Member>
int SlotOf(Member member) {
  struct Words {
    uintptr_t slot;
    uintptr_t adjustment;
  } words = {};
  std::memcpy(&words, &member, std::min(sizeof(words), sizeof(member)));
  return (words.slot & 1) != 0 && words.adjustment == 0 ? static_cast<int>(words.slot / sizeof(void*)) : kNotVirtual;
}

/// The members fill the slots from `first` on, one by one.
template <class... Members>
void ExpectSlots(const char* name, int first, Members... members) {
  SCOPED_TRACE(name);
  int expected = first;
  for (const int slot : {SlotOf(members)...}) EXPECT_EQ(slot, expected++);
}

// Operations that are not for callers, made visible to the test.
struct OpenWithTargets : CkxShBufPolicyWithTargets {
  using CkxShBufPolicyWithTargets::_IsApplicableToAnyTarget;
};
struct OpenTargetInfo : CkxTargetInfo {
  using CkxTargetInfo::_GetDescriptionForAlert;
  using CkxTargetInfo::_GetDescriptionForEvent;
  using CkxTargetInfo::_GetFromCache;
  using CkxTargetInfo::_IsMissingValue;
  using CkxTargetInfo::_RemoveFromCache;
  using CkxTargetInfo::_SaveToCache;
  using CkxTargetInfo::_SetMissingValue;
};

TEST(SlotOrder, OfVirtualOperations) {
  if (!kShowsSlots) GTEST_SKIP() << "this compiler's pointers to members do not show slots";

  static_assert(std::has_virtual_destructor_v<CkxShBufList> && std::has_virtual_destructor_v<CkxShBufPolicy> &&
                std::has_virtual_destructor_v<CkxShBufTarget> && std::has_virtual_destructor_v<CkxShBufCustGuiBase> &&
                std::has_virtual_destructor_v<CkxShBufPropBase> && std::has_virtual_destructor_v<CkxTargetInfo>);
  using Policy = CkxShBufPolicy;
  void (Policy::*const release)() = &Policy::Release;  // not the one for null
  ExpectSlots("policy", kDestructor, release, &Policy::FromBuffer, &Policy::FillPolicyInfo, &Policy::WithTargets,
              &Policy::_AppendDebugMsg);
  using WithTargets = CkxShBufPolicyWithTargets;
  ExpectSlots("policy with targets", kDestructor + 5, &WithTargets::IsApplicableTarget,
              &WithTargets::IsApplicableToAnyTarget, &OpenWithTargets::_IsApplicableToAnyTarget);

  using Target = CkxShBufTarget;
  ExpectSlots("target", kDestructor, &Target::FromBuffer, &Target::FillTargetInfo, &Target::MatchTarget,
              &Target::MatchProcess, &Target::RequiresKxToolsFolder, &Target::AppendDebugMsg);
  void (CkxShBufCustGuiBase::*const releaseAlert)() = &CkxShBufCustGuiBase::Release;
  ExpectSlots("alert", kDestructor, releaseAlert, &CkxShBufCustGuiBase::FromBuffer);
  ExpectSlots("property", kDestructor, &CkxShBufPropBase::FromBuffer);

  using Info = CkxTargetInfo;
  ExpectSlots("description", kDestructor, &Info::IsTargetInfoElevator, &Info::IsTargetInfoActiveX,
              &Info::IsTargetInfoFile, &Info::IsTargetInfoProcess, &Info::IsTargetInfoUacCOM, &Info::QueryPathProvider,
              &Info::QueryHashProvider, &Info::QueryPublisherProvider, &Info::QueryOwnerProvider,
              &Info::QueryVersionInfoProvider, &Info::TargetType, &Info::GetEffectiveTarget,
              &OpenTargetInfo::_GetDescriptionForAlert, &OpenTargetInfo::_GetDescriptionForEvent,
              &OpenTargetInfo::_GetFromCache, &OpenTargetInfo::_IsMissingValue, &OpenTargetInfo::_SaveToCache,
              &OpenTargetInfo::_RemoveFromCache, &OpenTargetInfo::_SetMissingValue);
  using File = CkxTargetInfoFile;
  ExpectSlots("file description", kDestructor + 19, &File::IsSystemProcess, &File::GetVersion, &File::GetVersionStr);

  using Path = IkxPathProvider;
  ExpectSlots("path", 0, &Path::GetPath, &Path::GetFileSize, &Path::GetModificationTime, &Path::GetAccessToken);
  ExpectSlots("hash", 4, &IkxHashProvider::GetHashStringUsing, &IkxHashProvider::GetHash,
              &IkxHashProvider::GetAlgorithmAndHashString);
  ExpectSlots("publisher", 0, &IkxPublisherProvider::GetPublisher);
  ExpectSlots("owner", 0, &IkxOwnerProvider::GetOwner, &IkxOwnerProvider::GetOwnerDomainUserName);
  ExpectSlots("version information", 0, &IkxVersionInfoProvider::GetVersionInfo);

  ExpectSlots("not virtual", kNotVirtual, &Policy::Id);
}

// The fields of a class in the order in which an object holds them.
struct StringFields {
  uint32_t length;
  const void* text;
  const void* owned;
};
struct ListFields {
  const void* table;
  uint32_t count;
  const void* head;
};
struct TargetFields {
  const void* table;
  const void* next;
  const void* header;
};
struct SecurityFields {
  TargetFields target;
  uint32_t accessMask;
};
struct ScriptFields {
  StringFields firstText;
  StringFields firstData;
  StringFields secondText;
  StringFields secondData;
  StringFields thirdData;
  const void* scriptId;
};
struct PolicyFields {
  const void* table;
  const void* copy;
  const void* header;
  StringFields name;
  StringFields gpId;
  StringFields kxGpoId;
  uint32_t guiType;
  uint32_t reportUsageState;
  uint32_t alertCount;
  const void* alerts;
};
struct WithTargetsFields {
  PolicyFields policy;
  ListFields targets;
  bool policyAutomation;
};
struct GroupFields {
  const void* copy;
  const void* header;
  ListFields targets;
};
struct AlertFields {
  const void* table;
  const void* copy;
  const void* header;
};
struct DialogFields {
  AlertFields alert;
  uint32_t type;
  StringFields htmlPath;
};
struct BalloonFields {
  AlertFields alert;
  StringFields text;
  StringFields title;
};
struct DescriptionFields {
  const void* table;
  void* userToken;
  bool flag;
  bool onDemandElevationRequested;
  bool localCopySource;
  const void* cache;
  const void* missing;
  const void* descriptionBase;
};

template <class Fields, class Object>
Fields FieldsOf(const Object& object) {
  static_assert(sizeof(Fields) <= sizeof(Object));
  Fields fields;
  std::memcpy(static_cast<void*>(&fields), static_cast<const void*>(&object), sizeof(fields));
  return fields;
}

TEST(FieldOrder, OfTheBuildingBlocks) {
  CkxExactBytes plain(CkxRecordBytes().Text(u"ab").Bytes());
  CkxExactBytes obfuscated(CkxRecordBytes().Obfuscated(u"abc").Bytes());
  const unsigned char* const begin = plain.cursor;
  CkxShBufString string;
  ASSERT_TRUE(string.FromBuffer(plain.cursor, plain.remaining));
  StringFields fields = FieldsOf<StringFields>(string);
  EXPECT_EQ(fields.length, 6u);
  EXPECT_EQ(fields.text, begin + 4);
  EXPECT_EQ(fields.owned, nullptr);
  ASSERT_TRUE(string.FromBufferAndUnObfuscate(obfuscated.cursor, obfuscated.remaining));
  fields = FieldsOf<StringFields>(string);
  EXPECT_EQ(fields.length, 8u);
  EXPECT_EQ(fields.text, string.String());
  EXPECT_EQ(fields.owned, string.String());

  CkxExactBytes links(List({Link(1, 9), Link(2, 9)}).Bytes());
  const unsigned char* const firstTarget = links.cursor + 4;
  CkxShBufList list;
  ASSERT_TRUE(list.FromBuffer(links.cursor, links.remaining, CkxShBufTarget::TargetFromBuffer));
  EXPECT_EQ(FieldsOf<ListFields>(list).count, 2u);
  EXPECT_EQ(FieldsOf<ListFields>(list).head, list.GetHead());
  const auto target = FieldsOf<TargetFields>(static_cast<const CkxShBufTarget&>(*list.GetHead()));
  EXPECT_EQ(target.next, list.GetHead()->Next());
  EXPECT_EQ(target.header, firstTarget);
  CkxExactBytes masked(Target(17, 1).U32(0x1F01FF).Unset().Bytes());
  CkxShBufTargetService service;
  ASSERT_TRUE(service.FromBuffer(masked.cursor, masked.remaining));
  EXPECT_EQ(FieldsOf<SecurityFields>(static_cast<const CkxShBufTargetSecurity&>(service)).accessMask, 0x1F01FFu);

  CkxExactBytes bounds(CkxRecordBytes().U32(1).U32(2).U32(3).U32(4).Bytes());
  CkxVersionRange range;
  ASSERT_TRUE(range.FromBuffer(bounds.cursor, bounds.remaining));
  EXPECT_EQ((FieldsOf<std::array<uint32_t, 4>>(range)), (std::array<uint32_t, 4>{1, 2, 3, 4}));
}

TEST(FieldOrder, OfRecordObjects) {
  const CkxRecordBytes record = Policy(2, {AlertLink(9, 1, 11)}).U8(1).Append(List({Link(1, 9)}));
  const CkxHeldPolicy<> policy(record);
  const auto fields = FieldsOf<WithTargetsFields>(static_cast<const CkxShBufPolicyWithTargets&>(*policy.policy));
  const unsigned char* const begin = policy.bytes.cursor;
  EXPECT_EQ(fields.policy.copy, nullptr);
  EXPECT_EQ(fields.policy.header, begin);
  EXPECT_EQ(fields.policy.name.text, policy->Name());
  EXPECT_EQ(fields.policy.gpId.text, begin + 40 + 14 + 4);
  EXPECT_EQ(fields.policy.kxGpoId.text, begin + 40 + 14 + 14 + 4);
  EXPECT_EQ(fields.policy.guiType, 101u);
  EXPECT_EQ(fields.policy.reportUsageState, 5u);
  EXPECT_EQ(fields.policy.alertCount, 1u);
  EXPECT_EQ(fields.policy.alerts, &policy->Alerts().GetAt(0));
  EXPECT_EQ(fields.targets.head, policy->Targets().GetHead());
  EXPECT_TRUE(fields.policyAutomation);

  const CkxShBufPolicyPtr copy = KxTest_ReadPolicy(policy.bytes, true);
  const auto copied = FieldsOf<WithTargetsFields>(static_cast<const CkxShBufPolicyWithTargets&>(*copy));
  EXPECT_NE(copied.policy.copy, nullptr);
  EXPECT_EQ(copied.policy.header, copied.policy.copy);

  const CkxHeldPolicy<CkxShBufPolicyRunScript> runScript(
      Policy(9).Id(3).Obfuscated(u"a").Text(u"bc").Obfuscated(u"def").Text(u"ghij").Text(u"klmno"));
  const auto script = FieldsOf<ScriptFields>(runScript->Script());
  EXPECT_EQ(script.firstText.length, 4u);
  EXPECT_EQ(script.firstData.length, 6u);
  EXPECT_EQ(script.secondText.length, 8u);
  EXPECT_EQ(script.secondData.length, 10u);
  EXPECT_EQ(script.thirdData.length, 12u);
  EXPECT_EQ(static_cast<const unsigned char*>(script.scriptId) + 16 + 8 + 10 + 12 + 14 + 16,
            runScript.bytes.cursor + runScript.bytes.remaining);

  const CkxExactBytes groupBytes(Group(1, {Link(1, 9)}).Bytes());
  const CkxShBufAppGroupPtr group(CkxShBufAppGroup::AppGroupFromBuffer(groupBytes.As<SkxAppGroupBufHeader>(), false));
  EXPECT_EQ(FieldsOf<GroupFields>(*group).copy, nullptr);
  EXPECT_EQ(FieldsOf<GroupFields>(*group).header, groupBytes.cursor);
  EXPECT_EQ(FieldsOf<GroupFields>(*group).targets.head, group->Targets().GetHead());

  const CkxExactBytes alertBytes(
      CkxRecordBytes().U32(0x22232428).SizeHere().U16(1).U16(0).Id(1).U32(7).Text(u"a").Bytes());
  const CkxShBufCustGuiPtr alert(CkxShBufCustGuiBase::CustGuiFromBuffer(alertBytes.As<SkxAlertBufHeader>(), false));
  const auto dialog = FieldsOf<DialogFields>(static_cast<const CkxShBufCustGuiDialog&>(*alert));
  EXPECT_EQ(dialog.alert.copy, nullptr);
  EXPECT_EQ(dialog.alert.header, alertBytes.cursor);
  EXPECT_EQ(dialog.type, 7u);
  EXPECT_EQ(dialog.htmlPath.text, alertBytes.cursor + 36);
  static_assert(sizeof(BalloonFields) == sizeof(CkxShBufCustGuiBaloon));
}

TEST(FieldOrder, OfDescriptions) {
  struct Description : CkxTargetInfo {
    Description(void* token) : CkxTargetInfo(token, true) {}
    EkxPolicyTarget TargetType() const override { return EkxPolicyTarget::Invalid; }
    void _GetDescriptionForAlert(CkxUtilStr&) const override {}
    void _GetDescriptionForEvent(CkxUtilStr&) const override {}
    using CkxTargetInfo::_SaveToCache;
    using CkxTargetInfo::_SetMissingValue;
  } description(this);
  const auto fields = [&] { return FieldsOf<DescriptionFields>(description); };
  EXPECT_EQ(fields().userToken, this);
  EXPECT_TRUE(fields().flag && !fields().onDemandElevationRequested && !fields().localCopySource);
  EXPECT_TRUE(fields().cache == nullptr && fields().missing == nullptr && fields().descriptionBase == nullptr);
  description.SetOnDemandElevationRequested(true);
  EXPECT_TRUE(fields().onDemandElevationRequested && !fields().localCopySource);
  description.SetLocalCopySource(true);
  EXPECT_TRUE(fields().localCopySource);
  description._SaveToCache(KXW("key"), KXW("value"));
  EXPECT_TRUE(fields().cache != nullptr && fields().missing == nullptr);
  description._SetMissingValue(KXW("other"));
  EXPECT_NE(fields().missing, nullptr);
  description.SetDescriptionBase(KXW("base"));
  EXPECT_EQ(fields().descriptionBase, description.GetDescriptionBase());
}

}  // namespace
