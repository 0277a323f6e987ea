// What became of cases, for a person or for a program that collects results of tests.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/cases/case_judge.h"
#include "Agent/engine/kx_publish/document/document_names.h"

struct SkxTestedCase {
  std::string file;  ///< as the arguments name it
  SkxCase test;
  SkxCaseResult result;
};

/// Coverage, where it was asked for.
struct SkxTestCoverage {
  const CkxCoverage* counted;
  std::optional<uint32_t> least;                        ///< percent of policies, and of targets, that are to decide
  std::optional<uint32_t> leastChecks;                  ///< percent of checks that are to say no
  std::map<GUID, std::string, SkxGuidLess> groupNames;  ///< as far as they are known

  bool HasEnoughDecided() const {
    return !least || (counted->PolicyShare().Reaches(*least) && counted->TargetShare().Reaches(*least));
  }
  bool HasEnoughChecks() const { return !leastChecks || counted->CheckShare().Reaches(*leastChecks); }
  bool IsEnough() const { return HasEnoughDecided() && HasEnoughChecks(); }
};

struct SkxTestRun {
  std::vector<SkxTestedCase> cases;
  std::optional<SkxTestCoverage> coverage;

  size_t FailedCases() const;
  uint64_t Judged() const;  ///< targets and events
};

/// "cases.jsonc: /cases/3", or an event and the case that it is held against.
std::string KxTestReport_Place(const SkxTestedCase& tested, const SkxCasePlace& place);

/// A case's name, else where it stands.
std::string KxTestReport_Title(const SkxTestedCase& tested);

/// Of one failure: what was expected, what came and why; a line each, as they came.
std::vector<std::string> KxTestReport_Lines(const SkxCaseFailure& failure);

/// "25 of 27 policies, 30 of 41 targets", and a line for each that never decided.
std::string KxTestReport_Shares(const SkxTestCoverage& coverage);
std::vector<std::string> KxTestReport_NeverDecided(const SkxTestCoverage& coverage);

/// A check that said no to nothing. Of targets that never decided, which are told as such, none is told.
struct SkxUntestedCheck {
  const SkxCoveredPolicy* policy;  ///< null: of the group
  const SkxCoveredGroup* group;
  const SkxCoveredTarget* target;
  const SkxCoveredCheck* check;
};
std::vector<SkxUntestedCheck> KxTestReport_Untested(const SkxTestCoverage& coverage);

/// "9 of 12 checks", and a line for each target with such checks.
std::string KxTestReport_CheckShare(const SkxTestCoverage& coverage);
std::vector<std::string> KxTestReport_NeverSaidNo(const SkxTestCoverage& coverage);

/// All of it, with its last line end.
std::string KxTestReport_AsText(const SkxTestRun& run);
std::string KxTestReport_AsTap(const SkxTestRun& run);
std::string KxTestReport_AsJUnit(const SkxTestRun& run);
std::string KxTestReport_AsJson(const SkxTestRun& run);
