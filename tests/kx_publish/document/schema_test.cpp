// docs/policy.schema.json says what the lists of keys say. After a change of them, run with KX_WRITE_DOCS set to write
// the file again.
#include "Agent/engine/kx_publish/document/document_schema.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>

#include "tests/kx_publish/written_docs.h"

namespace {

using Json = nlohmann::ordered_json;

TEST(Schema, IsWrittenDownAsItIs) { KxTest_ExpectWritten("docs/policy.schema.json", KxPolicyDocument_Schema()); }

/// Everything that is referred to is there, and everything that is there is referred to.
TEST(Schema, RefersToWhatIsThere) {
  const Json schema = Json::parse(KxPolicyDocument_Schema());
  const Json values = schema.flatten();
  std::set<std::string> referred;
  for (const auto& [pointer, value] : values.items()) {
    if (pointer.ends_with("/$ref")) referred.insert(value.get<std::string>());
  }
  std::set<std::string> there;
  for (const auto& [name, definition] : schema["$defs"].items()) {
    EXPECT_TRUE(definition.is_object()) << name;
    there.insert("#/$defs/" + name);
  }
  EXPECT_EQ(referred, there);
}

}  // namespace
