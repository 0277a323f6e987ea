// What became of many targets, in numbers that add up.
//
//   {"targets":4,"matched":2,"unmatched":1,"faults":0,"unusable":1,
//    "policies":[{"policyId":1,"policyName":"No games","action":2,"decided":2}]}
//
// Every target is one of four: a policy decided it, none did, the question could not be answered (a fault), or there
// was no target to be read (unusable). It takes the memory of the policies, whatever the number of targets.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/image/policy_image.h"

struct SkxDecision;

class CkxDecisionSummary {
 public:
  /// The policies that may decide, so that those that never did can be told: active, and of an action that takes part.
  void AddPolicies(const SkxPolicyImage& image);

  void Count(const SkxDecision& decision);
  void CountUnusable() { ++_unusable; }

  /// Adds a summary that was written. Throws a `CkxDocumentFault` for what is none, and where a sum does not fit 64
  /// bits.
  void Add(const nlohmann::json& summary);

  std::string ToJson() const;  ///< one line, without its end
  std::string ToText() const;  ///< several lines

 private:
  struct Policy {
    uint32_t id;
    std::string name;
    int32_t action;  ///< of its record, else of its first decision
    uint64_t decided;
  };

  Policy& Of(uint32_t id, const std::string& name, int32_t action);
  uint64_t Targets() const { return _matched + _unmatched + _faults + _unusable; }

  std::vector<Policy> _policies;                               // in the order of the image, then as they came
  std::map<std::pair<uint32_t, std::string>, size_t> _places;  // one image may call 1 what another calls otherwise
  uint64_t _matched = 0;
  uint64_t _unmatched = 0;
  uint64_t _faults = 0;
  uint64_t _unusable = 0;
};
