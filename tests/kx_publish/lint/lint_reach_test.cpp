// Policies that are told to be out of reach are; which ones are told.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <random>

#include "Agent/engine/kx_publish/lint/lint.h"
#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "tests/support/data_rows.h"
#include "tests/support/policy_documents.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/section_source.h"

namespace {

using nlohmann::json;

/// "2 unreachable", "3 no-users" ...
std::vector<std::string> FindingsOf(const SkxPolicyImage& image) {
  std::vector<std::string> lines;
  for (const SkxFinding& finding : KxLint_Image(image)) {
    lines.push_back(std::to_string(finding.policyId.value_or(0)) + " " + finding.rule);
  }
  return lines;
}

TEST(LintReach, TellsWhatIsOutOfReach) {
  using Lines = std::vector<std::string>;
  KxTest_ForRows<std::string, json, json, Lines>("documents/reach.txt",
                                                 [](auto& name, auto& policies, auto& document, auto& findings) {
                                                   SCOPED_TRACE(name);
                                                   for (size_t i = 0; i < policies.size(); ++i) {
                                                     json policy = {{"id", i + 1}, {"name", "P"}, {"action", "block"}};
                                                     policy.update(policies[i]);
                                                     document["policies"].push_back(policy);
                                                   }
                                                   EXPECT_EQ(FindingsOf(KxTest_Compile(document.dump())), findings);
                                                 });
}

// ---- whatever is told: a policy that is out of reach never decides

/// Publications of few things, so that targets often take what others take.
class SmallPublication {
 public:
  explicit SmallPublication(uint32_t seed) : _random(seed) {}

  SkxPublication Make() {
    SkxPublication publication;
    for (unsigned char i = 1; i <= 3; ++i) publication.groups.push_back({{KXW('g')}, KxTest_Id(i), Targets(2)});
    for (uint32_t id = 1; id <= 6; ++id) publication.policies.push_back(Policy(id));
    if (Below(2) == 0) return publication;
    for (const char* const user : {"*", "S-1-5-18"}) {
      std::vector<uint32_t>& row = publication.applicable[user];
      for (uint32_t id = 1; id <= 6; ++id) {
        if (Below(4) != 0) row.push_back(id);
      }
    }
    return publication;
  }

 private:
  uint32_t Below(uint32_t bound) { return static_cast<uint32_t>(_random() % bound); }

  SkxPolicyModel Policy(uint32_t id) {
    static constexpr EkxPolicyAction kActions[] = {EkxPolicyAction::Run,        EkxPolicyAction::Block,
                                                   EkxPolicyAction::Trust,      EkxPolicyAction::RunAndCollectEvents,
                                                   EkxPolicyAction::Exclude,    EkxPolicyAction::Elevate,
                                                   EkxPolicyAction::SetSecurity};
    SkxPolicyModel policy;
    policy.action = kActions[Below(std::size(kActions))];
    policy.id = id;
    policy.active = Below(8) != 0;
    policy.params = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.action)->params();
    if (auto* const exclude = std::get_if<SkxExcludeParams>(&policy.params)) exclude->excludeType = Below(4) == 0;
    policy.targets = Targets(3);
    return policy;
  }

  std::vector<SkxTargetModel> Targets(uint32_t most) {
    std::vector<SkxTargetModel> targets;
    for (uint32_t count = Below(most + 1); count != 0; --count) targets.push_back({KxTest_Id(9), Body()});
    return targets;
  }

  SkxTargetBody Body() {
    switch (Below(6)) {
      case 0:
        return SkxGroupLink{Group()};
      case 1:
        return SkxUrlTarget{Below(2) == 0 ? std::nullopt : std::optional<SkxTextTest>({KXW("https://*"), false, 4})};
      case 2:
        return SkxExcludeTarget{Location(), FileName(), {}};
      case 3:
        return SkxAdminTaskTarget{1};
      default:
        break;
    }
    SkxExeTarget exe;
    exe.location = Location();
    exe.fileName = FileName();
    if (Below(4) == 0) exe.parentProcess = SkxParentTest{Group(), true, {}, false};
    if (Below(8) == 0) exe.parentProcess = SkxParentTest{{}, false, Group(), true};
    return exe;
  }

  GUID Group() { return KxTest_Id(static_cast<unsigned char>(1 + Below(4))); }  // of which one is not there
  std::optional<SkxFileNameTest> FileName() {
    static constexpr KxWStringView kNames[] = {KXW("a.exe"), KXW("b.exe")};
    if (Below(3) == 0) return std::nullopt;
    return SkxFileNameTest{KxWString(kNames[Below(2)]), 1, {}, {}, -1};
  }
  std::optional<SkxLocationTest> Location() {
    if (Below(3) != 0) return std::nullopt;
    return SkxLocationTest{KXW("C:\\x"), false, {}};
  }

  std::mt19937 _random;
};

/// Files, processes of other processes, a request: all that the targets above tell apart.
std::vector<CkxTargetInfoPtr> AllThings() {
  std::vector<CkxTargetInfoPtr> things;
  things.emplace_back(new CkxTargetInfoElevator(CkxTargetInfoElevator::kUrlRequest, KXW("https://x"), nullptr));
  const KxWStringView paths[] = {KXW("C:\\x\\a.exe"), KXW("C:\\x\\b.exe"), KXW("C:\\y\\a.exe"), KXW("C:\\y\\b.exe")};
  for (const KxWStringView path : paths) {
    const SkxFileFacts file = KxTest_FileAt(path);
    things.emplace_back(new CkxTargetInfoFile(file, nullptr));
    for (const KxWStringView parent : paths) {
      auto* const process = new CkxTargetInfoProcess(file, {}, nullptr);
      things.emplace_back(process);
      process->SetParent(CkxTargetInfoPtr(new CkxTargetInfoProcess(KxTest_FileAt(parent), {}, nullptr)));
    }
  }
  return things;
}

TEST(LintReach, NeverTellsOfOneThatDecides) {
  const std::vector<CkxTargetInfoPtr> things = AllThings();
  size_t told = 0;
  size_t decided = 0;
  for (uint32_t seed = 0; seed < 400; ++seed) {
    const SkxPublication publication = SmallPublication(seed).Make();
    const SkxPolicyImage image = KxEncode_Image(publication);
    std::vector<std::string> findings = FindingsOf(image);
    std::erase_if(findings, [](const std::string& line) { return line.ends_with(" missing-group"); });
    told += static_cast<size_t>(std::count_if(findings.begin(), findings.end(),
                                              [](const std::string& line) { return line.ends_with("unreachable"); }));

    CkxSectionSource source;
    source.PublishBytes(EkxPolicySection::Policies, *image.policies);
    source.PublishBytes(EkxPolicySection::AppGroups, *image.appGroups);
    const CkxPolicySourceScope scope(source);
    for (const char* const user : {"*", "S-1-5-18"}) {
      const auto row = publication.applicable.find(user);
      if (row != publication.applicable.end()) source.applicable = CkxApplicablePolicies(row->second);
      for (const CkxTargetInfoPtr& thing : things) {
        SkxTriggerPolicyShortInfo info;
        if (!CkxSharedPoliciesData::GetTargetPolicyAction(*thing, info)) continue;
        ++decided;
        for (const char* const rule : {" unreachable", " no-targets", " no-users"}) {
          const std::string line = std::to_string(info.PolicyId) + rule;
          ASSERT_EQ(std::count(findings.begin(), findings.end(), line), 0) << line << ", seed " << seed;
        }
      }
    }
  }
  EXPECT_GT(told, 200u);
  EXPECT_GT(decided, 1000u);
}

}  // namespace
