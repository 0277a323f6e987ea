// Origins of live files, from what is kept with them: on the fake of Windows' attributes on every system.
#include <gmock/gmock.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/src_url_data.h>
#include <kx_util/supplemental_file_data.h>
#include <kx_util/target_info_file.h>

#include "Common_CPP/file/file.h"
#include "tests/kx_util/policy/held_policy.h"
#include "tests/support/failing_native_ea.h"
#include "tests/support/fake_native_ea.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/secret_scope.h"
#include "tests/support/section_source.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"

namespace {

class LiveOrigins : public testing::Test {
 protected:
  using Origin = std::shared_ptr<const CkxFileOrigin>;

  static Origin OriginOf(const KxWString& path) { return CkxTargetInfoFile(path.c_str(), nullptr).SharedOrigin(); }

  /// A distributor's, so that one is told from another.
  static CkxFileOrigin BroughtBy(const WCHAR* distributor) {
    CkxFileOrigin origin;
    SkxFileSrcProcessFacts facts;
    facts.order = 0;
    facts.path = KXW("C:\\get.exe");
    facts.softwareDistributor = distributor;
    origin.Installer().InstallTime() = 7;
    origin.Installer().Processes().emplace_back(facts);
    return origin;
  }
  static KxWString Distributor(const Origin& origin) {
    if (origin == nullptr) return KXW("(no origin)");
    const auto& processes = origin->SourceInstaller().Processes();
    return processes.empty() ? KXW("(nobody)") : processes[0].Facts().softwareDistributor;
  }

  /// What the driver saw: `image` wrote the file.
  void KeepDrivers(const KxWString& path, const KxWString& image) {
    const uint64_t id = KxFile_Status(path).value().identity.file;
    std::string text = "<KxDrvData version=\"1\" kxDataId=\"\"><FileModify time=\"9\"/><Process order=\"0\"><Path>" +
                       KxText_ToUtf8(image) + "</Path></Process></KxDrvData>";
    ASSERT_TRUE(CkxDrvXmlData::Sign(text, id));
    _fake.At(path).eas.emplace_back("KXDRVSUPDATA", CkxFakeNativeEa::ValueOf(text));
  }

