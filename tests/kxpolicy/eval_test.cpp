#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/kxpolicy/hand_made_image.h"
#include "tests/kxpolicy/run_tool.h"
#include "tools/kxpolicy/input.h"

namespace {

using testing::HasSubstr;

/// A policies.sec with one policy, byte by byte.
constexpr const char* kBlockTools =
    "01 00 00 00 "              // one record
    "25 24 23 22 "              // policy
    "d3 00 00 00 "              // its size
    "02 00 00 00 "              // action: Block
    "07 00 00 00 "              // id
    "01 00 00 00 00 00 00 00 "  // active
    "02 00 00 00 00 00 00 00 "  // order
    "00 00 00 00 00 00 00 00 "  // not implicit
    "18 00 00 00 04 46 2a 46 29 46 25 46 2d 46 66 46 32 46 29 46 29 46 2a 46 "
    "35 46 46 46 "                                                           // name "Block tools"
    "06 00 00 00 47 00 50 00 00 00 "                                         // GpId "GP"
    "00 00 00 00 "                                                           // no KxGpoId
    "01 00 00 00 "                                                           // ReportUsageState
    "65 00 00 00 "                                                           // GuiType
    "01 00 00 00 "                                                           // one alert link
    "01 00 00 00 02 00 00 00 "                                               // trigger 1, type 2
    "01 00 00 00 02 00 03 00 04 05 06 07 08 09 0a 0b "                       // alert id
    "01 "                                                                    // PolicyAutomation
    "01 00 00 00 "                                                           // one target
    "27 24 23 22 "                                                           // target
    "58 00 00 00 "                                                           // its size
    "2f 1e 9c 0d 4b 3a 6d 5c 7e 8f 90 a1 b2 c3 d4 e5 "                       // its id
    "03 00 00 00 "                                                           // executable
    "01 "                                                                    // inheritable
    "00 "                                                                    // file version: not set
    "00 "                                                                    // product version
    "00 "                                                                    // location
    "01 12 00 00 00 32 46 29 46 29 46 2a 46 68 46 23 46 3e 46 23 46 46 46 "  // file name: set, pattern "tool.exe"
    "01 00 "                                                                 // equal
    "00 00 00 00 "                                                           // no hash algorithm
    "00 00 00 00 "                                                           // no hash
    "ff ff ff ff ff ff ff ff "                                               // any size
    "00 "                                                                    // arguments
    "00 "                                                                    // owners
    "00 "                                                                    // publishers
    "00 "                                                                    // version fields
    "00 "                                                                    // service name
    "00 "                                                                    // parent process
    "00 00 00 00 "                                                           // users
    "00 "                                                                    // origin
    "00 00 00 00 ";                                                          // distributor

const std::string kBlockToolsInfo =
    "07000000"  // policy id
    "02000000"  // action
    "00000000"  // original action
    "47005000" +
    std::string(2 * 124, '0') +         // GpId
    std::string(2 * 128, '0') +         // KxGpoId
    "65000000"                          // GuiType
    "01000000"                          // ReportUsageState
    "01"                                // PolicyAutomation
    "03000000"                          // target type
    "2f1e9c0d4b3a6d5c7e8f90a1b2c3d4e5"  // target id
    "00000000000000000000000000000000"  // secondary id
    "00010000";                         // reserved; inheritable; protect installed files; restrict file dialogs

class Image {
 public:
  explicit Image(const KxBytes& policies) { _folder.Write("policies.sec", KxTest_Text(policies)); }
  void Applicable(const std::string& json) const { _folder.Write("applicable.json", json); }
  void AppGroups(const KxBytes& groups) const { _folder.Write("appgroups.sec", KxTest_Text(groups)); }
  std::string Path() const { return KxTest_PathText(_folder.Path()); }

  SkxToolRun Eval(std::vector<std::string> arguments, const std::string& input = "") const {
    arguments.insert(arguments.begin(), {"eval", Path()});
    return KxTest_RunTool(arguments, input);
  }
  /// The answers to a stream, as JSON.
  SkxToolRun Stream(const std::string& targets, std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"--format", "json", "--targets", "-"});
    return Eval(more, targets);
  }

 private:
  const CkxTempFolder _folder;
};

