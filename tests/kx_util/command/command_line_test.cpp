#include "Agent/engine/kx_util/command/command_line.h"

#include <gmock/gmock.h>
#include <kx_util/kx_util.h>

#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum EkxStrCompareAs;

std::vector<std::string> Split(const WCHAR* line) {
  std::vector<std::string> all;
  for (const KxWString& argument : KxCommandLine_Split(line)) all.push_back(KxText_ToUtf8(argument));
  return all;
}

TEST(CommandLine, SplitsAsTheShellDoes) {
  struct {
    const WCHAR* line;
    std::vector<std::string> arguments;
  } const cases[] = {
      // The program: quoted, unquoted, missing.
      {KXW("\"a b\"c d"), {"a b", "c", "d"}},
      {KXW("a\"b c\"d e"), {"a\"b", "cd e"}},
      {KXW("c:\\d\\\"e f\" g"), {"c:\\d\\\"e", "f g"}},
      {KXW("\"c:\\a b\\\" d"), {"c:\\a b\\", "d"}},
      {KXW("\"\" a"), {"", "a"}},
      {KXW("\"a b"), {"a b"}},
      {KXW("\""), {""}},
      {KXW(" a b"), {"", "a", "b"}},
      {KXW("\ta"), {"", "a"}},
      {KXW("a b  \t"), {"a", "b"}},
      {KXW("a\tb"), {"a", "b"}},
      // Two quotes within quotes.
      {KXW("x \"a\"\"b\" c"), {"x", "a\"b c"}},
      {KXW("x \"a\"\"\"b c\" d"), {"x", "a\"b c", "d"}},
      {KXW("x \"\"\"a b\"\"\""), {"x", "\"a", "b\""}},
      {KXW("x \"\"\"\""), {"x", "\""}},
      {KXW("x \"\""), {"x", ""}},
      {KXW("x \"\" \"\""), {"x", "", ""}},
      {KXW("x a\"\"b c"), {"x", "ab", "c"}},
      // Backslashes before quotes and elsewhere.
      {KXW("x a\\\"b c"), {"x", "a\"b", "c"}},
      {KXW("x a\\\\\"b c\" d"), {"x", "a\\b c", "d"}},
      {KXW("x a\\\\\\\"b c"), {"x", "a\\\"b", "c"}},
      {KXW("x \\\\server\\share c:\\a\\"), {"x", "\\\\server\\share", "c:\\a\\"}},
      {KXW("x \"c:\\a b\\\" c"), {"x", "c:\\a b\" c"}},
      {KXW("x \"c:\\a b\\\\\" c"), {"x", "c:\\a b\\", "c"}},
      {KXW("x \"a b c"), {"x", "a b c"}},
      // What is no blank, and what means nothing.
      {KXW("x a\nb c\u00A0d"), {"x", "a\nb", "c\u00A0d"}},
      {KXW("x 'a b' ^c"), {"x", "'a", "b'", "^c"}},
  };
  for (const auto& c : cases) EXPECT_EQ(Split(c.line), c.arguments) << KxText_ToUtf8(c.line);
  EXPECT_THAT(Split(KXW("")), IsEmpty());
  EXPECT_THAT(Split(nullptr), IsEmpty());
}

