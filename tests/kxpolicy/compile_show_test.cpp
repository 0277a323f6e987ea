#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/kxpolicy/hand_made_image.h"
#include "tests/kxpolicy/run_tool.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

/// Documents and images side by side in one folder.
class Workplace {
 public:
  std::string At(const std::string& name) const { return KxTest_PathText(_folder.Path() / name); }
  std::string Write(const std::string& name, const std::string& text) const {
    _folder.Write(name, text);
    return At(name);
  }
  std::string Image(const std::string& name, const KxBytes& policies, const KxBytes& groups = {},
                    const KxBytes& alerts = {}) const {
    std::filesystem::create_directory(_folder.Path() / name);
    _folder.Write(std::filesystem::path(name) / "policies.sec", KxTest_Text(policies));
    if (!groups.empty()) _folder.Write(std::filesystem::path(name) / "appgroups.sec", KxTest_Text(groups));
    if (!alerts.empty()) _folder.Write(std::filesystem::path(name) / "alerts.sec", KxTest_Text(alerts));
    return At(name);
  }
  /// The bytes of all files of an image.
  std::string Contents(const std::string& image) const {
    std::string all;
    for (const char* const file : {"policies.sec", "appgroups.sec", "alerts.sec", "applicable.json"}) {
      all += std::string(file) + ":" + _folder.Read(std::filesystem::path(image) / file) + "\n";
    }
    return all;
  }
  bool Has(const std::string& name) const { return std::filesystem::exists(_folder.Path() / name); }
  size_t Count() const { return _folder.Count(); }

 private:
  const CkxTempFolder _folder;
};

constexpr const char* kPolicies = R"({
  // games, at work
  "policies": [
    {"id": 1, "name": "No games", "action": "block", "targets": [{"type": "applicationGroup", "group": "Games"}],
     "alerts": [{"trigger": 5, "id": "Why not"}, {"trigger": 6, "type": 7, "id": "{00000009-0000-0000-0000-000000000009}"}]},
    {"id": 2, "name": "Setup", "action": "elevate",
     "targets": [{"type": "executable", "fileName": "setup*", "parentProcess": {"includedGroup": "Shells"}}]},
    {"id": 3, "name": "Rest", "action": "run"}
  ],
  "applicable": {"*": [1, 2, 3], "S-1-5-18": [3]}
})";
constexpr const char* kGroups = R"({"applicationGroups": [
  {"name": "Games", "targets": [{"type": "executable", "fileName": "solitaire*.exe"}]},
  {"name": "Shells", "targets": [{"type": "executable", "fileName": "explorer.exe"}]},
  {"name": "Unused", "targets": [{"type": "url", "url": "https://*"}]}
], "alerts": [
  {"name": "Why not", "type": "dialog", "dialogType": 3, "htmlPath": "why.html"},
  {"name": "By the way", "type": "balloon"},
  {"name": "Unused", "type": "dialog"}
]})";

TEST(Compile, MergesDocumentsIntoAnImageThatDecides) {
  const Workplace work;
  const std::string image = work.At("image");
  const SkxToolRun compiled =
      KxTest_RunTool({"compile", work.Write("policies.jsonc", kPolicies), "-", "-o", image}, kGroups);
  EXPECT_EQ(compiled.out, image + ": 3 policies, 3 application groups, 3 alerts\n");
  EXPECT_EQ(compiled.err, "");
  EXPECT_EQ(compiled.code, 0);

  const std::string shell = R"("kind":"process","path":"C:\\Windows\\explorer.exe")";
  const SkxToolRun answers =
      KxTest_RunTool({"eval", image, "--targets", "-", "--format", "json"},
                     R"({"kind":"file","path":"C:\\Solitaire2.exe"})"
                     "\n"
                     R"({"kind":"process","path":"C:\\setup.exe","parent":{)" +
                         shell +
                         "}}\n"
                         R"({"kind":"process","path":"C:\\setup.exe"})"
                         "\n"
                         R"({"kind":"file","path":"C:\\Solitaire2.exe","user":{"sid":"S-1-5-18"}})"
                         "\n");
  EXPECT_THAT(answers.out, AllOf(HasSubstr("\"policyId\":1,"), HasSubstr("\"policyId\":2,")));
  const std::string decided = work.Contents("image");

  EXPECT_EQ(
      KxTest_RunTool({"compile", work.At("policies.jsonc"), work.Write("groups.jsonc", kGroups), "-o", image}).code, 0);
  EXPECT_EQ(work.Contents("image"), decided) << "the same documents, over the image that is there";
  EXPECT_EQ(work.Count(), 3u) << "nothing else is left beside it";
}

