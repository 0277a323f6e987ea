// Whoever calls from outside may hand in nothing where a pointer is asked for: that is no crash, and no answer.
#include <gtest/gtest.h>
#include <kx_util/drv_xml_data.h>
#include <kx_util/kx_util.h>
#include <kx_util/secret_provider.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/src_email_data.h>
#include <kx_util/src_url_data.h>
#include <kx_util/update_policies_notifyer.h>

#include "tests/support/recorded_facts.h"
#include "tests/support/section_source.h"
#include "tests/support/target_records.h"

namespace {

using namespace kx_test_records;

TEST(NullArguments, OfRelease) {
  CkxShBufPolicy::Release(nullptr);
  CkxShBufAppGroup::Release(nullptr);
  CkxShBufCustGuiBase::Release(nullptr);
  CkxTargetInfo::Delete(nullptr);
  KxBstr_Free(nullptr);
}

TEST(NullArguments, OfQuestions) {
  const CkxTargetInfoFile nothing(nullptr, nullptr);
  const CkxSimplePathProvider nowhere(nullptr);
  CkxUtilStr algorithm;
  CkxUtilStr hash;
  EXPECT_FALSE(KxUtil_GetHashString(nullptr, algorithm, hash));
  EXPECT_FALSE(KxUtil_MatchFilePublisher(nullptr, KXW("*"), false, EkxStrCompareAs::StrWildcard));
  EXPECT_FALSE(KxUtil_MatchFilename(nowhere, KXW("*"), EkxStrCompareAs::StrWildcard));
  EXPECT_FALSE(KxUtil_MatchFileLocation(nowhere, KXW("ANY"), KXW("*"), true));
  EXPECT_FALSE(KxUtil_MatchFileVersionInfo(nothing, nullptr, KXW("*"), false, EkxStrCompareAs::StrWildcard));
  EXPECT_FALSE(KxUtil_MatchFileMsiInfo(nothing, nullptr, KXW("*"), false, EkxStrCompareAs::StrWildcard));
  EXPECT_EQ(nothing.GetHashStringUsing(nullptr), nullptr);
  EXPECT_EQ(nothing.GetVersionInfo(nullptr), nullptr);
  RegExpTestW(nullptr, nullptr, nullptr, 0);
}

TEST(NullArguments, OfRecordsOfOrigins) {
  const WCHAR* const nowhere = nullptr;
  void* const noFile = nullptr;
  CkxSrcUrlData uri(KXW("a:b"));
  CkxSrcEmailData email;
  CkxDrvXmlData driver;
  CkxFileSecretProvider secrets;
  bool isOlder = true;
  EXPECT_FALSE(uri.ToFile(nowhere) || uri.ToFile(noFile));
  EXPECT_FALSE(uri.FromFile(nowhere) || uri.FromFile(noFile) || uri.FromFileMigration(nowhere, isOlder) || isOlder);
  EXPECT_FALSE(CkxSrcUrlData::DeleteFromFile(nowhere) || CkxSrcUrlData::OverwriteSignature(nowhere));
  EXPECT_FALSE(uri.FromBytes({}, EkxSignatureCheck::None));
  email.senderAddress = KXW("a");
  EXPECT_FALSE(email.ToFile(nowhere) || email.FromFile(nowhere) || email.FromXml({}));
  EXPECT_FALSE(driver.FromXml({}, nowhere) || driver.FromXml({}, uint64_t{1}));
  EXPECT_EQ(secrets.ReadKey(nowhere), EkxSecretStatus::Unreadable);
}

TEST(NullArguments, OfCallbacksAndContexts) {
  const CkxExactBytes bytes(Group(1, {Link(1, 9)}).Bytes());
  const CkxShBufAppGroupPtr group(CkxShBufAppGroup::AppGroupFromBuffer(bytes.As<SkxAppGroupBufHeader>(), false));
  EXPECT_FALSE(group->EnumTargets(nullptr, nullptr));
  group->DoEnumTargets(nullptr);
  group->DoMatchTarget(nullptr);
  const CkxExactBytes record(Policy(2).U8(0).Append(List({Link(1, 9)})).Bytes());
  const CkxShBufPolicyPtr policy(CkxShBufPolicy::PolicyFromBuffer(record.As<SkxPolicyBufHeader>(), false));
  ASSERT_NE(policy, nullptr);
  static_cast<const CkxShBufPolicyWithTargets&>(*policy).EnumTargets(nullptr, nullptr);

  CkxSectionSource source;
  source.Publish(EkxPolicySection::Policies, {Policy(2).U8(0).Append(List({})).Bytes()});
  source.Publish(EkxPolicySection::AppGroups, {Group(1, {Link(1, 9)}).Bytes()});
  const CkxPolicySourceScope scope(source);
  EXPECT_FALSE(CkxSharedPoliciesData::EnumPolicies(nullptr, nullptr, false, nullptr));
  EXPECT_FALSE(CkxSharedPoliciesData::CallAppGroup(KxTest_Id(1), nullptr, nullptr));
  EXPECT_FALSE(CkxSharedPoliciesData::CallAppGroup(KxTest_Id(1), &CkxShBufAppGroup::DoMatchTarget, nullptr));
  EXPECT_FALSE(CkxSharedPoliciesData::CallAppGroup(KxTest_Id(1), &CkxShBufAppGroup::DoEnumTargets, nullptr));

  CkxUpdatePoliciesNotifyer notifyer;
  notifyer.AddSubscriber(nullptr, nullptr);
  notifyer.RemoveSubscriber(nullptr, nullptr);

  CkxTargetInfoProcess process(KxTest_FileAt(KXW("C:\\a.exe")), SkxProcessFacts(), nullptr);
  process.AddLinked(nullptr);
  process.SetParent(nullptr);
  EXPECT_EQ(&process.GetEffectiveTarget(), &process);
  EXPECT_EQ(process.LinkedOfType(EkxPolicyTarget::Msi), nullptr);
}

}  // namespace