TEST(CommandLine, TakesTheProgramOff) {
  const WCHAR* const app = KXW("C:\\Program Files\\My App\\app.exe");
  struct {
    const char* name;
    const WCHAR* line;
    const WCHAR* programPath;
    const WCHAR* program;
    const WCHAR* arguments;
  } const cases[] = {
      {"quoted", KXW("\"C:\\Program Files\\My App\\app.exe\"  /q \"a b\" "), app,
       KXW("\"C:\\Program Files\\My App\\app.exe\""), KXW("/q \"a b\" ")},
      {"quoted, nothing between", KXW("\"app.exe\"/q"), app, KXW("\"app.exe\""), KXW("/q")},
      {"without blanks", KXW("app.exe /q"), app, KXW("app.exe"), KXW("/q")},
      {"without extension", KXW("APP /q"), app, KXW("APP"), KXW("/q")},
      {"no arguments", KXW("app.exe"), app, KXW("app.exe"), KXW("")},
      {"blanks, not quoted", KXW("c:\\program files/my app\\APP.EXE /q"), app, KXW("c:\\program files/my app\\APP.EXE"),
       KXW("/q")},
      {"blanks, to the end of the line", app, app, app, KXW("")},
      {"blanks, no extension", KXW("C:\\Program Files\\My App\\app /q app.exe"), app,
       KXW("C:\\Program Files\\My App\\app"), KXW("/q app.exe")},
      {"blanks, relative", KXW("..\\.\\My App\\app.exe\t/q"), app, KXW("..\\.\\My App\\app.exe"), KXW("/q")},
      {"blanks, from the drive's root", KXW("\\Program Files\\My App\\app.exe /q"), app,
       KXW("\\Program Files\\My App\\app.exe"), KXW("/q")},
      {"blanks in the name", KXW("my tool /q"), KXW("C:\\my tool.exe"), KXW("my tool"), KXW("/q")},
      {"quotes around a part", KXW("C:\\\"Program Files\"\\\"My App\"\\app.exe /q"), app,
       KXW("C:\\\"Program Files\"\\\"My App\"\\app.exe"), KXW("/q")},
      {"quotes around the beginning", KXW("\"C:\\Program Files\"\\\"My App\"\\app.exe /q"), app,
       KXW("\"C:\\Program Files\"\\\"My App\"\\app.exe"), KXW("/q")},
      {"blanks before it", KXW("  app.exe /q"), app, KXW("app.exe"), KXW("/q")},
      {"the shortest that names it", KXW("app C:\\Program Files\\My App\\app.exe"), app, KXW("app"),
       KXW("C:\\Program Files\\My App\\app.exe")},

      {"another program in front", KXW("other tools\\app.exe /q"), app, KXW("other"), KXW("tools\\app.exe /q")},
      {"another folder", KXW("D:\\My App\\app.exe /q"), app, KXW("D:\\My"), KXW("App\\app.exe /q")},
      {"half a component", KXW("y App\\app.exe /q"), app, KXW("y"), KXW("App\\app.exe /q")},
      {"half a name", KXW("Tool /q"), KXW("C:\\My Tool.exe"), KXW("Tool"), KXW("/q")},
      {"no program in the line", KXW(" /autostart /b"), app, KXW(""), KXW("/autostart /b")},
      {"an argument in its place", KXW("/c whoami"), KXW("C:\\cmd.exe"), KXW("/c"), KXW("whoami")},
      {"path unknown", KXW("C:\\Program Files\\My App\\app.exe /q"), nullptr, KXW("C:\\Program"),
       KXW("Files\\My App\\app.exe /q")},
      {"path unknown, blanks before", KXW("  a b"), KXW(""), KXW(""), KXW("a b")},
      {"quote not closed", KXW("\"app.exe /q"), app, KXW("\"app.exe /q"), KXW("")},
      {"empty", KXW(""), app, KXW(""), KXW("")},
      {"blanks only", KXW(" \t"), app, KXW(""), KXW("")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const SkxCommandLine parts = KxCommandLine_TakeApart(c.line, c.programPath);
    EXPECT_EQ(KxText_ToUtf8(parts.program), KxText_ToUtf8(c.program));
    EXPECT_EQ(KxText_ToUtf8(parts.arguments), KxText_ToUtf8(c.arguments));
  }
}

TEST(CommandLine, LooksForAProgramOnlySoFar) {
  const auto argumentsOf = [](size_t blankAt) {
    const KxWString name = KxWString(blankAt, KXW('a')) + KXW(" b.exe");
    return KxText_ToUtf8(KxCommandLine_TakeApart(name + KXW(" /q"), KXW("C:\\") + name).arguments);
  };
  EXPECT_EQ(argumentsOf(kxMaxUnquotedProgram - 7), "/q");
  EXPECT_EQ(argumentsOf(kxMaxUnquotedProgram), "b.exe /q");
}

TEST(MatchCmdLineArguments, ComparesArgumentByArgument) {
  const WCHAR* const app = KXW("C:\\My App\\app.exe");
  struct {
    const char* name;
    const WCHAR* pattern;
    const WCHAR* line;
    bool folded;
    bool exact;
  } const cases[] = {
      {"the same", KXW("/q /log x"), KXW("app.exe /q /log x"), true, true},
      {"case", KXW("/Q"), KXW("app.exe /q"), true, false},
      {"spelled otherwise", KXW(" \"/q\"\t\"a b\" "), KXW("\"app.exe\" /q  a\" \"b"), true, true},
      {"the pattern's first is an argument as well", KXW("c\\\"d \"a\"\"b\""), KXW("app c\\\"d \"a\"\"b\""), true,
       true},
      {"one more", KXW("/q"), KXW("app.exe /q /x"), false, false},
      {"one less", KXW("/q /x"), KXW("app.exe /q"), false, false},
      {"another order", KXW("/a /b"), KXW("app.exe /b /a"), false, false},
      {"none and none", KXW(" "), KXW("\"C:\\My App\\app.exe\""), true, true},
      {"no pattern and none", nullptr, KXW("app.exe "), true, true},
      {"no pattern and no line", nullptr, nullptr, true, true},
      {"none, of a line that is not known", KXW(""), nullptr, false, false},
      {"none and an empty one", KXW(""), KXW("app.exe \"\""), false, false},
      {"two empty ones", KXW("\"\""), KXW("app.exe \"\""), true, true},
      {"the program is no argument", KXW("app.exe /q"), KXW("app.exe /q"), false, false},
      {"unquoted program with blanks", KXW("/q"), KXW("C:\\My App\\app.exe /q"), true, true},
      {"blanks that only trimming takes", KXW("/q\n"), KXW("app.exe /q \u00A0"), true, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(KxUtil_MatchCmdLineArguments(c.pattern, c.line, app, false, StrEquals), c.folded);
    EXPECT_EQ(KxUtil_MatchCmdLineArguments(c.pattern, c.line, app, true, StrEquals), c.exact);
  }
}

TEST(MatchCmdLineArguments, ComparesTheTextInOtherModes) {
  const WCHAR* const line = KXW("\"C:\\My App\\app.exe\"  /q  \"a b\" ");
  const auto matches = [&](const WCHAR* pattern, EkxStrCompareAs compareAs, bool caseSensitive = false) {
    return KxUtil_MatchCmdLineArguments(pattern, line, KXW("C:\\My App\\app.exe"), caseSensitive, compareAs);
  };
  EXPECT_TRUE(matches(KXW("/Q  \"a"), StrStartsWith));
  EXPECT_FALSE(matches(KXW("/Q  \"a"), StrStartsWith, true));
  EXPECT_FALSE(matches(KXW("app"), StrContains));
  EXPECT_TRUE(matches(KXW("/q*b\""), StrWildcard));
  EXPECT_TRUE(matches(KXW("/q\\b+\"a b\""), StrRegExp));
  EXPECT_FALSE(matches(nullptr, StrWildcard));
  EXPECT_FALSE(KxUtil_MatchCmdLineArguments(KXW("*"), {}, {}, false, StrWildcard));
  EXPECT_TRUE(KxUtil_MatchCmdLineArguments(KXW("*"), KXW("app"), {}, false, StrWildcard));

  const CkxTraceCapture trace;
  EXPECT_FALSE(matches(KXW("/q"), EkxStrCompareAs{7}));
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR KxUtil_MatchStr: ERROR: Unexpected compareAs value 7"));
}

}  // namespace
