#include "Agent/engine/kx_publish/cases/case_judge.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "tests/support/policy_documents.h"
#include "tests/support/workstation_image.h"

namespace {

using nlohmann::json;

/// The targets of the example, each with the id of the policy that decides, as its own id begins.
struct DecidedTarget {
  json target;
  std::optional<uint32_t> policy;
};

std::vector<DecidedTarget> DecidedTargets() {
  std::ifstream file(kKxTestWorkstationTargets, std::ios::binary);
  std::vector<DecidedTarget> targets;
  for (std::string line; std::getline(file, line);) {
    json target = json::parse(line);
    const std::string id = target["id"];
    const bool isDecided = id[0] != '-';
    targets.push_back(
        {std::move(target), isDecided ? std::optional(static_cast<uint32_t>(std::stoul(id))) : std::nullopt});
  }
  return targets;
}

SkxCase CaseOf(const json& test) {
  const json document = {{"cases", json::array({test})}};
  return std::move(KxCaseDocument_Read(KxJson_Parse(document.dump(), false)).front());
}

json Expected(const std::optional<uint32_t>& policy) { return policy ? json({{"policy", *policy}}) : json("none"); }

/// A case is met by the decision that is made, and by no other; what must not be is met by every other.
TEST(CaseJudge, TellsEachDecisionFromAllOthers) {
  CkxCaseJudge judge(KxEncode_Image(KxTest_Workstation()), {});
  const std::vector<DecidedTarget> targets = DecidedTargets();
  ASSERT_GE(targets.size(), 25u);
  std::set<std::optional<uint32_t>> decisions;
  for (const DecidedTarget& decided : targets) decisions.insert(decided.policy);
  for (const DecidedTarget& decided : targets) {
    for (const std::optional<uint32_t>& policy : decisions) {
      const SkxCaseResult must = judge.Judge(CaseOf({{"target", decided.target}, {"expect", Expected(policy)}}));
      const SkxCaseResult mustNot = judge.Judge(CaseOf({{"target", decided.target}, {"expectNot", Expected(policy)}}));
      EXPECT_EQ(must.Passed(), policy == decided.policy) << decided.target["id"];
      EXPECT_EQ(mustNot.Passed(), policy != decided.policy) << decided.target["id"];
      EXPECT_EQ(must.judged + mustNot.judged, 2u);
      EXPECT_EQ(must.failed + mustNot.failed, 1u);
    }
  }
}

/// As many as are judged by the prepared image too.
TEST(CaseJudge, CountsEventsInOnePass) {
  CkxCaseJudge judge(KxEncode_Image(KxTest_Workstation()), {});
  const SkxCase tests[] = {
      CaseOf({{"events", "x"}, {"where", {{"kind", "process"}}}, {"expectNot", "none"}}),
      CaseOf({{"events", "x"}, {"expectNot", {{"policy", 24}}}}),
      CaseOf({{"events", "x"}, {"where", {{"path", "Z:\\*"}}}, {"expect", "none"}}),
      CaseOf({{"events", "x"}, {"where", {{"path", "Z:\\*"}}}, {"atLeast", 0}, {"expect", "none"}}),
      CaseOf({{"events", "x"}, {"expect", {{"policy", "No such policy"}}}}),
      CaseOf({{"events", "x"}, {"expectNot", {{"alert", "No such alert"}}}}),
  };
  std::vector<SkxCaseOnEvents> cases;
  for (const SkxCase& test : tests) cases.push_back({&test, {}});
  std::vector<SkxCaseOnEvents*> pointers;
  for (SkxCaseOnEvents& one : cases) pointers.push_back(&one);

  CkxCaseEventsRun run(judge, pointers);
  const std::vector<DecidedTarget> targets = DecidedTargets();
  constexpr uint64_t kRounds = 30;
  uint64_t processes = 0;
  uint64_t decidedBy24 = 0;
  for (uint64_t round = 0; round < kRounds; ++round) {
    for (const DecidedTarget& decided : targets) {
      run.Take(decided.target.dump(), "x:1");
      if (decided.target["kind"] == "process") ++processes;
      if (decided.policy == 24) ++decidedBy24;
    }
    EXPECT_THROW(run.Take(R"({"kind": "fil"})", "x:2"), CkxDocumentFault);
  }
  run.End();
  ASSERT_GT(processes, 0u);
  ASSERT_GT(decidedBy24, 0u);
  const struct {
    uint64_t judged, failed;
  } expected[] = {{processes, 0}, {targets.size() * kRounds, decidedBy24}, {0, 1}, {0, 0}, {0, 1}, {0, 1}};
  for (size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(cases[i].result.judged, expected[i].judged) << i;
    EXPECT_EQ(cases[i].result.failed, expected[i].failed) << i;
    EXPECT_EQ(cases[i].result.failures.size(), std::min<uint64_t>(expected[i].failed, SkxCaseResult::kMaxTold)) << i;
  }
}

/// A line that is no target document could have been any: no case about its file is sure.
TEST(CaseJudge, AMalformedEventFailsItsCases) {
  CkxCaseJudge judge(KxEncode_Image(KxTest_Workstation()), {});
  const SkxCase test = CaseOf({{"events", "x"}, {"expectNot", "block"}, {"atLeast", 0}});
  SkxCaseOnEvents one = {&test, {}};
  CkxCaseEventsRun run(judge, {&one});
  run.TakeFault("must be", "x:7");
  run.End();
  ASSERT_EQ(one.result.failures.size(), 1u);
  EXPECT_EQ(one.result.failures[0].place.event, "x:7");
  EXPECT_FALSE(one.result.Passed());
}

/// A publication that cannot be asked meets nothing, not even that no policy applies.
TEST(CaseJudge, AFaultMeetsNoExpectation) {
  SkxPolicyImage cut = KxEncode_Image(KxTest_Workstation());
  cut.policies->resize(cut.policies->size() / 2);
  SkxPolicyImage none;
  for (const SkxPolicyImage& image : {cut, none}) {
    CkxCaseJudge judge(image, {});
    for (const char* const key : {"expect", "expectNot"}) {
      const SkxCaseResult result = judge.Judge(
          CaseOf({{"target", {{"kind", "file"}, {"path", "C:\\no.such"}}}, {key, key[6] == 0 ? "none" : "block"}}));
      ASSERT_EQ(result.failed, 1u) << key;
      EXPECT_EQ(result.failures[0].decided.substr(0, 10), "no answer:");
    }
  }
}

constexpr const char* kGroups = R"({
  "applicationGroups": [
    {"name": "Outer", "targets": [{"type": "executable", "fileName": "a.exe"},
                                  {"type": "applicationGroup", "group": "Inner"}]},
    {"name": "Inner", "targets": [{"type": "executable", "fileName": "b.exe"},
                                  {"type": "applicationGroup", "group": "Outer"}]},
    {"name": "Linked by nobody", "targets": [{"type": "executable", "fileName": "c.exe"}]}],
  "alerts": [{"name": "Told", "type": "balloon"},
             {"name": "Numbered", "type": "balloon", "id": "{00000001-0000-0000-0000-000000000001}"}],
  "policies": [
    {"id": 1, "name": "One", "action": "block", "targets": [{"type": "applicationGroup", "group": "Outer"}],
     "alerts": [{"trigger": 1, "id": "Told"}]},
    {"id": 2, "name": "Two", "action": "run", "alerts": [{"trigger": 1, "id": "Numbered"}],
     "targets": [{"type": "applicationGroup", "group": "Outer"}, {"type": "executable", "fileName": "d.exe"},
                 {"type": "executable", "fileName": "e.exe"}]},
    {"id": 3, "name": "Off", "action": "run", "active": false, "targets": [{"type": "executable", "fileName": "f.exe"}]},
    {"id": 4, "name": "Settings", "action": "configuration"}],
  "applicable": {"*": [1, 2], "S-1-5-18": [2]}})";

