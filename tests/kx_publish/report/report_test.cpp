// A report tells all that policies say, and of what it cannot tell that it is there; no text ends its page; what it
// keeps of a stream does not grow with it.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/document_out.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/report/report_decisions.h"
#include "Agent/engine/kx_publish/report/report_page.h"
#include "Agent/engine/kx_publish/report/report_policies.h"
#include "Agent/engine/kx_publish/report/report_words.h"
#include "tests/support/workstation_image.h"

namespace {

using Json = nlohmann::ordered_json;

SkxPublication EveryKind() {
  std::ifstream file("tests/data/every-kind.json", std::ios::binary);
  const SkxDocumentText document = {"every-kind.json", std::string(std::istreambuf_iterator<char>(file), {})};
  SkxPublication publication;
  SkxDocumentError error;
  EXPECT_TRUE(KxPolicyDocument_Read({&document, 1}, publication, error)) << error.Text();
  return publication;
}

Json ReportOf(const SkxPublication& publication) {
  const SkxPolicyImage image = KxEncode_Image(publication);
  return KxReport_Policies("test", image, CkxAuthorNames(publication), KxLint_Image(image));
}

TEST(Report, ConditionsReadAsPeopleSayThem) {
  struct Case {
    const char* json;
    const char* lines;  ///< "Label=text", one a line
  };
  const Case cases[] = {
      {R"({"type":"executable","fileName":"setup*.exe"})", "File name=setup*.exe\n"},
      {R"({"fileName":{"pattern":"a|b","compareAs":"regExp"}})", "File name=matches a|b\n"},
      {R"({"arguments":{"pattern":"/q","caseSensitive":true,"compareAs":"contains"}})",
       "Arguments=contains /q, case counts\n"},
      {R"({"url":{"pattern":"x","compareAs":77}})", "Url=compared by 77 with x\n"},
      {R"({"url":{"pattern":""}, "arguments":""})", "Url=(empty)\nArguments=(empty)\n"},
      {R"({"location":{"pattern":"C:\\A","withSubfolders":true,"types":["FIXED","CDROM"]}})",
       "Location=C:\\A, and below, types FIXED; CDROM\n"},
      {R"({"fileVersion":{"min":"1.0"},"productVersion":{"max":"2.0"},"versions":{"min":"1","max":"2"},"v":{"min":"1","max":"1"}})",
       "File version=1.0 or later\nProduct version=up to 2.0\nVersions=from 1 to 2\nV=1\n"},
      {R"({"hash":{"algorithm":"SHA1","hex":"00FF"},"fileSize":10})", "Hash=SHA1 00FF\nFile size=10\n"},
      {R"({"publishers":["A"],"owners":["S-1-5-18",null]})", "Publishers=A\nOwners=any of S-1-5-18; anything\n"},
      {R"({"publishers":[{"unsignedOnly":true},{"pattern":"B","caseSensitive":true}]})",
       "Publishers=any of unsigned only; B, case counts\n"},
      {R"({"versionFields":[{"field":"CompanyName","pattern":"V*"},{"field":"X","pattern":"y","compareAs":"startsWith"}]})",
       "Version fields=all of CompanyName: V*; X: starts with y\n"},
      {R"({"capabilities":["net",{"name":"webcam","required":false}]})",
       "Capabilities=all of net; webcam, required: no\n"},
      {R"({"media":[{"vendor":"H","serialNumber":"1*"},{}]})", "Media=any of vendor H, serial number 1*; anything\n"},
      {R"({"media":[]})", "Media=anything\n"},
      {R"({"origin":{"mainSourceType":"Internet","package":{"name":"P","publishers":["Q"]}},"parentProcess":{}})",
       "Origin, main source type=Internet\nOrigin, package, name=P\nOrigin, package, publishers=Q\n"
       "Parent process=anything\n"},
      {R"({"inheritable":true,"embedded":false,"someKeyOfTomorrow":[1,2]})",
       "Inheritable=yes\nEmbedded=no\nSome key of tomorrow=1; 2\n"},
      {R"({"fileName":"evil\u202Egpj.exe\n"})", "File name=evil<U+202E>gpj.exe<U+000A>\n"},
  };
  for (const Case& each : cases) {
    std::string lines;
    for (const SkxReportLine& line : KxReport_Lines(Json::parse(each.json), {"type"})) {
      lines += line.label + "=" + line.text + "\n";
    }
    EXPECT_EQ(lines, each.lines) << each.json;
  }
}

/// Whatever a document of the policy would say stands somewhere in what is shown.
void ExpectTold(const Json& said, const std::string& key, const std::string& shown) {
  if (said.is_structured()) {
    for (const auto& [inner, value] : said.items()) ExpectTold(value, said.is_object() ? inner : key, shown);
  } else if (key != "compareAs" && key != "type" && key != "action" && !said.is_boolean() && !said.is_null()) {
    const std::string text = said.is_string() ? said.get<std::string>() : said.dump();
    EXPECT_TRUE(text.empty() || shown.find(Json(text).dump().substr(1, text.size())) != std::string::npos)
        << key << ": " << text << " in " << shown;
  }
}

TEST(Report, TellsAllThatPoliciesSay) {
  const SkxPublication publication = EveryKind();
  const Json report = ReportOf(publication);
  ASSERT_EQ(report["policies"].size(), publication.policies.size());
  ASSERT_EQ(report["groups"].size(), publication.groups.size());
  ASSERT_EQ(report["alerts"].size(), publication.alerts.size());
  SkxDocumentNames names;
  for (const SkxAppGroupModel& group : publication.groups) names.groups.Add({group.name, group.id});
  for (size_t i = 0; i < publication.policies.size(); ++i) {
    Json said = CkxDocumentOut::WriteWhole(publication.policies[i], names);
    said.erase("order");
    const Json& shown = report["policies"][i];
    EXPECT_FALSE(shown.contains("why")) << shown["why"];
    EXPECT_EQ(shown["targets"].size(), publication.policies[i].targets.size());
    for (size_t t = 0; t < publication.policies[i].targets.size(); ++t) said["targets"][t].erase("id");
    ExpectTold(said, "", shown.dump());
  }
  EXPECT_EQ(report["groups"][1]["name"], "H");
  EXPECT_EQ(report["groups"][1]["targets"][0]["group"], "G");
}

TEST(Report, SaysWhoDecidesAndForWhom) {
  SkxPublication publication = KxTest_Workstation();
  publication.applicable["S-1-5-19"] = {0, 2};
  const Json report = ReportOf(publication);
  std::map<int, bool> decides;
  for (const Json& policy : report["policies"]) decides[policy["id"].get<int>()] = policy["decides"].get<bool>();
  EXPECT_TRUE(decides[1] && decides[2]);                    // an exclusion and an elevation
  EXPECT_FALSE(decides[41] || decides[46] || decides[47]);  // access, the agent's own, inactive
  for (const Json& row : report["users"]) EXPECT_EQ(row["policies"].empty(), row["user"] == "S-1-5-19") << row;
  EXPECT_EQ(report["users"].size(), publication.applicable.size());

  SkxPublication one;
  one.policies.push_back(EveryKind().policies.front());
  one.policies.front().action = EkxPolicyAction::Exclude;
  one.policies.front().targets.clear();
  for (const uint16_t excludeType : {uint16_t{0}, uint16_t{1}}) {
    one.policies.front().params = SkxExcludeParams{excludeType};
    EXPECT_EQ(ReportOf(one)["policies"][0]["decides"], excludeType == 0) << "from something else than policies";
  }
  one.policies.front().params = SkxZeroTouchParams{};
  one.policies.front().action = EkxPolicyAction::RunAndCollectEvents;
  EXPECT_EQ(ReportOf(one)["policies"][0]["everything"], true);
}

TEST(Report, WhatCannotBeSaidIsThereWithTheReason) {
  SkxPublication publication = EveryKind();
  publication.policies[0].name = {0xD800};
  publication.groups[0].targets = {{GUID{}, SkxUrlTarget{SkxTextTest{{0xDC00}, false, 1}}}};
  Json report = ReportOf(publication);
  EXPECT_EQ(report["policies"][0]["id"], 1);
  EXPECT_NE(report["policies"][0]["why"].get<std::string>().find("UTF-16"), std::string::npos);
  EXPECT_NE(report["groups"][0]["why"].get<std::string>().find("UTF-16"), std::string::npos);
  EXPECT_FALSE(report["policies"][1].contains("why"));

  // A byte that is wrong, anywhere: each record that is framed keeps its place.
  const SkxPolicyImage whole = KxEncode_Image(EveryKind());
  size_t damaged = 0;
  for (size_t at = 4; at < whole.policies->size(); at += 97) {
    SkxPolicyImage image = whole;
    (*image.policies)[at] ^= 0x81;
    const std::vector<SkxFinding> findings = KxLint_Image(image);
    report = KxReport_Policies("", image, {}, findings);
    size_t reasons = 0;
    for (const Json& policy : report["policies"]) {
      EXPECT_NE(policy.contains("why"), policy.contains("targets")) << policy;
      reasons += size_t{policy.contains("why")};
    }
    const bool isWhole = report["policies"].size() == publication.policies.size();
    EXPECT_TRUE(isWhole || !report["findings"].empty()) << at;
    damaged += reasons;
    EXPECT_FALSE(KxReport_Page(report).empty());
  }
  EXPECT_GT(damaged, 5u);
}

/// What stands between `begin` and the next `end`.
std::string Between(const std::string& text, const std::string& begin, const std::string& end) {
  const size_t at = text.find(begin);
  return at == text.npos ? "" : text.substr(at + begin.size(), text.find(end, at) - at - begin.size());
}

TEST(Report, NoTextEndsItsPlaceInThePage) {
  Json data = {{"title", "plain"}};
  const std::string plain = KxReport_Page(data);
  const std::string kData = "<script type=\"application/json\" id=\"data\">";
  for (const std::string text :
       {"</script><script>alert(1)</script>", "<!--<script>", "]]>", "&lt;", "{{script}}{{data}}{{style}}",
        "\xE2\x80\xA8\xE2\x80\xA9", "\\u003c\\\"\"", "\x01\x7F\n", "caf\xC3\xA9 \xF0\x9F\x98\x80"}) {
    data["title"] = text;
    data[text] = {text};
    const std::string page = KxReport_Page(data);
    const std::string embedded = Between(page, kData, "</script>");
    EXPECT_EQ(Json::parse(embedded), data) << text;
    EXPECT_EQ(embedded.find_first_of("<>&"), embedded.npos) << text;
    EXPECT_EQ(embedded.find("\xE2\x80\xA8"), embedded.npos) << text;
    const size_t at = page.find(kData) + kData.size();  // all else is as it was
    EXPECT_EQ(page.substr(0, at) + page.substr(at + embedded.size()),
              plain.substr(0, at) + plain.substr(at + Between(plain, kData, "</script>").size()));
    data.erase(text);
  }
  EXPECT_EQ(plain.find("{{"), plain.npos);
  for (const char* const forbidden : {"http:", "https:", "innerHTML", "eval(", " src=", "url(", "@import"}) {
    EXPECT_EQ(plain.find(forbidden), plain.npos) << forbidden;
  }
}

TEST(Report, SampleDoesNotGrowWithTheStream) {
  CkxReportDecisions decisions("stream");
  constexpr uint64_t kTargets = 5600;
  for (uint64_t i = 0; i < kTargets; ++i) {
    const std::string name = std::to_string(i) + std::string(i % 50 == 0 ? 1500 : 15, i % 500 == 0 ? '\x01' : 'x');
    decisions.Add({name, "C:\\a.exe", "", ""}, {uint32_t{1}, "Block", ""});
  }
  for (int i = 0; i < 10; ++i)
    decisions.Add({"late", "C:\\" + std::to_string(i % 5), "", ""}, {uint32_t{2}, "Run", ""});
  for (int i = 0; i < 7; ++i) decisions.Add({"late", "", "", ""}, {std::nullopt, "", "fault"});
  for (int i = 0; i < 8; ++i) decisions.Add({"late", "", "", ""}, {std::nullopt, "", ""});
  for (size_t i = 0; i < 1000; ++i) decisions.AddUnusable(i, std::string(100000, 'w'));
  const Json json = decisions.ToJson();
  EXPECT_EQ(json["targets"], kTargets + 25);
  EXPECT_EQ(json["decided"], kTargets + 10);
  EXPECT_EQ(json["unanswered"], 7);
  EXPECT_EQ(json["undecided"], 8);
  EXPECT_EQ(json["unusable"], 1000);
  EXPECT_EQ(json["byPolicy"], Json::parse("[[1,5600],[2,10]]"));
  EXPECT_LT(json.dump().size(), 10u << 20);

  std::map<std::string, uint64_t> counts;  // by the decision
  uint64_t sampled = 0;
  for (const Json& target : json["sample"]) {
    counts[target[4].dump() + target[6].get<std::string>()] += target[7].get<uint64_t>();
    sampled += target[7].get<uint64_t>();
  }
  EXPECT_EQ(json["sample"].size(), CkxReportDecisions::kSampled + CkxReportDecisions::kSampledOfEach + 2);
  EXPECT_EQ(counts, (std::map<std::string, uint64_t>{{"1", 5000}, {"2", 6}, {"nullfault", 7}, {"null", 8}}));
  EXPECT_EQ(sampled + json["leftOut"].get<uint64_t>(), json["targets"].get<uint64_t>());
  EXPECT_FALSE(KxReport_Page(json).empty());
}

TEST(Report, TargetsAreShownByWhatTheyAreKnownBy) {
  struct Case {
    const char* document;
    const char* shown;  ///< name|path|command line|user
  };
  const Case cases[] = {
      {R"({"kind":"file","path":"C:\\a"})", "|C:\\a||"},
      {R"({"id":"x","kind":"process","path":"C:\\a","commandLine":"a /q","user":{"sid":"S-1-5-18"}})",
       "x|C:\\a|a /q|S-1-5-18"},
      {R"({"id":{"n":1},"kind":"elevator","request":{"kind":2,"url":"https://e/"}})", "{\"n\":1}|https://e/||"},
      {R"({"id":null,"kind":"activex","classId":"{C}"})", "|{C}||"},
  };
  for (const Case& each : cases) {
    const SkxReportedTarget shown = KxReport_Target(nlohmann::json::parse(each.document));
    EXPECT_EQ(shown.name + "|" + shown.path + "|" + shown.commandLine + "|" + shown.user, each.shown);
  }
}

}  // namespace
