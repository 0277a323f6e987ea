// Settings and messages of the policies in force: asked without an agent, and what cannot be had is the system's
// refusal, never "there is no such setting".
#include <gtest/gtest.h>

#include "Agent/engine/kx_publish/service/publication.h"
#include "tests/kxpolicy/run_tool.h"
#include "tests/support/policy_documents.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

struct ConfigurationQuestion {
  std::vector<std::string> arguments;
  const char* input;
  SkxToolRun answer;
};

void Ask(const char* when, const std::vector<ConfigurationQuestion>& questions) {
  SCOPED_TRACE(when);
  for (const ConfigurationQuestion& question : questions) {
    std::string line;
    for (const std::string& argument : question.arguments) line += argument + " ";
    const SkxToolRun run = KxTest_RunTool(question.arguments, question.input);
    EXPECT_EQ(run.code, question.answer.code) << line;
    EXPECT_EQ(run.out, question.answer.out) << line;
    EXPECT_EQ(run.err, question.answer.err) << line;
  }
}

const std::vector<std::string> kGetSetting = {"config", "get", "A"};
const std::vector<std::string> kGetAbsent = {"config", "get", "X"};
const std::vector<std::string> kGetAbsentAsText = {"config", "get", "X", "--format", "text"};
const std::vector<std::string> kGetStream = {"config", "get", "--requests", "-"};
const std::vector<std::string> kList = {"config", "list"};
const std::vector<std::string> kMessage = {"message", "M", "one"};
const std::vector<std::string> kAbsentMessage = {"message", "X"};
const std::vector<std::string> kMessageStream = {"message", "--requests", "-"};

constexpr const char* kSettingRequests = "{\"id\":1,\"key\":\"A\"}\n{\"id\":2,\"key\":\"X\"}\n";
constexpr const char* kMessageRequest = "{\"id\":1,\"messageId\":\"X\"}\n";
constexpr const char* kFound = R"({"key":"A","found":true,"value":"1","attribute":null,"policyId":5})";

TEST(LiveConfiguration, NeedsNoAgentAndIsRefusedWhereItCannotBeRead) {
  const CkxTraceCapture quiet;
  const CkxRuntimeFolderScope runtime;
  CkxPolicyPublication publication;
  SkxPolicyImage image = KxTest_Compile(R"({"policies": [{"id": 5, "name": "Settings", "action": "configuration",
      "configurationXml": "<Configuration><A>1</A></Configuration>",
      "messagesXml": "<Messages><Message id=\"M\">%1 and no more</Message></Messages>"}]})");
  std::string error;

  const SkxToolRun nothing = {4, "", "kxpolicy: No policies are published on this machine\n"};
  Ask("nothing is published", {{kGetSetting, "", nothing},
                               {kGetStream, kSettingRequests, nothing},
                               {kList, "", nothing},
                               {kMessage, "", nothing},
                               {kMessageStream, kMessageRequest, nothing}});

  const std::string found = kFound;
  const std::string ofStream = "{\"id\":1," + found.substr(1) + "\n{\"id\":2,\"key\":\"X\",\"found\":false";
  const std::string listed = "{\"key\":\"A\",\"value\":\"1\",\"attributes\":{},\"policyId\":5}\n";
  ASSERT_TRUE(publication.Publish(image, error)) << error;
  Ask("there is no agent", {{kGetSetting, "", {0, found + "\n", ""}},
                            {kGetAbsent, "", {1, "{\"key\":\"X\",\"found\":false}\n", ""}},
                            {kGetStream, kSettingRequests, {0, ofStream + "}\n", ""}},
                            {kList, "", {0, listed, ""}},
                            {kMessage, "", {0, "one and no more\n", ""}},
                            {kAbsentMessage, "", {1, "", "kxpolicy: X: there is no such message\n"}},
                            {kMessageStream, kMessageRequest, {0, "{\"id\":1,\"found\":false}\n", ""}}});

  // A second record that is none: what lies before it is answered still.
  ++image.policies->front();
  image.policies->insert(image.policies->end(), {1, 2, 3, 4});
  ASSERT_TRUE(publication.Publish(image, error)) << error;
  const std::string unread = R"("found":false,"error":"ERROR: EnumPolicies failed"})";
  Ask("the policies are damaged",
      {{kGetSetting, "", {0, found + "\n", ""}},
       {kGetAbsent, "", {4, "{\"key\":\"X\"," + unread + "\n", ""}},
       {kGetAbsentAsText, "", {4, "", "kxpolicy: X: ERROR: EnumPolicies failed\n"}},
       {kGetStream, kSettingRequests, {4, ofStream + ",\"error\":\"ERROR: EnumPolicies failed\"}\n", ""}},
       {kList, "", {4, listed + "{" + unread + "\n", ""}},
       {kMessage, "", {0, "one and no more\n", ""}},
       {kAbsentMessage, "", {4, "", "kxpolicy: X: ERROR: EnumPolicies failed\n"}},
       {kMessageStream, kMessageRequest, {4, "{\"id\":1," + unread + "\n", ""}}});
  EXPECT_TRUE(publication.Unpublish(error)) << error;
}

}  // namespace
