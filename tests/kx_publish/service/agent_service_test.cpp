// The library and the agent's side together: live sections, the three channels, and what is said when one is out of
// order.
#include "Agent/engine/kx_publish/service/agent_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/expected_agent.h>
#include <kx_util/shared_policies_data.h>

#include <array>
#include <atomic>
#include <list>
#include <map>
#include <thread>

#include "Agent/engine/kx_publish/service/publication.h"
#include "Agent/engine/kx_util/store/agent_requests.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/policy_documents.h"
#include "tests/support/record_bytes.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kDocument = R"({
  "alerts": [{"name": "ask", "type": "dialog", "dialogType": 3, "htmlPath": "C:\\Alerts\\ask.html"}],
  "policies": [
    {"id": 1, "name": "Tools", "action": "block", "targets": [{"type": "executable", "fileName": "tool.exe"}]},
    {"id": 2, "name": "Setup", "action": "run",
     "alerts": [{"trigger": "replaceUacOfStandardUser", "type": "dialog", "id": "ask"}],
     "targets": [{"type": "executable", "fileName": "setup.exe"}]}],
  "applicable": {"S-1-5-21-1-2-3-1001": [1], "*": [1, 2]}
})";

/// A host that knows which program the agent is, and can tell who signed what.
class KnownProgram : public IkxProcessIdentity {
 public:
  KnownProgram(const WCHAR* image, const WCHAR* signer) { EXPECT_TRUE(KxUtil_SetExpectedAgent(image, signer, this)); }
  ~KnownProgram() override { KxUtil_SetExpectedAgent(nullptr, nullptr); }
  std::optional<KxWString> Image(uint32_t /*processId*/) const override { return KXW("C:\\Kx\\KxAgent.exe"); }
  std::optional<KxWString> Signer(const KxWString& /*image*/) const override { return KXW("Vendor Inc."); }
};

class AgentService : public testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    KxWString channel;
    const SkxPolicyImage image = KxTest_Compile(kDocument);
    service.Serve(image);
    ASSERT_TRUE(service.Start(channel)) << KxText_ToUtf8(channel);
    ASSERT_TRUE(publication.Publish(image, error)) << error;
  }
  void TearDown() override {
    service.Stop();
    std::string error;
    EXPECT_TRUE(publication.Unpublish(error)) << error;
  }

  /// The policy that decides about the file; 0 when none does.
  static uint32_t PolicyOf(const WCHAR* path, CkxAccessToken& user) {
    const CkxTargetInfoFile target(KxTest_FileAt(path), user.Handle());
    SkxTriggerPolicyShortInfo info;
    return CkxSharedPoliciesData::GetTargetPolicyAction(target, info) ? uint32_t{info.PolicyId} : 0;
  }

  const CkxRuntimeFolderScope folder;
  std::mutex mutex;
  std::vector<std::string> events;
  CkxAgentService service{[this](const std::string& line) {
    const std::lock_guard lock(mutex);
    events.push_back(line);
  }};
  CkxPolicyPublication publication;
  CkxAccessToken anyone{*CkxSid::FromUtf8("S-1-5-21-1-2-3-1000"), {}, false};
  CkxAccessToken restricted{*CkxSid::FromUtf8("S-1-5-21-1-2-3-1001"), {}, false};
};

TEST_F(AgentService, LiveEvaluationAsksItWhichPoliciesAreTheUsers) {
  EXPECT_EQ(PolicyOf(KXW("C:\\tool.exe"), anyone), 1u);
  EXPECT_EQ(PolicyOf(KXW("C:\\setup.exe"), anyone), 2u);
  EXPECT_EQ(PolicyOf(KXW("C:\\tool.exe"), restricted), 1u);
  EXPECT_EQ(PolicyOf(KXW("C:\\setup.exe"), restricted), 0u) << "not this user's policy";
  EXPECT_THAT(events, Contains(HasSubstr("S-1-5-21-1-2-3-1001: 1 policies")));
}

