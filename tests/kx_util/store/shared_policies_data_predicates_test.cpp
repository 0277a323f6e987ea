#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/shared_policy_target_admin_task.h>
#include <kx_util/target_info_kinds.h>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/image/image_source.h"
#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Agent/engine/kx_util/store/tools_folder.h"
#include "Common_CPP/access_token/access_token.h"
#include "tests/support/data_rows.h"
#include "tests/support/policy_documents.h"
#include "tests/support/policy_questions.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/trace_capture.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;

/// A publication with a name, whose walks are counted.
class NamedSource : public CkxImageSource {
 public:
  NamedSource(const std::string& document, const WCHAR* name) : CkxImageSource(KxTest_Compile(document)), _name(name) {}

  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    if (which == EkxPolicySection::Policies) ++walks;
    return CkxImageSource::OpenSection(which, section);
  }
  KxWString PublicationName() const override { return _name; }

  mutable int walks = 0;

 private:
  const KxWString _name;
};

/// Policies 1, 2, ... with the given members.
std::string Document(json policies) {
  for (size_t i = 0; i < policies.size(); ++i) policies[i].update({{"id", i + 1}, {"name", "p"}});
  const json none = {{"name", "none"}, {"targets", json::array()}};
  return json({{"policies", policies}, {"applicationGroups", json::array({none})}}).dump();
}

json About(const char* action, const json& target) { return {{"action", action}, {"targets", json::array({target})}}; }

const json kTool = {{"type", "executable"}, {"fileName", "tool.exe"}};

struct Things {
  CkxAccessToken user{*CkxSid::FromUtf8("S-1-5-21-1-2-3-1001"), {}, false};
  CkxAccessToken administrator{*CkxSid::FromUtf8("S-1-5-21-1-2-3-500"), {}, true};
  SkxFileFacts facts = KxTest_FileAt(KXW("C:\\Tools\\tool.exe"));
  CkxTargetInfoProcess tool{facts, SkxProcessFacts{}, user.Handle()};
  CkxTargetInfoActiveX control{facts, {}, user.Handle()};
  CkxTargetInfoElevator address{2, KXW("https://example.com/x"), user.Handle()};

  const CkxTargetInfo& Named(const std::string& name) const {
    if (name == "address") return address;
    return name == "control" ? static_cast<const CkxTargetInfo&>(control) : tool;
  }
  void* Token(const std::string& name) { return name == "administrator" ? administrator.Handle() : user.Handle(); }
};

TEST(PolicyPredicates, AnswerFromTheKindsThatTheyAreAbout) {
  for (const CkxDataRow& row : KxTest_Rows("questions.jsonl")) {
    SCOPED_TRACE(row.At());
    row.RequireCount(5);
    const CkxImageSource source(KxTest_Compile(Document(row.Fields()[4])));
    const CkxPolicySourceScope scope(source);
    const CkxTraceCapture trace;
    Things things;
    const std::string about = row.Fields()[2];
    EXPECT_EQ(KxTest_Questions().at(row.Fields()[1])(things.Named(about), things.Token(about)), row.Fields()[3]);
  }
}

TEST(PolicyPredicates, OnlyPoliciesOfTheUserCount) {
  json document = json::parse(Document(json::array({About("block", kTool)})));
  document["applicable"] = {{"S-1-5-21-1-2-3-500", {1}}, {"S-1-5-21-1-2-3-1001", json::array()}};
  const CkxImageSource source(KxTest_Compile(document.dump()));
  const CkxPolicySourceScope scope(source);
  Things things;
  EXPECT_TRUE(CkxSharedPoliciesData::HasActiveBlockedTargets(things.administrator.Handle()));
  const CkxTraceCapture trace;
  EXPECT_FALSE(CkxSharedPoliciesData::HasActiveBlockedTargets(things.user.Handle()));
}

TEST(PolicyPredicates, APolicyOfAnUnexpectedKindEndsTheQuestionWithALine) {
  CkxTraceCapture trace;
  const CkxImageSource source(KxTest_Compile(Document(json::array({About("run", kTool), {{"action", "logOff"}}}))));
  const CkxPolicySourceScope scope(source);
  for (const uint32_t id : {1u, 2u}) {
    CkxShBufPolicy* policy = nullptr;
    ASSERT_TRUE(CkxSharedPoliciesData::GetPolicyById(id, policy));
    const CkxShBufPolicyPtr owned(policy);
    EXPECT_EQ(KxPolicyWalk_IsExpected("IsSomething", kKxDecidingActions | 0x40, *owned), id == 1);
  }
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR IsSomething: ERROR: Unexpected policy action 7"));
}

