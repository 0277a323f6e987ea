#include "Agent/engine/kx_publish/document/policy_document.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "Common_CPP/util/guid.h"
#include "tests/support/data_rows.h"
#include "tests/support/policy_documents.h"

namespace {

using nlohmann::json;

struct Outcome {
  bool read = false;
  SkxPublication publication;
  SkxDocumentError error;
};

Outcome Read(std::vector<SkxDocumentText> documents) {
  Outcome outcome;
  outcome.read = KxPolicyDocument_Read(documents, outcome.publication, outcome.error);
  return outcome;
}

/// Around the parts that rows of tests/data/documents have.
constexpr const char* kAround = R"({
    "alerts": [{"name": "Ask", "type": "dialog"}, {"name": "Tell", "type": "balloon"}],
    "applicationGroups": [{"name": "G"}], "policies": [{"id": 7, "name": "P", "action": "block"}]})";

TEST(PolicyDocument, FaultsNameTheirPlace) {
  KxTest_ForRows<std::string, json, std::string, std::string>(
      "documents/faults.txt", [](auto& place, auto& part, auto& pointer, auto& message) {
        const Outcome outcome = Read({{"doc.jsonc", KxTest_WithPart(kAround, place, part)}});
        EXPECT_FALSE(outcome.read);
        EXPECT_EQ(outcome.error.document, "doc.jsonc");
        EXPECT_EQ(outcome.error.pointer, place + pointer);
        EXPECT_THAT(outcome.error.message, testing::HasSubstr(message));
      });
}

TEST(PolicyDocument, ShorthandAndDefaultsStandForTheLongForm) {
  KxTest_ForRows<std::string, json, json>("documents/short.txt", [](auto& place, auto& brief, auto& full) {
    const SkxPolicyImage inShort = KxTest_Compile(KxTest_WithPart(kAround, place, brief));
    const SkxPolicyImage inFull = KxTest_Compile(KxTest_WithPart(kAround, place, full));
    EXPECT_EQ(inShort.policies, inFull.policies);
    EXPECT_EQ(inShort.alerts, inFull.alerts);
  });
}

TEST(PolicyDocument, SeveralDocumentsAreOnePublication) {
  const std::string groups =
      R"({"applicationGroups":[{"name":"A","targets":[{"type":"applicationGroup","group":"B"}]},{"name":"B"}],
                                 "alerts":[{"name":"Ask","type":"dialog"}],"applicable":{"*":[1]}})";
  const std::string first =
      R"({"policies":[{"id":1,"name":"P","action":"run","alerts":[{"trigger":1,"id":"Ask"}],
                       "targets":[{"type":"applicationGroup","group":"B"}]}]})";
  const std::string second =
      R"({"policies":[{"id":2,"name":"Q","action":"run"}],"applicable":{"*":[2],"s-1-0x5-18":[2]}})";
  const Outcome outcome = Read({{"p.jsonc", first}, {"g.jsonc", groups}, {"q.jsonc", second}});
  ASSERT_TRUE(outcome.read) << outcome.error.Text();
  ASSERT_EQ(outcome.publication.policies.size(), 2u);
  EXPECT_EQ(outcome.publication.policies[1].order, 2u) << "positions count across documents";
  ASSERT_EQ(outcome.publication.groups.size(), 2u);
  const GUID b = outcome.publication.groups[1].id;
  for (const auto& targets : {outcome.publication.policies[0].targets, outcome.publication.groups[0].targets}) {
    EXPECT_TRUE(KxGuid_Equal(std::get<SkxGroupLink>(targets.at(0).body).group, b));
  }
  ASSERT_EQ(outcome.publication.alerts.size(), 1u);
  const SkxAlertLinkModel& link = outcome.publication.policies[0].alerts.at(0);
  EXPECT_TRUE(KxGuid_Equal(link.alert, outcome.publication.alerts[0].id));
  EXPECT_EQ(link.type, 1) << "a dialog, as the alert says";
  EXPECT_EQ(outcome.publication.applicable, (SkxApplicableRows{{"*", {1, 2}}, {"S-1-5-18", {2}}}));

  const Outcome clash = Read({{"p.jsonc", first}, {"g.jsonc", groups}, {"again.jsonc", first}});
  EXPECT_EQ(clash.error.Text(), "again.jsonc: /policies/0/id: the id is taken by p.jsonc#/policies/0");
}

TEST(PolicyDocument, ATextThatJsonCannotCarryIsNotWritten) {
  SkxPublication publication;
  publication.alerts.resize(2);
  publication.alerts[1].name = KXW("a") + KxWString(1, static_cast<WCHAR>(0xD800));
  nlohmann::ordered_json document = "as it was";
  SkxDocumentError error;
  EXPECT_FALSE(KxPolicyDocument_Write(publication, document, error));
  EXPECT_EQ(error.Text(), "/alerts/1: a text is not well-formed UTF-16");
  EXPECT_EQ(document, "as it was");
}

TEST(PolicyDocument, AFaultLeavesThePublicationAsItWas) {
  SkxPublication publication;
  publication.applicable["*"] = {1};
  SkxDocumentError error;
  const SkxDocumentText document{"d", R"({"policies":[{"id":1,"name":"P","action":"run"},{}]})"};
  EXPECT_FALSE(KxPolicyDocument_Read({&document, 1}, publication, error));
  EXPECT_TRUE(publication.policies.empty());
  EXPECT_EQ(publication.applicable.size(), 1u);
}

}  // namespace