TEST_F(AgentService, SaysWhatReplacesAPrompt) {
  SvcUacActionInfo action;
  ASSERT_TRUE(CkxSharedPoliciesData::GetUacAction(KXW("C:\\setup.exe"), 0, action));
  EXPECT_THAT(events, Contains(HasSubstr(" as [System, Microsoft Windows]: \"C:\\setup.exe\": policy 2")));
  EXPECT_EQ(action.policyApplies, 1);
  EXPECT_EQ(action.policy.PolicyId, 2u);
  EXPECT_EQ(action.replacePrompt, 1);
  EXPECT_EQ(action.dialogType, 3u);
  EXPECT_EQ(KxWString(action.htmlPath), KXW("C:\\Alerts\\ask.html"));
  EXPECT_TRUE(CkxSharedPoliciesData::ShouldHookConsent(KXW("C:\\setup.exe"), 0));

  ASSERT_TRUE(CkxSharedPoliciesData::GetUacAction(KXW("C:\\setup.exe"), 1, action)) << "an administrator";
  EXPECT_EQ(action.policy.PolicyId, 2u);
  EXPECT_EQ(action.replacePrompt, 0);
  EXPECT_EQ(action.htmlPath[0], 0);
  EXPECT_FALSE(CkxSharedPoliciesData::ShouldHookConsent(KXW("C:\\setup.exe"), 1));

  const KxWString tooLong = KXW("C:\\") + KxWString(137, KXW('d')) + KXW("\\setup.exe");
  EXPECT_FALSE(CkxSharedPoliciesData::GetUacAction(tooLong.c_str(), 0, action)) << "whatever it is, not \"no policy\"";
  const KxWString longest = KXW("C:\\") + KxWString(136, KXW('d')) + KXW("\\setup.exe");
  ASSERT_TRUE(CkxSharedPoliciesData::GetUacAction(longest.c_str(), 0, action));
  EXPECT_EQ(action.policyApplies, 1);
}

/// By request, and by policy: a policy that the next image has too goes on counting.
TEST_F(AgentService, CountsWhatItDoes) {
  const CkxTraceCapture quiet;
  SvcUacActionInfo action;
  EXPECT_TRUE(CkxSharedPoliciesData::GetUacAction(KXW("C:\\setup.exe"), 0, action));
  EXPECT_TRUE(CkxSharedPoliciesData::GetUacAction(KXW("C:\\other.bin"), 0, action));
  EXPECT_TRUE(CkxSharedPoliciesData::ShouldHookConsent(KXW("C:\\setup.exe"), 0));
  EXPECT_FALSE(CkxSharedPoliciesData::GetUacAction(KXW("\\\\server\\share\\setup.exe"), 0, action));
  EXPECT_EQ(KxAgent_ApplicablePolicies(KXW("no SID")), std::nullopt);
  const uint64_t limit = KxUtil_WorkLimit();
  KxUtil_SetWorkLimit(0);
  EXPECT_FALSE(CkxSharedPoliciesData::GetUacAction(KXW("C:\\setup.exe"), 0, action));
  KxUtil_SetWorkLimit(limit);
  EXPECT_TRUE(KxAgent_ApplicablePolicies(KXW("S-1-5-18")));

  const auto counts = [&](size_t channel) {
    const SkxRequestCounts read = service.Requests().at(channel);
    return std::array<uint64_t, 3>{read.answered, read.refused, read.failed};
  };
  EXPECT_EQ(service.Requests().at(1).request, "HANDLER_GET_UAC_ACTION");
  EXPECT_THAT(counts(0), ElementsAre(1, 1, 0));
  EXPECT_THAT(counts(1), ElementsAre(2, 1, 1));
  EXPECT_THAT(counts(2), ElementsAre(1, 0, 0));

  const auto hits = [&] {
    std::map<uint32_t, uint64_t> read;
    for (const SkxPolicyHits& each : service.Hits()) read[each.policyId] = each.decided;
    return read;
  };
  EXPECT_EQ(hits(), (std::map<uint32_t, uint64_t>{{1, 0}, {2, 2}}));
  service.Serve(KxTest_Compile(
      R"({"policies": [{"id": 2, "name": "S", "action": "run", "targets": []},
                       {"id": 3, "name": "T", "action": "run", "targets": []}]})"));
  EXPECT_EQ(hits(), (std::map<uint32_t, uint64_t>{{2, 2}, {3, 0}}));
}