TEST(PolicyPredicates, DistributorsAreWrittenIntoTheRecordsOfAnOrigin) {
  const json agent = {{"type", "executable"}, {"fileName", "agent.exe"}, {"softwareDistributorName", "Rollout"}};
  const CkxImageSource source(KxTest_Compile(Document(json::array({About("softwareDistributor", agent)}))));
  const CkxPolicySourceScope scope(source);

  CkxFileOrigin origin;
  const auto add = [](CkxFileSrcInstaller& installer, const WCHAR* path) {
    SkxFileSrcProcessFacts facts;
    facts.path = path;
    installer.Processes().emplace_back(std::move(facts));
  };
  EXPECT_FALSE(CkxSharedPoliciesData::UpdateSoftwareDistributors(origin, nullptr));
  add(origin.Installer(), KXW("C:\\other.exe"));
  add(origin.Installer(), KXW("C:\\agent.exe"));
  add(origin.ParentInstaller(), KXW("C:\\agent.exe"));
  EXPECT_TRUE(CkxSharedPoliciesData::UpdateSoftwareDistributors(origin, nullptr));
  EXPECT_EQ(origin.Installer().Processes()[0].Facts().softwareDistributor, KXW(""));
  EXPECT_EQ(origin.Installer().Processes()[1].Facts().softwareDistributor, KXW("Rollout"));
  EXPECT_EQ(origin.ParentInstaller().Processes()[0].Facts().softwareDistributor, KXW("Rollout"));

  CkxSharedPoliciesData::SetSoftwareDistributorUpdateHelper([](CkxFileOrigin& handed) {
    handed.Installer().Processes().clear();
    return false;
  });
  EXPECT_FALSE(CkxSharedPoliciesData::UpdateSoftwareDistributors(origin, nullptr)) << "the helper has the last word";
  EXPECT_TRUE(origin.Installer().Processes().empty());
  EXPECT_TRUE(CkxSharedPoliciesData::UpdateSoftwareDistributors(origin.ParentInstaller(), nullptr));
  CkxSharedPoliciesData::SetSoftwareDistributorUpdateHelper(nullptr);
  EXPECT_TRUE(CkxSharedPoliciesData::UpdateSoftwareDistributors(origin, nullptr));
}

json Task(const CkxAdminTask& task) { return {{"type", "administrativeTask"}, {"task", task.Id()}}; }

TEST(ToolsFolder, IsRememberedPerUserAndPublication) {
  const auto& tasks = CkxAdminTask::All();
  const auto shown = std::find_if(tasks.begin(), tasks.end(), [](auto& task) { return task.RequiresKxToolsFolder(); });
  ASSERT_NE(shown, tasks.end());
  const auto task = [&](const char* action) { return Document(json::array({About(action, Task(*shown))})); };
  CkxToolsFolderCache::Instance().Drop();
  Things things;
  const NamedSource enabled(task("elevate"), KXW("first"));
  const NamedSource disabled(task("block"), KXW("second"));
  const NamedSource unnamed(task("elevate"), KXW(""));
  struct {
    const char* name;
    const NamedSource& source;
    void* token;
    bool answer;
    int walks;
  } const cases[] = {
      {"the first time", enabled, things.user.Handle(), true, 1},
      {"the second time", enabled, things.user.Handle(), true, 0},
      {"another user", enabled, things.administrator.Handle(), true, 1},
      {"another publication", disabled, things.user.Handle(), false, 1},
      {"a disabled answer", disabled, things.user.Handle(), false, 0},
      {"the first publication again", enabled, things.user.Handle(), true, 1},
      {"one without a name", unnamed, things.user.Handle(), true, 1},
      {"it is not remembered", unnamed, things.user.Handle(), true, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const CkxPolicySourceScope scope(c.source);
    CkxTraceCapture trace;
    c.source.walks = 0;
    EXPECT_EQ(CkxSharedPoliciesData::KxToolsFolderEnabled(c.token), c.answer);
    EXPECT_EQ(c.source.walks, c.walks);
    if (c.walks == 0) {
      EXPECT_THAT(trace.Texts(),
                  ElementsAre(std::string("KXT_DEBUG IsToolsFolderEnabled: CkxSharedPoliciesData. ") +
                              "ToolsFolder is " + (c.answer ? "enabled" : "disabled") + " by cached result. "));
    }
  }
}

TEST(ToolsFolder, AnItemIsAllowedByTheTaskThatItStarts) {
  int tried = 0;
  for (const CkxAdminTask& task : CkxAdminTask::All()) {
    const CkxImageSource source(KxTest_Compile(Document(json::array({About("elevateOnDemand", Task(task))}))));
    const CkxPolicySourceScope scope(source);
    Things things;
    EXPECT_FALSE(CkxSharedPoliciesData::KxToolsFolderIsToolAllowed(0xFFFFFFFF, things.user.Handle()));
    for (const uint32_t item : task.GetKxToolsFolderItemIds()) {
      EXPECT_TRUE(CkxSharedPoliciesData::KxToolsFolderIsToolAllowed(item, things.user.Handle())) << task.Id();
      ++tried;
    }
  }
  EXPECT_GT(tried, 0);
}

}  // namespace