TEST(Compile, NamesThePlaceOfAFault) {
  const Workplace work;
  const std::string first = work.Write("first.jsonc", R"({"policies": [{"id": 1, "name": "A", "action": "run"}]})");
  const std::string faulty = work.At("faulty.jsonc");
  const struct {
    const char* name;
    const char* text;
    std::string err;
  } kCases[] = {
      {"a policy id of another document", R"({"policies": [{"id": 1, "name": "B", "action": "block"}]})",
       faulty + ": /policies/0/id: the id is taken by " + first + "#/policies/0"},
      {"an unknown key", R"({"policies": [{"id": 2, "name": "B", "action": "run", "actoin": 1}]})",
       faulty + ": /policies/0/actoin: "},
      {"a group that is nowhere",
       R"({"policies": [{"id": 2, "name": "B", "action": "run", "targets": [{"type": "applicationGroup", "group": "G"}]}]})",
       faulty + ": /policies/0/targets/0/group: "},
      {"no JSON", "{\n  \"policies\": [,]\n}", faulty + ": line 2, column 16: "},
      {"empty", "", faulty + ": "},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    work.Write("faulty.jsonc", test.text);
    const SkxToolRun run = KxTest_RunTool({"compile", first, faulty, "-o", work.At("image")});
    EXPECT_THAT(run.err, StartsWith(test.err));
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
    EXPECT_EQ(run.code, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_FALSE(work.Has("image"));
  }
  const SkxToolRun none = KxTest_RunTool({"compile", first, work.At("none.jsonc"), "-o", work.At("image")});
  EXPECT_EQ(none.code, 3);
  EXPECT_THAT(none.err, HasSubstr("none.jsonc"));
  EXPECT_FALSE(work.Has("image"));
}

TEST(Compile, LeavesWhatItCannotReplace) {
  const Workplace work;
  const std::string document = work.Write("a.jsonc", R"({"policies": [{"id": 1, "name": "A", "action": "run"}]})");
  const std::string image = work.Image("image", KxTest_Section({}));
  work.Write("image/notes.txt", "mine");
  for (const std::string& folder : {image, document, document + "/image"}) {
    SCOPED_TRACE(folder);
    const SkxToolRun run = KxTest_RunTool({"compile", document, "-o", folder});
    EXPECT_EQ(run.code, 4);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
  }
  EXPECT_TRUE(work.Has("image/notes.txt"));
  EXPECT_EQ(work.Count(), 2u);
}

TEST(Show, WritesADocumentThatCompilesBack) {
  const Workplace work;
  ASSERT_EQ(KxTest_RunTool(
                {"compile", work.Write("p.jsonc", kPolicies), work.Write("g.jsonc", kGroups), "-o", work.At("image")})
                .code,
            0);
  const SkxToolRun shown = KxTest_RunTool({"show", work.At("image"), "--format", "json"});
  EXPECT_EQ(shown.code, 0);
  EXPECT_EQ(shown.err, "");
  ASSERT_EQ(KxTest_RunTool({"compile", "-", "-o", work.At("again")}, shown.out).code, 0);
  EXPECT_EQ(work.Contents("again"), work.Contents("image"));

  // One policy, with the groups and alerts that it names; it compiles on its own.
  const struct {
    const char* policy;
    size_t groups;
    size_t alerts;
    const char* applicable;
  } kCases[] = {{"1", 1, 1, R"({"*":[1],"S-1-5-18":[]})"},
                {"2", 1, 0, R"({"*":[2],"S-1-5-18":[]})"},
                {"3", 0, 0, R"({"*":[3],"S-1-5-18":[3]})"}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.policy);
    const SkxToolRun one = KxTest_RunTool({"show", work.At("image"), "--format", "json", "--policy", test.policy});
    EXPECT_EQ(one.code, 0);
    const json document = json::parse(one.out);
    ASSERT_EQ(document["policies"].size(), 1u);
    EXPECT_EQ(document["policies"][0]["id"].dump(), test.policy);
    EXPECT_EQ(document.value("applicationGroups", json::array()).size(), test.groups);
    EXPECT_EQ(document.value("alerts", json::array()).size(), test.alerts);
    EXPECT_EQ(document["applicable"].dump(), test.applicable);
    EXPECT_EQ(KxTest_RunTool({"compile", "-", "-o", work.At("one")}, one.out).code, 0);
  }
}

