#include <gmock/gmock.h>

#include "tests/kxpolicy/hand_made_image.h"
#include "tests/kxpolicy/run_tool.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct Image {
  KxBytes policies = {};
  KxBytes groups = {};
  KxBytes alerts = {};
  std::string applicable = {};
};

/// Images and documents in one folder; `FOLDER` stands for it in what the command says.
class Workplace {
 public:
  std::string At(const std::string& name) const { return KxTest_PathText(_folder.Path() / name); }
  std::string Write(const std::string& name, const std::string& text) const {
    _folder.Write(name, text);
    return At(name);
  }
  std::string Write(const std::string& name, const Image& image) const {
    std::filesystem::create_directory(_folder.Path() / name);
    const auto put = [&](const char* file, const std::string& content) {
      std::filesystem::remove(_folder.Path() / name / file);
      if (!content.empty()) _folder.Write(std::filesystem::path(name) / file, content);
    };
    put("policies.sec", KxTest_Text(image.policies));
    put("appgroups.sec", KxTest_Text(image.groups));
    put("alerts.sec", KxTest_Text(image.alerts));
    put("applicable.json", image.applicable);
    return At(name);
  }

  /// What the command wrote, the folder's own name left out, as lines.
  std::vector<std::string> Lines(std::string text) const {
    const std::string folder = At("");
    for (size_t at = text.find(folder); at != text.npos; at = text.find(folder)) text.erase(at, folder.size());
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

 private:
  const CkxTempFolder _folder;
};

// ---- images

CkxRecordBytes Head(uint32_t id = 7) { return KxTest_PolicyHead(id, 2, u"P"); }  // 68 bytes, the name at 40

/// A policy with one target, which begins at 73: in its section at 77.
KxBytes With(const CkxRecordBytes& target, uint32_t id = 7) { return Head(id).U8(0).U32(1).Append(target).Bytes(); }

CkxRecordBytes Target(uint32_t type, unsigned char id = 1) {
  return CkxRecordBytes().U32(0x22232427).SizeHere().Id(id).U32(type);
}
CkxRecordBytes Url(std::u16string_view pattern, unsigned mode) {
  return Target(7).Set().Obfuscated(pattern).U8(0).U16(mode);
}
CkxRecordBytes Named(std::u16string_view name) { return CkxRecordBytes().Append(KxTest_NamedFile(1, name)); }
CkxRecordBytes Link(unsigned char group) { return CkxRecordBytes().Append(KxTest_GroupLink(1, group)); }

/// A policy that has one alert link and a target of its own.
KxBytes Alerting(unsigned type, unsigned char alert) {
  CkxRecordBytes record;
  record.U32(0x22232425).SizeHere().U32(2).U32(7).U8(1).Zeros(23);
  record.Obfuscated(u"P").Absent().Absent().U32(0).U32(0).U32(1);
  return record.U32(26).U16(type).U16(0).Id(alert).U8(0).U32(1).Append(Named(u"a")).Bytes();
}
KxBytes Dialog(unsigned char id, unsigned type = 1) {
  return CkxRecordBytes().U32(0x22232428).SizeHere().U16(type).U16(0).Id(id).U32(0).Absent().Bytes();
}

KxBytes Cut(KxBytes bytes, size_t count) {
  bytes.resize(bytes.size() - count);
  return bytes;
}

struct ImageCase {
  const char* name;
  Image image;
  std::vector<std::string> lines;  // but for the image's name, which each finding begins with, and the sum
};

std::vector<ImageCase> ErrorsOfImages() {
  const auto section = [](const KxBytes& record) { return KxTest_Section({record}); };
  const KxBytes good = KxTest_Policy(1, 1, u"Good", u"*");  // 153 bytes
  const std::string p = "/policies.sec: byte ";
  return {
      {"no count", {KxBytes(3)}, {p + "0: error: is too short for the count of its records [framing]"}},
      {"cut", {Cut(KxTest_Section({good, good}), 1)}, {p + "157: error: ERROR: Policy is out of buffer [framing]"}},
      {"bytes that are no header",
       {KxTest_Section({good, KxBytes(40)})},
       {p + "157: error: ERROR: Error in policy header signature. [framing]"}},
      {"a section of groups that ends early",
       {{}, KxTest_Section({KxTest_AppGroup(3, KxTest_NamedFile(1, u"a")), KxBytes(3)})},
       {"/appgroups.sec: byte 106: error: ERROR: AppGroup header is out of buffer [framing]"}},
      {"no list of targets",
       {section(Head().U8(0).Bytes())},
       {p + "73: error: policy 7 \"P\": targets: needs 4 bytes, but 0 bytes are left [record]"}},
      {"an action that is not accepted, and a good one after it",
       {KxTest_Section({KxTest_PolicyHead(7, 16, u"Old\n\"x\"").Bytes(), good})},
       {p + "12: error: policy 7 \"Old<U+000A>\\\"x\\\"\": action: action 16 (Unknown Policy Action) is not accepted "
            "[record]"}},
      {"a name that cannot be read",
       {section(CkxRecordBytes().U32(0x22232425).SizeHere().U32(2).U32(7).Zeros(24).U32(99).Bytes())},
       {p + "44: error: policy 7: name: counts 99 bytes, but 0 bytes are left [record]"}},
      {"a target that is not accepted",
       {section(With(Target(22)))},
       {p + "101: error: policy 7 \"P\": targets/0/type: type 22 (MacPkg) is not accepted [record]"}},
      {"a group that cannot be read, and a policy that links to it",
       {section(With(Link(3))), section(KxTest_AppGroup(3, Target(22).Bytes()))},
       {p + "4: warning: policy 7 \"P\": has no target that anything can match, so it never applies [no-targets]",
        p + "105: warning: policy 7 \"P\": targets/0/group: there is no application group "
            "{00000003-0000-0000-0000-000000000003} [missing-group]",
        "/appgroups.sec: byte 56: error: targets/0/type: type 22 (MacPkg) is not accepted [record]"}},
      {"an alert of no type",
       {{}, {}, section(Dialog(1, 9))},
       {"/alerts.sec: byte 12: error: type: type 9 is not accepted [record]"}},
  };
}

std::vector<ImageCase> WarningsOfImages() {
  const auto section = [](const KxBytes& record) { return KxTest_Section({record}); };
  const std::string p = "/policies.sec: byte ";
  const std::string warning = ": warning: policy 7 \"P\": ";
  const std::string alert1 = "{00000001-0000-0000-0000-000000000001}";
  CkxRecordBytes balloon;
  balloon.U32(0x22232428).SizeHere().U16(2).U16(0).Id(2).Obfuscated(u"text");
  CkxRecordBytes smallSize = Url(u"x", 1);
  KxBytes wrongSize = smallSize.Bytes();
  wrongSize[4] = 30;
  return {
      {"a regular expression",
       {section(With(Url(u"a(b", 5)))},
       {p + "106" + warning + "targets/0/url/pattern: the regular expression does not compile: a ( is not closed, " +
        "at character 2 [regexp]"}},
      {"a compare mode, of a name and of an address",
       {KxTest_Section({With(Url(u"a", 0)), With(Url(u"a", 6), 8)})},
       {p + "115" + warning + "targets/0/url/compareAs: compare mode 0 is none, so nothing matches [compare-mode]",
        p + "228: warning: policy 8 \"P\": targets/0/url/compareAs: compare mode 6 is none, so nothing matches "
            "[compare-mode]"}},
      {"texts without terminators",
       {section(With(Target(16).Unset(2).U32(2).U8('x').U8(0))), {}, {}, {}},
       {p + "107" + warning + "targets/0/users: the text has no terminating NUL [terminator]"}},
      {"an obfuscated text without one",
       {section(With(Target(7).Set().U32(3).U8(0x27).U8(0x46).U8(0x46).U8(0).U16(1)))},
       {p + "106" + warning + "targets/0/url/pattern: the text has no terminating NUL [terminator]"}},
      {"a text beyond the record's end",
       {section(KxTest_PolicyHead(7, 10, u"P").Absent().U32(4).U16(0).Bytes())},
       {p + "76" + warning + "messagesXml: counts 4 bytes, but the record ends after 2 [text-end]"}},
      {"a SID that is none",
       {section(With(Target(6).Unset(2).Set().U32(1).Set().U32(2).U8(1).U8(1).Unset(3)))},
       {p + "113" + warning + "targets/0/owners/0/sid: the bytes are no SID, so nobody is met [sid]"}},
      {"versions the wrong way round",
       {section(With(Target(20).U8(0).Set().U32(2).U32(0).U32(1).U32(9).Unset(3)))},
       {p + "115" + warning +
        "targets/0/packageVersion/max: is below the lowest version, so no version is in the range [version-range]"}},
      {"a target's size",
       {section(With(CkxRecordBytes().Append(wrongSize)))},
       {p + "81" + warning + "targets/0/size: is 30, but the target takes 40 bytes [target-size]"}},
      {"bytes after the last field",
       {section(With(Named(u"a").Zeros(3)))},
       {p + "151" + warning + "3 bytes after the last field [trailing-bytes]"}},
      {"bytes after the last record",
       {CkxRecordBytes().Append(section(With(Named(u"a")))).Zeros(2).Bytes()},
       {p + "151: warning: 2 bytes after the last record [trailing-bytes]"}},
      {"bytes after a balloon's header, which nobody looks at", {{}, {}, section(balloon.Bytes())}, {}},
      {"a parent's group",
       {section(With(Target(6).Unset(4).Set().Id(0).U8(0).Id(4).U8(0).Unset()))},
       {p + "127" + warning + "targets/0/parentProcess/excludedGroup: there is no application group " +
        "{00000004-0000-0000-0000-000000000004} [missing-group]"}},
      {"a group that links to itself",
       {section(With(Link(3))), section(KxTest_AppGroup(3, Link(3).Bytes()))},
       {p + "4" + warning + "its groups nest deeper than 8 [group-nesting]",
        p + "4" + warning + "has no target that anything can match, so it never applies [no-targets]"}},
      {"an alert that is not there",
       {section(Alerting(1, 1)), {}, section(Dialog(2))},
       {p + "80" + warning + "alerts/0/id: there is no alert " + alert1 + " [missing-alert]"}},
      {"an alert of another type",
       {section(Alerting(2, 1)), {}, section(Dialog(1))},
       {p + "80" + warning + "alerts/0/id: the alert " + alert1 + " is of type 1, not 2 [alert-type]"}},
      {"an alert type that is none",
       {section(Alerting(3, 1)), {}, section(Dialog(1))},
       {p + "76" + warning + "alerts/0/type: there is no alert type 3 [alert-type]",
        p + "80" + warning + "alerts/0/id: the alert " + alert1 + " is of type 1, not 3 [alert-type]"}},
      {"one id twice, in each section",
       {KxTest_Section({With(Named(u"a")), With(Named(u"b"))}),
        KxTest_Section({KxTest_AppGroup(3, KxTest_NamedFile(1, u"a")), KxTest_AppGroup(3, KxTest_NamedFile(1, u"b"))}),
        KxTest_Section({Dialog(1), Dialog(1)})},
       {p + "151" + warning + "has the id 7 of the record at byte 4 [duplicate-id]",
        "/appgroups.sec: byte 106: warning: has the id {00000003-0000-0000-0000-000000000003} of the record at byte 4 "
        "[duplicate-id]",
        "/alerts.sec: byte 40: warning: has the id " + alert1 + " of the record at byte 4 [duplicate-id]"}},
      {"applicable to nobody",
       {KxTest_Section({With(Named(u"a")), With(Named(u"b"), 8)}), {}, {}, R"({"*":[8],"S-1-5-18":[0,7]})"},
       {p + "4" + warning + "is applicable to nobody [no-users]"}},
      {"a name that does not show as it is",
       {section(KxTest_Policy(7, 2, u"to\u202Eol\xD800", u"a"))},
       {p +
        "44: warning: policy 7 \"to<U+202E>ol\uFFFD\": name: has characters that do not show, or that steer how others "
        "show: \"to<U+202E>ol<U+D800>\" [name]"}},
      {"out of reach",
       {KxTest_Section({With(Named(u"a"), 6), With(Named(u"a"))})},
       {p + "151" + warning + "can never be reached: policy 6 \"P\" takes everything that it would [unreachable]"}},
  };
}

void ExpectFindings(const std::vector<ImageCase>& cases, bool areErrors) {
  const Workplace work;
  for (const ImageCase& test : cases) {
    SCOPED_TRACE(test.name);
    const SkxToolRun run = KxTest_RunTool({"check", work.Write("image", test.image)});
    std::vector<std::string> lines = work.Lines(run.out);
    ASSERT_FALSE(lines.empty()) << run.err;
    lines.pop_back();
    std::vector<std::string> expected;
    for (const std::string& line : test.lines) expected.push_back("image" + line);
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(run.code, areErrors ? 1 : 0);
    EXPECT_EQ(run.err, "");
  }
}

TEST(Check, TellsTheErrorsOfAnImage) { ExpectFindings(ErrorsOfImages(), true); }

TEST(Check, TellsTheWarningsOfAnImage) { ExpectFindings(WarningsOfImages(), false); }

TEST(Check, FindsNothingWhereNothingIs) {
  const Workplace work;
  const Image clean = {
      KxTest_Section({KxTest_Policy(1, 1, u"A", u"a*"), Alerting(1, 5)}), {}, KxTest_Section({Dialog(5)})};
  for (const Image& image : {clean, Image{{}, {}, KxTest_Section({})}}) {
    const SkxToolRun run = KxTest_RunTool({"check", work.Write("image", image)});
    EXPECT_EQ(run.out, "no findings\n");
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(KxTest_RunTool({"check", work.At("image"), "--format", "json"}).out, "");
  }
}

TEST(Check, AddsFindingsUp) {
  const Workplace work;
  const KxBytes listless = Head().U8(0).Bytes();
  const KxBytes twice = KxTest_Section({listless, listless, With(Url(u"a", 9), 9)});
  const SkxToolRun run = KxTest_RunTool({"check", work.Write("image", {twice})});
  EXPECT_THAT(run.out, HasSubstr("\n2 errors, 2 warnings\n"));
  const SkxToolRun one = KxTest_RunTool({"check", work.Write("image", {KxTest_Section({listless})})});
  EXPECT_THAT(one.out, HasSubstr("\n1 error, 0 warnings\n"));
}

TEST(Check, WritesJson) {
  const Workplace work;
  const KxBytes policies = KxTest_Section({With(Url(u"[", 5)), KxBytes(40)});
  const SkxToolRun run = KxTest_RunTool({"check", work.Write("image", {policies}), "--format", "json"});
  std::string out = run.out;  // with the separators of paths as they are
  for (size_t at = out.find("\\\\"); at != out.npos; at = out.find("\\\\", at + 1)) out.erase(at, 1);
  EXPECT_EQ(
      work.Lines(out),
      (std::vector<std::string>{
          R"({"severity":"warning","rule":"regexp","policyId":7,"policyName":"P","file":"image/policies.sec","offset":106,"message":"targets/0/url/pattern: the regular expression does not compile: a [ is not closed, at character 1"})",
          R"({"severity":"error","rule":"framing","policyId":null,"policyName":null,"file":"image/policies.sec","offset":117,"message":"ERROR: Error in policy header signature."})",
      }));
  EXPECT_EQ(run.code, 1);
}

// ---- documents

TEST(Check, NamesPlacesInDocuments) {
  const auto policy = [](const std::string& id, const std::string& rest) {
    return R"({"id": )" + id + R"(, "name": "N", "action": "block", )" + rest + "}";
  };
  const auto list = [](const std::string& policies) { return R"({"policies": [)" + policies + "]}"; };
  const auto targets = [&](const std::string& target) { return list(policy("1", R"("targets": [)" + target + "]")); };
  const std::string named = R"("targets": [{"type": "executable", "fileName": "a.exe"}])";
  const std::string compile = "the regular expression does not compile: a ( is not closed, at character 1 [regexp]";
  const std::string nothing = "has no target that anything can match, so it never applies [no-targets]";
  const std::string taken = "can never be reached: policy 1 \"N\" takes everything that it would [unreachable]";
  const struct {
    const char* name;
    std::vector<std::string> documents;
    std::vector<std::string> lines;
    int code;
  } kCases[] = {
      {"a clean one", {list(policy("1", named))}, {"no findings"}, 0},
      {"an expression of an object",
       {targets(R"({"type": "executable", "fileName": {"pattern": "(", "compareAs": "regExp"}})")},
       {"0: /policies/0/targets/0/fileName/pattern: warning: policy 1 \"N\": " + compile, "0 errors, 1 warning"},
       0},
      {"an expression among fields that an object names",
       {targets(R"({"type": "dll", "versionFields": {"B": {"pattern": "(", "compareAs": "regExp"}, "A": "x"}})")},
       {"0: /policies/0/targets/0/versionFields/B/pattern: warning: policy 1 \"N\": " + compile, "0 errors, 1 warning"},
       0},
      {"the place of a shorthand",
       {targets(
           R"({"type": "url", "url": "a"}, {"type": "executable", "fileName": {"pattern": "a", "compareAs": 9}})")},
       {"0: /policies/0/targets/1/fileName/compareAs: warning: policy 1 \"N\": compare mode 9 is none, so nothing "
        "matches [compare-mode]",
        "0 errors, 1 warning"},
       0},
      {"an alert that is defined nowhere",
       {list(policy("1", named + R"(, "alerts": [{"trigger": 26, "type": "dialog",
             "id": "{00000001-0000-0000-0000-000000000001}"}])"))},
       {"0: /policies/0/alerts/0/id: warning: policy 1 \"N\": there is no alert {00000001-0000-0000-0000-000000000001} "
        "[missing-alert]",
        "0 errors, 1 warning"},
       0},
      {"policies and groups of several documents",
       {list(policy("1", named) + "," + policy("2", R"("active": false)")),
        R"({"applicationGroups": [{"name": "G", "targets": [{"type": "url", "url": {"pattern": "(", "compareAs": 5}}]}]})",
        R"({"applicationGroups": [{"name": "H", "targets": [{"type": "applicationGroup", "group": "G"}]}],
            "policies": [)" +
            policy("3", named) + "," + policy("4", R"("targets": [{"type": "applicationGroup", "group": "H"}])") + "," +
            policy("5", "\"gpId\": \"x\"") + "]}"},
       {"2: /policies/0: warning: policy 3 \"N\": " + taken, "2: /policies/2: warning: policy 5 \"N\": " + nothing,
        "1: /applicationGroups/0/targets/0/url/pattern: warning: " + compile, "0 errors, 3 warnings"},
       0},
      {"a fault of a field",
       {list(policy("1", named)), list(policy("2", named + R"(, "actoin": 1)"))},
       {"1: /policies/0/actoin: error: policy 2 \"N\": unknown key [document]", "1 error, 0 warnings"},
       1},
      {"an id that is no policy's",
       {list(policy("4294967297", named))},
       {"0: /policies/0/id: error: must be a whole number from 0 to 4294967295 [document]", "1 error, 0 warnings"},
       1},
      {"a key twice",
       {list(policy("1", named + R"(, "id": 1)"))},
       {"0: /policies/0/id: error: the key is there twice [document]", "1 error, 0 warnings"},
       1},
      {"another kind of JSON", {"[]"}, {"0: error: must be an object [document]", "1 error, 0 warnings"}, 1},
  };
  const Workplace work;
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    std::vector<std::string> arguments = {"check"};
    for (const std::string& document : test.documents) {
      arguments.push_back(work.Write(std::to_string(arguments.size() - 1), document));
    }
    const SkxToolRun run = KxTest_RunTool(arguments);
    EXPECT_EQ(work.Lines(run.out), test.lines);
    EXPECT_EQ(run.code, test.code);
    EXPECT_EQ(run.err, "");
  }
  const std::string names = R"({"policies": [{"id": 1, "name": "a\u001Bb", "action": "run"}],
      "applicationGroups": [{"name": "g\n", "targets": [{"type": "url"}]}], "alerts": [{"name": "\u2066", "type": "balloon"}]})";
  const SkxToolRun unseen = KxTest_RunTool({"check", work.Write("0", names)});
  const std::string shown = ": warning: has characters that do not show, or that steer how others show: ";
  EXPECT_THAT(work.Lines(unseen.out),
              testing::IsSupersetOf(
                  {"0: /policies/0/name: warning: policy 1 \"a<U+001B>b\"" + shown.substr(9) + "\"a<U+001B>b\" [name]",
                   "0: /applicationGroups/0/name" + shown + "\"g<U+000A>\" [name]",
                   "0: /alerts/0/name" + shown + "\"<U+2066>\" [name]"}));
  const SkxToolRun compiled = KxTest_RunTool({"compile", work.At("0"), "-o", work.At("image")});
  EXPECT_EQ(compiled.code, 0);
  EXPECT_EQ(std::count(compiled.err.begin(), compiled.err.end(), '\n'), 3) << compiled.err;
  EXPECT_THAT(compiled.err, HasSubstr("warning: the name of policy 1 has characters that do not show"));
  const SkxToolRun json = KxTest_RunTool({"check", "-", "--format", "json"}, targets(R"({"type": "url"}, 1)"));
  EXPECT_THAT(json.out, StartsWith(R"({"severity":"error","rule":"document","policyId":1,"policyName":"N",)"
                                   R"("document":"standard input","pointer":"/policies/0/targets/1","message":")"));
  EXPECT_EQ(json.code, 1);
}

TEST(Check, RefusesWhatItCannotCheck) {
  const Workplace work;
  const std::string image = work.Write("image", Image{KxTest_Section({})});
  const std::string document = work.Write("document", R"({"policies": []})");
  const std::string bad = work.Write("bad", "{\n  \"policies\": [,]\n}");
  const std::string rules = work.Write("rules", Image{{}, {}, {}, R"({"me": []})"});
  const struct {
    const char* name;
    std::vector<std::string> arguments;
    int code;
    std::string err;
  } kCases[] = {
      {"nothing", {"check"}, 2, "input"},
      {"another format", {"check", document, "--format", "xml"}, 2, "--format"},
      {"an image and a document", {"check", image, document}, 2, "an image is checked alone"},
      {"what is not there", {"check", work.At("none")}, 3, "none: cannot be opened"},
      {"no JSON", {"check", document, bad}, 3, "bad: line 2, column 16: "},
      {"rules that no image has", {"check", rules}, 3, "applicable.json: /me: "},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    const SkxToolRun run = KxTest_RunTool(test.arguments);
    EXPECT_EQ(run.code, test.code);
    EXPECT_THAT(run.err, HasSubstr(test.err));
    EXPECT_EQ(run.out, "");
  }
}

}  // namespace
