#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy_target_admin_task.h>
#include <kx_util/target_info_kinds.h>

#include <functional>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Agent/engine/kx_util/store/tools_folder.h"
#include "Common_CPP/access_token/access_token.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;

SkxPolicyImage Image(const std::string& document) {
  SkxPublication publication;
  SkxDocumentError error;
  const SkxDocumentText text[] = {{"test", document}};
  EXPECT_TRUE(KxPolicyDocument_Read(text, publication, error)) << error.Text();
  return KxEncode_Image(publication);
}

/// A publication with a name, whose walks are counted.
class NamedSource : public CkxImageSource {
 public:
  NamedSource(const std::string& document, const WCHAR* name) : CkxImageSource(Image(document)), _name(name) {}

  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    if (which == EkxPolicySection::Policies) ++walks;
    return CkxImageSource::OpenSection(which, section);
  }
  KxWString PublicationName() const override { return _name; }

  mutable int walks = 0;

 private:
  const KxWString _name;
};

/// Policies 1, 2, ... with the given members, all about the tests' one program unless they say otherwise.
std::string Policies(const std::vector<std::string>& policies) {
  std::string document = R"({"policies": [)";
  for (size_t i = 0; i < policies.size(); ++i) {
    document += (i == 0 ? "" : ",") + ("{\"id\": " + std::to_string(i + 1)) + R"(, "name": "p", )" + policies[i] + "}";
  }
  return document + "]}";
}

constexpr const char* kTool = R"("targets": [{"type": "executable", "fileName": "tool.exe"}])";
constexpr const char* kOther = R"("targets": [{"type": "executable", "fileName": "other.exe"}])";
constexpr const char* kControl = R"("targets": [{"type": "activeX"}])";
constexpr const char* kAddress = R"("targets": [{"type": "url"}])";
constexpr const char* kExcluded = R"("targets": [{"type": "exclude", "fileName": "tool.exe", "users": "KxNoUsers"}])";

std::string Policy(const char* action, const char* rest) {
  return "\"action\": \"" + std::string(action) + "\", " + rest;
}

struct Things {
  CkxAccessToken user{*CkxSid::FromUtf8("S-1-5-21-1-2-3-1001"), {}, false};
  CkxAccessToken administrator{*CkxSid::FromUtf8("S-1-5-21-1-2-3-500"), {}, true};
  SkxFileFacts facts = [] {
    SkxFileFacts known;
    known.path = KXW("C:\\Tools\\tool.exe");
    return known;
  }();
  CkxTargetInfoProcess tool{facts, SkxProcessFacts{}, user.Handle()};
  CkxTargetInfoActiveX control{facts, {}, user.Handle()};
  CkxTargetInfoElevator address{2, KXW("https://example.com/x"), user.Handle()};
  uint32_t id = 0;
  uint32_t mask = 0;
};

