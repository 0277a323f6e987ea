#include "Agent/engine/kx_publish/import/import_document.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/document/policy_fields.h"
#include "Agent/engine/kx_publish/import/import_targets.h"
#include "Agent/engine/kx_publish/model/derived_id.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kMaxImportedTargets = 200'000;

struct SkxWrittenPolicy {
  SkxPolicyModel model;
  std::optional<CkxSid> user;
  std::string comment;
};

/// What would be denied under an audit runs, and is reported for everybody.
void SetAction(SkxPolicyModel& policy, bool isAllow, bool isAudit) {
  policy.action = isAllow   ? EkxPolicyAction::Run
                  : isAudit ? EkxPolicyAction::RunAndCollectEvents
                            : EkxPolicyAction::Block;
  if (policy.action != EkxPolicyAction::RunAndCollectEvents) return;
  SkxZeroTouchParams params;
  params.monitorAdministrators = true;
  params.monitorStandardUsers = true;
  policy.params = params;
}

/// Which rule a policy comes from: for who meets the policy where the document is not at hand.
std::string NameOf(const SkxOrderedPolicy& ordered, const SkxImportedSet& set) {
  if (ordered.rule == nullptr) return set.name + ": whatever no rule allows";
  const SkxImportedRule& rule = *ordered.rule;
  const std::string name = rule.name.empty() ? rule.id : rule.name + " (" + rule.id + ")";
  return set.name + (ordered.part == SkxOrderedPolicy::Part::Exceptions ? ": exception of " : ": ") +
         KxText_Printable(name);
}

std::string CommentOf(const SkxOrderedPolicy& ordered) {
  if (ordered.rule == nullptr) return "what is left is denied";
  const SkxImportedRule& rule = *ordered.rule;
  const char* const part = ordered.part == SkxOrderedPolicy::Part::Exceptions ? ", what it excepts" : "";
  return KxText_Printable(rule.file.substr(rule.file.find_last_of("/\\") + 1)) + ": " +
         (rule.isAllow ? "allow" : "deny") + " rule " + KxText_Printable(rule.id) + part;
}

std::vector<SkxTargetBody> BodiesOf(const SkxOrderedPolicy& ordered, const SkxImportedSet& set) {
  std::vector<SkxTargetBody> bodies;
  const auto add = [&](std::vector<SkxTargetBody> more) {
    std::move(more.begin(), more.end(), std::back_inserter(bodies));
  };
  for (const SkxJudgedKind& kind : set.kinds) {
    if (ordered.rule == nullptr) add(KxImportTargets_OfAll(kind));
    for (const SkxFileCondition& condition : ordered.conditions) add(KxImportTargets_Of(condition, kind));
  }
  return bodies;
}

/// A policy without targets would be about everything.
std::optional<SkxWrittenPolicy> PolicyOf(const SkxOrderedPolicy& ordered, const SkxImportedSet& set, uint32_t id) {
  std::vector<SkxTargetBody> bodies = BodiesOf(ordered, set);
  if (bodies.empty()) return std::nullopt;
  SkxWrittenPolicy policy;
  policy.user = ordered.user;
  policy.comment = CommentOf(ordered);
  policy.model.id = id;
  policy.model.name = KxText_FromUtf8(NameOf(ordered, set)).value_or(KXW("imported"));
  SetAction(policy.model, ordered.isAllow, set.isAudit);
  for (SkxTargetBody& body : bodies) {
    const std::string place = KxPlaceOf(policy.model) + "/target/" + std::to_string(policy.model.targets.size());
    policy.model.targets.push_back({KxDerivedId(place), std::move(body)});
  }
  return policy;
}

std::vector<SkxWrittenPolicy> PoliciesOf(SkxImportedSet& set, uint32_t firstId, size_t& targets) {
  std::vector<SkxWrittenPolicy> policies;
  for (const SkxOrderedPolicy& ordered : KxRuleOrder_Policies(set)) {
    const auto id = static_cast<uint32_t>(firstId + policies.size());
    std::optional<SkxWrittenPolicy> policy = PolicyOf(ordered, set, id);
    if (policy) {
      targets += policy->model.targets.size();
      if (targets > kMaxImportedTargets) throw CkxImportTooLarge();
      policies.push_back(std::move(*policy));
    } else if (ordered.part == SkxOrderedPolicy::Part::Rule) {
      ordered.rule->Say(EkxImportStatus::NotExpressed, "no file that is judged has what it asks for");
    }
  }
  return policies;
}

/// The object on a line, its targets on one each.
std::string PolicyText(Json json) {
  const Json targets = json.contains("targets") ? json["targets"] : Json::array();
  json.erase("targets");
  json.erase("order");  // which is that of the document
  std::string text = json.dump();
  text.pop_back();
  text += ", \"targets\": [";
  for (size_t i = 0; i < targets.size(); ++i) text += (i == 0 ? "\n      " : ",\n      ") + targets[i].dump();
  return text + "]}";
}

std::string DocumentText(const std::vector<SkxWrittenPolicy>& policies, const std::string& title) {
  SkxPublication publication;
  for (const SkxWrittenPolicy& policy : policies) publication.policies.push_back(policy.model);
  Json json;
  SkxDocumentError error;
  if (!KxPolicyDocument_Write(publication, json, error)) throw std::runtime_error(error.Text());

  std::string text = "// " + KxText_Printable(title) + "\n{\n  \"policies\": [";
  for (size_t i = 0; i < policies.size(); ++i) {
    text += std::string(i == 0 ? "" : ",") + "\n    // " + policies[i].comment + "\n    ";
    if (policies[i].user) json["policies"][i]["users"] = Json::array({policies[i].user->ToUtf8()});
    text += PolicyText(json["policies"][i]);
  }
  return text + "\n  ]\n}\n";
}

/// Nothing is handed out that would be refused by who reads it.
void RequireReadable(const std::string& text) {
  const SkxDocumentText document = {"imported", text};
  SkxPublication publication;
  SkxDocumentError error;
  if (!KxPolicyDocument_Read({&document, 1}, publication, error)) throw std::runtime_error(error.Text());
}

}  // namespace

SkxImportDocument KxImportDocument_Write(SkxImportedPolicy& policy, uint32_t firstId, const std::string& title) {
  std::vector<SkxWrittenPolicy> policies;
  size_t targets = 0;
  for (SkxImportedSet& set : policy.sets) {
    std::vector<SkxWrittenPolicy> more = PoliciesOf(set, static_cast<uint32_t>(firstId + policies.size()), targets);
    std::move(more.begin(), more.end(), std::back_inserter(policies));
  }
  SkxImportDocument document = {DocumentText(policies, title), policies.size()};
  RequireReadable(document.text);
  return document;
}
