// Which decisions differ, in numbers: `diff --summary`, and `summary`, which adds them up.
//
//   {"asked":4,"differ":2,"unusable":1,
//    "changes":[{"count":2,"was":{"matched":false},"is":{"matched":true,"policyId":7,...},
//                "examples":[{"file":"monday.jsonl","line":1,"name":"C:\\a.exe"}]}]}
//
// The sum is the same in whatever order summaries come: of examples those with the first names and lines are kept. Past
// so many kinds of changes (`CkxDecisionChanges::kMaxChanges`) the rest is one more of them, whose sides are null.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <tuple>

#include "Agent/engine/kx_publish/compare/decision_changes.h"

class CkxDiffSummary {
 public:
  /// Of the lines of one file, of which some were no targets.
  void Add(const CkxDecisionChanges& changes, const std::string& file, uint64_t unusable);

  /// A summary that was written. Throws a `CkxDocumentFault` for what is none, and where a sum does not fit 64 bits.
  void Add(const nlohmann::json& summary);

  nlohmann::ordered_json ToJson() const;
  std::string ToText() const;  ///< several lines

 private:
  using Example = std::tuple<std::string, uint64_t, std::string>;  // file, line, name
  struct Change {
    KxDecided was;
    KxDecided is;
    uint64_t count = 0;
    std::set<Example> examples;
  };

  Change& Of(const KxDecided& was, const KxDecided& is);
  void AddChange(CkxJsonObject& change);
  static void Keep(Change& change, Example example);
  std::vector<const Change*> ByCount() const;

  std::map<std::string, Change> _changes;  // by both sides
  uint64_t _asked = 0;
  uint64_t _differ = 0;
  uint64_t _unusable = 0;
};
