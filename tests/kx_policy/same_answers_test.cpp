// The C interface answers what the command answers, byte for byte: from documents, from an image, about targets that
// are none, and where nothing is in force.
#include <gmock/gmock.h>

#include "tests/kx_policy/asked.h"
#include "tests/kxpolicy/served.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::HasSubstr;

constexpr const char* kDocuments[] = {"examples/workstation/policies.jsonc", "examples/workstation/upkeep.jsonc"};

/// The targets of the example, and lines that are none.
std::string Targets() {
  return KxTest_FileText(kKxTestTargets) +
         "{\"id\": {\"a\": [1]}, \"kind\": \"file\", \"paht\": \"C:\\\\a.exe\"}\n"
         "{\"id\": 7, \"kind\": \"nothing\"}\n"
         "{\"kind\": \"file\", \"path\": \"\xC3\x28\"}\n"
         "[]\n"
         "no JSON\n" +
         std::string(200, '[') + "\n";
}

/// Each line of `targets` asked, the answers as lines.
std::string AnswersOf(const kx_policies* policies, const std::string& targets, const kx_policy_options* options) {
  std::istringstream lines(targets);
  std::string answers;
  for (std::string line; std::getline(lines, line);) answers += KxTest_Ask(policies, line, options).answer + "\n";
  return answers;
}

class CInterfaceAnswers : public testing::Test {
 protected:
  std::string OfTheCommand(std::vector<std::string> policies, const std::vector<std::string>& options) const {
    std::vector<std::string> arguments = {"eval"};
    arguments.insert(arguments.end(), policies.begin(), policies.end());
    arguments.insert(arguments.end(), {"--targets", "-", "--format", "json"});
    arguments.insert(arguments.end(), options.begin(), options.end());
    return KxTest_RunTool(arguments, _targets).out;
  }

  const std::string _targets = Targets();
};

TEST_F(CInterfaceAnswers, AreThoseOfTheCommandWithEachOption) {
  const CkxTempFolder folder;
  const std::string image = KxTest_PathText(folder.Path() / "image");
  ASSERT_EQ(KxTest_RunTool({"compile", kDocuments[0], kDocuments[1], "-o", image}).code, 0);
  const KxTestPolicies fromImage = KxTest_Opened(
      [&](kx_policies** policies, char** error) { return kx_policy_open_image(image.c_str(), policies, error); });
  const KxTestPolicies fromDocuments = KxTest_OpenedWorkstation();
  constexpr size_t kSize = sizeof(kx_policy_options);
  const struct {
    std::vector<std::string> arguments;
    kx_policy_options options;
  } kCases[] = {
      {{}, {kSize, nullptr, nullptr, KX_POLICY_EXPLAIN_NONE}},
      {{"--brief"}, {kSize, nullptr, KX_POLICY_BRIEF, KX_POLICY_EXPLAIN_NONE}},
      {{"--fields", "matched,info"}, {kSize, nullptr, "matched,info", KX_POLICY_EXPLAIN_NONE}},
      {{"--explain=close"}, {kSize, nullptr, nullptr, KX_POLICY_EXPLAIN_CLOSE}},
      {{"--explain"}, {kSize, nullptr, nullptr, KX_POLICY_EXPLAIN_ALL}},
      {{"--user", "S-1-5-18"}, {kSize, "S-1-5-18", nullptr, KX_POLICY_EXPLAIN_NONE}},
  };
  std::vector<std::string> seen;
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.arguments.empty() ? "no options" : test.arguments[0]);
    const std::string expected = OfTheCommand({image}, test.arguments);
    EXPECT_EQ(AnswersOf(fromImage.get(), _targets, &test.options), expected);
    EXPECT_EQ(AnswersOf(fromDocuments.get(), _targets, &test.options),
              OfTheCommand({kDocuments[0], kDocuments[1]}, test.arguments));
    EXPECT_EQ(std::count(seen.begin(), seen.end(), expected), 0) << "an option that changes nothing";
    seen.push_back(expected);
  }
  EXPECT_EQ(AnswersOf(fromImage.get(), _targets, nullptr), seen[0]) << "no options are the default";
}

