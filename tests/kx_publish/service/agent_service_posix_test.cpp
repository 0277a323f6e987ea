// With whose rights the agent looks at a file that a client names.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <sys/stat.h>

#include "Agent/engine/kx_publish/service/agent_service.h"
#include "Agent/engine/kx_publish/service/publication.h"
#include "Agent/engine/kx_util/store/live_policy_source.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "tests/support/policy_documents.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"
#include "tests/support/user_scope_posix.h"

namespace {

constexpr uid_t kAnotherUser = 4241;

/// About a file with nothing but an "x" in it.
SkxPolicyImage Image() {
  return KxTest_Compile(R"({"policies": [
      {"id": 2, "name": "Setup", "action": "run", "targets": [{"type": "executable", "hash": {"algorithm": "SHA256",
       "hex": "2D711642B726B04401627CA9FBAC32F5C8530FB1903CC4DB02258717921A4881"}}]}]})");
}

TEST(AgentServicePosix, AFileIsOpenedWithTheClientsRights) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be two users";
  const CkxRuntimeFolderScope runtime;
  ASSERT_EQ(chmod(runtime.Folder().Path().c_str(), 0755), 0);
  CkxAgentService service;
  KxWString channel;
  service.Serve(Image());
  ASSERT_TRUE(service.Start(channel));
  const KxWString path = runtime.Folder().Write("secret.exe", "x");
  ASSERT_EQ(chmod((runtime.Folder().Path() / "secret.exe").c_str(), 0600), 0);
  for (const uid_t user : {kAnotherUser, uid_t{0}}) {
    const CkxUserScope client(user);
    SvcUacActionInfo action;
    ASSERT_TRUE(CkxSharedPoliciesData::GetUacAction(path.c_str(), 0, action)) << user;
    EXPECT_EQ(action.policyApplies != 0, user == 0) << user;
  }
  service.Stop();
}

/// A section that the index names and that is not there: somebody took it. The agent, asked meanwhile, answers all the
/// same.
TEST(AgentServicePosix, ASectionThatIsGoneForGoodIsAFault) {
  for (const EkxPolicySection which : {EkxPolicySection::Policies, EkxPolicySection::AppGroups}) {
    const CkxRuntimeFolderScope runtime;
    const SkxPolicyImage image = KxTest_Compile(R"({"applicationGroups": [{"name": "Any", "targets": []}], "policies": [
        {"id": 1, "name": "None", "action": "block", "targets": [{"type": "applicationGroup", "group": "Any"}]}]})");
    CkxAgentService service;
    CkxPolicyPublication publication;
    KxWString channel;
    std::string error;
    service.Serve(image);
    ASSERT_TRUE(service.Start(channel));
    ASSERT_TRUE(publication.Publish(image, error)) << error;
    const CkxTargetInfoFile target(KxTest_FileAt(KXW("C:\\tool.exe")), nullptr);
    SkxTriggerPolicyShortInfo info;
    EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
    EXPECT_FALSE(CkxSharedPoliciesData::GetTargetPolicyAction(target, info, outcome));
    EXPECT_EQ(outcome, EkxEvaluationOutcome::NoPolicyApplies);
    ASSERT_TRUE(KxSharedMemory_Remove(KxPolicyIndex_SectionName(kKxPoliciesIndexSection, which)));
    EXPECT_FALSE(CkxSharedPoliciesData::GetTargetPolicyAction(target, info, outcome));
    EXPECT_EQ(outcome, EkxEvaluationOutcome::NotAnswered) << static_cast<int>(which);
    EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::SectionRefused);
    service.Stop();
  }
}

/// An answer that cannot be had in time is none: neither "no policy" nor the server's end.
TEST(AgentServicePosix, AnEvaluationThatCostsTooMuchIsRefused) {
  const CkxRuntimeFolderScope runtime;
  CkxAgentService service;
  KxWString channel;
  service.Serve(Image());
  ASSERT_TRUE(service.Start(channel));
  const KxWString path = runtime.Folder().Write("setup.exe", "x");
  const CkxTraceCapture quiet;
  SvcUacActionInfo action;
  const uint64_t limit = KxUtil_WorkLimit();
  KxUtil_SetWorkLimit(0);
  EXPECT_FALSE(CkxSharedPoliciesData::GetUacAction(path.c_str(), 0, action));
  KxUtil_SetWorkLimit(limit);
  EXPECT_TRUE(CkxSharedPoliciesData::GetUacAction(path.c_str(), 0, action));
  service.Stop();
}

}  // namespace
