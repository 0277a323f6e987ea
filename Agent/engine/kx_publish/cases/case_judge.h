// Cases held against policies.
//
//   CkxCaseJudge judge(image, alertNames);
//   SkxCaseResult result = judge.Judge(test);       // about its own targets
//
//   CkxCaseEventsRun run(judge, {&first, &second});      // all cases about one file of events, in one pass
//   for (line, place) run.Take(line, place);
//   run.End();
//
// Judges as the agent would: every answer is the evaluation's own. After some hundred targets the image is prepared for
// the rest (`CkxPolicySnapshot`). A fault of the evaluation meets no expectation.
#pragma once

#include <map>

#include "Agent/engine/kx_publish/cases/case_document.h"
#include "Agent/engine/kx_publish/cases/coverage.h"
#include "Agent/engine/kx_publish/image/image_judge.h"

/// Where something that is judged comes from.
struct SkxCasePlace {
  std::string pointer;  ///< into the case file: the target's, else the case's
  std::string event;    ///< "events.jsonl:17"; empty for what is no event
};

struct SkxCaseFailure {
  SkxCasePlace place;
  std::string target;  ///< as a person calls it; empty: the case as a whole
  std::string expected;
  std::string decided;
  std::vector<std::string> why;  ///< lines, from the explanation of the evaluation
};

struct SkxCaseResult {
  static constexpr size_t kMaxTold = 10;

  uint64_t judged = 0;  ///< targets
  uint64_t failed = 0;
  std::vector<SkxCaseFailure> failures;  ///< the first ones

  bool Passed() const { return failed == 0; }
};

/// Ids of alerts by the names that documents give them.
using KxAlertNames = std::map<std::string, GUID>;

class CkxCaseJudge {
 public:
  /// A name that is not among `alertNames` is taken for one whose id is derived from it.
  CkxCaseJudge(SkxPolicyImage image, KxAlertNames alertNames);

  SkxCaseResult Judge(const SkxCase& test);

  const CkxCoverage& Coverage() const { return _coverage; }

  /// From now on also counts which checks say no to the targets of cases. Each is then asked once more, step by step,
  /// of all policies up to the one that applies; events are not. `models`: of the image.
  void WatchChecks(const SkxImageModels& models);

 private:
  friend class CkxCaseEventsRun;

  /// What a case is held against, with its alerts known; a failure when the policies have no such policy or alert.
  bool Prepare(const SkxCase& test, SkxCase& prepared, SkxCaseResult& result) const;
  std::string Unknown(SkxExpectation& expected) const;
  bool HasAlert(const GUID& id) const;

  SkxCaseDecision Decide(const CkxTargetDocument& target);
  void WatchChecks(const CkxTargetDocument& target);
  void Check(const SkxCase& test, const CkxTargetDocument& target, const SkxCaseDecision& decision,
             const SkxCasePlace& place, SkxCaseResult& result) const;
  std::vector<std::string> Why(const CkxTargetDocument& target, const SkxExpectation* missed) const;

  const CkxImageJudge _judge;
  const KxAlertNames _alertNames;
  CkxCoverage _coverage;
  bool _watchesChecks = false;
};

/// One case about events, and what became of it.
struct SkxCaseOnEvents {
  const SkxCase* test;
  SkxCaseResult result;
};

/// In constant memory, whatever comes.
class CkxCaseEventsRun {
 public:
  /// The cases outlive this; what becomes of them is in their results.
  CkxCaseEventsRun(CkxCaseJudge& judge, const std::vector<SkxCaseOnEvents*>& cases);

  /// One target document. A fault is a `CkxDocumentFault`, and nothing is counted then.
  void Take(std::string_view line, const std::string& place);

  /// A line that is none: no case is sure to have been asked about all that it is about.
  void TakeFault(const std::string& fault, const std::string& place);

  /// Cases whose filter took too few fail.
  void End();

 private:
  CkxCaseJudge& _judge;
  std::vector<SkxCaseOnEvents*> _cases;
  std::vector<SkxCase> _prepared;  // of `_cases`, in their order
};