const std::string kTool = R"({"id":"t","kind":"file","path":"C:\\Tools\\TOOL.exe"})";

/// What an answer begins with, for policies that `Policy` makes.
std::string Applied(const std::string& id, int policy, const std::string& name, int action) {
  return "{\"id\":" + id + ",\"matched\":true,\"policyId\":" + std::to_string(policy) + ",\"policyName\":\"" + name +
         "\",\"action\":" + std::to_string(action) + ",";
}

TEST(Eval, AnswersByteForByte) {
  const Image image(KxTest_FromHex(kBlockTools));
  const SkxToolRun run = image.Stream(kTool);
  EXPECT_EQ(
      run.out,
      "{\"id\":\"t\",\"matched\":true,\"policyId\":7,\"policyName\":\"Block "
      "tools\",\"action\":2,\"actionName\":\"Block\","
      "\"originalAction\":0,\"targetType\":3,\"targetId\":\"{0D9C1E2F-3A4B-5C6D-7E8F-90A1B2C3D4E5}\",\"gpId\":\"GP\","
      "\"kxGpoId\":\"\",\"guiType\":101,\"reportUsageState\":1,\"policyAutomation\":true,\"inheritable\":true,"
      "\"protectInstalledFiles\":false,\"restrictFileDlg\":false,"
      "\"alerts\":[{\"trigger\":1,\"type\":2,\"id\":\"{00000001-0002-0003-0405-060708090A0B}\"}],\"info\":\"" +
          kBlockToolsInfo + "\"}\n");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(kBlockToolsInfo.size(), 317u * 2);
}

TEST(Eval, GoesThroughAStreamInOrder) {
  const Image image(
      KxTest_Section({KxTest_Policy(1, 3, u"Elevate setup", u"setup*"), KxTest_Policy(2, 1, u"Run a\"b\u00E4", u"*")}));
  const struct {
    const char* name;
    std::string line;
    std::string answer;  // or what it begins with
    int code;
  } kCases[] = {
      {"the first policy that applies", R"({"id":1,"kind":"file","path":"C:\\setup1.exe"})",
       Applied("1", 1, "Elevate setup", 3), 0},
      {"names are escaped", R"({"id":{"a":[1]},"kind":"file","path":"x.exe"})",
       Applied(R"({"a":[1]})", 2, R"(Run a\"bä)", 1), 0},
      {"no id", R"({"kind":"file","path":"C:\\x.dll"})", "{\"id\":null,\"matched\":false}\n", 0},
      {"a carriage return",
       R"({"id":2,"kind":"activex"})"
       "\r",
       "{\"id\":2,\"matched\":false}\n", 0},
      {"a blank line", " \t", "", 0},
      {"no JSON", "{\"id\":3,", "{\"id\":null,\"error\":\"line 1, column 9: ", 3},
      {"no object", "[]", "{\"id\":null,\"error\":\"must be an object\"}\n", 3},
      {"no kind", R"({"id":4})",
       R"({"id":4,"error":"\"kind\" is missing"})"
       "\n",
       3},
      {"an unknown key", R"({"id":"5","kind":"file","paht":""})",
       R"({"id":"5","error":"/paht: unknown key"})"
       "\n",
       3},
      {"a key twice", R"({"id":6,"kind":"file","kind":"file"})",
       R"({"id":6,"error":"/kind: the key is there twice"})"
       "\n",
       3},
      {"not UTF-8", "{\"id\":7,\"kind\":\"\xFF\"}", "{\"id\":null,\"error\":\"", 3},
      {"nested beyond any use", "{\"id\":" + std::string(100000, '[') + std::string(100000, ']') + "}", "{\"id\":", 3},
      {"longer than any use", std::string(CkxLineReader::kMaxLineBytes + 1, ' '),
       "{\"id\":null,\"error\":\"the line is too long\"}\n", 3},
  };
  std::string stream = "\xEF\xBB\xBF";
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    const SkxToolRun run = image.Stream(test.line + "\n");
    EXPECT_THAT(run.out, testing::StartsWith(test.answer));
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), test.answer.empty() ? 0 : 1);
    EXPECT_EQ(run.code, test.code);
    EXPECT_EQ(run.err, "");
    stream += test.line + "\n";
  }

  stream.pop_back();  // the last line may lack its end
  const SkxToolRun all = image.Stream(stream);
  std::istringstream lines(all.out);
  std::string line;
  for (const auto& test : kCases) {
    if (test.answer.empty()) continue;
    ASSERT_TRUE(std::getline(lines, line)) << test.name;
    EXPECT_THAT(line + "\n", testing::StartsWith(test.answer)) << test.name;
  }
  EXPECT_FALSE(std::getline(lines, line));
  EXPECT_EQ(all.code, 3);
}

