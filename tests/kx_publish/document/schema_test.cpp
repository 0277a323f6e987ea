// docs/policy.schema.json and docs/target.schema.json say what the lists of keys say. After a change of them, run with
// KX_WRITE_DOCS set to write the file again.
#include "Agent/engine/kx_publish/document/document_schema.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "Agent/engine/kx_publish/document/target_schema.h"
#include "tests/kx_publish/written_docs.h"

namespace {

using Json = nlohmann::ordered_json;

TEST(Schema, IsWrittenDownAsItIs) {
  KxTest_ExpectWritten("docs/policy.schema.json", KxPolicyDocument_Schema());
  KxTest_ExpectWritten("docs/target.schema.json", KxTargetDocument_Schema());
}

/// Everything that is referred to is there, and everything that is there is referred to.
void ExpectReferencesToMeet(const std::string& text) {
  const Json schema = Json::parse(text);
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

TEST(Schema, RefersToWhatIsThere) {
  ExpectReferencesToMeet(KxPolicyDocument_Schema());
  ExpectReferencesToMeet(KxTargetDocument_Schema());
}

/// docs/kxpolicy.md tells what each member of a target document is for.
TEST(Schema, MembersOfTargetsAreExplained) {
  std::ifstream file("docs/kxpolicy.md");
  const std::string text(std::istreambuf_iterator<char>(file), {});
  const Json schema = Json::parse(KxTargetDocument_Schema()).flatten();
  size_t count = 0;
  for (const auto& [pointer, value] : schema.items()) {
    constexpr std::string_view kMembers = "/properties/";
    const size_t member = pointer.rfind(kMembers);
    if (member == std::string::npos) continue;
    const std::string name = pointer.substr(member + kMembers.size());
    const std::string key = name.substr(0, name.find('/'));
    EXPECT_NE(text.find("`" + key + "`"), std::string::npos) << key;
    ++count;
  }
  EXPECT_GT(count, 30u);
}

}  // namespace
