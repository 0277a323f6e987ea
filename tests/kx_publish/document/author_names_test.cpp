// What an author called things is kept, found again, and never guessed.
#include "Agent/engine/kx_publish/document/author_names.h"

#include <gmock/gmock.h>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/image/policy_set.h"

namespace {

constexpr const char* kPolicies = R"({"policies": [
    {"id": 1, "name": "P", "action": "block", "targets": [
      {"type": "applicationGroup", "group": "Games"},
      {"type": "executable", "fileName": "a.exe", "name": "The \"first\" ä"}]},
    {"id": 2, "name": "Q", "action": "block", "targets": [
      {"type": "executable", "id": "{00000001-0000-0000-0000-000000000000}"},
      {"type": "executable", "id": "{00000001-0000-0000-0000-000000000000}"}]}]})";
constexpr const char* kNamedGroupsDocument = R"({"applicationGroups": [{"name": "Other"}, {"name": "Games", "targets": [
    {"type": "url"}, {"type": "executable", "id": "{00000002-0000-0000-0000-000000000000}"}]}],
    "alerts": [{"name": "Ask", "id": "{00000003-0000-0000-0000-000000000000}", "type": "dialog"}]})";

GUID Id(uint32_t number) { return GUID{number, 0, 0, {}}; }

CkxPolicySet Compiled() {
  const std::vector<SkxDocumentText> documents = {{"p.jsonc", kPolicies}, {"dir/g.jsonc", kNamedGroupsDocument}};
  SkxDocumentError error;
  std::optional<CkxPolicySet> set = CkxPolicySet::FromDocuments(documents, error);
  EXPECT_TRUE(set) << error.Text();
  return *std::move(set);
}

TEST(AuthorNames, AreThoseOfTheDocuments) {
  const CkxAuthorNames names = Compiled().Names();
  ASSERT_NE(names.Policy(1), nullptr);
  EXPECT_EQ(names.Policy(1)->document, "p.jsonc");
  EXPECT_EQ(names.Policy(2)->pointer, "/policies/1");
  EXPECT_EQ(names.Policy(3), nullptr);
  ASSERT_NE(names.Alert(Id(3)), nullptr);
  EXPECT_EQ(names.Alert(Id(3))->name, "Ask");

  const std::optional<SkxTargetPlace> named = names.Target(1, names.Policy(1)->targets.at(1).id);
  ASSERT_TRUE(named);
  EXPECT_EQ(named->index, 1u);
  EXPECT_EQ(named->owner->targets[1].name, "The \"first\" ä");

  const std::optional<SkxTargetPlace> ofGroup = names.Target(1, Id(2));
  ASSERT_TRUE(ofGroup && ofGroup->group != nullptr);
  EXPECT_EQ(ofGroup->group->name, "Games");
  EXPECT_EQ(ofGroup->group->document, "dir/g.jsonc");
  EXPECT_EQ(ofGroup->group->pointer, "/applicationGroups/1");
  EXPECT_EQ(ofGroup->index, 1u);

  EXPECT_FALSE(names.Target(2, Id(1))) << "two targets have the id, and either could be meant";
  EXPECT_FALSE(names.Target(1, Id(1))) << "another policy's";
}

TEST(AuthorNames, ReadAsTheyAreWritten) {
  const CkxPolicySet set = Compiled();
  const std::string& written = set.Image().names.value();
  EXPECT_EQ(CkxAuthorNames::Parse(written).Write(), written);
}

TEST(AuthorNames, RecordsHaveNone) {
  SkxPolicyImage image = Compiled().Image();
  image.names.reset();
  std::string fault;
  EXPECT_TRUE(CkxPolicySet::FromImage(std::move(image), "i").Names(&fault).IsEmpty());
  EXPECT_EQ(fault, "");
}

TEST(AuthorNames, DamagedOnesAreNoneAndAreTold) {
  const std::pair<const char*, const char*> kDamaged[] = {
      {"", "is empty"},
      {"{", "line 1"},
      {"[]", "must be an object"},
      {R"({"police": {}})", R"(/police: unknown key; did you mean "policies"?)"},
      {R"({"policies": []})", "/policies: must be an object"},
      {R"({"policies": {"0": {}}})", "/policies/0: the key must be the id"},
      {R"({"policies": {"1": {}, "01": {}}})", "another key stands for the same"},
      {R"({"policies": {"4294967296": {}}})", "/policies/4294967296: the key must be the id"},
      {R"({"policies": {"1": {"targets": [{}]}}})", "/policies/1/targets/0: \"id\" is missing"},
      {R"({"policies": {"1": {"targets": {}}}})", "/policies/1/targets: must be an array"},
      {R"({"alerts": {"x": {}}})", "/alerts/x: must be a GUID"},
      {R"({"alerts": {"{00000003-0000-0000-0000-000000000000}": {"name": 1}}})", "/name: must be a text"},
  };
  for (const auto& [text, expected] : kDamaged) {
    SkxPolicyImage image = Compiled().Image();
    image.names = text;
    std::string fault;
    EXPECT_TRUE(CkxPolicySet::FromImage(std::move(image), "i").Names(&fault).IsEmpty()) << text;
    EXPECT_THAT(fault, testing::HasSubstr(expected)) << text;
  }
  const std::string whole = Compiled().Image().names.value();
  for (size_t size = 0; size + 2 < whole.size(); ++size) {  // the last bytes are white space
    EXPECT_THROW(CkxAuthorNames::Parse(whole.substr(0, size)), CkxDocumentFault) << size;
  }
}

}  // namespace