  const CkxRuntimeFolderScope _machine;
  const CkxSecretScope _secrets;
  const CkxTempFolder _folder;
  const KxWString _file = _folder.Write("file", "content");
  const KxWString _image = _folder.Write("image", "content");
  CkxFakeNativeEa _fake;
};

TEST_F(LiveOrigins, TheAgentsThenTheDriversAndTheAddressWithEither) {
  EXPECT_EQ(OriginOf(_file), nullptr);

  ASSERT_TRUE(CkxSrcUrlData(KXW("https://example.com/")).ToFile(_file.c_str()));
  Origin origin = OriginOf(_file);
  ASSERT_NE(origin, nullptr) << "the address alone is something";
  EXPECT_EQ(origin->SourceAddress().ToString(), KXW("https://example.com/"));
  EXPECT_EQ(origin->SourceKind().ToString(), KXW("INTERNET"));
  EXPECT_EQ(origin->GetMainSourceType(), CkxFileSrcType::None);

  KeepDrivers(_file, _image);
  origin = OriginOf(_file);
  EXPECT_EQ(origin->Installer().InstallTime(), 9u);
  ASSERT_EQ(origin->Installer().Processes().size(), 1u);
  EXPECT_EQ(origin->Installer().Processes()[0].Facts().path, _image);
  EXPECT_EQ(origin->SourceAddress().ToString(), KXW("https://example.com/"));

  ASSERT_TRUE(CkxSupplementalFileData(BroughtBy(KXW("Shop"))).ToFile(_file.c_str()));
  origin = OriginOf(_file);
  EXPECT_EQ(Distributor(origin), KXW("Shop"));
  EXPECT_EQ(origin->Installer().InstallTime(), 7u);
  EXPECT_EQ(origin->SourceAddress().ToString(), KXW("https://example.com/"));

  auto& eas = _fake.At(_file).eas;
  for (auto& [name, value] : eas) {
    if (name == "KXAGENTSUPDATA") value[40] ^= 1;
  }
  EXPECT_EQ(OriginOf(_file)->Installer().InstallTime(), 9u) << "what does not hold is not there";
  const CkxSecretScope none({}, "");
  const CkxTraceCapture trace;
  EXPECT_EQ(OriginOf(_file), nullptr) << "without a secret nothing holds";
  EXPECT_THAT(trace.Texts(), testing::Contains("KXT_ERROR CkxSupplementalFileData: ERROR: _FromXml failed for file [" +
                                               KxText_ToUtf8(_file) + "]"));
}

/// The program that wrote the file passes on where it came from itself, by the agent's word alone.
TEST_F(LiveOrigins, TheDriversProgramsHaveTheAgentsRecordsAndNoOthers) {
  KeepDrivers(_file, _image);
  KeepDrivers(_image, _file);
  EXPECT_TRUE(OriginOf(_file)->ParentInstaller().IsEmpty()) << "the driver's word of the program is not asked for";
  ASSERT_TRUE(CkxSupplementalFileData(BroughtBy(KXW("Shop"))).ToFile(_image.c_str()));
  const Origin origin = OriginOf(_file);
  EXPECT_EQ(origin->GetMainSourceType(), CkxFileSrcType::SoftwareDistributor);
  EXPECT_EQ(Distributor(origin), KXW("Shop"));
  EXPECT_EQ(origin->ParentInstaller().InstallTime(), 7u);
}

TEST_F(LiveOrigins, AreOfTheFileThatIsOpen) {
  ASSERT_TRUE(CkxSupplementalFileData(BroughtBy(KXW("Shop"))).ToFile(_file.c_str()));
  _fake.At(_image).eas = _fake.At(_file).eas;
  EXPECT_EQ(OriginOf(_image), nullptr) << "carried by hand";
  ASSERT_TRUE(CkxSupplementalFileData::Copy(_file.c_str(), _image.c_str()));
  EXPECT_EQ(Distributor(OriginOf(_image)), KXW("Shop"));

  const CkxTargetInfoFile described(_image.c_str(), nullptr);
  ASSERT_NE(described.Origin(), nullptr);
  _fake.At(_image).eas.clear();
  EXPECT_NE(described.Origin(), nullptr) << "asked for once";
  EXPECT_EQ(OriginOf(_image), nullptr);
  EXPECT_EQ(OriginOf(_folder.Text("missing")), nullptr);
}

/// Policies about files whose origin is kept, of any kind.
CkxSectionSource BlockingWhatHasAnOrigin() {
  using namespace kx_test_records;
  constexpr uint32_t kBlocked = 2;
  const CkxRecordBytes anyOrigin = CkxRecordBytes().Set().U8(0).U32(0).Unset(6);
  CkxSectionSource source;
  source.Publish(EkxPolicySection::Policies, {PolicyWith(kBlocked, {Exe(1, {{kOrigin, anyOrigin}})}, {}, 1).Bytes()});
  return source;
}

EkxEvaluationOutcome OutcomeFor(const KxWString& path) {
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::PolicyApplies;
  CkxSharedPoliciesData::GetTargetPolicyAction(CkxTargetInfoFile(path.c_str(), nullptr), info, outcome);
  return outcome;
}

/// "Not told" is no "none": whoever can keep an attribute from being read would choose which policy applies.
TEST_F(LiveOrigins, WhatTheSystemDoesNotTellIsAFault) {
  const KxWString program = _folder.Write("tool.exe", "content");
  const CkxSectionSource policies = BlockingWhatHasAnOrigin();
  const CkxPolicySourceScope scope(policies);
  EXPECT_EQ(OutcomeFor(program), EkxEvaluationOutcome::NoPolicyApplies);
  KeepDrivers(program, _image);
  ASSERT_TRUE(CkxSupplementalFileData(BroughtBy(KXW("Shop"))).ToFile(_image.c_str()));
  ASSERT_TRUE(CkxSrcUrlData(KXW("a:b")).ToFile(program.c_str()));

  size_t calls = 0;
  {
    const CkxFailingNativeEa counting;
    EXPECT_EQ(OutcomeFor(program), EkxEvaluationOutcome::PolicyApplies);
    calls = counting.Calls();
  }
  // The agent's record, the driver's and whose that is, the agent's of its program and whose that is, the address.
  ASSERT_EQ(calls, 6u);
  for (size_t failAt = 0; failAt < calls; ++failAt) {
    for (const long status : {kKxStatusAccessDenied, kKxStatusUnsuccessful}) {
      SCOPED_TRACE(failAt);
      const CkxFailingNativeEa failing(failAt, status);
      EXPECT_EQ(OutcomeFor(program), EkxEvaluationOutcome::NotAnswered);
      EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::TargetUnreadable);
    }
    const CkxFailingNativeEa failing(failAt, kKxStatusAccessDenied);
    const CkxTargetInfoFile described(program.c_str(), nullptr);
    EXPECT_EQ(described.Origin(), nullptr);
    EXPECT_NE(described.Origin(), nullptr) << "asked for again";
  }
}

/// Where files have no attributes nothing is kept with one, which is an answer.
TEST_F(LiveOrigins, WhereNothingCanBeKeptThereIsNone) {
  const KxWString program = _folder.Write("tool.exe", "content");
  const CkxSectionSource policies = BlockingWhatHasAnOrigin();
  const CkxPolicySourceScope scope(policies);
  ASSERT_TRUE(CkxSupplementalFileData(BroughtBy(KXW("Shop"))).ToFile(program.c_str()));
  for (const long status : {kKxStatusNoEasOnFile, kKxStatusEasNotSupported, kKxStatusNotSupported,
                            kKxStatusNotImplemented, kKxStatusInvalidDeviceRequest}) {
    const CkxFailingNativeEa failing(0, status);
    EXPECT_EQ(OutcomeFor(program), EkxEvaluationOutcome::NoPolicyApplies) << KxStatus_Text(status);
    EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::None);
  }
}

}  // namespace