TEST(Coverage, CountsWhatDecided) {
  CkxCaseJudge judge(KxTest_Compile(kGroups),
                     {{"Numbered", *KxGuid_FromUtf8("{00000001-0000-0000-0000-000000000001}")}});
  const struct {
    const char* file;
    const char* user;
    json expect;
    size_t policies, targets;  ///< that decided by then
  } steps[] = {
      {"z.exe", nullptr, "none", 0, 0},
      {"f.exe", nullptr, "none", 0, 0},
      {"b.exe", nullptr, {{"action", "block"}, {"alert", "Told"}}, 1, 1},
      {"b.exe", "S-1-5-18", {{"action", "run"}, {"alert", "Numbered"}}, 2, 1},  // the group's target, once
      {"e.exe", nullptr, {{"policy", 2}}, 2, 2},
      {"d.exe", nullptr, {{"policy", "Two"}}, 2, 3},
      {"a.exe", nullptr, "block", 2, 4},
  };
  for (const auto& step : steps) {
    json target = {{"kind", "file"}, {"path", std::string("C:\\") + step.file}};
    if (step.user != nullptr) target["user"] = {{"sid", step.user}};
    const SkxCaseResult result = judge.Judge(CaseOf({{"target", target}, {"expect", step.expect}}));
    EXPECT_TRUE(result.Passed()) << step.file;
    const CkxCoverage& coverage = judge.Coverage();
    EXPECT_EQ(coverage.PolicyShare().decided, step.policies) << step.file;
    EXPECT_EQ(coverage.PolicyShare().all, 2u);
    EXPECT_EQ(coverage.TargetShare().decided, step.targets) << step.file;
    EXPECT_EQ(coverage.TargetShare().all, 4u);
  }
}

