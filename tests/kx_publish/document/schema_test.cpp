// The schema of policy documents, which editors complete from, has the keys that documents have.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "tests/kx_publish/document/random_publication.h"

namespace {

using Json = nlohmann::ordered_json;

/// An object's kind ("action block", "type executable", "type dialog") to every key that such an object may have.
using KeysByKind = std::map<std::string, std::set<std::string>>;

void AddKeys(const Json& object, const std::string& kind, KeysByKind& keys) {
  for (const auto& [key, value] : object.items()) keys[kind].insert(key);
}

std::string Kind(const std::string& kindKey, const std::string& kind) { return kindKey + " " + kind; }

void AddAll(const Json& objects, const char* kindKey, KeysByKind& keys) {
  for (const Json& object : objects) {
    AddKeys(object, Kind(kindKey, object[kindKey]), keys);
    if (object.contains("targets")) AddAll(object["targets"], "type", keys);
  }
}

KeysByKind Written() {
  KeysByKind keys;
  for (uint32_t seed = 0; seed < 50; ++seed) {
    const Json document = KxPolicyDocument_Write(CkxRandomPublication(seed).Make());
    AddAll(document["policies"], "action", keys);
    AddAll(document["alerts"], "type", keys);
    for (const Json& group : document["applicationGroups"]) {
      AddKeys(group, "a group", keys);
      if (group.contains("targets")) AddAll(group["targets"], "type", keys);
    }
  }
  return keys;
}

/// An object that is of one kind says so by a constant.
void AddConstant(const Json& schema, const char* kindKey, KeysByKind& keys) {
  const Json kind = schema.value(Json::json_pointer(std::string("/properties/") + kindKey + "/const"), Json());
  if (kind.is_string()) AddKeys(schema["properties"], Kind(kindKey, kind), keys);
}

KeysByKind InSchema() {
  std::ifstream file("docs/policy.schema.json");
  EXPECT_TRUE(file.good()) << "tests run at the root of the sources";
  const Json defs = Json::parse(file)["$defs"];
  KeysByKind keys;
  for (const Json& schema : defs) AddConstant(schema, "type", keys);
  for (const Json& branch : defs["policy"]["allOf"]) AddConstant(branch["then"], "action", keys);
  AddKeys(defs["applicationGroup"]["properties"], "a group", keys);
  return keys;
}

TEST(Schema, HasTheKeysThatDocumentsHave) { EXPECT_EQ(Written(), InSchema()); }

}  // namespace
