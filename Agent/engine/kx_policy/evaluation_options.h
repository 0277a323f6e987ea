// How a caller of the C interface wants a target evaluated, checked.
#pragma once

#include <kx_policy.h>

#include <optional>

#include "Agent/engine/kx_publish/decision/decision_json.h"
#include "Agent/engine/kx_publish/decision/explanation.h"
#include "Common_CPP/security/sid.h"

struct SkxEvaluationOptions {
  std::optional<CkxSid> user;
  KxDecisionMembers members = kKxAllMembers;
  EkxExplain explain = EkxExplain::None;

  /// Of null the defaults. Throws a `CkxPolicyEntryFault` for what cannot be used.
  static SkxEvaluationOptions Of(const kx_policy_options* given);
};
