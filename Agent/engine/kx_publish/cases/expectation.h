// What a decision is held against: "none", an action, or members that all have to be so.
//
//   "none"    "block"    {"action": "block", "policy": "No games", "alert": "Blocked"}
#pragma once

#include <kx_util/policy_codes.h>
#include <kx_util/shared_policy.h>

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

/// What is not given is not looked at.
struct SkxExpectation {
  bool none = false;  ///< no policy applies; nothing else is given then
  std::optional<EkxPolicyAction> action;
  std::optional<uint32_t> policyId;
  std::optional<std::string> policyName;
  std::optional<std::string> alert;  ///< a name or an id, as it is written
  GUID alertId{};                    ///< of `alert`, once it is known

  bool NamesPolicy() const { return policyId.has_value() || policyName.has_value(); }
};

/// A decision, as far as cases look at it.
struct SkxCaseDecision {
  bool matched = false;
  std::string error;  ///< of a walk that ended in a fault: no answer
  uint32_t policyId = 0;
  std::string policyName;
  EkxPolicyAction action = EkxPolicyAction::Invalid;
  GUID targetId{};  ///< of the policy, or of its group
  std::vector<SkxPolicyAlertLink> alerts;
};

/// The words for the actions that decide, in the order of documents.
std::vector<std::string> KxExpectation_ActionWords();

/// A fault is a `CkxDocumentFault`.
SkxExpectation KxExpectation_Read(const nlohmann::json& json, const std::string& pointer);

/// Whether the decision, which is an answer, is all of it.
bool KxExpectation_IsMet(const SkxExpectation& expected, const SkxCaseDecision& decision);

/// As a person says it: "block by policy "No games"".
std::string KxExpectation_Text(const SkxExpectation& expected);
std::string KxCaseDecision_Text(const SkxCaseDecision& decision, bool withAlerts);