/// Cut off, it would be the path of something else.
TEST_F(AgentService, ShowsADialogWhosePathFitsWithItsEnd) {
  for (const size_t size : {SvcUacActionInfo::kHtmlPathUnits - 1, SvcUacActionInfo::kHtmlPathUnits}) {
    std::string document = kDocument;
    const std::string path = R"(C:\\Alerts\\ask.html)";
    document.replace(document.find(path), path.size(), std::string(size, 'p'));
    service.Serve(KxTest_Compile(document));
    SvcUacActionInfo action;
    ASSERT_TRUE(CkxSharedPoliciesData::GetUacAction(KXW("C:\\setup.exe"), 0, action));
    EXPECT_EQ(action.replacePrompt, 1);
    EXPECT_EQ(action.htmlPath[0] != 0, size < SvcUacActionInfo::kHtmlPathUnits);
    EXPECT_EQ(action.htmlPath[SvcUacActionInfo::kHtmlPathUnits - 1], 0);
  }
}

/// What the agent itself cannot read is no answer, and above all not "this user has no policies".
TEST_F(AgentService, ADamagedImageIsNoAnswer) {
  SkxPolicyImage damaged = KxTest_Compile(kDocument);
  damaged.applicable.reset();
  (*damaged.policies)[4] ^= 1;  // the first record's signature
  service.Serve(damaged);
  EXPECT_EQ(KxAgent_ApplicablePolicies(KXW("S-1-5-18")), std::nullopt);
  SvcUacActionInfo action;
  EXPECT_FALSE(CkxSharedPoliciesData::GetUacAction(KXW("C:\\setup.exe"), 0, action));

  const CkxTargetInfoFile tool(KxTest_FileAt(KXW("C:\\tool.exe")), anyone.Handle());
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NoPolicyApplies;
  EXPECT_FALSE(CkxSharedPoliciesData::GetTargetPolicyAction(tool, info, outcome));
  EXPECT_EQ(outcome, EkxEvaluationOutcome::NotAnswered);
}

TEST_F(AgentService, AnotherImageIsInForceAtOnce) {
  const SkxPolicyImage other = KxTest_Compile(
      R"({"policies": [{"id": 7, "name": "All", "action": "run", "targets": [{"type": "executable"}]}]})");
  std::string error;
  EXPECT_FALSE(service.Replace(other, [] { return false; }));
  EXPECT_EQ(PolicyOf(KXW("C:\\tool.exe"), anyone), 1u) << "nothing was published, and so nothing replaced";
  ASSERT_TRUE(publication.Prepare(other, error)) << error;
  EXPECT_EQ(PolicyOf(KXW("C:\\tool.exe"), anyone), 1u) << "not in force yet";
  ASSERT_TRUE(service.Replace(other, [&] { return publication.Commit(error); })) << error;
  EXPECT_EQ(PolicyOf(KXW("C:\\tool.exe"), anyone), 7u);
}

/// The rows that are answered are those of the publication that is in force while they are asked for, at whatever
/// moment.
TEST_F(AgentService, RowsAndPublicationChangeAsOneStep) {
  std::atomic<uint32_t> inForce = 1;
  std::atomic<bool> over = false;
  std::atomic<int> torn = 0;
  const auto image = [](uint32_t id) {
    SkxPolicyImage made;
    made.applicable = "{\"*\": [" + std::to_string(id) + "]}";
    return made;
  };
  ASSERT_TRUE(service.Replace(image(1), [] { return true; }));
  std::vector<std::thread> askers;
  for (int i = 0; i < 3; ++i) {
    askers.emplace_back([&] {
      while (!over) {
        const uint32_t before = inForce;
        const auto ids = KxAgent_ApplicablePolicies(KXW("S-1-5-18"));
        if (before == inForce && (!ids || ids->front() != before)) ++torn;
      }
    });
  }
  for (uint32_t id = 2; id < 300; ++id) {
    EXPECT_TRUE(service.Replace(image(id), [&] {
      inForce = id;
      std::this_thread::sleep_for(std::chrono::microseconds(200));  // the step takes its time
      return true;
    }));
  }
  over = true;
  for (std::thread& asker : askers) asker.join();
  EXPECT_EQ(torn, 0);
}

