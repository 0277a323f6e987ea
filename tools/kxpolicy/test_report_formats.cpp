// The reports for programs: TAP, JUnit, JSON. A coverage that has to be reached is one more test in the first two, so
// that whoever reads results and no exit codes sees it.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "Common_CPP/util/printable.h"
#include "Common_CPP/xml/xml_writer.h"
#include "tools/kxpolicy/test_report.h"

namespace {

using nlohmann::ordered_json;

std::string Dumped(const ordered_json& json) {
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

ordered_json FailureJson(const SkxTestedCase& tested, const SkxCaseFailure& failure) {
  ordered_json json = {{"file", tested.file}, {"pointer", failure.place.pointer}};
  if (!failure.place.event.empty()) json["event"] = failure.place.event;
  if (!failure.target.empty()) json["target"] = failure.target;
  json["expected"] = failure.expected;
  json["found"] = failure.decided;
  json["why"] = failure.why;
  return json;
}

ordered_json FailuresJson(const SkxTestedCase& tested) {
  ordered_json list = ordered_json::array();
  for (const SkxCaseFailure& failure : tested.result.failures) list.push_back(FailureJson(tested, failure));
  return list;
}

ordered_json ShareJson(const SkxShare& share) { return {{"decided", share.decided}, {"all", share.all}}; }

ordered_json UntestedJson(const SkxTestCoverage& coverage) {
  ordered_json list = ordered_json::array();
  for (const SkxUntestedCheck& one : KxTestReport_Untested(coverage)) {
    ordered_json json;
    if (one.policy != nullptr) {
      json = {{"policyId", one.policy->id}, {"policyName", one.policy->name}};
    } else {
      const auto name = coverage.groupNames.find(one.group->id);
      json["group"] = name != coverage.groupNames.end() ? name->second : KxGuid_ToUtf8(one.group->id);
    }
    json["target"] = one.target->index;
    json["targetId"] = KxGuid_ToUtf8(one.target->id);
    json["check"] = one.check->name;
    list.push_back(std::move(json));
  }
  return list;
}

ordered_json CoverageJson(const SkxTestCoverage& coverage) {
  ordered_json json = {{"policies", ShareJson(coverage.counted->PolicyShare())},
                       {"targets", ShareJson(coverage.counted->TargetShare())},
                       {"never", KxTestReport_NeverDecided(coverage)}};
  const SkxShare checks = coverage.counted->CheckShare();
  json["checks"] = {{"saidNo", checks.decided}, {"all", checks.all}};
  json["untested"] = UntestedJson(coverage);
  if (coverage.least) json["least"] = *coverage.least;
  if (coverage.leastChecks) json["leastChecks"] = *coverage.leastChecks;
  if (coverage.least || coverage.leastChecks) json["enough"] = coverage.IsEnough();
  return json;
}

/// A share that has to be reached.
struct CoverageTest {
  std::string title;
  bool isPassed;
  std::string message;
  std::vector<std::string> never;
};

std::vector<CoverageTest> CoverageTests(const SkxTestRun& run) {
  std::vector<CoverageTest> tests;
  if (!run.coverage) return tests;
  const SkxTestCoverage& coverage = *run.coverage;
  if (coverage.least) {
    tests.push_back({"coverage of at least " + std::to_string(*coverage.least) + " %", coverage.HasEnoughDecided(),
                     "decided at least once: " + KxTestReport_Shares(coverage), KxTestReport_NeverDecided(coverage)});
  }
  if (coverage.leastChecks) {
    tests.push_back({"coverage of at least " + std::to_string(*coverage.leastChecks) + " % of checks",
                     coverage.HasEnoughChecks(), "said no at least once: " + KxTestReport_CheckShare(coverage),
                     KxTestReport_NeverSaidNo(coverage)});
  }
  return tests;
}

/// A "#" would begin a directive.
std::string TapTitle(const std::string& title) {
  std::string text;
  for (const char unit : KxText_Printable(title))
    text += (unit == '#' || unit == '\\' ? "\\" : "") + std::string(1, unit);
  return text;
}

std::string TapLine(bool passed, size_t number, const std::string& title) {
  return (passed ? "ok " : "not ok ") + std::to_string(number) + " - " + TapTitle(title) + "\n";
}

/// Everything there is to say of the failures, for people who open the report.
std::string FailureText(const SkxTestedCase& tested) {
  std::string text;
  for (const SkxCaseFailure& failure : tested.result.failures) {
    text += KxTestReport_Place(tested, failure.place) + "\n";
    for (const std::string& line : KxTestReport_Lines(failure)) text += "  " + line + "\n";
  }
  return text;
}

void AddJUnitCase(CkxXmlWriter& xml, const std::string& title, const std::string& file, bool passed,
                  const std::string& message, const std::string& text) {
  xml.Open("testcase");
  xml.Attribute("name", KxText_Printable(title));
  xml.Attribute("classname", KxText_Printable(file));
  if (!passed) {
    xml.Open("failure");
    xml.Attribute("message", KxText_Printable(message));
    xml.Content(text);
    xml.Close();
  }
  xml.Close();
}

}  // namespace

std::string KxTestReport_AsTap(const SkxTestRun& run) {
  const std::vector<CoverageTest> coverageTests = CoverageTests(run);
  std::string text = "TAP version 13\n1.." + std::to_string(run.cases.size() + coverageTests.size()) + "\n";
  size_t number = 0;
  for (const SkxTestedCase& tested : run.cases) {
    text += TapLine(tested.result.Passed(), ++number, KxTestReport_Title(tested));
    if (tested.result.Passed()) continue;
    text += "  ---\n  failed: " + std::to_string(tested.result.failed) + "\n  failures:\n";
    for (const ordered_json& failure : FailuresJson(tested)) text += "    - " + Dumped(failure) + "\n";
    text += "  ...\n";
  }
  if (!run.coverage) return text;
  for (const CoverageTest& test : coverageTests) text += TapLine(test.isPassed, ++number, test.title);
  text += "# decided at least once: " + KxTestReport_Shares(*run.coverage) + "\n";
  for (const std::string& line : KxTestReport_NeverDecided(*run.coverage)) {
    text += "# never: " + KxText_Printable(line) + "\n";
  }
  text += "# said no at least once: " + KxTestReport_CheckShare(*run.coverage) + "\n";
  for (const std::string& line : KxTestReport_NeverSaidNo(*run.coverage)) {
    text += "# never: " + KxText_Printable(line) + "\n";
  }
  return text;
}

std::string KxTestReport_AsJUnit(const SkxTestRun& run) {
  const std::vector<CoverageTest> coverageTests = CoverageTests(run);
  const auto missed = static_cast<size_t>(std::count_if(coverageTests.begin(), coverageTests.end(),
                                                        [](const CoverageTest& test) { return !test.isPassed; }));
  CkxXmlWriter xml;
  xml.Open("testsuites");
  xml.Open("testsuite");
  xml.Attribute("name", "kxpolicy test");
  xml.Attribute("tests", std::to_string(run.cases.size() + coverageTests.size()));
  xml.Attribute("failures", std::to_string(run.FailedCases() + missed));
  xml.Attribute("errors", "0");
  for (const SkxTestedCase& tested : run.cases) {
    const bool passed = tested.result.Passed();
    const std::string message =
        passed ? "" : "expected " + tested.result.failures[0].expected + ", found " + tested.result.failures[0].decided;
    AddJUnitCase(xml, KxTestReport_Title(tested), tested.file, passed, message, FailureText(tested));
  }
  for (const CoverageTest& test : coverageTests) {
    std::string text;
    for (const std::string& line : test.never) text += "never: " + line + "\n";
    AddJUnitCase(xml, test.title, "coverage", test.isPassed, test.message, text);
  }
  xml.Close();
  xml.Close();
  return xml.Text();
}

std::string KxTestReport_AsJson(const SkxTestRun& run) {
  std::string text;
  for (const SkxTestedCase& tested : run.cases) {
    text += Dumped({{"case", KxTestReport_Title(tested)},
                    {"file", tested.file},
                    {"pointer", tested.test.pointer},
                    {"passed", tested.result.Passed()},
                    {"targets", tested.result.judged},
                    {"failed", tested.result.failed},
                    {"failures", FailuresJson(tested)}}) +
            "\n";
  }
  ordered_json sum = {{"cases", run.cases.size()}, {"targets", run.Judged()}, {"failedCases", run.FailedCases()}};
  if (run.coverage) sum["coverage"] = CoverageJson(*run.coverage);
  return text + Dumped(sum) + "\n";
}