TEST(Eval, AsksAboutTheTargetsUser) {
  const Image image(KxTest_Section({KxTest_Policy(1, 1, u"One", u"*"), KxTest_Policy(2, 2, u"Two", u"*")}));
  const std::string user = R"({"id":1,"kind":"file","path":"x.exe","user":{"sid":"S-1-5-21-1-2-3-1001"}})";
  const std::string nobody = R"({"id":1,"kind":"file","path":"x.exe"})";
  const std::string one = Applied("1", 1, "One", 1);
  const std::string two = Applied("1", 2, "Two", 2);
  const std::string fault =
      "{\"id\":1,\"matched\":false,\"error\":\"Failed to get applicable policies for the user\"}\n";
  const std::string none = "{\"id\":1,\"matched\":false}\n";
  const struct {
    const char* name;
    const char* applicable;
    const std::string& target;
    std::vector<std::string> more;
    const std::string& answer;
  } kCases[] = {
      {"no rows at all", "{}", user, {}, one},
      {"a row of its own", R"({"S-1-5-21-1-2-3-1001":[2],"*":[1]})", user, {}, two},
      {"the row of everybody", R"({"S-1-5-21-9":[2],"*":[1]})", user, {}, one},
      {"no user is everybody", R"({"S-1-5-21-1-2-3-1001":[2],"*":[1]})", nobody, {}, one},
      {"no row", R"({"S-1-5-21-9":[2]})", user, {}, fault},
      {"no row for nobody", R"({"S-1-5-21-9":[2]})", nobody, {}, fault},
      {"an empty row", R"({"S-1-5-21-1-2-3-1001":[],"*":[1]})", user, {}, fault},
      {"a row of policies that are not there", R"({"*":[3]})", user, {}, none},
      {"another user by option", R"({"S-1-5-18":[2],"*":[1]})", user, {"--user", "S-1-5-18"}, two},
      {"a user by option for nobody", R"({"S-1-5-18":[2],"*":[1]})", nobody, {"--user", "S-1-5-18"}, two},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    image.Applicable(test.applicable);
    const SkxToolRun run = image.Stream(test.target, test.more);
    EXPECT_THAT(run.out, testing::StartsWith(test.answer));
    EXPECT_EQ(run.code, 0);
  }
}

TEST(Eval, EvaluatesADamagedImageAsTheLibraryDoes) {
  const KxBytes run = KxTest_Policy(1, 1, u"Run", u"setup*");
  const KxBytes block = KxTest_Policy(2, 2, u"Block", u"*");
  KxBytes cut = KxTest_Section({run, block});
  cut.pop_back();
  KxBytes unsignedRecord = block;
  unsignedRecord[0] ^= 1;
  const struct {
    const char* name;
    KxBytes section;
    std::string answer;
  } kCases[] = {
      {"the walk ends beyond the section", cut,
       R"({"id":"t","matched":false,"error":"ERROR: Policy is out of buffer"})"
       "\n"},
      {"a header that is not there", KxTest_Section({run, KxBytes(39)}),
       R"({"id":"t","matched":false,"error":"ERROR: Policy header is out of buffer"})"
       "\n"},
      {"a header of another kind", KxTest_Section({run, unsignedRecord}),
       R"({"id":"t","matched":false,"error":"ERROR: Error in policy header signature."})"
       "\n"},
      {"what applied before the fault stands", KxTest_Section({block, unsignedRecord}),
       Applied("\"t\"", 2, "Block", 2)},
      {"a record that does not parse is passed over",
       KxTest_Section({KxTest_PolicyHead(3, 2, u"No list").Bytes(), block}), Applied("\"t\"", 2, "Block", 2)},
      {"no records", KxTest_Section({}), "{\"id\":\"t\",\"matched\":false}\n"},
      {"not even a count", {}, "{\"id\":\"t\",\"matched\":false,\"error\":\"ERROR: The section is damaged\"}\n"},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    const SkxToolRun answer = Image(test.section).Stream(kTool);
    EXPECT_THAT(answer.out, testing::StartsWith(test.answer));
    EXPECT_EQ(answer.code, 0);
    EXPECT_EQ(answer.err, "");
  }
}