TEST(Show, FollowsGroupsThatNameGroups) {
  const Workplace work;
  const std::string image = work.Image(
      "image", KxTest_Section({KxTest_PolicyHead(1, 1, u"P").U8(0).U32(1).Append(KxTest_GroupLink(9, 1)).Bytes()}),
      KxTest_Section({KxTest_AppGroup(3, KxTest_NamedFile(8, u"a")), KxTest_AppGroup(2, KxTest_GroupLink(7, 3)),
                      KxTest_AppGroup(4, KxTest_GroupLink(6, 1)), KxTest_AppGroup(1, KxTest_GroupLink(5, 2))}));
  const SkxToolRun run = KxTest_RunTool({"show", image, "--format", "json", "--policy", "1"});
  ASSERT_EQ(run.code, 0) << run.err;
  const json document = json::parse(run.out);
  std::string ids;
  for (const json& group : document["applicationGroups"]) ids += group["id"].get<std::string>().substr(8, 1);
  EXPECT_EQ(ids, "321");
}

CkxRecordBytes Alert(unsigned char id, unsigned type) {
  return CkxRecordBytes().U32(0x22232428).SizeHere().U16(type).U16(0).Id(id);
}
CkxRecordBytes Dialog(unsigned char id) { return Alert(id, 1).U32(3).Text(u"why.html"); }
CkxRecordBytes Balloon(unsigned char id) { return Alert(id, 2); }

TEST(Show, PrintsTheLibrarysText) {
  const Workplace work;
  const std::string image = work.Image("image", KxTest_Section({KxTest_Policy(5, 2, u"Block tools", u"tool.exe")}),
                                       KxTest_Section({KxTest_AppGroup(3, KxTest_GroupLink(7, 3))}),
                                       KxTest_Section({Dialog(8).Bytes(), Balloon(9).Bytes()}));
  const SkxToolRun run = KxTest_RunTool({"show", image});
  EXPECT_EQ(
      run.out,
      "== policy 5, action 2, byte 4\n"
      "Policy id:\t5\nName:\tBlock tools\nOrder:\t0x5\nImplicit:\tNo\nGpId:\t\nKxGpoId:\t\nAction:\t2\nActive:\tYes\n"
      "GUI Type:\t0\nReportUsageState:\t0\nNo alerts\nPolicyAutomation Enabled: No\n\n1 targets\n\n"
      "  Target: EXE. Inheritable=No\n    Filename: is like tool.exe\n    Users: \n"
      "\n== application group {00000003-0000-0000-0000-000000000003}, byte 4\n\n"
      "  Target: AppGroupLink. GUID={00000003-0000-0000-0000-000000000003}\n"
      "\n== alert {00000008-0000-0000-0000-000000000008}, type 1, byte 4\n"
      "Alert id:\t{00000008-0000-0000-0000-000000000008}\nType:\t1\nDialog type:\t3\nHTML path:\twhy.html\n"
      "\n== alert {00000009-0000-0000-0000-000000000009}, type 2, byte 58\n"
      "Alert id:\t{00000009-0000-0000-0000-000000000009}\nType:\t2\n");
  EXPECT_EQ(run.code, 0);

  const SkxToolRun one = KxTest_RunTool({"show", image, "--policy", "5"});
  EXPECT_EQ(one.out, run.out.substr(0, run.out.find("\n== application")));
  const SkxToolRun none = KxTest_RunTool({"show", image, "--policy", "6"});
  EXPECT_EQ(none.code, 3);
  EXPECT_EQ(none.err, "kxpolicy: " + image + "/policies.sec: has no policy 6\n");
}

