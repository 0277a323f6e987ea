// A rollback without memory: whichever allocation fails, all of it has happened or nothing.
#include <gtest/gtest.h>

#include "tests/kxpolicy/run_tool.h"
#include "tests/memory/failing_memory.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"
#include "tools/kxpolicy/served_agent.h"

namespace {

void CompilePolicy(const CkxTempFolder& work, const std::string& image, const std::string& id) {
  work.Write("p.json", R"({"policies": [{"id": )" + id + R"(, "name": "P", "action": "block", "targets": []}]})");
  ASSERT_EQ(KxTest_RunTool({"compile", KxTest_PathText(work.Path() / "p.json"), "-o", image}).code, 0);
}

/// What is published, in force, to go back to and withdrawn: "2 2 2 1 -", with the id of its policy.
std::string ToldOf(const CkxServedAgent& agent, const SkxPolicyImage& newer, const std::string& newerDigest) {
  const SkxServiceStatus status = agent.Status();
  const auto nameOf = [&](const std::string& digest) { return digest == newerDigest ? "2 " : "1 "; };
  std::string told = KxImage_LoadLive().policies == newer.policies ? "2 " : "1 ";
  told += nameOf(status.inForce.digest) + std::to_string(status.policies.at(0).id) + " ";
  told += status.before ? nameOf(status.before->digest) : "- ";
  return told + (status.withdrawn ? nameOf(*status.withdrawn) : "-");
}

TEST(NoMemory, IsNoRollbackOrAWholeOne) {
  const CkxTraceCapture quiet;
  const CkxRuntimeFolderScope runtime;
  const CkxTempFolder work;
  std::istringstream in;
  std::ostringstream out;
  std::ostringstream err;
  SkxStreams streams = {in, out, err};
  SkxServeOptions options;
  options.image = KxTest_PathText(work.Path() / "image");

  CompilePolicy(work, options.image, "1");
  CkxServedAgent agent(options, streams);
  agent.Start();
  CompilePolicy(work, options.image, "2");
  agent.Reload();
  const SkxPolicyImage newer = KxImage_Load(options.image);
  const auto told = [&, digest = agent.Status().inForce.digest] { return ToldOf(agent, newer, digest); };
  ASSERT_EQ(told(), "2 2 2 1 -");

  size_t done = 0;
  size_t undone = 0;
  bool hasFailed = true;
  for (size_t failAt = 0; hasFailed; failAt += 1 + failAt / 12) {
    CkxFailingMemory memory(failAt, false);
    bool isDone = false;
    try {
      isDone = memory.During([&] { return agent.Rollback(); }).empty();
    } catch (const std::bad_alloc&) {
    }
    hasFailed = CkxFailingMemory::Count() > failAt;
    ASSERT_EQ(told(), isDone ? "1 1 1 - 2 " : "2 2 2 1 -") << failAt;
    ++(isDone ? done : undone);
    if (isDone) agent.Reload();
  }
  EXPECT_GT(undone, 10u);
  EXPECT_GT(done, 1u) << "a line of the log takes memory too";
  agent.Stop();
}

}  // namespace