constexpr const char* kChecks = R"({
  "applicationGroups": [
    {"name": "G", "targets": [{"type": "msi", "publishers": ["V"], "location": "C:\\x"}]}],
  "policies": [
    {"id": 1, "name": "One", "action": "block", "targets": [
      {"type": "executable", "fileName": "a.exe", "hash": {"algorithm": "MD5", "hex": "00000000000000000000000000000001"},
       "fileSize": 5, "fileVersion": {"max": "2"}},
      {"type": "executable", "hash": {"algorithm": "MD5", "hex": "00000000000000000000000000000002"}}]},
    {"id": 2, "name": "Two", "action": "run", "targets": [{"type": "applicationGroup", "group": "G"}]},
    {"id": 3, "name": "Three", "action": "run", "active": false, "targets": [{"type": "executable", "location": "C:\\x"}]}]})";

/// "1/0 fileName": by policy, or "G" for the group, and target.
std::vector<std::string> ChecksThatNeverSaidNo(const CkxCoverage& coverage) {
  std::vector<std::string> never;
  const auto add = [&](const std::string& owner, const std::vector<SkxCoveredTarget>& targets) {
    for (const SkxCoveredTarget& target : targets) {
      for (const SkxCoveredCheck& check : target.checks) {
        if (!check.saidNo) never.push_back(owner + "/" + std::to_string(target.index) + " " + check.name);
      }
    }
  };
  for (const SkxCoveredPolicy& policy : coverage.Policies()) add(std::to_string(policy.id), policy.targets);
  for (const SkxCoveredGroup& group : coverage.Groups()) add("G", group.targets);
  return never;
}

/// The first check that says no is the one that is counted, and only for a target of the target's kind.
TEST(Coverage, CountsTheChecksThatSaidNo) {
  const SkxPolicyImage image = KxTest_Compile(kChecks);
  CkxCaseJudge judge(image, {});
  judge.WatchChecks(KxImage_Models(image));
  std::vector<std::string> left = {"1/0 fileVersion", "1/0 fileName", "1/0 fileSize",  "1/0 hash",
                                   "1/1 hash",        "G/0 location", "G/0 publishers"};
  const json exe = {{"kind", "file"}, {"path", "C:\\a.exe"}, {"size", 5}, {"fileVersion", "3"}};
  const json msi = {{"kind", "file"}, {"path", "C:\\x\\a.msi"}};
  const struct {
    json target, more;
    std::vector<std::string> saidNo;
  } steps[] = {
      {{{"kind", "file"}, {"path", "C:\\a.dll"}}, json::object(), {}},
      {exe, {{"path", "C:\\b.exe"}}, {"1/0 fileName", "1/1 hash"}},
      {exe, {{"size", 6}}, {"1/0 fileSize"}},
      {exe, json::object(), {"1/0 hash"}},
      {exe, {{"hashes", {{"MD5", "00000000000000000000000000000001"}}}}, {"1/0 fileVersion"}},
      {msi, json::object(), {"G/0 publishers"}},
      {msi, {{"path", "C:\\y\\a.msi"}}, {"G/0 location"}},
  };
  for (const auto& step : steps) {
    json target = step.target;
    target.update(step.more);
    judge.Judge(CaseOf({{"target", target}, {"expect", "none"}}));
    for (const std::string& check : step.saidNo) std::erase(left, check);
    EXPECT_EQ(ChecksThatNeverSaidNo(judge.Coverage()), left) << target;
    EXPECT_EQ(judge.Coverage().CheckShare().decided, 7 - left.size());
    EXPECT_EQ(judge.Coverage().CheckShare().all, 7u);
  }
}

TEST(Coverage, ReachesAPercentageExactly) {
  EXPECT_TRUE((SkxShare{0, 0}.Reaches(100)));
  EXPECT_TRUE((SkxShare{2, 3}.Reaches(66)));
  EXPECT_FALSE((SkxShare{2, 3}.Reaches(67)));
  EXPECT_FALSE((SkxShare{999, 1000}.Reaches(100)));
  EXPECT_TRUE((SkxShare{0, 1}.Reaches(0)));
}

}  // namespace