/// Wherever a stream is cut between two lines, and whoever asks.
TEST_F(CInterfaceAnswers, AddUpToTheSummaryOfTheCommand) {
  const KxTestPolicies policies = KxTest_OpenedWorkstation();
  const kx_policy_options system = {sizeof(kx_policy_options), "S-1-5-18", nullptr, KX_POLICY_EXPLAIN_NONE};
  const std::vector<std::string> documents = {kDocuments[0], kDocuments[1]};
  const std::string whole = OfTheCommand(documents, {"--summary"});
  const std::string ofSystem = OfTheCommand(documents, {"--summary", "--user", "S-1-5-18"});
  EXPECT_NE(whole, ofSystem);
  EXPECT_EQ(KxTest_Summarize(policies.get(), _targets, nullptr, &system).answer + "\n", ofSystem);
  for (size_t cut = 0; cut != std::string::npos; cut = _targets.find('\n', cut + 1)) {
    const SkxAsked first = KxTest_Summarize(policies.get(), std::string_view(_targets).substr(0, cut));
    const SkxAsked both =
        KxTest_Summarize(policies.get(), std::string_view(_targets).substr(cut), first.answer.c_str());
    ASSERT_EQ(both.status, KX_POLICY_OK) << both.error;
    ASSERT_EQ(both.answer + "\n", whole) << cut;
  }
}

TEST_F(CInterfaceAnswers, AreOfEachStatus) {
  const KxTestPolicies policies = KxTest_OpenedDocument(
      R"({"policies": [{"id": 5, "name": "P", "action": "block", "targets": [{"type": "executable", "fileName": "a.exe"}]}]})");
  const struct {
    std::string target;
    int status;
    std::string answer, error;
  } kCases[] = {
      {R"({"id": 1, "kind": "process", "path": "C:\\a.exe"})", KX_POLICY_OK,
       R"({"id":1,"matched":true,"policyId":5,"action":2})", ""},
      {R"({"kind": "process", "path": "C:\\b.exe"})", KX_POLICY_NONE, R"({"id":null,"matched":false})", ""},
      {R"({"id": 2})", KX_POLICY_INPUT, R"({"id":2,"error":"\"kind\" is missing"})", "\"kind\" is missing"},
      {std::string("{\"kind\": \"file\"}\0{}", 18), KX_POLICY_INPUT,
       R"({"id":null,"error":"must not have a NUL inside"})", "must not have a NUL inside"},
      {std::string(), KX_POLICY_INPUT, R"({"id":null,"error":"line 1)", "line 1"},
      {std::string((size_t{16} << 20) + 1, ' '), KX_POLICY_INPUT, R"({"id":null,"error":"the document is too long"})",
       "the document is too long"},
  };
  const kx_policy_options brief = {sizeof(brief), nullptr, KX_POLICY_BRIEF, KX_POLICY_EXPLAIN_NONE};
  for (const auto& test : kCases) {
    const SkxAsked asked = KxTest_Ask(policies.get(), test.target, &brief);
    EXPECT_EQ(asked.status, test.status) << test.target;
    EXPECT_EQ(asked.error.empty(), test.status >= 0) << test.target;
    EXPECT_THAT(asked.answer, HasSubstr(test.answer));
    EXPECT_THAT(asked.error, HasSubstr(test.error));
  }
}

TEST_F(CInterfaceAnswers, OfFilesAreThoseOfTheCommandToo) {
  const CkxTempFolder folder;
  folder.Write("document.json", R"({"policies": [{"id": 1, "name": "P", "action": "run",
                                    "targets": [{"type": "executable", "fileName": "a*.exe"}]}]})");
  folder.Write("app.exe", "MZ");
  const std::string document = KxTest_PathText(folder.Path() / "document.json");
  const KxTestPolicies policies = KxTest_OpenedDocument(folder.Read("document.json"));
  for (const auto& [name, status] : {std::pair("app.exe", KX_POLICY_OK), {"document.json", KX_POLICY_NONE}}) {
    const std::string file = KxTest_PathText(folder.Path() / name);
    char* answer = nullptr;
    EXPECT_EQ(kx_policy_evaluate_file(policies.get(), file.c_str(), nullptr, &answer, nullptr), status);
    EXPECT_EQ(KxTest_Taken(answer) + "\n", KxTest_RunTool({"eval", document, "--file", file, "--format", "json"}).out);
  }
  char* answer = nullptr;
  char* error = nullptr;
  const std::string nothing = KxTest_PathText(folder.Path() / "nothing");
  EXPECT_EQ(kx_policy_evaluate_file(policies.get(), nothing.c_str(), nullptr, &answer, &error), KX_POLICY_INPUT);
  EXPECT_EQ(answer, nullptr);
  EXPECT_NE(KxTest_Taken(error).find("nothing: cannot be read"), std::string::npos);
}