TEST(Eval, ExplainsStepByStep) {
  KxBytes inactive = KxTest_Policy(1, 1, u"Inactive", u"*");
  inactive[16] = 0;
  const KxBytes link = KxTest_GroupLink(0x22, 0x33);
  const KxBytes linked = KxTest_PolicyHead(4, 2, u"Linked").U8(0).U32(1).Append(link).Bytes();
  const Image image(KxTest_Section(
      {inactive, KxTest_Policy(2, 1, u"Not yours", u"*"), KxTest_Policy(3, 3, u"Elevate", u"setup*"), linked}));
  image.AppGroups(KxTest_Section({KxTest_AppGroup(0x33, KxTest_NamedFile(0x44, u"tool.exe"))}));
  image.Applicable(R"({"*":[1,3,4]})");

  const std::string id = "-0000-0000-0000-0000000000";
  const SkxToolRun run = image.Stream(kTool, {"--explain"});
  EXPECT_THAT(
      run.out,
      HasSubstr(
          ",\"explain\":["
          R"({"policyId":1,"policyName":"Inactive","action":1,"outcome":"filtered out","targets":[]},)"
          R"({"policyId":2,"policyName":"Not yours","action":1,"outcome":"not applicable to the user","targets":[]},)"
          R"({"policyId":3,"policyName":"Elevate","action":3,"outcome":"no target matched","targets":[)"
          R"({"targetId":"{00000003)" +
          id +
          R"(03}","targetType":3,"outcome":"not matched","failed":)"
          R"({"property":"fileName","expected":"is like setup*","actual":"TOOL.exe"}}]},)"
          R"({"policyId":4,"policyName":"Linked","action":2,"outcome":"applies","targets":[)"
          R"({"targetId":"{00000044)" +
          id +
          R"(44}","targetType":3,"outcome":"matched"},)"
          R"({"targetId":"{00000022)" +
          id +
          R"(22}","targetType":2,"outcome":"matched"}]})"
          "]}\n"));
  EXPECT_EQ(run.code, 0);

  const SkxToolRun text = image.Eval({"--target", "-", "--explain"}, kTool);
  EXPECT_EQ(text.out,
            "DECISION              POLICY                                        TARGET\n"
            "Block                 4 Linked                                      t\n"
            "    policy 1 Inactive: filtered out\n"
            "    policy 2 Not yours: not applicable to the user\n"
            "    policy 3 Elevate: no target matched\n"
            "        Executable {00000003" +
                id +
                "03}: not matched\n"
                "            fileName: expected is like setup*, found TOOL.exe\n"
                "    policy 4 Linked: applies\n"
                "        Executable {00000044" +
                id +
                "44}: matched\n"
                "        Group of Targets {00000022" +
                id + "22}: matched\n");
}

