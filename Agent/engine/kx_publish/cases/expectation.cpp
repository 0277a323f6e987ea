#include "Agent/engine/kx_publish/cases/expectation.h"

#include <kx_util/policy_enum_filter.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/nearest.h"
#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Common_CPP/util/guid.h"

namespace {

constexpr const char* kNone = "none";

bool IsDeciding(const SkxPolicyKind& kind) {
  return (SkxPolicyFilter::GetActionMask(kind.action) & kKxDecidingActions) != 0;
}

EkxPolicyAction ActionAt(const std::string& word, const std::string& pointer, const std::string& otherwise) {
  std::string words = otherwise;
  for (const SkxPolicyKind& kind : kKxPolicyKinds) {
    if (!IsDeciding(kind)) continue;
    if (word == kind.key) return kind.action;
    words += (words.empty() ? "\"" : ", \"") + std::string(kind.key) + "\"";
  }
  throw CkxDocumentFault(pointer, "must be " + words + KxNearest_Question(word, KxExpectation_ActionWords()));
}

std::string WordOf(EkxPolicyAction action) {
  const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, action);
  return kind != nullptr ? kind->key : "action " + std::to_string(static_cast<int32_t>(action));
}

/// An id, or a name.
void ReadPolicy(const nlohmann::json& json, const std::string& pointer, SkxExpectation& expected) {
  if (json.is_string()) {
    expected.policyName = KxJson_As<std::string>(json, pointer);
  } else {
    expected.policyId = KxJson_As<uint32_t>(json, pointer);
  }
}

bool HasAlert(const SkxCaseDecision& decision, const GUID& id) {
  return std::any_of(decision.alerts.begin(), decision.alerts.end(), [&](const SkxPolicyAlertLink& link) {
    const GUID linked = link.alertId;
    return KxGuid_Equal(linked, id);
  });
}

}  // namespace

std::vector<std::string> KxExpectation_ActionWords() {
  std::vector<std::string> words;
  for (const SkxPolicyKind& kind : kKxPolicyKinds) {
    if (IsDeciding(kind)) words.emplace_back(kind.key);
  }
  return words;
}

SkxExpectation KxExpectation_Read(const nlohmann::json& json, const std::string& pointer) {
  SkxExpectation expected;
  if (json.is_string()) {
    const auto word = KxJson_As<std::string>(json, pointer);
    expected.none = word == kNone;
    if (!expected.none) expected.action = ActionAt(word, pointer, "an object, \"none\"");
    return expected;
  }
  CkxJsonObject object(json, pointer);
  std::string action;
  if (object.Optional("action", action)) expected.action = ActionAt(action, object.PointerTo("action"), "");
  if (const nlohmann::json* const policy = object.Find("policy")) {
    ReadPolicy(*policy, object.PointerTo("policy"), expected);
  }
  object.Optional("alert", expected.alert);
  object.Finish();
  if (json.empty()) throw CkxDocumentFault(pointer, "says nothing: \"action\", \"policy\" or \"alert\" is missing");
  return expected;
}

bool KxExpectation_IsMet(const SkxExpectation& expected, const SkxCaseDecision& decision) {
  if (expected.none || !decision.matched) return expected.none && !decision.matched;
  return (!expected.action || *expected.action == decision.action) &&
         (!expected.policyId || *expected.policyId == decision.policyId) &&
         (!expected.policyName || *expected.policyName == decision.policyName) &&
         (!expected.alert || HasAlert(decision, expected.alertId));
}

std::string KxExpectation_Text(const SkxExpectation& expected) {
  if (expected.none) return "that no policy applies";
  std::string text = expected.action ? WordOf(*expected.action) : "a decision";
  if (expected.policyId) text += " by policy " + std::to_string(*expected.policyId);
  if (expected.policyName) text += " by policy \"" + *expected.policyName + "\"";
  if (expected.alert) text += " with alert \"" + *expected.alert + "\"";
  return text;
}

std::string KxCaseDecision_Text(const SkxCaseDecision& decision, bool withAlerts) {
  if (!decision.error.empty()) return "no answer: " + decision.error;
  if (!decision.matched) return "that no policy applies";
  std::string text =
      WordOf(decision.action) + " by policy " + std::to_string(decision.policyId) + " \"" + decision.policyName + "\"";
  if (!withAlerts) return text;
  for (const SkxPolicyAlertLink& link : decision.alerts) text += " with alert " + KxGuid_ToUtf8(GUID(link.alertId));
  return text;
}
