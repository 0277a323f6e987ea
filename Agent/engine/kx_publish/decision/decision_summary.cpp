#include "Agent/engine/kx_publish/decision/decision_summary.h"

#include <kx_util/shared_policy.h>
#include <kx_util/shared_policy_kinds.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/decision/decision.h"
#include "Agent/engine/kx_publish/decision/json_text.h"
#include "Agent/engine/kx_publish/decision/summary_count.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/image/image_records.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

bool MayDecide(const CkxShBufPolicy& policy) {
  static constexpr EkxPolicyAction kActions[] = {EkxPolicyAction::Run,
                                                 EkxPolicyAction::Block,
                                                 EkxPolicyAction::Elevate,
                                                 EkxPolicyAction::Trust,
                                                 EkxPolicyAction::RunAndCollectEvents,
                                                 EkxPolicyAction::Exclude};
  return policy.Active() && std::find(std::begin(kActions), std::end(kActions), policy.Action()) != std::end(kActions);
}

}  // namespace

void CkxDecisionSummary::AddPolicies(const SkxPolicyImage& image) {
  std::vector<std::string> ignored;  // the evaluation tells them
  KxImage_ForEachRecord(image.policies, kKxPolicyRecord, ignored, [&](const unsigned char* record, size_t) {
    const auto* const header = reinterpret_cast<const SkxPolicyBufHeader*>(record);
    const CkxShBufPolicyPtr policy(CkxShBufPolicy::PolicyFromBuffer(header, false));
    if (policy == nullptr || !MayDecide(*policy)) return;
    Of(policy->Id(), KxText_ToUtf8(policy->NameView()), static_cast<int32_t>(policy->Action()));
  });
}

CkxDecisionSummary::Policy& CkxDecisionSummary::Of(uint32_t id, const std::string& name, int32_t action) {
  const auto [place, isNew] = _places.try_emplace({id, name}, _policies.size());
  if (isNew) _policies.push_back({id, name, action, 0});
  return _policies[place->second];
}

void CkxDecisionSummary::Count(const SkxDecision& decision) {
  if (decision.matched) {
    ++_matched;
    ++Of(decision.info.PolicyId, decision.policyName, static_cast<int32_t>(decision.info.PolicyAction)).decided;
  } else {
    ++(decision.error.empty() ? _unmatched : _faults);
  }
}

void CkxDecisionSummary::Add(const nlohmann::json& summary) {
  CkxJsonObject object(summary, "");
  uint64_t targets = Targets();
  uint64_t parts = Targets();
  KxSummary_AddCount(object, "targets", targets);
  for (const auto& [key, part] : {std::pair{"matched", &_matched}, std::pair{"unmatched", &_unmatched},
                                  std::pair{"faults", &_faults}, std::pair{"unusable", &_unusable}}) {
    KxSummary_AddCount(object, key, parts);
    KxSummary_AddCount(object, key, *part);
  }
  if (targets != parts) throw CkxDocumentFault("/targets", "is not the sum of what became of them");
  uint64_t decided = _matched - object.Required<uint64_t>("matched");  // before

  const nlohmann::json* const policies = object.Find("policies");
  if (policies == nullptr || !policies->is_array()) throw CkxDocumentFault("/policies", "must be an array");
  for (size_t i = 0; i < policies->size(); ++i) {
    CkxJsonObject policy((*policies)[i], KxJson_Pointer("/policies", i));
    const auto id = policy.Required<uint32_t>("policyId");
    const auto name = policy.Required<std::string>("policyName");
    KxSummary_AddCount(policy, "decided", decided);
    KxSummary_AddCount(policy, "decided", Of(id, name, policy.Required<int32_t>("action")).decided);
    policy.Finish();
  }
  if (decided != _matched) throw CkxDocumentFault("/matched", "is not the sum of what the policies decided");
  object.Finish();
}

/// As text, and not as a tree: who makes one without memory ends the process.
std::string CkxDecisionSummary::ToJson() const {
  std::string json = "{\"targets\":" + std::to_string(Targets());
  for (const auto& [key, count] : {std::pair{"matched", _matched}, std::pair{"unmatched", _unmatched},
                                   std::pair{"faults", _faults}, std::pair{"unusable", _unusable}}) {
    KxJsonText_AddKey(json, key);
    json += std::to_string(count);
  }
  KxJsonText_AddKey(json, "policies");
  json += '[';
  for (const Policy& policy : _policies) {
    json += (&policy == _policies.data() ? "{\"policyId\":" : ",{\"policyId\":") + std::to_string(policy.id);
    KxJsonText_AddKey(json, "policyName");
    KxJsonText_AddText(json, policy.name);
    KxJsonText_AddKey(json, "action");
    KxJsonText_AddNumber(json, policy.action);
    KxJsonText_AddKey(json, "decided");
    json += std::to_string(policy.decided) + '}';
  }
  return json + "]}";
}

std::string CkxDecisionSummary::ToText() const {
  std::string decided;
  std::string never;
  for (const Policy& policy : _policies) {
    const std::string line = std::to_string(policy.id) + " " + KxText_Printable(policy.name) + "\n";
    if (policy.decided != 0) {
      decided += KxSummary_Column(policy.decided) + "  " + line;
    } else {
      never += KxSummary_Column(0) + "  " + line;
    }
  }
  std::string text = KxSummary_Column(Targets()) + "  targets\n" + KxSummary_Column(_matched) +
                     "  decided by a policy\n" + KxSummary_Column(_unmatched) + "  no policy applies\n" +
                     KxSummary_Column(_faults) + "  could not be answered\n" + KxSummary_Column(_unusable) +
                     "  unusable\n";
  if (!decided.empty()) text += "\nDecided by policy:\n" + decided;
  if (!never.empty()) text += "\nNever decided:\n" + never;
  return text;
}
