// The agent's side without memory: whichever allocation of its threads fails, a client has the right answer or is told
// that there is none, and the next one is answered. And who a user's groups are asked for.
#include <kx_util/agent_uac_action.h>
#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_publish/service/agent_service.h"
#include "Agent/engine/kx_publish/service/publication.h"
#include "Agent/engine/kx_publish/service/service_control.h"
#include "Agent/engine/kx_util/store/agent_requests.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/user_groups.h"
#include "Common_CPP/util/trace.h"
#include "tests/memory/sweep.h"
#include "tests/support/policy_documents.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

using namespace kx_no_memory;

/// Who asks about a file; nothing where there is no answer, which must have been told.
Answer Decision() {
  CkxAccessToken user(*CkxSid::FromUtf8("S-1-5-21-1-2-3-1000"), {}, false);
  const CkxTargetInfoFile target(KxTest_FileAt(KXW("C:\\setup.exe")), user.Handle());
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NothingPublished;
  if (CkxSharedPoliciesData::GetTargetPolicyAction(target, info, outcome)) return std::to_string(info.PolicyId);
  EXPECT_EQ(outcome, EkxEvaluationOutcome::NotAnswered);
  EXPECT_NE(KxUtil_LastFault(), EkxEvaluationFault::None);
  return std::nullopt;
}

Answer PoliciesOfUser() {
  const auto ids = KxAgent_ApplicablePolicies(KXW("S-1-5-18"));
  return ids ? Answer(std::to_string(ids->size()) + " policies") : std::nullopt;
}

Answer Prompt() {
  SvcUacActionInfo action;
  if (!CkxSharedPoliciesData::GetUacAction(KXW("C:\\setup.exe"), 0, action)) return std::nullopt;
  return "policy " + std::to_string(action.policy.PolicyId) + ", replaced: " + std::to_string(action.replacePrompt);
}

Answer Status() {
  SkxServiceStatus status;
  std::string why;
  if (KxService_Ask(EkxServiceRequest::Status, status, why) != EkxServiceReply::Status) return std::nullopt;
  return KxServiceStatus_Json(status);
}

/// As a service with an image tells it.
SkxServiceStatus SomeStatusToTell() {
  SkxServiceStatus status;
  status.inForce = {std::string(64, 'a'), 2, "Policy Office"};
  status.before = status.inForce;
  status.requests = {{"HANDLER_GET_UAC_ACTION", 1, 2, 3}};
  status.policies = {{1, "Tools, of which a name is too long to lie in a text itself", 5}, {2, "Setup", 0}};
  return status;
}

/// Has each line put together, and keeps none: it must not take memory itself.
class DeafSink : public IkxTraceSink {
 public:
  DeafSink() : _previous(KxTrace_SetSink(this)) {}
  ~DeafSink() override { KxTrace_SetSink(_previous); }
  DeafSink(const DeafSink&) = delete;
  DeafSink& operator=(const DeafSink&) = delete;
  void Write(const SkxTraceLine&) noexcept override {}

 private:
  IkxTraceSink* const _previous;
};

class AgentWithoutMemory : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    KxWString channel;
    const SkxPolicyImage image = KxTest_Compile(R"({"policies": [
        {"id": 1, "name": "Tools", "action": "block", "targets": [{"type": "executable", "fileName": "tool.exe"}]},
        {"id": 2, "name": "Setup", "action": "run", "targets": [{"type": "executable", "fileName": "setup.exe"}]}],
        "applicable": {"*": [1, 2]}})");
    _service.Serve(image);
    ASSERT_TRUE(_service.Start(channel));
    ASSERT_TRUE(_control.Start(channel));
    ASSERT_TRUE(_publication.Publish(image, error)) << error;
  }
  void TearDown() override {
    std::string error;
    _control.Stop();
    _service.Stop();
    EXPECT_TRUE(_publication.Unpublish(error)) << error;
  }

 private:
  const CkxRuntimeFolderScope _runtime;
  const DeafSink _sink;
  CkxAgentService _service;
  CkxServiceControl _control{{SomeStatusToTell, [] { return std::string(); }}};
  CkxPolicyPublication _publication;
};

TEST_F(AgentWithoutMemory, AnswersOrIsKnownNotToAndGoesOn) {
  struct {
    const char* name;
    std::function<Answer()> ask;
  } const kQuestions[] = {
      {"decision", Decision},
      {"policies of a user", PoliciesOfUser},
      {"prompt", Prompt},
      {"status", Status},
  };
  constexpr size_t kMost = 5000;
  for (const auto& question : kQuestions) {
    SCOPED_TRACE(question.name);
    const Answer right = question.ask();
    ASSERT_TRUE(right);
    size_t failAt = 0;
    size_t unanswered = 0;
    for (bool hasFailed = true; hasFailed && failAt < kMost; ++failAt) {
      Answer answer;
      {
        const CkxFailingMemoryOfOthers memory(failAt);
        answer = question.ask();
        hasFailed = memory.HasFailed();
      }
      if (!answer) ++unanswered;
      ASSERT_TRUE(!answer || answer == right) << *answer << " at allocation " << failAt;
      ASSERT_EQ(question.ask(), right) << "after allocation " << failAt;
    }
    EXPECT_LT(failAt, kMost);
    EXPECT_GT(unanswered, 0u) << "nothing has failed";
  }
}

/// Some of them would be another user's policies.
TEST(NoMemory, GroupsOfAUserAreAllOrNone) {
  const CkxSid user = KxToken_User(nullptr).value();
  const auto all = KxUser_Groups(user);
  ASSERT_TRUE(all);
  CkxFailingMemory counting(CkxFailingMemory::kNever, false);
  counting.During([&] { return KxUser_Groups(user).has_value(); });
  const size_t count = CkxFailingMemory::Count();
  EXPECT_GT(count, 0u);
  for (const bool forGood : {false, true}) {
    for (size_t failAt = 0; failAt < count; ++failAt) {
      const long before = CkxFailingMemory::Live();
      bool isShort = false;
      try {
        CkxFailingMemory memory(failAt, forGood);
        const auto groups = memory.During([&] { return KxUser_Groups(user); });
        isShort = groups && groups->size() != all->size();
      } catch (const std::bad_alloc&) {  // as its callers expect
      }
      EXPECT_FALSE(isShort) << failAt;
      EXPECT_EQ(CkxFailingMemory::Live(), before) << failAt;
    }
  }
}

}  // namespace
