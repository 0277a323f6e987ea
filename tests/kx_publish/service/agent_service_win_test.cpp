// The agent in a process of its own: all three requests go to it and back, and nothing stands in for any part of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_publish/service/agent_service.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/security/agent_trust.h"
#include "Common_CPP/util/handle_win.h"
#include "tests/support/policy_documents.h"
#include "tests/support/trace_capture.h"

namespace {

constexpr const wchar_t* kStop = L"Local\\KxTest-AgentInAnotherProcess-Stop";

SkxPolicyImage Image() {
  return KxTest_Compile(R"({
      "alerts": [{"name": "ask", "type": "dialog", "dialogType": 3, "htmlPath": "C:\\ask.html"}], "policies": [
      {"id": 2, "name": "Setup", "action": "run",
       "alerts": [{"trigger": "replaceUacOfStandardUser", "type": "dialog", "id": "ask"}], "targets": [{"type": "executable", "fileName": "setup.exe"}]}]})");
}

/// What the other process runs.
TEST(AgentInAnotherProcess, DISABLED_Serves) {
  const CkxHandle stop(OpenEventW(SYNCHRONIZE, FALSE, kStop));
  ASSERT_TRUE(stop);
  CkxAgentService service;
  KxWString channel;
  SkxPolicyImage image = Image();
  image.applicable = R"({"*": [2]})";
  service.Serve(std::move(image));
  ASSERT_TRUE(service.Start(channel));
  EXPECT_EQ(WaitForSingleObject(stop.Get(), 60000), DWORD{WAIT_OBJECT_0});
}

CkxHandle StartIt() {
  KxWString path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  KxWString line = L"\"" + path +
                   L"\" --gtest_also_run_disabled_tests --gtest_brief=1 --gtest_output= "
                   L"--gtest_filter=AgentInAnotherProcess.DISABLED_Serves";
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(path.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
    return CkxHandle();
  }
  CloseHandle(process.hThread);
  return CkxHandle(process.hProcess);
}

TEST(AgentInAnotherProcess, AnswersAllThreeRequests) {
  const std::optional<CkxSid> administrators = CkxSid::FromUtf8("S-1-5-32-544");
  ASSERT_TRUE(administrators);
  // As it is on a machine: by the rights of the agent's process, and not because it is the tester's own.
  const bool refused = KxTrust_RefuseOwnUser(KxToken_IsMember(nullptr, *administrators));
  const CkxHandle stop(CreateEventW(nullptr, TRUE, FALSE, kStop));
  const CkxHandle agent = StartIt();
  ASSERT_TRUE(stop && agent);
  const CkxTraceCapture quiet;
  bool consents = false;  // its last channel answers
  for (int i = 0; i < 400 && !consents; ++i) {
    consents = CkxSharedPoliciesData::ShouldHookConsent(L"C:\\setup.exe", 0);
    if (!consents) Sleep(50);
  }
  EXPECT_TRUE(consents);
  std::vector<int> ids;
  CkxSharedPoliciesData::GetPoliciesApplicableForUser(nullptr, ids);
  EXPECT_EQ(ids, std::vector<int>{2});
  SvcUacActionInfo action;
  ASSERT_TRUE(CkxSharedPoliciesData::GetUacAction(L"C:\\setup.exe", 0, action));
  EXPECT_EQ(action.policyApplies, 1);
  EXPECT_EQ(action.policy.PolicyId, 2u);
  EXPECT_EQ(action.replacePrompt, 1);
  SetEvent(stop.Get());
  EXPECT_EQ(WaitForSingleObject(agent.Get(), 30000), DWORD{WAIT_OBJECT_0});
  DWORD code = 1;
  EXPECT_TRUE(GetExitCodeProcess(agent.Get(), &code));
  EXPECT_EQ(code, 0u);
  KxTrust_RefuseOwnUser(refused);
}

}  // namespace
