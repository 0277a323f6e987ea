#include "Agent/engine/kx_publish/decision/explanation_json.h"

#include "Agent/engine/kx_publish/decision/explanation.h"
#include "Agent/engine/kx_publish/decision/json_text.h"
#include "Common_CPP/util/guid.h"

namespace {

void AddNumberMember(std::string& json, const char* key, size_t number) {
  KxJsonText_AddKey(json, key);
  KxJsonText_AddNumber(json, static_cast<int64_t>(number));
}

void AddTextMember(std::string& json, const char* key, const std::string& text) {
  KxJsonText_AddKey(json, key);
  KxJsonText_AddText(json, text);
}

void AddCheck(std::string& json, const SkxExplainedCheck& check) {
  KxJsonText_AddKey(json, "failed");
  json += "{\"property\":";
  KxJsonText_AddText(json, check.property);
  AddTextMember(json, "expected", check.expected);
  AddTextMember(json, "actual", check.actual);
  json += '}';
}

void AddTarget(std::string& json, const SkxExplainedTarget& target) {
  json += "{\"targetId\":";
  KxJsonText_AddText(json, KxGuid_ToUtf8(target.id));
  AddNumberMember(json, "targetType", static_cast<uint32_t>(target.type));
  AddTextMember(json, "outcome", target.matched ? "matched" : "not matched");
  if (target.failed) AddCheck(json, *target.failed);
  if (!target.name.empty()) AddTextMember(json, "name", target.name);
  if (target.number != 0) {
    AddNumberMember(json, "number", target.number);
    AddNumberMember(json, "of", target.of);
  }
  if (target.group) AddTextMember(json, "group", *target.group);
  json += '}';
}

void AddPolicy(std::string& json, const SkxExplainedPolicy& policy) {
  json += "{\"policyId\":";
  KxJsonText_AddNumber(json, policy.id);
  AddTextMember(json, "policyName", policy.name);
  KxJsonText_AddKey(json, "action");
  KxJsonText_AddNumber(json, static_cast<int32_t>(policy.action));
  AddTextMember(json, "outcome", KxUtil_PolicyOutcomeText(policy.outcome));
  KxJsonText_AddKey(json, "targets");
  json += '[';
  for (const SkxExplainedTarget& target : policy.targets) {
    if (&target != policy.targets.data()) json += ',';
    AddTarget(json, target);
  }
  json += ']';
  if (policy.leftOut != 0) AddNumberMember(json, "leftOut", policy.leftOut);
  if (policy.written) {
    AddTextMember(json, "document", policy.written->document);
    AddTextMember(json, "pointer", policy.written->pointer);
  }
  json += '}';
}

}  // namespace

void KxExplanation_AddJson(std::string& json, std::span<const SkxExplainedPolicy> policies) {
  json += '[';
  for (const SkxExplainedPolicy& policy : policies) {
    if (&policy != policies.data()) json += ',';
    AddPolicy(json, policy);
  }
  json += ']';
}