TEST_F(AgentService, OpensNothingBeyondThisMachinesFiles) {
  const CkxTraceCapture quiet;
  KxTest_ForRows<KxWString, bool>("channel/client_paths.txt", [](auto& path, auto answered) {
    SvcUacActionInfo action;
    EXPECT_EQ(CkxSharedPoliciesData::GetUacAction(path.c_str(), 0, action), answered);
  });
}

TEST_F(AgentService, RefusesWhatIsNoRequestAndGoesOn) {
  CkxTraceCapture trace;
  EXPECT_EQ(KxAgent_ApplicablePolicies(KXW("no SID")), std::nullopt);
  EXPECT_THAT(trace.Texts(), ElementsAre(HasSubstr("Failed to get receive list of applicable policies Ids")));
  EXPECT_NE(KxAgent_ApplicablePolicies(KXW("S-1-5-18")), std::nullopt);
}

/// What the library asks an agent, and whether it got an answer.
struct Question {
  const SkxAgentRequest& request;
  bool (*ask)();
};

bool AskForPolicies() {
  const auto ids = KxAgent_ApplicablePolicies(KXW("S-1-5-18"));
  return ids.has_value() && !ids->empty();
}

bool AskForAction() {
  SvcUacActionInfo unused;
  return KxAgent_UacAction(KXW("C:\\a.exe"), 0x201, unused);
}

bool AskForConsent() { return KxAgent_ShouldHookConsent(KXW("C:\\a.exe"), 0x201).has_value(); }

const std::map<std::string, Question> kQuestions = {{"policies", {kKxApplicablePoliciesRequest, AskForPolicies}},
                                                    {"action", {kKxUacActionRequest, AskForAction}},
                                                    {"consent", {kKxHookConsentRequest, AskForConsent}}};

/// A server of the tests' own answers with the given bytes, or refuses.
TEST(AgentRequests, EveryFaultHasItsLine) {
  const CkxRuntimeFolderScope folder;
  KxTest_ForRows<std::string, std::optional<KxBytes>, std::optional<std::string>>(
      "channel/answers.txt", [&](auto& name, auto& answer, auto& line) {
        const auto& [request, ask] = kQuestions.at(name);
        CkxSecureIpcServer server;
        server.Handle(request.requestName, request.channel, [&](const SkxSecureIpcCaller&, auto, auto& reply) {
          if (answer) reply = *answer;
          return answer.has_value();
        });
        ASSERT_TRUE(server.Start(request.serverName));
        CkxTraceCapture trace;
        EXPECT_EQ(ask(), !line);
        std::vector<std::string> expected;
        if (line) expected.push_back("KXT_ERROR CkxSharedPoliciesData: " + *line);
        EXPECT_EQ(trace.Texts(), expected);
        server.Stop();
        server.Wait();
      });
}

TEST(AgentRequests, GoWhereTheAgentListensWithWhatItReads) {
  const CkxRuntimeFolderScope folder;
  const CkxTraceCapture quiet;
  KxTest_ForRows<std::string, KxWString, KxWString, KxWString, uint64_t, KxWString, KxWString, uint64_t, KxBytes>(
      "channel/questions.txt", [](auto& name, auto& serverName, auto& client, auto& word, auto channel, auto& image,
                                  auto& signer, auto timeout, auto& body) {
        const auto& [request, ask] = kQuestions.at(name);
        KxWString sentAs;
        KxBytes sent;
        CkxSecureIpcServer server;
        server.Handle(word.c_str(), static_cast<uint32_t>(channel),
                      [&](const SkxSecureIpcCaller& caller, auto bytes, auto& /*reply*/) {
                        sentAs = caller.name.ToString();
                        sent.assign(bytes.begin(), bytes.end());
                        return false;
                      });
        ASSERT_TRUE(server.Start(serverName.c_str()));
        EXPECT_FALSE(ask());
        server.Stop();
        server.Wait();
        EXPECT_TRUE(sentAs == client && request.image == image && request.signer == signer);
        EXPECT_EQ(sent, body);
        EXPECT_EQ(request.timeout, timeout);
      });
}

