#include <gmock/gmock.h>

#include "tests/kxpolicy/run_tool.h"

namespace {

using testing::HasSubstr;

struct OperationCase {
  const char* name;
  std::string fields;  // after "op"
  std::string answer;  // after "id"
};

const OperationCase kOperations[] = {
    {"equal", R"("str","mode":1,"pattern":"a.exe","subject":" A.EXE ","caseSensitive":false)", R"("match":true)"},
    {"equal but for case", R"("str","mode":1,"pattern":"a.exe","subject":"A.EXE","caseSensitive":true)",
     R"("match":false)"},
    {"starts", R"("str","mode":2,"pattern":"a","subject":"ab","caseSensitive":true)", R"("match":true)"},
    {"contains", R"("str","mode":3,"pattern":"ä","subject":"xÄx")", R"("match":true)"},
    {"wildcard", R"("str","mode":4,"pattern":"?.e*","subject":"a.exe")", R"("match":true)"},
    {"expression", R"("str","mode":5,"pattern":"a+","subject":"aab")", R"("match":false)"},
    {"an expression that does not compile", R"("str","mode":5,"pattern":"[","subject":"[")", R"("match":false)"},
    {"mode 0", R"("str","mode":0,"pattern":"a","subject":"a")", R"("match":false)"},
    {"mode 6", R"("str","mode":6,"pattern":"a","subject":"a")", R"("match":false)"},
    {"the last mode", R"("str","mode":65535,"pattern":"a","subject":"a")", R"("match":false)"},
    {"null and null, in no mode", R"("str","mode":0,"pattern":null,"subject":null)", R"("match":true)"},
    {"null and missing", R"("str","mode":1,"pattern":null)", R"("match":true)"},
    {"null pattern", R"("str","mode":1,"pattern":null,"subject":"")", R"("match":false)"},
    {"null subject", R"("str","mode":4,"pattern":"*","subject":null)", R"("match":false)"},

    {"an expression", R"("regexp","pattern":"a|b","caseSensitive":true)", R"("valid":true)"},
    {"no expression", R"("regexp","pattern":"(a")", R"("valid":false)"},
    {"no pattern", R"("regexp","pattern":null)", R"("valid":false)"},

    {"arguments",
     R"("cmdline","mode":1,"pattern":"/q \"a b\"","commandLine":"C:\\p.exe  /Q \"a b\"","programPath":"C:\\p.exe")",
     R"("match":true)"},
    {"other arguments",
     R"("cmdline","mode":1,"pattern":"/q","commandLine":"p /x","programPath":null,"caseSensitive":true)",
     R"("match":false)"},
    {"a part of the arguments", R"("cmdline","mode":3,"pattern":"x","commandLine":"p /x","programPath":null)",
     R"("match":true)"},

    {"bits equal", R"("bitmask","mode":1,"mask":4294967295,"value":4294967295)", R"("match":true)"},
    {"all bits", R"("bitmask","mode":2,"mask":5,"value":7)", R"("match":true)"},
    {"any bit", R"("bitmask","mode":3,"mask":5,"value":2)", R"("match":false)"},
    {"no bit", R"("bitmask","mode":4,"mask":5,"value":2)", R"("match":true)"},
    {"no such bit mode", R"("bitmask","mode":5,"mask":0,"value":0)", R"("match":false)"},

    {"a version", R"("version","text":"1.2.3.4")", R"("ms":65538,"ls":196612,"empty":false)"},
    {"no version", R"("version","text":null)", R"("ms":4294967295,"ls":4294967295,"empty":true)"},
    {"an empty version", R"("version","text":"")", R"("ms":4294967295,"ls":4294967295,"empty":true)"},

    {"in range", R"("range","min":"1.0","max":"2.0","version":"2.0")", R"("contains":true)"},
    {"beyond", R"("range","min":null,"max":"2.0","version":"2.0.0.1")", R"("contains":false)"},
    {"everything is in the infinite range", R"("range","min":null,"max":null,"version":null)", R"("contains":true)"},

    {"a drive", R"("location","path":"d:\\a\\b.exe","drives":{"D":"CDROM"})", R"("type":"CDROM")"},
    {"a drive that is not named", R"("location","path":"E:\\b.exe","drives":{"D":"CDROM"})", R"("type":"UNKNOWN")"},
    {"no drives", R"("location","path":"E:\\b.exe")", R"("type":"UNKNOWN")"},
    {"a share", R"("location","path":"\\\\srv\\share\\b.exe","drives":{})", R"("type":"REMOTE")"},

    {"the folder",
     R"("inlocation","path":"C:\\a\\b.exe","drives":{"C":"FIXED"},"types":"FIXED","pattern":"C:\\A\\","flag":false)",
     R"("match":true)"},
    {"below the folder",
     R"("inlocation","path":"C:\\a\\b\\c.exe","drives":{"C":"FIXED"},"types":null,"pattern":"C:\\a","flag":true)",
     R"("match":true)"},
    {"not in the folder itself",
     R"("inlocation","path":"C:\\a\\b\\c.exe","types":"ANY","pattern":"C:\\a","flag":false)", R"("match":false)"},
    {"another type",
     R"("inlocation","path":"C:\\a\\b.exe","drives":{"C":"FIXED"},"types":"REMOTE,CDROM","pattern":"C:\\a","flag":false)",
     R"("match":false)"},
    {"a mapped drive",
     R"("inlocation","path":"H:\\a\\b.exe","drives":{"H":"REMOTE"},"mappedDrives":{"H":"\\\\srv\\share"},"types":"REMOTE",)"
     R"("pattern":"\\\\srv\\share\\a","flag":false)",
     R"("match":true)"},

    {"a service", R"("service","list":"Spooler/Netlogon","name":"netlogon")", R"("match":true)"},
    {"a part of a service", R"("service","list":"Spooler/Netlogon","name":"logon")", R"("match":false)"},
    {"no services", R"("service","list":null,"name":"a")", R"("match":false)"},

    {"no operation", R"("strings")", R"("error":"/op: \"strings\" is no operation")"},
    {"no number", R"("str","mode":"1","pattern":"a","subject":"a")",
     R"("error":"/mode: must be a whole number from 0 to 65535")"},
    {"a number beyond 16 bits", R"("str","mode":65536)", R"("error":"/mode: must be a whole number from 0 to 65535")"},
    {"no mode", R"("str","pattern":"a")", R"("error":"\"mode\" is missing")"},
    {"no text", R"("str","mode":1,"pattern":7)", R"("error":"/pattern: must be a text")"},
    {"a key that nobody asks for", R"("version","text":"1","txet":"1")", R"("error":"/txet: unknown key")"},
    {"no drive letter", R"("location","path":"x","drives":{"CD":"FIXED"})",
     R"("error":"/drives/CD: \"CD\" is no drive letter")"},
    {"no drive type", R"("location","path":"x","drives":{"C":"fixed"})",
     R"("error":"/drives/C: \"fixed\" is no drive type")"},
};

bool IsFault(const OperationCase& test) { return test.answer.starts_with("\"error\""); }

TEST(Match, AnswersEachOperation) {
  std::string stream;
  std::string answers;
  for (const OperationCase& test : kOperations) {
    SCOPED_TRACE(test.name);
    const std::string id = "\"" + std::string(test.name) + "\"";
    const std::string line = "{\"id\":" + id + ",\"op\":" + test.fields + "}\n";
    const std::string answer = "{\"id\":" + id + "," + test.answer + "}\n";
    const SkxToolRun run = KxTest_RunTool({"match"}, line);
    EXPECT_EQ(run.out, answer);
    EXPECT_EQ(run.code, IsFault(test) ? 3 : 0);
    EXPECT_EQ(run.err, "");
    stream += line;
    answers += answer;
  }
  const SkxToolRun run = KxTest_RunTool({"match"}, stream);
  EXPECT_EQ(run.out, answers);
  EXPECT_EQ(run.code, 3) << "the stream has lines at fault, and goes on after each";
}

TEST(Match, AnswersLinesThatAreNone) {
  const struct {
    const char* name;
    std::string line;
    std::string answer;
  } kCases[] = {
      {"no JSON", "x", "{\"id\":null,\"error\":\"line 1, column 1: "},
      {"an array", "[1]", "{\"id\":null,\"error\":\"must be an object\"}"},
      {"no operation", "{\"id\":[1,{}]}", "{\"id\":[1,{}],\"error\":\"\\\"op\\\" is missing\"}"},
      {"a key twice", R"({"id":5,"op":"str","op":"str"})", R"({"id":5,"error":"/op: the key is there twice"})"},
      {"not UTF-8", "{\"id\":\"\xC3\"}", "{\"id\":null,\"error\":\""},
      {"a comment", "{\"id\":1} // comment", "{\"id\":null,\"error\":\""},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    const SkxToolRun run = KxTest_RunTool({"match"}, test.line);
    EXPECT_THAT(run.out, testing::StartsWith(test.answer));
    EXPECT_THAT(run.out, testing::EndsWith("}\n"));
    EXPECT_EQ(run.code, 3);
  }
}

TEST(Match, TriesAPatternByHand) {
  const struct {
    const char* name;
    std::vector<std::string> arguments;
    const char* out;
  } kCases[] = {
      {"wildcard is usual",
       {"--pattern", "*.exe", "Setup.EXE", "setup.msi"},
       "match     Setup.EXE  \"Setup.EXE\"\nno match  setup.msi\n"},
      {"starts", {"--pattern", "ab", "--mode", "startsWith", "ABC"}, "match     ABC  \"AB\"\n"},
      {"contains", {"--pattern", "b", "--mode", "3", "aBc", "c"}, "match     aBc  \"B\"\nno match  c\n"},
      {"case", {"--pattern", "b", "--mode", "contains", "--case-sensitive", "aBc"}, "no match  aBc\n"},
      {"equals, trimmed", {"--pattern", "a", "--mode", "equals", " a "}, "match      a   \"a\"\n"},
      {"expression",
       {"--pattern", "set\\d+", "--mode", "regExp", "SET12", "xset12.exe", "y"},
       "match     SET12  \"SET12\"\nno match  xset12.exe  (only \"set12\" does)\nno match  y\n"},
      {"brackets are no list",
       {"--pattern", "[a,b]", "--mode", "equals", "[a,b]", "a"},
       "match     [a,b]  \"[a,b]\"\nno match  a\n"},
      {"slashes are no options", {"--pattern", "/q*", "/quiet"}, "match     /quiet  \"/quiet\"\n"},
      {"what looks like an option", {"--pattern=-*", "--", "--x"}, "match     --x  \"--x\"\n"},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    std::vector<std::string> arguments = test.arguments;
    arguments.insert(arguments.begin(), "match");
    const SkxToolRun run = KxTest_RunTool(arguments);
    EXPECT_EQ(run.out, test.out);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.code, 0);
  }
}

TEST(Match, PointsAtTheFaultOfAnExpression) {
  const struct {
    const char* name;
    const char* pattern;
    const char* err;
  } kCases[] = {
      {"not closed", "x(a", "  x(a\n   ^ a ( is not closed (error 3)\n"},
      {"a range", "ä[z-a]", "  ä[z-a]\n    ^ a range runs backwards (error 8)\n"},
      {"nothing to repeat", "*a", "  *a\n  ^ nothing of the kind can stand here (error 5)\n"},
      {"a blank that does not show", "\t)", "  <U+0009>)\n          ^ nothing of the kind can stand here (error 5)\n"},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    const SkxToolRun run = KxTest_RunTool({"match", "--mode", "regExp", "--pattern", test.pattern, "text"});
    EXPECT_EQ(run.err, test.err);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.code, 3);
  }
}

TEST(Match, RefusesArgumentsByHand) {
  for (const std::vector<std::string>& more :
       {std::vector<std::string>{"--mode", "6", "x"}, {"--mode", "glob", "x"}, {"\xFF"}}) {
    std::vector<std::string> arguments = {"match", "--pattern", "x"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(KxTest_RunTool(arguments).code, 2) << more[0];
  }
  EXPECT_EQ(KxTest_RunTool({"match", "--mode", "equals"}).code, 2) << "a mode without a pattern";
}

}  // namespace