TEST(PolicyPredicates, AnswerFromTheKindsThatTheyAreAbout) {
  using Data = CkxSharedPoliciesData;
  const auto blocked = [](Things& t) { return Data::IsBlocked(t.tool); };
  const auto elevated = [](Things& t) { return Data::ElevatorAllowed(t.address); };
  const auto elevatedTool = [](Things& t) { return Data::ElevatorAllowed(t.tool); };
  const auto shell = [](Things& t) { return Data::ShellOnDemandElevationAllowed(t.tool, t.id) && t.id == 1; };
  const auto automation = [](Things& t) { return Data::ActiveXPolicyAutomationAllowed(t.control); };
  const auto automationTool = [](Things& t) { return Data::ActiveXPolicyAutomationAllowed(t.tool); };
  const auto actions = [](uint32_t expected) {
    return [expected](Things& t) {
      return Data::GetPossibleActiveXInstallPolicyActions(t.user.Handle(), t.mask) && t.mask == expected;
    };
  };
  const auto excluded = [](Things& t) { return Data::IsExcluded(KXW("C:\\Tools\\tool.exe"), t.user.Handle()); };
  const auto developer = [](Things& t) { return Data::IsMultifileCreator(t.tool); };
  const auto request = [](Things& t) { return Data::ManualPolicyRequestAllowed(t.user.Handle(), t.id) && t.id == 1; };
  const auto adminRequest = [](Things& t) { return Data::ManualPolicyRequestAllowed(t.administrator.Handle(), t.id); };
  const auto shellTargets = [](Things& t) { return Data::HasActiveShellEoDTargets(t.user.Handle()); };
  const auto blockTargets = [](Things& t) { return Data::HasActiveBlockedTargets(t.user.Handle()); };

  const std::string trust = R"("action": "elevateOnDemand", "shellExtension": true)";
  const std::string collect = R"("action": "runAndCollectEvents", "monitorStandardUsers": true, "targets": [])";
  struct {
    const char* name;
    std::string document;
    std::function<bool(Things&)> ask;
    bool answer;
  } const cases[] = {
      {"a block", Policies({Policy("block", kTool)}), blocked, true},
      {"an inactive block", Policies({R"("active": false, )" + Policy("block", kTool)}), blocked, false},
      {"a block of something else", Policies({Policy("block", kOther)}), blocked, false},
      {"a block after a run", Policies({Policy("run", kTool), Policy("block", kTool)}), blocked, false},
      {"a block after an exclusion", Policies({Policy("exclude", kExcluded), Policy("block", kTool)}), blocked, false},
      {"a block after an exclusion from something else",
       Policies({R"("excludeType": 1, )" + Policy("exclude", kExcluded), Policy("block", kTool)}), blocked, true},
      {"a developer application is no block", Policies({Policy("developerApplication", kTool)}), blocked, false},
      {"nothing", Policies({}), blocked, false},

      {"an elevated address", Policies({Policy("elevate", kAddress)}), elevated, true},
      {"a blocked address", Policies({Policy("block", kAddress), Policy("elevate", kAddress)}), elevated, false},
      {"trust takes no address", Policies({trust, Policy("elevate", kAddress)}), elevated, true},
      {"an elevated program is no request", Policies({Policy("elevate", kTool)}), elevatedTool, false},

      {"trusted in the shell", Policies({trust}), shell, true},
      {"trusted elsewhere", Policies({R"("action": "elevateOnDemand")"}), shell, false},
      {"elevated already", Policies({Policy("elevate", kTool), trust}), shell, false},

      {"an automatic control", Policies({R"("policyAutomation": true, )" + Policy("elevate", kControl)}), automation,
       true},
      {"a control that asks", Policies({Policy("elevate", kControl)}), automation, false},
      {"an automatic program", Policies({R"("policyAutomation": true, )" + Policy("elevate", kTool)}), automationTool,
       false},

      {"controls and everything",
       Policies({Policy("block", kControl), Policy("elevate", kTool), trust, Policy("developerApplication", kControl)}),
       actions(0x2 | 0x8), true},
      {"an exclusion from something else takes no control",
       Policies({R"("excludeType": 1, )" + Policy("exclude", kControl)}), actions(0), false},
      {"no control", Policies({Policy("block", kTool)}), actions(0), false},

      {"an exclusion", Policies({Policy("exclude", kExcluded)}), excluded, true},
      {"an exclusion from something else", Policies({R"("excludeType": 1, )" + Policy("exclude", kExcluded)}), excluded,
       false},
      {"a block is no exclusion", Policies({Policy("block", kTool)}), excluded, false},

      {"a developer application", Policies({Policy("developerApplication", kTool)}), developer, true},
      {"another developer application", Policies({Policy("developerApplication", kOther)}), developer, false},
      {"a run is no developer application", Policies({Policy("run", kTool)}), developer, false},

      {"a request", Policies({R"("allowUserRequest": true, )" + collect}), request, true},
      {"no request", Policies({collect}), request, false},
      {"a request of who is not monitored", Policies({R"("allowUserRequest": true, )" + collect}), adminRequest, false},

      {"trust in the shell", Policies({trust}), shellTargets, true},
      {"trust without the shell", Policies({R"("action": "elevateOnDemand")"}), shellTargets, false},
      {"trust in an empty group",
       R"({"applicationGroups": [{"name": "none", "targets": []}], "policies": [{"id": 1, "name": "p", )" + trust +
           R"(, "targets": [{"type": "applicationGroup", "group": "none"}]}]})",
       shellTargets, false},
      {"blocks", Policies({Policy("run", kTool), Policy("block", kTool)}), blockTargets, true},
      {"a block of nothing", Policies({R"("action": "block")"}), blockTargets, false},
      {"no block", Policies({Policy("run", kTool)}), blockTargets, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const CkxTraceCapture trace;
    const CkxImageSource source(Image(c.document));
    const CkxPolicySourceScope scope(source);
    Things things;
    EXPECT_EQ(c.ask(things), c.answer);
    if (!c.answer) {
      EXPECT_EQ(things.id, 0u) << "an out value is the answer's own";
      EXPECT_EQ(things.mask, 0u);
    }
  }
}

TEST(PolicyPredicates, OnlyPoliciesOfTheUserCount) {
  const std::string document = R"({"policies": [{"id": 1, "name": "p", )" + Policy("block", kTool) +
                               R"(}], "applicable": {"S-1-5-21-1-2-3-500": [1], "S-1-5-21-1-2-3-1001": []}})";
  const CkxImageSource source(Image(document));
  const CkxPolicySourceScope scope(source);
  Things things;
  EXPECT_TRUE(CkxSharedPoliciesData::HasActiveBlockedTargets(things.administrator.Handle()));
  const CkxTraceCapture trace;
  EXPECT_FALSE(CkxSharedPoliciesData::HasActiveBlockedTargets(things.user.Handle()));
}

TEST(PolicyPredicates, APolicyOfAnUnexpectedKindEndsTheQuestionWithALine) {
  CkxTraceCapture trace;
  const CkxImageSource source(Image(Policies({Policy("run", kTool), R"("action": "logOff")"})));
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
  const std::string distributor = R"("targets": [{"type": "executable", "fileName": "agent.exe",
                                      "softwareDistributorName": "Rollout"}])";
  const CkxImageSource source(Image(Policies({Policy("softwareDistributor", distributor.c_str())})));
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

TEST(ToolsFolder, IsRememberedPerUserAndPublication) {
  const auto task = [](const char* action) {
    for (const CkxAdminTask& candidate : CkxAdminTask::All()) {
      if (!candidate.RequiresKxToolsFolder()) continue;
      return Policies({Policy(
          action,
          (R"("targets": [{"type": "administrativeTask", "task": )" + std::to_string(candidate.Id()) + "}]").c_str())});
    }
    return Policies({});
  };
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
    const CkxImageSource source(Image(Policies({Policy(
        "elevateOnDemand",
        (R"("targets": [{"type": "administrativeTask", "task": )" + std::to_string(task.Id()) + "}]").c_str())})));
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
