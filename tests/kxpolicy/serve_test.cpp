// The command as the agent of a machine: publish, unpublish, serve, and the verbs that ask what is in force.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "tests/kxpolicy/served.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

/// An image of one policy with that id, compiled into `folder`.
void Compile(const CkxTempFolder& work, const std::string& image, int id) {
  const std::string document = KxTest_PathText(work.Path() / "policies.json");
  std::ofstream(document) << R"({"policies": [{"id": )" << id << R"(, "name": "No tools", "action": "block",
                                 "targets": [{"type": "executable", "fileName": "tool.exe"}]}]})";
  const SkxToolRun run = KxTest_RunTool({"compile", document, "-o", image});
  ASSERT_EQ(run.code, 0) << run.err;
}

constexpr const char* kTool =
    R"({"id": "t", "kind": "file", "path": "C:\\tool.exe", "user": {"sid": "S-1-5-21-1-2-3-4"}})";

SkxToolRun EvalTool() { return KxTest_RunTool({"eval", "--target", "-", "--format", "json"}, kTool); }

/// Asks until the answer holds `part`; the last answer when it never does.
std::string EvalUntil(const std::string& part) {
  std::string answer;
  for (int i = 0; i < 2000; ++i) {
    answer = EvalTool().out;
    if (answer.find(part) != std::string::npos) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return answer;
}

TEST(Serve, AnswersFollowsTheImageAndLeavesNothing) {
  const CkxTraceCapture quiet;
  const CkxRuntimeFolderScope runtime;
  const CkxTempFolder work;
  const std::string image = KxTest_PathText(work.Path() / "image");
  Compile(work, image, 7);

  CkxServedImage served(image);
  EXPECT_THAT(EvalUntil("\"policyId\":7"), HasSubstr("\"matched\":true"));
  EXPECT_THAT(KxTest_RunTool({"show"}).out, AllOf(HasSubstr("No tools"), HasSubstr("Policy id:\t7")));
  EXPECT_EQ(KxTest_RunTool({"publish", image}).code, 4) << "one publisher at a time";

  Compile(work, image, 8);
  EXPECT_THAT(EvalUntil("\"policyId\":8"), HasSubstr("\"matched\":true"));
  std::ofstream(work.Path() / "image" / "applicable.json") << "{";
  EXPECT_THAT(EvalUntil("\"policyId\":8"), HasSubstr("\"matched\":true")) << "an unusable image changes nothing";

  const SkxToolRun run = served.Stop();
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_THAT(run.out,
              AllOf(HasSubstr("serving " + image + "\n"),
                    HasSubstr("published " + image + ": 1 policy (8 \"No tools\"), 0 application groups, 0 alerts\n"),
                    HasSubstr("HANDLER_APPLICABLE_POLICIES from S-1-"), HasSubstr("stopped\n")));
  EXPECT_EQ(KxTest_RunTool({"show"}).code, 4) << "nothing is left published";
  const SkxToolRun unanswered = EvalTool();
  EXPECT_THAT(unanswered.out, HasSubstr("\"error\":\"Failed to get applicable policies for the user\""));
  EXPECT_EQ(unanswered.code, 4);
}

TEST(Serve, PublishesWithoutAnAgent) {
  if (!KxSharedMemory_OutlivesPublisher()) GTEST_SKIP() << "sections go with the process that published them";
  const CkxTraceCapture quiet;
  const CkxRuntimeFolderScope runtime;
  const CkxTempFolder work;
  const std::string image = KxTest_PathText(work.Path() / "image");
  EXPECT_EQ(KxTest_RunTool({"publish", image}).code, 3) << "there is no image yet";
  Compile(work, image, 7);
  EXPECT_EQ(KxTest_RunTool({"publish", image}).out,
            "published " + image + ": 1 policy (7 \"No tools\"), 0 application groups, 0 alerts\n");
  EXPECT_THAT(KxTest_RunTool({"show"}).out, HasSubstr("No tools"));
  EXPECT_EQ(KxTest_RunTool({"unpublish"}).code, 0);
  EXPECT_EQ(KxTest_RunTool({"unpublish"}).code, 0) << "nothing is published is what was asked for";
  EXPECT_EQ(KxTest_RunTool({"show"}).code, 4);

  work.Write("image/policies.sec", std::string(4, '\0'));
  EXPECT_EQ(KxTest_RunTool({"publish", "--empty", image}).out,
            "published " + image + ": 0 policies, 0 application groups, 0 alerts\n");
  EXPECT_EQ(KxTest_RunTool({"unpublish"}).code, 0);
}

TEST(Serve, OutlivesTheReaderOfItsOutputAndAFailedLook) {
  const CkxTraceCapture quiet;
  const CkxRuntimeFolderScope runtime;
  const CkxTempFolder work;
  const std::string image = KxTest_PathText(work.Path() / "image");
  Compile(work, image, 7);

  struct Closed : std::streambuf {
    int_type overflow(int_type) override { return traits_type::eof(); }
  } closed;
  std::istringstream in;
  std::ostream out(&closed);
  std::ostringstream err;
  SkxStreams streams = {in, out, err};
  int looks = 0;
  streams.waitForStop = [&](uint32_t) {
    if (++looks == 2) std::filesystem::rename(work.Path() / "image", work.Path() / "away");
    if (looks == 38) {  // after it was tried again
      EXPECT_THAT(EvalTool().out, HasSubstr("\"policyId\":7")) << "what was in force still is";
    }
    if (looks == 40) std::filesystem::rename(work.Path() / "away", work.Path() / "image");
    if (looks == 44) Compile(work, image, 8);
    if (looks == 45) {
      EXPECT_THAT(EvalTool().out, HasSubstr("\"policyId\":7")) << "it may change still";
    }
    if (looks == 50) {
      EXPECT_THAT(EvalTool().out, HasSubstr("\"policyId\":8"));
    }
    return looks > 50;
  };
  EXPECT_EQ(KxPolicy_Run({"serve", image}, streams), 0);
  const std::string lines = err.str();
  EXPECT_THAT(lines, testing::StartsWith("kxpolicy: " + image + ": "));
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines << ": told once";
}

}  // namespace