TEST(Show, ShowsWhatCanBeReadOfADamagedImage) {
  const KxBytes good = KxTest_Policy(1, 1, u"Good", u"*");
  const KxBytes listless = KxTest_PolicyHead(2, 3, u"No list").Bytes();
  const KxBytes unknown = KxTest_PolicyHead(3, 99, u"No kind").Bytes();
  const KxBytes nameless = KxTest_PolicyHead(4, 1, u"").U8(0).U32(0).Bytes();
  const KxBytes group = KxTest_AppGroup(3, KxTest_NamedFile(1, u"a"));
  const KxBytes dialog = Dialog(8).Bytes();
  KxBytes cut = KxTest_Section({good, good});
  cut.pop_back();
  const std::string second = "byte " + std::to_string(4 + good.size());
  const std::string pastDialog = "byte " + std::to_string(4 + dialog.size());
  const struct {
    const char* name;
    KxBytes policies;
    KxBytes groups;
    KxBytes alerts;
    std::vector<std::string> shown;
    std::string textErr;  // of the text form; empty: it says all in its output
    std::string jsonErr;
  } kCases[] = {
      {"the second record is cut",
       cut,
       KxTest_Section({group}),
       {},
       {"== policy 1, ", "== application group "},
       "/policies.sec: " + second + ": ERROR: Policy is out of buffer",
       "/policies.sec: " + second + ": ERROR: Policy is out of buffer"},
      {"bytes that are no header",
       KxTest_Section({good, KxBytes(40)}),
       {},
       {},
       {"== policy 1, "},
       "/policies.sec: " + second + ": ERROR: Error in policy header signature.",
       "/policies.sec: " + second + ": ERROR: Error in policy header signature."},
      {"a group is cut",
       KxTest_Section({good}),
       KxTest_Section({group, KxBytes(3)}),
       {},
       {"== policy 1, ", "== application group "},
       "/appgroups.sec: byte " + std::to_string(4 + group.size()) + ": ERROR: AppGroup header is out of buffer",
       "/appgroups.sec: byte " + std::to_string(4 + group.size()) + ": ERROR: AppGroup header is out of buffer"},
      {"no count",
       KxBytes(3),
       {},
       {},
       {},
       "/policies.sec: byte 0: is too short for the count of its records",
       "/policies.sec: byte 0: is too short for the count of its records"},
      {"a record that does not parse",
       KxTest_Section({good, listless}),
       {},
       {},
       {"== policy 1, ", "== policy 2, action 3, " + second + ": does not parse\n"},
       "",
       "/policies.sec: " + second + ": policy 2, action 3 does not parse"},
      {"a kind that nobody knows",
       KxTest_Section({good, unknown}),
       {},
       {},
       {"== policy 3, action 99, " + second + ": does not parse\n"},
       "",
       "/policies.sec: " + second + ": policy 3, action 99 does not parse"},
      {"an alert of a third type",
       KxTest_Section({good}),
       {},
       KxTest_Section({dialog, Alert(9, 3).Bytes()}),
       {"== policy 1, ",
        "== alert {00000009-0000-0000-0000-000000000009}, type 3, " + pastDialog + ": does not parse\n"},
       "",
       "/alerts.sec: " + pastDialog + ": alert {00000009-0000-0000-0000-000000000009}, type 3 does not parse"},
      {"an alert is cut",
       KxTest_Section({good}),
       {},
       KxTest_Section({dialog, KxBytes(27)}),
       {"== policy 1, ", "== alert {00000008-0000-0000-0000-000000000008}, type 1, byte 4\n"},
       "/alerts.sec: " + pastDialog + ": ERROR: Alert header is out of buffer",
       "/alerts.sec: " + pastDialog + ": ERROR: Alert header is out of buffer"},
      {"a policy that no document can say",
       KxTest_Section({good, nameless}),
       {},
       {},
       {"== policy 1, ", "== policy 4, action 1, " + second + "\nPolicy id:\t4\n"},
       "",
       "/policies.sec: " + second + ": policy 4, action 1: no document can say it: /name: must not be empty"},
  };
  const Workplace work;
  int number = 0;
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    const std::string image = work.Image("image" + std::to_string(number++), test.policies, test.groups, test.alerts);
    const SkxToolRun text = KxTest_RunTool({"show", image});
    for (const std::string& part : test.shown) EXPECT_THAT(text.out, HasSubstr(part));
    EXPECT_EQ(text.err, test.textErr.empty() ? "" : "kxpolicy: " + image + test.textErr + "\n");
    EXPECT_EQ(text.code, test.textErr.empty() ? 0 : 3);

    const SkxToolRun document = KxTest_RunTool({"show", image, "--format", "json"});
    EXPECT_EQ(document.err, "kxpolicy: " + image + test.jsonErr + "\n");
    EXPECT_EQ(document.code, 3);
    EXPECT_EQ(json::parse(document.out)["policies"].size(), test.shown.empty() ? 0u : 1u);
    EXPECT_EQ(KxTest_RunTool({"compile", "-", "-o", work.At("again")}, document.out).code, 0) << document.out;
  }
  const SkxToolRun none = KxTest_RunTool({"show", work.At("none")});
  EXPECT_EQ(none.code, 3);
  EXPECT_THAT(none.err, HasSubstr("none"));
}

}  // namespace
