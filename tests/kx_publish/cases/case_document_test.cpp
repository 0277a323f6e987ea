#include "Agent/engine/kx_publish/cases/case_document.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/cases/cases_schema.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "tests/kx_publish/written_docs.h"

namespace {

using nlohmann::json;

std::vector<SkxCase> CasesOf(const std::string& cases) {
  return KxCaseDocument_Read(KxJson_Parse("{\"cases\": " + cases + "}", true));
}

std::string CaseFaultOf(const std::string& document) {
  try {
    KxCaseDocument_Read(KxJson_Parse(document, true));
    return "none";
  } catch (const CkxDocumentFault& fault) {
    return fault.Line();
  }
}

TEST(CaseDocument, NamesThePlaceOfWhatIsWrong) {
  const struct {
    std::string document;
    const char* fault;  ///< its beginning
  } faults[] = {
      {"[]", "must be an object"},
      {"{}", "\"cases\" is missing"},
      {R"({"cases": []})", "/cases: must be an array with elements"},
      {R"({"cases": {}})", "/cases: must be an array with elements"},
      {R"({"cases": [1]})", "/cases/0: must be an object"},
      {R"({"cases": [{"target": {"kind": "file"}, "expect": "none"}], "policies": []})", "/policies: unknown key"},
      {R"({"cases": [{"expect": "none"}]})", R"(/cases/0: must have "target" or "events")"},
      {R"({"cases": [{"target": {"kind": "file"}, "events": "a", "expect": "none"}]})", "/cases/0: must have"},
      {R"({"cases": [{"target": {"kind": "file"}}]})", R"(/cases/0: "expect" or "expectNot" is missing)"},
      {R"({"cases": [{"target": {"kind": "file"}, "expect": "none", "name": 1}]})", "/cases/0/name: must be a text"},
      {R"({"cases": [{"target": {"kind": "file"}, "expect": "none", "where": {}}]})", "/cases/0/where: unknown key"},
      {R"({"cases": [{"target": {"kind": "file"}, "expect": "none", "nam": ""}]})", "/cases/0/nam: unknown key"},
      {R"({"cases": [{"target": {"kind": "fil"}, "expect": "none"}]})", "/cases/0/target/kind: \"fil\" is not"},
      {R"({"cases": [{"target": {}, "expect": "none"}]})", "/cases/0/target: \"kind\" is missing"},
      // Of a row it is told where it was written.
      {R"({"cases": [{"target": {"kind": "file"}, "rows": [{"size": -1}], "expect": "none"}]})",
       "/cases/0/rows/0/size: must not be negative"},
      {R"({"cases": [{"target": {"kind": "file", "size": -1}, "rows": [{}], "expect": "none"}]})",
       "/cases/0/target/size: must not be negative"},
      {R"({"cases": [{"target": {"path": "a"}, "rows": [{"size": 1}], "expect": "none"}]})",
       "/cases/0/rows/0: \"kind\" is missing"},
      {R"({"cases": [{"target": {"kind": "file"}, "rows": [], "expect": "none"}]})", "/cases/0/rows: must be an array"},
      {R"({"cases": [{"target": {"kind": "file"}, "rows": [null], "expect": "none"}]})", "/cases/0/rows/0: must be an"},
      {R"({"cases": [{"target": [], "rows": [{}], "expect": "none"}]})", "/cases/0/target: must be an object"},
      // Expectations.
      {R"({"cases": [{"target": {"kind": "file"}, "expect": "blok"}]})",
       R"(/cases/0/expect: must be an object, "none", "run", "block", "elevate")"},
      {R"({"cases": [{"target": {"kind": "file"}, "expect": "configuration"}]})", "/cases/0/expect: must be an object"},
      {R"({"cases": [{"target": {"kind": "file"}, "expect": {}}]})", "/cases/0/expect: says nothing"},
      {R"({"cases": [{"target": {"kind": "file"}, "expect": {"action": "none"}}]})", "/cases/0/expect/action: must be"},
      {R"({"cases": [{"target": {"kind": "file"}, "expectNot": {"policy": -1}}]})",
       "/cases/0/expectNot/policy: must be"},
      {R"({"cases": [{"target": {"kind": "file"}, "expectNot": {"polcy": 1}}]})", "/cases/0/expectNot/polcy: unknown"},
      {R"({"cases": [{"target": {"kind": "file"}, "expect": true}]})", "/cases/0/expect: must be an object"},
      // Events.
      {R"({"cases": [{"events": "", "expect": "none"}]})", "/cases/0/events: must name a file"},
      {R"({"cases": [{"events": "a", "where": [], "expect": "none"}]})", "/cases/0/where: must be an object"},
      {R"({"cases": [{"events": "a", "where": {}, "expect": "none"}]})", "/cases/0/where: must be an object"},
      {R"({"cases": [{"events": "a", "where": {"pth": "a"}, "expect": "none"}]})", "/cases/0/where/pth: unknown key"},
      {R"({"cases": [{"events": "a", "where": {"signers": [{"nam": "a"}]}, "expect": "none"}]})",
       "/cases/0/where/signers/0/nam: unknown key"},
      {R"({"cases": [{"events": "a", "where": {"parent": {"parent": {"drives": {}}}}, "expect": "none"}]})",
       "/cases/0/where/parent/parent/drives: unknown key"},
      {R"({"cases": [{"events": "a", "atLeast": -1, "expect": "none"}]})", "/cases/0/atLeast: must be a whole number"},
  };
  for (const auto& [document, fault] : faults) {
    EXPECT_EQ(CaseFaultOf(document).substr(0, std::string(fault).size()), fault) << document;
  }
}

TEST(CaseDocument, RowsAreTheTargetWithWhatDiffers) {
  const std::vector<SkxCase> cases = CasesOf(R"([{
    "target": {"kind": "file", "path": "C:\\a.exe", "owner": "S-1-5-18", "signers": [{"name": "A"}, {"name": "B"}],
               "versionInfo": {"CompanyName": "A", "ProductName": "P"}},
    "rows": [{}, {"id": "b", "path": "C:\\b.exe", "signers": [{"name": "C"}], "versionInfo": {"CompanyName": "B"}},
             {"owner": null, "versionInfo": {"ProductName": null}}],
    "expect": "none"}])");
  ASSERT_EQ(cases.size(), 1u);
  const auto& rows = cases[0].targets;
  ASSERT_EQ(rows.size(), 3u);
  const struct {
    const char* name;
    bool hasOwner;
    KxWString signer, company, product;
  } expected[] = {
      {"C:\\a.exe", true, KXW("A"), KXW("A"), KXW("P")},
      {"b", true, KXW("C"), KXW("B"), KXW("P")},
      {"C:\\a.exe", false, KXW("A"), KXW("A"), KXW("")},
  };
  for (size_t i = 0; i < rows.size(); ++i) {
    const CkxTargetInfo& target = rows[i].document.Target();
    EXPECT_EQ(rows[i].pointer, "/cases/0/rows/" + std::to_string(i));
    EXPECT_EQ(KxCaseTarget_Name(rows[i].document), expected[i].name);
    EXPECT_EQ(target.QueryOwnerProvider()->GetOwner() != nullptr, expected[i].hasOwner) << i;
    EkxPublisherStatus status;
    EXPECT_EQ(target.QueryPublisherProvider()->GetPublisher(false, status), expected[i].signer) << i;
    const auto& versions = *target.QueryVersionInfoProvider();
    const WCHAR* const product = versions.GetVersionInfo(KXW("ProductName"));
    EXPECT_EQ(versions.GetVersionInfo(KXW("CompanyName")), expected[i].company) << i;
    EXPECT_EQ(product != nullptr ? product : KXW(""), expected[i].product) << i;
  }
}