TEST(Eval, ExplainsWithinBounds) {
  constexpr size_t kTargets = 700;
  CkxRecordBytes large = KxTest_PolicyHead(1, 2, u"Large").U8(0).U32(kTargets + 1);
  for (size_t i = 0; i < kTargets; ++i) large.Append(KxTest_NamedFile(1, std::u16string(5000, u'x')));
  large.Append(KxTest_NamedFile(2, u"*"));
  std::vector<KxBytes> policies(20'000, KxTest_Policy(2, 1, u"Not this", u"no"));
  policies.push_back(large.Bytes());
  const SkxToolRun run = Image(KxTest_Section(policies)).Stream(kTool, {"--explain"});
  ASSERT_EQ(run.code, 0);
  const auto answer = nlohmann::json::parse(run.out);
  EXPECT_EQ(answer["policyId"], 1);
  EXPECT_EQ(answer["explain"].size(), 10'001u) << "the first ones, and the one that applies";
  EXPECT_EQ(answer["explainLeftOut"], 10'000);
  EXPECT_EQ(answer["explain"].back()["targets"].back()["outcome"], "matched");

  const SkxToolRun one = Image(KxTest_Section({large.Bytes()})).Stream(kTool, {"--explain"});
  const auto policy = nlohmann::json::parse(one.out)["explain"][0];
  EXPECT_EQ(policy["targets"].size(), 501u);
  EXPECT_EQ(policy["leftOut"], kTargets - 500);
  const std::string expected = policy["targets"][0]["failed"]["expected"];
  EXPECT_THAT(expected, testing::EndsWith("xx... (4008 more)"));
  EXPECT_THAT(Image(KxTest_Section({large.Bytes()})).Eval({"--target", "-", "--explain"}, kTool).out,
              HasSubstr("        200 more targets are left out\n"));
}

TEST(Eval, BlocksAProcessUnderAnyName) {
  const Image image(KxTest_Section({KxTest_Policy(1, 2, u"Block", u"tool*"), KxTest_Policy(2, 3, u"Elevate", u"*")}));
  for (const char* const name : {"tool.exe", "tool.dat", "tool.scr", "tool.exe.", "tool", "tool.msi"}) {
    const std::string target = std::string(R"({"kind":"process","path":"C:\\)") + name + "\"}";
    EXPECT_THAT(image.Stream(target).out, HasSubstr("\"policyId\":1,")) << name;
  }
  EXPECT_THAT(image.Stream(R"({"kind":"process","path":"C:\\tool.dat","targetType":0})").out,
              HasSubstr("\"matched\":false"))
      << "unless the document says otherwise";
}

TEST(Eval, PrintsTextsOfOthersOnOneLine) {
  const std::u16string name = u"\u202E\x1B[2Jx\nBlock                 9 Forged";
  const Image image(KxTest_Section({KxTest_Policy(1, 2, name, u"a\nb"), KxTest_Policy(2, 2, name, u"*")}));
  const SkxToolRun run =
      image.Eval({"--target", "-", "--explain"}, R"({"kind":"file","path":"C:\\a\u2028\u009B.exe"})");
  EXPECT_THAT(run.out,
              HasSubstr("2 <U+202E><U+001B>[2Jx<U+000A>Block                 9 Forged  C:\\a<U+2028><U+009B>.exe\n"));
  EXPECT_THAT(run.out, HasSubstr("fileName: expected is like a<U+000A>b, found a<U+2028><U+009B>.exe\n"));

  const auto hasRaw = [](const std::string& text) {
    return text.find('\x1B') != text.npos || text.find("\u202E") != text.npos || text.find("\nBlock   ") != text.npos;
  };
  const std::string bad = "no\x1B[31m\n\u202Eme";
  const std::vector<std::string> kCommands[] = {
      {"show", image.Path()},
      {"check", image.Path()},
      {"eval", bad, "--target", "-"},
      {"eval", image.Path(), "--target", bad},
      {"check", bad},
      {"compile", bad, "-o", bad},
      {"match", "--pattern", bad, bad},
      {bad},
      {"eval", "--" + bad},
      {"record", "tokendata", bad},
      {"publish", bad},
      {"match", "--mode", "regExp", "--pattern", "(" + bad},
  };
  for (const auto& command : kCommands) {
    const SkxToolRun shown = KxTest_RunTool(command, "{}");
    EXPECT_FALSE((shown.out + shown.err).empty());
    EXPECT_FALSE(hasRaw(shown.out + shown.err)) << command[0] << ": " << shown.out << shown.err;
  }
  const SkxToolRun shown = KxTest_RunTool({"show", image.Path()});
  EXPECT_THAT(shown.out, HasSubstr("\nName:\t<U+202E><U+001B>[2Jx<U+000A>Block                 9 Forged\nOrder:\t"));
}

TEST(Eval, ShowsATable) {
  const Image image(KxTest_Section({KxTest_Policy(1, 3, u"\u00C4\u00DF", u"setup*")}));
  const SkxToolRun run = image.Eval({"--targets", "-"},
                                    "{\"kind\":\"file\",\"path\":\"C:\\\\setup.exe\"}\n"
                                    "{\"kind\":\"file\",\"path\":\"C:\\\\x.exe\"}\n"
                                    "{\"id\":9,\"kind\":\"elevator\"}\n"
                                    "{\"kind\":\"flie\"}\n");
  EXPECT_EQ(
      run.out,
      "DECISION              POLICY                                        TARGET\n"
      "Elevate               1 Äß                                          C:\\setup.exe\n"
      "-                     no policy applies                             C:\\x.exe\n"
      "-                     no policy applies                             9\n"
      "-                     unusable: /kind: \"flie\" is not \"file\", \"process\", \"activex\", \"elevator\" or "
      "\"uaccom\"  standard input:4\n");
  EXPECT_EQ(run.code, 3);
}

TEST(Eval, LooksAtALiveFile) {
  const Image image(KxTest_FromHex(kBlockTools));
  const CkxTempFolder folder;
  folder.Write("tool.exe", "MZ");
  std::filesystem::create_directory(folder.Path() / "sub");
  const std::string path = KxTest_PathText(folder.Path() / "sub" / ".." / "tool.exe");
  const SkxToolRun run = image.Eval({"--file", path, "--format", "json"});
  EXPECT_THAT(run.out, HasSubstr("tool.exe\",\"matched\":true,\"policyId\":7,"));
  EXPECT_EQ(run.code, 0);
}

TEST(Eval, RefusesWhatItCannotUse) {
  const Image image(KxTest_FromHex(kBlockTools));
  const CkxTempFolder folder;
  folder.Write("faulty.json", "{\"kind\": \"file\",\n \"size\": \"x\"}");
  const std::string faulty = KxTest_PathText(folder.Path() / "faulty.json");
  const std::string missing = KxTest_PathText(folder.Path() / "missing");
  const struct {
    const char* name;
    std::vector<std::string> arguments;
    int code;
    std::string err;
  } kCases[] = {
      {"a document at fault", {image.Path(), "--target", faulty}, 3, faulty + ": /size: must be a whole number"},
      {"a document that is not there", {image.Path(), "--target", missing}, 3, missing},
      {"a stream that is not there", {image.Path(), "--targets", missing}, 3, missing},
      {"a folder as a stream", {image.Path(), "--targets", image.Path()}, 3, image.Path() + ": is a folder"},
      {"a file that is not there", {image.Path(), "--file", missing}, 3, missing},
      {"a folder as a file", {image.Path(), "--file", image.Path()}, 3, image.Path()},
      {"an image that is not there", {missing, "--target", "-"}, 3, missing},
      {"a file as an image", {faulty, "--target", "-"}, 3, faulty},
      {"a folder of other things as an image",
       {KxTest_PathText(folder.Path()), "--target", "-"},
       3,
       "is not part of an image"},
      {"a user that is none", {image.Path(), "--target", "-", "--user", "S-1"}, 2, "--user"},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    std::vector<std::string> arguments = test.arguments;
    arguments.insert(arguments.begin(), "eval");
    const SkxToolRun run = KxTest_RunTool(arguments, kTool);
    EXPECT_EQ(run.code, test.code);
    EXPECT_THAT(run.err, HasSubstr(test.err));
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
    EXPECT_EQ(run.out, "");
  }

  image.Applicable(R"({"*": [1, "2"]})");
  const SkxToolRun run = image.Eval({"--target", "-"}, kTool);
  EXPECT_EQ(run.code, 3);
  EXPECT_THAT(run.err, testing::AllOf(HasSubstr("applicable.json"), HasSubstr("/*/1")));
}

}  // namespace
