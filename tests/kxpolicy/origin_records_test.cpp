// Source records as files keep them: golden documents, and what is read of those that others write.
#include <nlohmann/json.hpp>

#include "tests/kxpolicy/run_tool.h"
#include "tests/support/data_rows.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

json Converted(json request) {
  const SkxToolRun run = KxTest_RunTool({"origin", "convert"}, request.dump() + "\n");
  EXPECT_EQ(run.err, "");
  return json::parse(run.out);
}

/// "{text}*3" as the text three times.
std::string Repeated(const std::string& text) {
  std::string all;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text[at] == '{' ? text.find("}*", at) : std::string::npos;
    if (end == std::string::npos) {
      all += text[at++];
      continue;
    }
    size_t digits = 0;
    const size_t count = std::stoul(text.substr(end + 2), &digits);
    for (size_t i = 0; i < count; ++i) all += text.substr(at + 1, end - at - 1);
    at = end + 2 + digits;
  }
  return all;
}

TEST(OriginRecords, AreWrittenAndReadToTheLetter) {
  KxTest_ForRows<std::string, json, std::string, json>(
      "origin/golden.txt", [](const auto& record, const auto& asJson, const auto& xml, const auto& options) {
        json request = options;
        request["record"] = record;
        json written = request, read = request;
        written["json"] = asJson;
        read["xml"] = xml;
        EXPECT_EQ(Converted(written).value("xml", ""), xml);
        EXPECT_EQ(Converted(read).value("json", json()), asJson);
      });
}

TEST(OriginRecords, OfOthersAreReadAsFarAsTheyAreKnown) {
  KxTest_ForRows<std::string, std::string, json>(
      "origin/readings.txt", [](const auto& record, const auto& xml, const auto& expected) {
        const json answer = Converted({{"record", record}, {"xml", Repeated(xml)}});
        EXPECT_EQ(answer.contains("json") ? answer["json"] : answer.value("error", json("no answer")), expected);
        EXPECT_EQ(answer.value("refused", false), expected.is_string());
      });
}

TEST(OriginRecords, OfAnEventAreFoundInIt) {
  const json answer = Converted({{"form", "event"},
                                 {"xml",
                                  "<Event><System/><Data><FileOrigin><Installer installTime='4'/></FileOrigin>"
                                  "<FileOrigin/></Data></Event>"}});
  EXPECT_EQ(answer.at("/json/installer/installTime"_json_pointer), 4);
  EXPECT_TRUE(Converted({{"form", "event"}, {"xml", "<Event/>"}}).at("refused"));
}

/// Each prefix of a record is refused, and nothing of it is read.
TEST(OriginRecords, AreWholeOrNothing) {
  const std::string xml = KxTest_Rows("origin/golden.txt").back().Fields()[2];
  for (size_t size = 0; size < xml.size(); ++size) {
    EXPECT_EQ(Converted({{"record", "KxSrcEmail"}, {"xml", xml.substr(0, size)}}).value("refused", false), true);
  }
}

TEST(OriginRecords, ThatAreNoneAreFaultsOfTheRequest) {
  KxTest_ForRows<json, std::string>("origin/convert_faults.txt", [](const auto& request, const auto& fault) {
    const SkxToolRun run = KxTest_RunTool({"origin", "convert"}, request.dump() + "\n");
    EXPECT_EQ(json::parse(run.out), (json{{"id", nullptr}, {"error", fault}}));
    EXPECT_EQ(run.code, 3);
  });
}

}  // namespace
