#include "tools/kxpolicy/test_report.h"

#include <kx_util/shared_policy_target.h>

#include <algorithm>
#include <utility>

#include "Common_CPP/util/counted.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

std::string ShareText(const SkxShare& share, const char* what) {
  return std::to_string(share.decided) + " of " + std::to_string(share.all) + " " + what;
}

std::string TargetText(const SkxCoveredTarget& target) {
  return "targets/" + std::to_string(target.index) + ", " + KxText_ToUtf8(KxUtil_PolicyTargetTypeStr(target.type)) +
         " " + KxGuid_ToUtf8(target.id);
}

std::string GroupText(const SkxTestCoverage& coverage, const GUID& id) {
  const auto name = coverage.groupNames.find(id);
  return "application group " + (name != coverage.groupNames.end() ? "\"" + name->second + "\"" : KxGuid_ToUtf8(id));
}

void AddTargets(const std::string& owner, const std::vector<SkxCoveredTarget>& targets,
                std::vector<std::string>& lines) {
  for (const SkxCoveredTarget& target : targets) {
    if (!target.decided) lines.push_back(owner + ": " + TargetText(target));
  }
}

std::string PolicyText(const SkxCoveredPolicy& policy) {
  return "policy " + std::to_string(policy.id) + " \"" + policy.name + "\"";
}

void AddUntested(const SkxCoveredPolicy* policy, const SkxCoveredGroup* group,
                 std::vector<SkxUntestedCheck>& untested) {
  for (const SkxCoveredTarget& target : policy != nullptr ? policy->targets : group->targets) {
    if (!target.decided) continue;
    for (const SkxCoveredCheck& check : target.checks) {
      if (!check.saidNo) untested.push_back({policy, group, &target, &check});
    }
  }
}

void AddFailures(const SkxTestedCase& tested, std::string& text) {
  text += "FAIL " + KxText_Printable(KxTestReport_Title(tested)) + "\n";
  for (const SkxCaseFailure& failure : tested.result.failures) {
    text += "  " + KxText_Printable(KxTestReport_Place(tested, failure.place)) + "\n";
    for (const std::string& line : KxTestReport_Lines(failure)) text += "    " + KxText_Printable(line) + "\n";
  }
  const uint64_t untold = tested.result.failed - tested.result.failures.size();
  if (untold != 0) text += "  and " + std::to_string(untold) + " more\n";
}

}  // namespace

size_t SkxTestRun::FailedCases() const {
  return static_cast<size_t>(
      std::count_if(cases.begin(), cases.end(), [](const SkxTestedCase& tested) { return !tested.result.Passed(); }));
}

uint64_t SkxTestRun::Judged() const {
  uint64_t judged = 0;
  for (const SkxTestedCase& tested : cases) judged += tested.result.judged;
  return judged;
}

std::string KxTestReport_Place(const SkxTestedCase& tested, const SkxCasePlace& place) {
  return (place.event.empty() ? "" : place.event + ", ") + tested.file + ": " + place.pointer;
}

std::string KxTestReport_Title(const SkxTestedCase& tested) {
  return tested.test.name.empty() ? tested.file + ": " + tested.test.pointer : tested.test.name;
}

std::vector<std::string> KxTestReport_Lines(const SkxCaseFailure& failure) {
  std::vector<std::string> lines;
  if (!failure.target.empty()) lines.push_back("target   " + failure.target);
  lines.push_back("expected " + failure.expected);
  lines.push_back("found    " + failure.decided);
  for (const std::string& line : failure.why)
    lines.push_back((&line == &failure.why.front() ? "why      " : "         ") + line);
  return lines;
}

std::string KxTestReport_Shares(const SkxTestCoverage& coverage) {
  return ShareText(coverage.counted->PolicyShare(), "policies") + ", " +
         ShareText(coverage.counted->TargetShare(), "targets");
}

/// Of a policy that never decided the targets are not told one by one.
std::vector<std::string> KxTestReport_NeverDecided(const SkxTestCoverage& coverage) {
  std::vector<std::string> lines;
  for (const SkxCoveredPolicy& policy : coverage.counted->Policies()) {
    const std::string what = PolicyText(policy);
    if (policy.decided) {
      AddTargets(what, policy.targets, lines);
    } else {
      lines.push_back(what);
    }
  }
  for (const SkxCoveredGroup& group : coverage.counted->Groups()) {
    AddTargets(GroupText(coverage, group.id), group.targets, lines);
  }
  return lines;
}

std::string KxTestReport_CheckShare(const SkxTestCoverage& coverage) {
  return ShareText(coverage.counted->CheckShare(), "checks");
}

std::vector<SkxUntestedCheck> KxTestReport_Untested(const SkxTestCoverage& coverage) {
  std::vector<SkxUntestedCheck> untested;
  for (const SkxCoveredPolicy& policy : coverage.counted->Policies()) AddUntested(&policy, nullptr, untested);
  for (const SkxCoveredGroup& group : coverage.counted->Groups()) AddUntested(nullptr, &group, untested);
  return untested;
}

std::vector<std::string> KxTestReport_NeverSaidNo(const SkxTestCoverage& coverage) {
  std::vector<std::string> lines;
  const SkxCoveredTarget* last = nullptr;
  for (const SkxUntestedCheck& one : KxTestReport_Untested(coverage)) {
    if (std::exchange(last, one.target) == one.target) {
      lines.back() += ", " + one.check->name;
      continue;
    }
    const std::string owner = one.policy != nullptr ? PolicyText(*one.policy) : GroupText(coverage, one.group->id);
    lines.push_back(owner + ": " + TargetText(*one.target) + ": " + one.check->name);
  }
  return lines;
}

std::string KxTestReport_AsText(const SkxTestRun& run) {
  std::string text;
  for (const SkxTestedCase& tested : run.cases) {
    if (!tested.result.Passed()) AddFailures(tested, text);
  }
  const size_t failed = run.FailedCases();
  text += KxCounted(run.cases.size(), "case", "cases") + " about " +
          KxCounted(static_cast<size_t>(run.Judged()), "target", "targets") + ": " +
          (failed == 0 ? "all as expected" : std::to_string(failed) + " failed") + "\n";
  if (!run.coverage) return text;
  text += "decided at least once: " + KxTestReport_Shares(*run.coverage) + "\n";
  for (const std::string& line : KxTestReport_NeverDecided(*run.coverage)) {
    text += "  never: " + KxText_Printable(line) + "\n";
  }
  if (!run.coverage->HasEnoughDecided()) text += "that is less than " + std::to_string(*run.coverage->least) + " %\n";
  text += "said no at least once: " + KxTestReport_CheckShare(*run.coverage) + "\n";
  for (const std::string& line : KxTestReport_NeverSaidNo(*run.coverage)) {
    text += "  never: " + KxText_Printable(line) + "\n";
  }
  if (!run.coverage->HasEnoughChecks()) {
    text += "that is less than " + std::to_string(*run.coverage->leastChecks) + " %\n";
  }
  return text;
}