TEST(AgentRequests, AnotherProgramThanTheHostExpectsIsToldNothing) {
  const CkxRuntimeFolderScope folder;
  std::atomic<bool> asked = false;
  std::list<CkxSecureIpcServer> servers;
  for (const auto& [name, question] : kQuestions) {
    const SkxAgentRequest& request = question.request;
    const size_t size = request.channel == 6 ? 4 : request.channel == 4 ? 2340 : 1;
    const auto answer = [&asked, size](const auto&, auto, auto& reply) {
      asked = true;
      reply.assign(size, 1);
      return true;
    };
    servers.emplace_back().Handle(request.requestName, request.channel, answer);
    ASSERT_TRUE(servers.back().Start(request.serverName));
  }
  const struct {
    const WCHAR* image;
    const WCHAR* signer;
    bool answered;
  } cases[] = {{KXW("KxAgent"), KXW("Vendor Inc."), true}, {KXW("KxAgent"), nullptr, true},
               {KXW("SomethingElse"), nullptr, false},     {KXW("KxAgent"), KXW("Somebody Else"), false},
               {nullptr, KXW("Somebody Else"), false},     {nullptr, nullptr, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const KnownProgram program(c.image, c.signer);
    CkxTraceCapture trace;
    for (const auto& [name, question] : kQuestions) {
      asked = false;
      EXPECT_EQ(question.ask(), c.answered) << name;
      EXPECT_EQ(asked, c.answered) << name;
    }
    if (!c.answered) {
      EXPECT_THAT(trace.Texts(),
                  Contains("KXT_ERROR CkxSharedPoliciesData: Failed to initiate connection with agent to "
                           "HANDLER_GET_UAC_ACTION"));
    }
  }
  EXPECT_TRUE(KxUtil_SetExpectedAgent(nullptr, KXW("Vendor Inc.")));
  const CkxTraceCapture quiet;
  EXPECT_FALSE(AskForAction()) << "nobody can tell signers: not compared would be worse";
  EXPECT_TRUE(KxUtil_SetExpectedAgent(nullptr, nullptr));
}

TEST(AgentRequests, WhoIsTurnedAwayComesAgain) {
  const CkxRuntimeFolderScope folder;
  CkxSecurePipeListener busy;
  ASSERT_TRUE(busy.Listen(kKxApplicablePoliciesRequest.serverName));
  int turnedAway = 0;
  std::thread agent([&] {
    CkxSecurePipe client;
    while (busy.Accept(client)) {
      if (++turnedAway > 3) {
        unsigned char request[1024];
        size_t count = 0;
        client.Read(request, CkxDeadline::After(10000), count);
        const SkxReplyFrame reply = {EkxReplyStatus::Answered, std::span(request, 4)};  // "KXRQ" will do for an id
        client.Write(*KxFrame_Bytes(reply), CkxDeadline::After(10000));
      }
      client.Close();
    }
  });
  EXPECT_TRUE(KxAgent_ApplicablePolicies(KXW("S-1-5-18")));
  busy.Stop();
  agent.join();
  EXPECT_EQ(turnedAway, 4);
}

TEST(AgentRequests, AnAbsentAndASilentServerFailInTime) {
  const CkxRuntimeFolderScope folder;
  SkxAgentRequest impatient = kKxHookConsentRequest;
  impatient.timeout = 300;
  CkxSecurePipeListener silent;  // takes connections, and nobody ever reads them
  for (const char* const line :
       {"Failed to initiate connection with agent to HANDLER_SHOULD_HOOK_CONSENT", "Failed to get receive "}) {
    const CkxTraceCapture trace;
    EXPECT_FALSE(KxAgent_ShouldHookConsent(KXW("C:\\a.exe"), 0, impatient));
    EXPECT_THAT(trace.Texts(), Contains(HasSubstr(line)));
    silent.Listen(impatient.serverName);
  }
}

}  // namespace
