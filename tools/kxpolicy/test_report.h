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
  std::optional<uint32_t> least;                        ///< percent that each share is to reach
  std::map<GUID, std::string, SkxGuidLess> groupNames;  ///< as far as they are known

  bool IsEnough() const {
    return !least || (counted->PolicyShare().Reaches(*least) && counted->TargetShare().Reaches(*least));
  }
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

/// All of it, with its last line end.
std::string KxTestReport_AsText(const SkxTestRun& run);
std::string KxTestReport_AsTap(const SkxTestRun& run);
std::string KxTestReport_AsJUnit(const SkxTestRun& run);
std::string KxTestReport_AsJson(const SkxTestRun& run);
