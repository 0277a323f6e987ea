#include <kx_publish/policy_check.h>

#include "Agent/engine/kx_publish/check/document_check.h"
#include "Agent/engine/kx_publish/decision/json_text.h"
#include "Common_CPP/util/printable.h"

namespace {

const char* SeverityWord(const SkxCheckFinding& finding) { return finding.isError ? "error" : "warning"; }

void AddJsonText(std::string& json, const char* key, const std::string& text) {
  KxJsonText_AddKey(json, key);
  KxJsonText_AddAnyText(json, text);
}

template <class Number>
void AddJsonNumber(std::string& json, const char* key, const std::optional<Number>& number) {
  if (!number) return;
  KxJsonText_AddKey(json, key);
  json += std::to_string(*number);
}

}  // namespace

std::string SkxCheckFinding::ToJson() const {
  std::string json = std::string("{\"severity\":\"") + SeverityWord(*this) + '"';
  AddJsonText(json, "rule", rule);
  KxJsonText_AddKey(json, "policyId");
  json += policyId ? std::to_string(*policyId) : "null";
  if (policyName) {
    AddJsonText(json, "policyName", *policyName);
  } else {
    json += ",\"policyName\":null";
  }
  AddJsonText(json, offset ? "file" : "document", file);
  AddJsonNumber(json, "offset", offset);
  if (pointer) AddJsonText(json, "pointer", *pointer);
  AddJsonNumber(json, "line", line);
  AddJsonNumber(json, "column", column);
  AddJsonText(json, "message", message);
  json += '}';
  return json;
}

std::string SkxCheckFinding::ToText() const {
  std::string text = file;
  if (line && column) text += ":" + std::to_string(*line) + ":" + std::to_string(*column);
  text += ": ";
  if (offset) text += "byte " + std::to_string(*offset) + ": ";
  if (pointer && !pointer->empty()) text += *pointer + ": ";
  text += std::string(SeverityWord(*this)) + ": ";
  if (policyId) {
    text += "policy " + std::to_string(*policyId);
    text += (policyName ? " " + KxText_PrintableQuoted(*policyName) : "") + ": ";
  }
  return KxText_Printable(text + message + " [" + rule + "]");
}

std::vector<SkxCheckFinding> KxPolicies_Check(std::span<const SkxDocumentText> documents) {
  return KxCheck_Documents(documents).findings;
}
