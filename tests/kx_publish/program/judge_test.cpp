// What programs of others judge with, by its public headers alone.
#include <gtest/gtest.h>
#include <kx_publish/judge.h>
#include <kx_publish/summary.h>

#include <nlohmann/json.hpp>

#include "Common_CPP/util/text.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr const char* kPoliciesForPrograms = R"({
  // two, one of them somebody's
  "policies": [
    { "id": 1, "name": "No notes", "action": "block", "targets": [{ "type": "executable", "fileName": "a note*" }] },
    { "id": 2, "name": "Ann's", "action": "elevate", "targets": [{ "type": "executable", "fileName": "tool.exe" }] }
  ],
  "applicable": { "S-1-5-21-1-2-3-1001": [1, 2], "*": [1] }
})";

std::optional<CkxPolicies> CompiledForPrograms(const std::string& text, SkxDocumentError& error) {
  const SkxDocumentText documents[] = {{"policies.jsonc", text}};
  return CkxPolicies::Compile(documents, error);
}

CkxPolicies PoliciesForPrograms() {
  SkxDocumentError error;
  std::optional<CkxPolicies> policies = CompiledForPrograms(kPoliciesForPrograms, error);
  EXPECT_TRUE(policies) << error.Text();
  return *policies;
}

TEST(PublicJudge, AnswersTextsWithTexts) {
  struct Case {
    const char* document;
    const char* id;
    uint32_t policy;    // 0: none applies
    const char* error;  // its beginning; empty: there is none
  };
  static constexpr Case kCases[] = {
      {R"({"id":"a","kind":"process","path":"C:\\a note.exe"})", R"("a")", 1, ""},
      {R"({"id":[1],"kind":"process","path":"C:\\b.exe"})", "[1]", 0, ""},
      {R"({"id":7,"kind":"process","path":"C:\\tool.exe","user":{"sid":"S-1-5-21-1-2-3-1001"}})", "7", 2, ""},
      {R"({"id":7,"kind":"process","path":"C:\\tool.exe","user":{"sid":"S-1-5-21-1-2-3-1002"}})", "7", 0, ""},
      {R"({"id":8,"kind":"process","pth":1})", "8", 0, "/"},
      {"no document", "null", 0, "line 1"},
      {"", "null", 0, "line 1"},
  };
  for (const EkxPrepare prepare : {EkxPrepare::AtOnce, EkxPrepare::Never}) {
    const CkxJudge judge(PoliciesForPrograms(), prepare);
    for (const Case& row : kCases) {
      SCOPED_TRACE(row.document);
      const std::string answer = judge.Answer(row.document);
      const auto json = nlohmann::json::parse(answer);
      EXPECT_EQ(json["id"].dump(), row.id);
      EXPECT_EQ(json.value("policyId", 0u), row.policy);
      EXPECT_EQ(json.contains("error"), *row.error != 0);
      EXPECT_EQ(json.value("error", "").rfind(row.error, 0), 0u) << answer;

      SkxDocumentError error;
      const std::optional<CkxTarget> target = CkxTarget::Parse(row.document, error);
      ASSERT_EQ(target.has_value(), *row.error == 0);
      EXPECT_EQ(target ? KxDecision_ToJson(judge.Decide(*target)) : answer, answer);
      EXPECT_EQ(target ? "" : error.Text(), json.value("error", ""));
    }
  }
}

TEST(PublicJudge, TakesAnotherUserForTheDocumentsOwn) {
  const CkxJudge judge(PoliciesForPrograms());
  SkxDocumentError error;
  const char* const document = R"({"kind":"process","path":"C:\\tool.exe"})";
  EXPECT_FALSE(judge.Decide(*CkxTarget::Parse(document, error)).matched);
  EXPECT_TRUE(judge.Decide(*CkxTarget::Parse(document, error, "S-1-5-21-1-2-3-1001")).matched);
  EXPECT_FALSE(CkxTarget::Parse(document, error, "ann"));
  EXPECT_EQ(error.Text(), "the user is no SID");
}

TEST(PublicJudge, LooksAtAFileOfThisMachineAndSaysWhy) {
  const CkxTempFolder folder;
  const CkxJudge judge(PoliciesForPrograms());
  SkxDocumentError error;
  const std::string path = KxText_ToUtf8(folder.Write("a note.exe", "text"));
  const std::optional<CkxTarget> file = CkxTarget::File(path, error);
  ASSERT_TRUE(file) << error.Text();
  const auto answer = nlohmann::json::parse(KxDecision_ToJson(judge.Decide(*file, EkxExplain::All)));
  EXPECT_EQ(answer["id"], path);
  EXPECT_EQ(answer["policyId"], 1);
  EXPECT_EQ(answer["explain"][0]["outcome"], "applies");
  EXPECT_EQ(answer["explain"][0]["pointer"], "/policies/0");
  EXPECT_FALSE(CkxTarget::File(path + ".gone", error));
  EXPECT_EQ(error.Text(), path + ".gone: cannot be read: no such file or folder");
  EXPECT_FALSE(CkxTarget::Process(0x7FFFFFFE, error));
  EXPECT_EQ(error.Text(), "process 2147483646: there is none");
}

TEST(PublicPolicies, ComeBackFromAFolderAndSayWhatIsWrong) {
  const CkxTempFolder folder;
  const std::string image = KxText_ToUtf8(folder.Text("image"));
  SkxDocumentError error;
  EXPECT_FALSE(CkxPolicies::Open(image, error));
  EXPECT_NE(error.Text().find("image"), std::string::npos);
  ASSERT_TRUE(PoliciesForPrograms().Write(image, error)) << error.Text();
  const std::optional<CkxPolicies> opened = CkxPolicies::Open(image, error);
  ASSERT_TRUE(opened) << error.Text();
  const char* const document = R"({"kind":"process","path":"C:\\a note.exe"})";
  EXPECT_EQ(CkxJudge(*opened).Answer(document), CkxJudge(PoliciesForPrograms()).Answer(document));

  EXPECT_FALSE(CompiledForPrograms(R"({"policies":[{"id":1,"name":"x","action":"block","targets":7}]})", error));
  EXPECT_EQ(error.document, "policies.jsonc");
  EXPECT_EQ(error.pointer, "/policies/0/targets");
  EXPECT_FALSE(CkxPolicies::Open("\xFF", error));
  EXPECT_EQ(error.Text(), "the folder's path is not UTF-8");
}

TEST(PublicSummary, AddsUpAndStaysAsItWasForWhatIsNone) {
  const CkxJudge judge(PoliciesForPrograms());
  CkxSummary summary(PoliciesForPrograms());
  SkxDocumentError error;
  summary.Count(judge.Decide(*CkxTarget::Parse(R"({"kind":"process","path":"C:\\a note.exe"})", error)));
  summary.CountUnusable();
  const std::string one = summary.ToJson();
  ASSERT_TRUE(summary.Add(one, error)) << error.Text();
  const std::string two = summary.ToJson();
  EXPECT_EQ(nlohmann::json::parse(two)["targets"], 4);
  EXPECT_EQ(nlohmann::json::parse(two)["policies"][0]["decided"], 2);

  auto damaged = nlohmann::json::parse(one);
  damaged["policies"][0]["decided"] = 3;  // found once its other numbers have been added
  EXPECT_FALSE(summary.Add(damaged.dump(), error));
  EXPECT_EQ(error.Text(), "/matched: is not the sum of what the policies decided");
  EXPECT_EQ(summary.ToJson(), two);
  EXPECT_NE(summary.ToText().find("Never decided:\n           0  2 Ann's\n"), std::string::npos);
}

}  // namespace