/// What is found in documents, by the command and by the interface, which are given the same names and texts.
TEST(CInterfaceFindings, AreThoseOfTheCommand) {
  const std::string fine =
      R"({"policies": [{"id": 1, "name": "P", "action": "run", "targets": [{"type": "executable", "fileName": "a.exe"}]}]})";
  const struct {
    const char* what;
    std::vector<std::string> documents;
    int status;
    int code;
    const char* part;  ///< of the findings
  } kCases[] = {
      {"nothing", {fine}, KX_POLICY_OK, 0, ""},
      {"a warning",
       {R"({"policies": [{"id": 2, "name": "Q \"z\"", "action": "run", "targets": []}]})", fine},
       KX_POLICY_OK,
       0,
       R"("severity":"warning","rule":"no-targets","policyId":2)"},
      {"a row that is nobody's, among many",
       {R"({"policies": [{"id": 2, "name": "Q", "action": "run", "users": ["S-1-5-18", "S-1-0-0"],
            "targets": [{"type": "executable", "fileName": "b.exe"}]}]})"},
       KX_POLICY_OK,
       0,
       R"("pointer":"/policies/0/users/1","line":1)"},
      {"faults, and their places",
       {fine, "{\"policies\": [{\"id\": 1,\n \"acton\": \"run\"},\n {\"id\": -2, \"name\": \"N\"}]}"},
       KX_POLICY_FAULTY,
       1,
       R"("line":3,"column":3)"},
      {"no JSON", {fine, "{\"policies\": [", "]"}, KX_POLICY_FAULTY, 3, R"("pointer":"","line":1,"column":15,)"},
      {"a key twice",
       {"{\"policies\": [], \"policies\": []}"},
       KX_POLICY_FAULTY,
       1,
       R"("message":"the key is there twice")"},
  };
  const CkxTempFolder folder;
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.what);
    std::vector<std::string> arguments = {"check", "--format", "json"};
    std::vector<kx_policy_document> documents;
    for (const std::string& text : test.documents) {
      const std::string name = "document" + std::to_string(arguments.size());
      folder.Write(name, text);
      arguments.push_back(KxTest_PathText(folder.Path() / name));
    }
    for (size_t i = 0; i < test.documents.size(); ++i) {
      documents.push_back({arguments[3 + i].c_str(), test.documents[i].data(), test.documents[i].size()});
    }
    char* findings = nullptr;
    char* error = nullptr;
    EXPECT_EQ(kx_policy_check(documents.data(), documents.size(), &findings, &error), test.status);
    EXPECT_EQ(findings == nullptr, *test.part == 0) << "no text where there is nothing to say";
    const std::string found = KxTest_Taken(findings);
    EXPECT_EQ(KxTest_Taken(error), "");
    const SkxToolRun run = KxTest_RunTool(arguments);
    EXPECT_EQ(found, run.out);
    EXPECT_EQ(run.code, test.code);
    EXPECT_THAT(found, HasSubstr(test.part));
  }
}

TEST_F(CInterfaceAnswers, OfTheMachineWhereNothingIsPublishedAreNoAnswers) {
  const CkxRuntimeFolderScope runtime;
  const KxTestPolicies live = KxTest_Opened(kx_policy_open_live);
  const std::string target = R"({"kind": "process", "path": "C:\\a.exe"})";
  const SkxAsked asked = KxTest_Ask(live.get(), target);
  EXPECT_EQ(asked.status, KX_POLICY_UNANSWERED);
  EXPECT_NE(asked.error, "");
  const SkxToolRun run = KxTest_RunTool({"eval", "--targets", "-", "--format", "json"}, target + "\n");
  EXPECT_EQ(asked.answer + "\n", run.out);
  EXPECT_EQ(run.code, 4);
}

TEST_F(CInterfaceAnswers, OfTheMachineAreOfWhatIsInForceThen) {
  const CkxTraceCapture quiet;
  const CkxRuntimeFolderScope runtime;
  const CkxTempFolder work;
  const std::string image = KxTest_PathText(work.Path() / "image");
  ASSERT_EQ(KxTest_RunTool({"compile", kDocuments[0], kDocuments[1], "-o", image}).code, 0);
  const KxTestPolicies live = KxTest_Opened(kx_policy_open_live);
  const std::string target =
      R"({"kind": "process", "path": "C:\\Tools\\solitaire.exe", "user": {"sid": "S-1-5-21-1-2-3-4"}})";
  ASSERT_EQ(KxTest_Ask(live.get(), target).status, KX_POLICY_UNANSWERED);
  CkxServedImage served(image);
  SkxAsked asked = KxTest_Ask(live.get(), target);
  for (int i = 0; i < 2000 && asked.status == KX_POLICY_UNANSWERED; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    asked = KxTest_Ask(live.get(), target);
  }
  EXPECT_GE(asked.status, 0) << asked.error;
  EXPECT_EQ(asked.answer + "\n", KxTest_RunTool({"eval", "--target", "-", "--format", "json"}, target).out);
  EXPECT_EQ(served.Stop().code, 0);
  EXPECT_EQ(KxTest_Ask(live.get(), target).status, KX_POLICY_UNANSWERED);
}

}  // namespace