TEST(TargetFilter, TakesWhatHasTheMembers) {
  const json target = json::parse(R"({
    "kind": "process", "path": "C:\\Users\\ann\\Downloads\\Setup (1).exe", "size": 10, "isTemp": true,
    "signers": [{"name": "Vendor Inc.", "status": 4}, {"name": "Second \u00C9cole", "status": 3}],
    "parent": {"kind": "process", "path": "C:\\Windows\\explorer.exe"}, "drives": {"C": "FIXED"}})");
  const struct {
    const char* where;
    bool taken;
  } cases[] = {
      {R"({"kind": "process"})", true},
      {R"({"kind": "file"})", false},
      {R"({"path": "c:\\users\\ANN\\downloads\\setup (1).exe"})", true},
      {R"({"path": "setup (1).exe"})", false},  // the whole text
      {R"({"path": "*\\setup (?).exe"})", true},
      {R"({"size": 10, "isTemp": true})", true},
      {R"({"size": 11})", false},
      {R"({"size": "10"})", false},
      {R"({"isTemp": false})", false},
      {R"({"signers": [{"name": "vendor*"}]})", true},
      {R"({"signers": [{"name": "second \u00E9cole"}]})", true},
      {R"({"signers": [{"name": "Vendor*", "status": 3}]})", false},  // of one signer, not of two
      {R"({"signers": [{"status": 3}, {"status": 4}]})", true},
      {R"({"signers": [{"status": 5}]})", false},
      {R"({"signers": []})", true},
      {R"({"signers": null})", false},
      {R"({"owner": null})", true},
      {R"({"owner": "*"})", false},
      {R"({"parent": {"path": "*\\EXPLORER.EXE"}})", true},
      {R"({"parent": {"path": "*\\EXPLORER.EXE", "parent": null}})", true},
      {R"({"parent": {"parent": {"kind": "process"}}})", false},
      {R"({"drives": {"C": "FIXED"}})", true},
      {R"({"drives": {"D": "FIXED"}})", false},
  };
  for (const auto& [where, taken] : cases) {
    EXPECT_EQ(CkxTargetFilter(json::parse(where), "").Takes(target), taken) << where;
  }
  EXPECT_TRUE(CkxTargetFilter().Takes(target));
}

TEST(CasesSchema, IsWrittenDownAsItIs) { KxTest_ExpectWritten("docs/cases.schema.json", KxCaseDocument_Schema()); }

/// What the reader takes, the schema knows, and the other way round: each member of a case is asked for.
TEST(CasesSchema, HasTheMembersOfTheReader) {
  const json schema = json::parse(KxCaseDocument_Schema());
  const json* const members = &schema["$defs"]["case"]["properties"];
  ASSERT_GE(members->size(), 8u);
  std::ifstream file("docs/kxpolicy.md");
  const std::string text(std::istreambuf_iterator<char>(file), {});
  for (const auto& [member, unused] : members->items()) {
    json test = {{member, json::object()}};
    EXPECT_EQ(CaseFaultOf(json({{"cases", {test}}}).dump()).find("unknown key"), std::string::npos) << member;
    EXPECT_NE(text.find("`" + member + "`"), std::string::npos) << member << " is not explained";
  }
  for (const json& word : schema["$defs"]["expectation"]["anyOf"][0]["enum"]) {
    const json test = {{"target", {{"kind", "file"}}}, {"expect", word}};
    EXPECT_EQ(CaseFaultOf(json({{"cases", json::array({test})}}).dump()), "none") << word;
  }
}

}  // namespace
