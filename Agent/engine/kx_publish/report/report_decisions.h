// What policies decided about a stream of targets, for a report: counts, and a sample of bounded size. What it keeps
// does not grow with the stream.
//
//   CkxReportDecisions decisions("launches.jsonl");
//   decisions.Add(KxReport_Target(document), decision);      for each
//   data["decisions"] = decisions.ToJson();
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

/// What a target is shown by; absent texts are empty.
struct SkxReportedTarget {
  std::string name;  ///< its id, when it has one
  std::string path;  ///< or the address, or the class
  std::string commandLine;
  std::string user;  ///< SID
};

/// `document`: a target document that has been understood.
SkxReportedTarget KxReport_Target(const nlohmann::json& document);

struct SkxReportedDecision {
  std::optional<uint32_t> policy;
  std::string action;  ///< what the policy does, in a word
  std::string error;   ///< of a question that was not answered
};

class CkxReportDecisions {
 public:
  /// In the sample: targets that differ from each other, counted together when they do not; and beyond that many some
  /// of each policy that has too few yet. A longer text is cut.
  static constexpr size_t kSampled = 5000;
  static constexpr size_t kSampledOfEach = 3;
  static constexpr size_t kTextBytes = 1000;
  static constexpr size_t kFaultsTold = 100;

  explicit CkxReportDecisions(std::string source) : _source(std::move(source)) {}

  void Add(const SkxReportedTarget& target, const SkxReportedDecision& decision);

  /// A line that no target could be read from.
  void AddUnusable(size_t line, const std::string& why);

  uint64_t Targets() const { return _targets; }
  uint64_t Unusable() const { return _unusable; }

  nlohmann::ordered_json ToJson() const;

 private:
  struct Sampled {
    uint64_t count = 0;
    size_t place = 0;  ///< in the order in which they came
  };

  void Sample(const SkxReportedTarget& target, const SkxReportedDecision& decision);

  const std::string _source;
  uint64_t _targets = 0, _decided = 0, _unanswered = 0, _unusable = 0, _leftOut = 0;
  std::map<uint32_t, uint64_t> _byPolicy;
  std::map<std::optional<uint32_t>, size_t> _sampledOf;  // null: no policy
  std::map<std::string, Sampled> _sample;                // by what is shown of them, as JSON
  nlohmann::ordered_json _faults = nlohmann::ordered_json::array();
};
