// Records against bytes put together by hand: what agents in the field read must not change by accident.
#include "tests/support/data_rows.h"
#include "tests/support/policy_documents.h"

namespace {

constexpr const char* kAroundRecord = R"({
    "policies": [{"id": 7, "name": "P", "action": "block", "order": 1234605616436508552, "gpId": "G1", "guiType": 3,
     "reportUsageState": 2695938256, "alerts": [{"trigger": 26, "type": 2, "id": "{00000009-0000-0000-0000-000000000009}"}]}],
    "applicationGroups": [{"name": "A", "id": "{00000001-0000-0000-0000-000000000001}"},
     {"name": "B", "id": "{00000002-0000-0000-0000-000000000002}"}]})";

TEST(RecordWriter, RecordsAreTheBytesThatAreWrittenByHand) {
  KxTest_ForRows<std::string, nlohmann::json, SkxPolicyImage::Bytes>(
      "records/golden.txt", [](auto& place, auto& part, auto& bytes) {
        const SkxPolicyImage image = KxTest_Compile(KxTest_WithPart(kAroundRecord, place, part));
        const auto section = place.starts_with("/policies") ? image.policies
                             : place.starts_with("/alerts") ? image.alerts
                                                            : image.appGroups;
        ASSERT_GE(section->size(), bytes.size());
        EXPECT_EQ(SkxPolicyImage::Bytes(section->end() - static_cast<ptrdiff_t>(bytes.size()), section->end()), bytes)
            << part;
      });
}

TEST(RecordWriter, RowsOfUsersAreJson) {
  const char* const rules = R"({"policies": [{"id": 7, "name": "P", "action": "run"}], "applicable": {"*": [7]}})";
  EXPECT_EQ(KxTest_Compile(rules).applicable, "{\n  \"*\": [7]\n}\n");
  EXPECT_FALSE(KxTest_Compile("{}").applicable.has_value()) << "no rows: every policy applies to everybody";
}

}  // namespace
