#include "Agent/engine/kx_publish/cases/cases_schema.h"

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/cases/expectation.h"
#include "Agent/engine/kx_publish/document/schema_text.h"

namespace {

using Json = nlohmann::ordered_json;

Json WithMeaning(const char* description, const Json& schema) {
  Json described = {{"description", description}};
  described.update(schema);
  return described;
}

Json TextMember(const char* description) { return WithMeaning(description, {{"type", "string"}}); }

Json ObjectOf(Json properties) {
  return {{"type", "object"}, {"properties", std::move(properties)}, {"additionalProperties", false}};
}

Json ActionSchema() { return WithMeaning("What is done.", {{"enum", Json(KxExpectation_ActionWords())}}); }

Json DecidingPolicySchema() {
  return WithMeaning("The policy that decides: its name, or its id.",
                     {{"type", Json::array({"string", "integer"})}, {"minimum", 0}, {"maximum", UINT32_MAX}});
}

Json ExpectationSchema() {
  Json words = Json::array({"none"});
  for (const std::string& word : KxExpectation_ActionWords()) words.push_back(word);
  Json members = ObjectOf({{"action", ActionSchema()},
                           {"policy", DecidingPolicySchema()},
                           {"alert", TextMember("An alert that the policy links: its name, or its id.")}});
  members["minProperties"] = 1;
  return {{"description", "A decision: no policy applies, an action, or members that all have to be so."},
          {"anyOf", Json::array({Json({{"enum", std::move(words)}}), std::move(members)})}};
}

Json CaseSchema() {
  const Json expectation = {{"$ref", "#/$defs/expectation"}};
  Json schema = ObjectOf(
      {{"name", TextMember("What a report calls the case.")},
       {"target",
        WithMeaning("What is decided about: a target document, or with rows what they share.", {{"type", "object"}})},
       {"rows",
        WithMeaning("Targets: each is the target with these members in place of its own. Objects are merged, null "
                    "takes a member out.",
                    {{"type", "array"}, {"minItems", 1}, {"items", {{"type", "object"}}}})},
       {"events",
        TextMember("A file of target documents, one a line, from the folder of this file; - for standard input.")},
       {"where",
        WithMeaning("Which of them the case is about: members that they have. Texts may have * and ?, case does "
                    "not count; null: there is no such member; of a list each element is met by one.",
                    {{"type", "object"}, {"minProperties", 1}})},
       {"atLeast",
        WithMeaning("How many of them there have to be. Default: 1.", {{"type", "integer"}, {"minimum", 0}})},
       {"expect", WithMeaning("The decision that is expected of each.", expectation)},
       {"expectNot", WithMeaning("The decision that none of them may have.", expectation)}});
  const auto required = [](const char* key) { return Json({{"required", Json::array({key})}}); };
  schema["oneOf"] = Json::array({required("target"), required("events")});
  schema["anyOf"] = Json::array({required("expect"), required("expectNot")});
  schema["dependentRequired"] = {{"rows", {"target"}}, {"where", {"events"}}, {"atLeast", {"events"}}};
  schema["if"] = required("rows");
  schema["else"] = {{"properties", {{"target", {{"$ref", "target.schema.json"}}}}}};
  return schema;
}

}  // namespace

std::string KxCaseDocument_Schema() {
  Json schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                 {"title", "Case file"},
                 {"description", "Targets, with the decision that policies are expected to make about each."}};
  schema.update(ObjectOf({{"$schema", {{"type", "string"}}},
                          {"cases", {{"type", "array"}, {"minItems", 1}, {"items", {{"$ref", "#/$defs/case"}}}}}}));
  schema["required"] = Json::array({"cases"});
  schema["$defs"] = {{"case", CaseSchema()}, {"expectation", ExpectationSchema()}};
  return KxSchema_Text(schema);
}
