// Why a decision was another than expected: the policy that decided, and those of the expected kind that came closest,
// each with the checks that ended their targets. Watches one evaluation; what it keeps is bounded.
#pragma once

#include <kx_util/evaluation_observer.h>

#include <string>
#include <utility>
#include <vector>

#include "Agent/engine/kx_publish/cases/expectation.h"

class CkxNearMisses : public IkxEvaluationObserver {
 public:
  /// `expected` may be null: then only what decided is told.
  explicit CkxNearMisses(const SkxExpectation* expected) : _expected(expected) {}

  void OnCheckFailed(const char* property, CkxTextView expected, CkxTextView actual) override;
  void OnTarget(const SkxObservedTarget& target, bool matched) override;
  void OnPolicy(const SkxObservedPolicy& policy, EkxPolicyOutcome outcome) override;
  void OnFault(std::string_view /*line*/) override {}

  /// A line a policy, and indented by two blanks a line a target. To be made printable by whoever prints it.
  std::vector<std::string> Lines() const;

 private:
  /// How far a target came: another kind of thing; of the kind, but another one; the one, but for some property.
  enum class Nearness : unsigned char { None, Kind, Identity };

  struct Policy {
    Nearness nearness = Nearness::None;
    std::vector<std::string> lines;
  };

  bool IsWanted(const SkxObservedPolicy& policy) const;

  const SkxExpectation* const _expected;
  std::string _failed;  // the check that failed last
  Nearness _failedAt = Nearness::None;
  Policy _current;  // its targets, without its own line
  std::vector<Policy> _near;
  std::vector<std::string> _decided;
};
