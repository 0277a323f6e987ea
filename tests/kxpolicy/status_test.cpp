// What an administrator has of the service: status, rollback, and what stays over a restart.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tests/kxpolicy/served.h"
#include "tests/kxpolicy/service_status.h"
#include "tests/support/policy_documents.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST(Status, TellsWhatIsInForceAndGoesBack) {
  const CkxTraceCapture quiet;
  const CkxRuntimeFolderScope runtime;
  const CkxTempFolder work;
  const std::string image = KxTest_PathText(work.Path() / "image");
  const std::vector<std::string> keep = {"--keep", KxTest_PathText(work.Path() / "kept")};
  for (const char* const verb : {"status", "rollback"}) {
    const SkxToolRun nobody = KxTest_RunTool({verb});
    EXPECT_EQ(nobody.code, 4);
    EXPECT_THAT(nobody.err, HasSubstr("`kxpolicy serve DIR`"));
  }

  KxTest_CompileOne(work, image, 7);
  json first;
  {
    CkxServedImage served(image, keep);
    first = KxTest_StatusOfPolicy(7);
    EXPECT_EQ(first["folder"], image);
    EXPECT_EQ(first["inForce"]["policies"], 1);
    EXPECT_EQ(first["policies"], json::parse(R"([{"policyId": 7, "name": "No tools", "decided": 0}])"));
    EXPECT_EQ(first["before"], nullptr);
    EXPECT_EQ(first["requests"].size(), 3u);
    const SkxToolRun refused = KxTest_RunTool({"rollback"});
    EXPECT_EQ(refused.code, 4);
    EXPECT_THAT(refused.err, HasSubstr("there is no image before"));

    KxTest_CompileOne(work, image, 8);
    const json second = KxTest_StatusOfPolicy(8);
    EXPECT_EQ(second["before"]["digest"], first["inForce"]["digest"]);
    EXPECT_NE(second["publication"], first["publication"]);
    const SkxToolRun back = KxTest_RunTool({"rollback"});
    EXPECT_EQ(back.code, 0) << back.err;
    EXPECT_THAT(back.out, AllOf(HasSubstr("in force      1 policy since 2"),
                                HasSubstr(second["inForce"]["digest"].get<std::string>() + ", until the folder")));
    EXPECT_EQ(KxTest_StatusOfPolicy(7)["withdrawn"], second["inForce"]["digest"]);
    EXPECT_THAT(KxTest_RunTool({"show"}).out, HasSubstr("Policy id:\t7"));
    EXPECT_EQ(KxTest_RunTool({"rollback"}).code, 4) << "what was withdrawn is not what comes back";

    work.Write("image/applicable.json", "{");
    const json broken = KxTest_StatusWhen([](const json& status) { return status["faults"]["count"] == 1; });
    EXPECT_THAT(broken["faults"]["last"].get<std::string>(), HasSubstr("applicable.json"));
    EXPECT_EQ(broken["policies"][0]["policyId"], 7);
    KxTest_CompileOne(work, image, 8);
    std::this_thread::sleep_for(std::chrono::seconds(1));  // for some looks at the folder
    EXPECT_EQ(KxTest_StatusOfPolicy(7)["withdrawn"], second["inForce"]["digest"])
        << "copied into its place it is the same";
    std::filesystem::remove(work.Path() / "image/names.json");
    std::filesystem::create_directory(work.Path() / "image/names.json");
    const json untold = KxTest_StatusWhen([](const json& status) { return status["faults"]["count"] == 2; });
    EXPECT_THAT(untold["faults"]["last"].get<std::string>(), HasSubstr("names.json: cannot be read"));
    EXPECT_EQ(untold["policies"][0]["policyId"], 7) << "it may be the one that was withdrawn";
    KxTest_CompileOne(work, image, 9);
    EXPECT_EQ(KxTest_StatusOfPolicy(9)["withdrawn"], nullptr) << "another one";
    EXPECT_EQ(KxTest_RunTool({"rollback"}).code, 0);
  }
  {
    CkxServedImage served(image, keep);
    EXPECT_EQ(KxTest_StatusOfPolicy(7)["inForce"], first["inForce"]) << "what was withdrawn stays so";
  }
  work.Write("image/applicable.json", "{");
  {
    CkxServedImage served(image, keep);
    EXPECT_EQ(KxTest_StatusOfPolicy(7)["faults"]["count"], 1) << "what cannot be used leaves what was in force";
  }
  EXPECT_EQ(KxTest_RunTool({"serve", image}).code, 3) << "nothing was kept";
  EXPECT_EQ(KxTest_RunTool({"serve", image, "--keep", KxTest_PathText(work.Path())}).code, 4) << "it has other files";
  KxTest_CompileOne(work, image, 10);
  CkxServedImage served(image, keep);
  EXPECT_EQ(KxTest_StatusOfPolicy(10)["before"], first["inForce"]);
}

}  // namespace
